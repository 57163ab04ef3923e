#!/usr/bin/env python3
"""Checks orvane-cli's Firefox store against a real Firefox, by hand (CI does not run it).

In a scratch profile whose bookmarks Firefox itself made (through Marionette, then marked as
synced, as after a sync):
  1. orvane-cli sort --no-backup --sort-bookmarks-bar writes places.sqlite: positions are
     contiguous, each run between separators is in order, every reordered folder's
     syncChangeCounter rose and its lastModified is the sort's time, every removed item Sync
     knew (and no other) has a tombstone, every page's foreign_count is right, a folder of
     separators only stays; a second sort leaves the file byte for byte; without
     --sort-bookmarks-bar (on a copy) the toolbar's own entries keep their order;
  2. Firefox reads exactly that order, its checkAndFixDatabase succeeds and changes no table,
     and Sync's list of changes holds the reordered folders and the tombstones;
  3. while that Firefox runs, a sort ends with status 8 and changes nothing; once Firefox is
     killed, its stale lock does not block a sort;
  4. a sort that makes a backup, then a restore of it: Firefox reads the order of before the sort,
     and its checks still change nothing.
Not checked here: a sort killed while it writes, --browser (profiles.ini, installs.ini), a
restore while Firefox runs.
Needs Debian's firefox-esr (apt-get install firefox-esr); prints what it checked and exits
non-zero on the first difference.
"""
import argparse
import json
import os
import shutil
import socket
import sqlite3
import subprocess
import sys
import tempfile
import time

HERE = os.path.dirname(os.path.abspath(__file__))
ROOT = os.path.dirname(HERE)
PREFS = {"browser.shell.checkDefaultBrowser": False, "datareporting.policy.dataSubmissionEnabled": False,
         "toolkit.telemetry.reportingpolicy.firstRun": False, "browser.startup.homepage_override.mstone": "ignore",
         "app.update.disabledForTesting": True, "browser.aboutwelcome.enabled": False}
LONG_AGO = 1000000000000000  # 2001, in Firefox's microseconds
# Run in Firefox's chrome context: the body of an async function, its value sent back.
WRAP = """const done = arguments[arguments.length - 1];
const {PlacesUtils} = ChromeUtils.importESModule("resource://gre/modules/PlacesUtils.sys.mjs");
(async () => { %s })().then(v => done(JSON.stringify(v)), e => done(JSON.stringify({error: String(e)})));"""
MAKE_TREE = """
const B = PlacesUtils.bookmarks;
const b = (title, url) => ({title, url});
const f = (title, children) => ({type: B.TYPE_FOLDER, title, children});
const sep = {type: B.TYPE_SEPARATOR};
await B.insertTree({guid: B.menuGuid, children: [
  b("delta", "https://d.example/"), b("Charlie", "https://c.example/"), f("Zeta", [b("y", "https://y.example/"),
  b("x", "https://x.example/")]), sep, b("bravo", "https://b.example/"), b("Alpha", "https://a.example/"),
  b("Recent", "place:sort=8&maxResults=10"), b("again", "https://c.example/"), f("Nothing", []), sep,
  b("", "https://untitled.example/"), b("News", "https://n1.example/"), b("News", "https://n2.example/")]});
await B.insertTree({guid: B.toolbarGuid, children: [b("Zulu", "https://z.example/"), b("Mike", "https://m.example/"),
  f("Kilo", [b("k2", "https://k2.example/"), b("k1", "https://k1.example/")])]});
await B.insertTree({guid: B.unfiledGuid, children: [b("later", "https://l.example/"), b("earlier", "https://e.example/"),
  f("Lines", [sep, sep]), f("Unsynced", [])]});
await B.insertTree({guid: B.mobileGuid, children: [b("m2", "https://m2.example/"), b("m1", "https://m1.example/")]});
await PlacesUtils.keywords.insert({keyword: "cc", url: "https://c.example/"});
PlacesUtils.tagging.tagURI(Services.io.newURI("https://b.example/"), ["tagged"]);
// As after a sync, long ago; "Unsynced" was made since, so Sync never saw it.
await PlacesUtils.withConnectionWrapper("check", async db => {
  await db.execute("UPDATE moz_bookmarks SET syncStatus = 2, syncChangeCounter = 0, dateAdded = %d, lastModified = %d");
  await db.execute("UPDATE moz_bookmarks SET syncStatus = 1 WHERE title = 'Unsynced'");
});
return "made";
""" % (LONG_AGO, LONG_AGO)
TREE = """
const tree = await PlacesUtils.promiseBookmarksTree(PlacesUtils.bookmarks.rootGuid);
const order = {};
const walk = node => { if (node.children) { order[node.guid] = node.children.map(c => c.guid); node.children.forEach(walk); } };
walk(tree);
return order;
"""
DUMP = """
const db = await PlacesUtils.promiseDBConnection();
const tables = (await db.execute("SELECT name FROM sqlite_master WHERE type = 'table' AND substr(name, 1, 7) <> 'sqlite_'"))
  .map(r => r.getResultByIndex(0));
const out = {};
for (const table of tables) {
  out[table] = (await db.execute(`SELECT * FROM "${table}"`)).map(r => {
    const row = []; for (let i = 0; i < r.numEntries; i++) row.push(r.getResultByIndex(i)); return JSON.stringify(row); }).sort();
}
return out;
"""
CHECKS = """
const {PlacesDBUtils} = ChromeUtils.importESModule("resource://gre/modules/PlacesDBUtils.sys.mjs");
const tasks = await PlacesDBUtils.checkAndFixDatabase();
return [...tasks].map(([name, task]) => [name, task.succeeded, task.logs.map(String)]);
"""
CHANGES = """
const {PlacesSyncUtils} = ChromeUtils.importESModule("resource://gre/modules/PlacesSyncUtils.sys.mjs");
const changes = await PlacesSyncUtils.bookmarks.pullChanges();
return Object.fromEntries(Object.entries(changes).map(([id, c]) => [id, {counter: c.counter, tombstone: c.tombstone}]));
"""


def fail(message):
    print("FAILED: " + message)
    sys.exit(1)


class Marionette:
    """Just enough of Marionette's protocol: length-prefixed JSON commands."""

    def __init__(self, port):
        deadline = time.monotonic() + 60
        while True:
            try:
                self.sock = socket.create_connection(("127.0.0.1", port))
                break
            except OSError:
                if time.monotonic() > deadline:
                    fail("Firefox did not open Marionette's port %d" % port)
                time.sleep(0.5)
        self.buffer, self.id = b"", 0
        self.receive()
        self.command("WebDriver:NewSession", {"capabilities": {"alwaysMatch": {}}})
        self.command("Marionette:SetContext", {"value": "chrome"})

    def receive(self):
        while b":" not in self.buffer:
            self.buffer += self.sock.recv(65536)
        length, rest = self.buffer.split(b":", 1)
        while len(rest) < int(length):
            rest += self.sock.recv(65536)
        self.buffer = rest[int(length):]
        return json.loads(rest[:int(length)])

    def command(self, name, params=None):
        self.id += 1
        data = json.dumps([0, self.id, name, params or {}]).encode()
        self.sock.sendall(str(len(data)).encode() + b":" + data)
        reply = self.receive()
        if reply[2]:
            fail("Marionette %s: %s" % (name, reply[2]))
        return reply[3]

    def run(self, body):
        value = self.command("WebDriver:ExecuteAsyncScript",
                             {"script": WRAP % body, "args": [], "scriptTimeout": 60000})["value"]
        result = json.loads(value)
        if isinstance(result, dict) and "error" in result:
            fail("in Firefox: " + result["error"])
        return result


RUNNING = []  # every Firefox started, so that a failed check leaves none behind


class Firefox:
    def __init__(self, profile, port):
        self.process = subprocess.Popen(["firefox-esr", "--headless", "--marionette", "--remote-allow-system-access",
                                         "--no-remote", "--profile", profile],
                                        stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        RUNNING.append(self.process)
        self.marionette = Marionette(port)

    def quit(self):
        try:
            self.marionette.command("Marionette:Quit", {"flags": ["eForceQuit"]})
        except (OSError, SystemExit):
            pass
        self.process.wait(60)

    def kill(self):
        self.process.kill()
        self.process.wait(60)


def free_port():
    with socket.socket() as s:
        s.bind(("127.0.0.1", 0))
        return s.getsockname()[1]


def orvane(cli, *args):
    return subprocess.run([cli, *args], capture_output=True, text=True)


def database(path):
    """Each folder's entries by guid, in order; each item's row; the tombstones."""
    db = sqlite3.connect("file:%s?mode=ro" % path, uri=True)
    rows = {r[0]: r for r in db.execute(
        "SELECT b.guid, b.type, p.guid, b.position, b.title, b.syncChangeCounter, b.syncStatus, h.url, b.lastModified "
        "FROM moz_bookmarks b LEFT JOIN moz_bookmarks p ON p.id = b.parent LEFT JOIN moz_places h ON h.id = b.fk")}
    order = {}
    for guid, row in sorted(rows.items(), key=lambda item: item[1][3]):
        order.setdefault(row[2], []).append(guid)
    tombstones = {r[0] for r in db.execute("SELECT guid FROM moz_bookmarks_deleted")}
    db.close()
    return order, rows, tombstones


def wrong_foreign_counts(path):
    """The pages whose foreign_count is not the number of bookmarks and keywords that hold them."""
    db = sqlite3.connect("file:%s?mode=ro" % path, uri=True)
    wrong = db.execute(
        "SELECT url, foreign_count FROM moz_places h WHERE foreign_count <> "
        "(SELECT count(*) FROM moz_bookmarks WHERE fk = h.id) + (SELECT count(*) FROM moz_keywords WHERE place_id = h.id)"
    ).fetchall()
    db.close()
    return wrong


def check_sorted(order, rows):
    for folder, children in order.items():
        if folder in (None, "root________", "tags________") or rows[folder][2] == "tags________":
            continue
        if [rows[c][3] for c in children] != list(range(len(children))):
            fail("positions in %s are not 0..n-1" % folder)
        run = []
        for child in children + [None]:
            if child is None or rows[child][1] == 3:
                keys = [(0 if (rows[c][7] or "").startswith("place:") else 1 if rows[c][1] == 2 else 2,
                         (rows[c][4] or "").casefold()) for c in run]
                if keys != sorted(keys):
                    fail("folder %s is not in order: %s" % (folder, [rows[c][4] for c in run]))
                run = []
            else:
                run.append(child)


def same_order(firefox, ours, rows):
    for folder, children in ours.items():
        # Firefox leaves the tags out of its tree; the root is never touched.
        if folder in (None, "root________", "tags________") or rows[folder][2] == "tags________":
            continue
        if firefox.get(folder) != children:
            fail("Firefox reads %s as %s, the file says %s" % (folder, firefox.get(folder), children))


def checks_change_nothing(firefox):
    before = firefox.marionette.run(DUMP)
    tasks = firefox.marionette.run(CHECKS)
    after = firefox.marionette.run(DUMP)
    if before != after or not all(succeeded for _, succeeded, _ in tasks):
        changed = [k for k in before if before[k] != after.get(k)]
        fail("Firefox's checkAndFixDatabase changed %s; it said: %s" % (changed, tasks))


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--cli", default=os.path.join(ROOT, "build", "cli", "orvane-cli"), help="orvane-cli to check")
    parser.add_argument("--keep", action="store_true", help="keep the scratch folder and say where it is")
    args = parser.parse_args()
    if not shutil.which("firefox-esr"):
        sys.exit("check_firefox.py: firefox-esr is not installed (apt-get install firefox-esr)")
    if not os.access(args.cli, os.X_OK):
        sys.exit("check_firefox.py: no %s; build it first or give --cli" % args.cli)

    scratch = tempfile.mkdtemp(prefix="orvane-firefox-")
    profile = os.path.join(scratch, "profile")
    places = os.path.join(profile, "places.sqlite")
    os.makedirs(profile)
    port = free_port()
    with open(os.path.join(profile, "user.js"), "w") as prefs:
        for name, value in {**PREFS, "marionette.port": port}.items():
            prefs.write("user_pref(%s, %s);\n" % (json.dumps(name), json.dumps(value)))
    os.environ["XDG_DATA_HOME"] = os.path.join(scratch, "data")
    try:
        firefox = Firefox(profile, port)
        firefox.marionette.run(MAKE_TREE)
        firefox.quit()
        originals = {}  # the database as Firefox left it, with its log if it left one
        for suffix in ("", "-wal"):
            if os.path.exists(places + suffix):
                originals[places + suffix] = os.path.join(scratch, "original.sqlite" + suffix)
                shutil.copy2(places + suffix, originals[places + suffix])
        before_order, before_rows, _ = database(places)
        print("made a profile with Firefox: %d items" % len(before_rows))

        # Without --sort-bookmarks-bar, on a copy: the toolbar's own entries keep their order.
        bar_copy = os.path.join(scratch, "bar", "places.sqlite")
        os.makedirs(os.path.dirname(bar_copy))
        for live, copy in originals.items():
            shutil.copy2(copy, bar_copy + live[len(places):])
        result = orvane(args.cli, "sort", "--no-backup", bar_copy)
        bar_order, bar_rows, _ = database(bar_copy)
        if result.returncode != 0 or bar_order["toolbar_____"] != before_order["toolbar_____"]:
            fail("a sort without --sort-bookmarks-bar: status %d, toolbar %s, was %s" % (
                result.returncode, bar_order["toolbar_____"], before_order["toolbar_____"]))
        check_sorted({f: c for f, c in bar_order.items() if f != "toolbar_____"}, bar_rows)

        started = int(time.time() * 1000) * 1000  # Firefox keeps times to the millisecond
        result = orvane(args.cli, "sort", "--no-backup", "--sort-bookmarks-bar", places)
        ended = int(time.time() * 1e6)
        if result.returncode != 0:
            fail("sort: status %d: %s" % (result.returncode, result.stderr))
        order, rows, tombstones = database(places)
        check_sorted(order, rows)
        removed = set(before_rows) - set(rows)
        synced = {g for g in removed if before_rows[g][6] == 2}  # syncStatus NORMAL
        if sorted(before_rows[g][4] for g in removed) != ["Charlie", "Nothing", "Unsynced"] or tombstones != synced:
            fail("removed %s, tombstones %s" % (sorted(before_rows[g][4] for g in removed),
                                                sorted(before_rows[g][4] if g in before_rows else g for g in tombstones)))
        reordered = [f for f, children in order.items()
                     if f in before_order and [c for c in before_order[f] if c in rows] != children]
        if not reordered or any(rows[f][5] < 1 or not started <= rows[f][8] <= ended for f in reordered):
            fail("reordered folders without a higher syncChangeCounter or a new lastModified: %s" %
                 [(rows[f][4], rows[f][5], rows[f][8]) for f in reordered])
        if wrong_foreign_counts(places):
            fail("foreign_count wrong for %s" % wrong_foreign_counts(places))
        with open(places, "rb") as f:
            sorted_bytes = f.read()
        result = orvane(args.cli, "sort", "--no-backup", "--sort-bookmarks-bar", places)
        with open(places, "rb") as f:
            if result.returncode != 0 or f.read() != sorted_bytes:
                fail("a second sort changed the file (status %d)" % result.returncode)
        print("sorted: %s reordered, %d items removed, %d with tombstones; a second sort wrote nothing"
              % (", ".join(rows[f][4] or f for f in reordered), len(removed), len(tombstones)))

        firefox = Firefox(profile, port)
        same_order(firefox.marionette.run(TREE), order, rows)
        checks_change_nothing(firefox)
        changes = firefox.marionette.run(CHANGES)
        roots = {"menu________": "menu", "toolbar_____": "toolbar", "unfiled_____": "unfiled", "mobile______": "mobile"}
        ids = {roots.get(g, g) for g in reordered}
        if not ids <= set(changes) or not all(changes.get(t, {}).get("tombstone") for t in tombstones):
            fail("Sync's changes %s lack reordered folders %s or tombstones %s" % (changes, ids, tombstones))
        print("Firefox reads the sorted order; its checks change nothing; Sync would upload %d changes" % len(changes))

        result = orvane(args.cli, "sort", "--no-backup", places)
        if result.returncode != 8 or "Firefox" not in result.stderr:
            fail("a sort while Firefox runs: status %d: %s" % (result.returncode, result.stderr))
        firefox.kill()
        if database(places)[0] != order:
            fail("a sort while Firefox ran changed the bookmarks")
        if not os.path.islink(os.path.join(profile, "lock")):
            fail("the killed Firefox left no lock behind, so the stale-lock case is not checked")
        result = orvane(args.cli, "sort", "--no-backup", places)
        if result.returncode != 0:
            fail("a stale lock blocked the sort: status %d: %s" % (result.returncode, result.stderr))
        print("a running Firefox stops the sort with status 8; the lock it leaves when killed does not")

        for suffix in ("-wal", "-shm"):
            if os.path.exists(places + suffix):
                os.remove(places + suffix)
        for live, copy in originals.items():
            shutil.copy2(copy, live)
        backup = os.path.join(scratch, "backup.sqlite")
        result = orvane(args.cli, "sort", "--backup", backup, places)
        if result.returncode != 0 or not os.path.exists(backup):
            fail("a sort with a backup: status %d: %s" % (result.returncode, result.stderr))
        result = orvane(args.cli, "restore", "--backup", backup, places)
        if result.returncode != 0:
            fail("restore: status %d: %s" % (result.returncode, result.stderr))
        firefox = Firefox(profile, port)
        same_order(firefox.marionette.run(TREE), before_order, before_rows)
        checks_change_nothing(firefox)
        firefox.quit()
        print("a restore puts back the order of before the sort; Firefox's checks change nothing")
        print("ALL PASSED")
    finally:
        for process in RUNNING:
            if process.poll() is None:
                process.kill()
                process.wait(60)
        if args.keep:
            print("scratch folder: " + scratch)
        else:
            shutil.rmtree(scratch, ignore_errors=True)


if __name__ == "__main__":
    main()
