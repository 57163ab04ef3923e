#!/usr/bin/env python3
"""Checks orvane-cli's Chromium store against a real Chromium, by hand (CI does not run it).

In a scratch profile with a generated Bookmarks file:
  1. orvane-cli sort writes the file; its checksum is Chromium's, every kept entry keeps its id
     and guid, and a second sort leaves it byte for byte;
  2. Chromium (headless, with a small extension that prints chrome.bookmarks.getTree) reads
     exactly the order of the sorted file;
  3. Chromium, made to save a sorted profile itself, writes the very bytes orvane-cli wrote,
     checksum included (Chromium no longer checks the checksum when it reads a file, so only its
     own write shows that the checksum is the one it computes);
  4. while that Chromium runs with the profile, a sort stops with status 8 and leaves the file;
     once it is killed, its stale lock does not block a sort.
Needs Debian's chromium (apt-get install chromium); prints what it checked and exits non-zero on
the first difference.
"""
import argparse
import hashlib
import json
import os
import shutil
import subprocess
import sys
import tempfile
import threading
import time

HERE = os.path.dirname(os.path.abspath(__file__))
ROOT = os.path.dirname(HERE)
sys.path.insert(0, os.path.join(ROOT, "bench"))
import make_chromium_bookmarks  # noqa: E402

FLAGS = ["--headless", "--no-sandbox", "--disable-gpu", "--disable-quic", "--no-first-run",
         "--disable-background-networking", "--disable-component-update", "--disable-sync",
         "--enable-logging=stderr", "--v=0"]
DUMP = "chrome.bookmarks.getTree(tree => console.log('ORVANE-TREE ' + JSON.stringify(tree)));\n"
# Gives the first titled bookmark of "Other bookmarks" another title and its own back: Chromium then
# saves the profile, writing the tree it read.
RESAVE = """chrome.bookmarks.getTree(async tree => {
  const other = tree[0].children.find(root => root.folderType === 'other');
  const first = node => {
    for (const child of node.children || []) {
      const found = child.url && child.title ? child : first(child);
      if (found) return found;
    }
  };
  const entry = first(other);
  await chrome.bookmarks.update(entry.id, {title: entry.title + ' '});
  await chrome.bookmarks.update(entry.id, {title: entry.title});
});
"""


def fail(message):
    print("FAILED: " + message)
    sys.exit(1)


def extension(folder, script=DUMP):
    os.makedirs(folder, exist_ok=True)
    with open(os.path.join(folder, "manifest.json"), "w") as f:
        json.dump({"manifest_version": 3, "name": "dump", "version": "1", "permissions": ["bookmarks"],
                   "background": {"service_worker": "bg.js"}}, f)
    with open(os.path.join(folder, "bg.js"), "w") as f:
        f.write(script)


def chromium(user_data, ext, seconds):
    return subprocess.Popen(["chromium", *FLAGS, "--user-data-dir=" + user_data, "--load-extension=" + ext,
                             "--disable-extensions-except=" + ext, "about:blank"],
                            stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, errors="replace")


def browser_tree(user_data, ext):
    process = chromium(user_data, ext, 20)
    deadline = time.monotonic() + 30
    tree = None
    for line in process.stdout:
        if "ORVANE-TREE " in line:
            payload = line.split("ORVANE-TREE ", 1)[1]
            tree = json.loads(payload[:payload.rindex("]") + 1])
            break
        if time.monotonic() > deadline:
            break
    process.terminate()
    process.wait()
    if tree is None:
        fail("Chromium printed no bookmarks")
    return tree


def entries(node, title_key):
    """(title, id) of every entry below a node, depth first. Addresses are left out: Chromium
    shows them canonicalised ("HTTPS://A.example" as "https://a.example/")."""
    out = []
    for child in node.get("children", []):
        out.append((child.get(title_key, ""), child["id"]))
        out += entries(child, title_key)
    return out


def check_profile(cli, work, ext, count, sort_bar):
    user_data = os.path.join(work, "profile-%d-%s" % (count, "bar" if sort_bar else "nobar"))
    bookmarks = os.path.join(user_data, "Default", "Bookmarks")
    os.makedirs(os.path.dirname(bookmarks))
    subprocess.run([sys.executable, make_chromium_bookmarks.__file__, str(count), bookmarks], check=True)
    with open(bookmarks, "rb") as f:
        before = json.loads(f.read())
    ids_before = {}

    def index(node):
        ids_before[node["guid"]] = node["id"]
        for child in node.get("children", []):
            index(child)
    for root in before["roots"].values():
        index(root)

    args = [cli, "sort", "--no-backup"] + (["--sort-bookmarks-bar"] if sort_bar else []) + [bookmarks]
    result = subprocess.run(args, capture_output=True, text=True)
    if result.returncode != 0:
        fail("sort exited %d: %s" % (result.returncode, result.stderr))
    with open(bookmarks, "rb") as f:
        sorted_bytes = f.read()
    after = json.loads(sorted_bytes)
    if make_chromium_bookmarks.checksum(after["roots"]) != after["checksum"]:
        fail("the checksum is not Chromium's")
    for root in after["roots"].values():
        stack = [root]
        while stack:
            node = stack.pop()
            if ids_before.get(node["guid"]) != node["id"]:
                fail("entry %s changed its id" % node["guid"])
            stack += node.get("children", [])
    result = subprocess.run(args, capture_output=True, text=True)
    with open(bookmarks, "rb") as f:
        if result.returncode != 0 or f.read() != sorted_bytes:
            fail("a second sort changed the file")
    print("%d bookmarks%s: sorted, checksum and ids as Chromium keeps them, a second sort changes nothing"
          % (count, ", bar sorted too" if sort_bar else ""))

    tree = browser_tree(user_data, ext)
    # An empty root is not shown, so the roots are matched by their kind.
    shown = {root.get("folderType"): root for root in tree[0]["children"]}
    kinds = {"bookmark_bar": "bookmarks-bar", "other": "other", "synced": "mobile"}
    read = [entries(shown.get(kinds[key], {}), "title") for key in kinds]
    written = [entries(after["roots"][key], "name") for key in kinds]
    if read != written:
        fail("Chromium reads another order than the file's")
    print("  Chromium reads exactly the sorted order")
    return user_data, bookmarks


def check_resaved(cli, work, ext, count):
    """Chromium saving a sorted profile of only what it keeps (no keys it does not know, addresses
    as it writes them) must write every byte as orvane-cli wrote it."""
    user_data = os.path.join(work, "profile-%d-resaved" % count)
    bookmarks = os.path.join(user_data, "Default", "Bookmarks")
    os.makedirs(os.path.dirname(bookmarks))
    data = make_chromium_bookmarks.make(count, 3)
    stack = list(data["roots"].values())
    while stack:
        node = stack.pop()
        node.pop("unknown_future_key", None)
        if "url" in node:
            node["url"] = node["url"].lower()
        stack += node.get("children", [])
    data["checksum"] = make_chromium_bookmarks.checksum(data["roots"])
    out = []
    make_chromium_bookmarks.write(data, 0, out)
    with open(bookmarks, "w", encoding="utf-8") as f:
        f.write("".join(out) + "\n")
    result = subprocess.run([cli, "sort", "--no-backup", bookmarks], capture_output=True, text=True)
    if result.returncode != 0:
        fail("sort exited %d: %s" % (result.returncode, result.stderr))
    with open(bookmarks, "rb") as f:
        sorted_bytes = f.read()
    inode = os.stat(bookmarks).st_ino
    process = chromium(user_data, ext, 60)
    # Read on, so that the browser never waits on a full pipe.
    threading.Thread(target=lambda: [None for _ in process.stdout], daemon=True).start()
    # Chromium saves a new file over the old one, a few seconds after the change.
    deadline = time.monotonic() + 40
    while os.stat(bookmarks).st_ino == inode and time.monotonic() < deadline:
        time.sleep(0.1)
    process.terminate()
    process.wait()
    with open(bookmarks, "rb") as f:
        resaved = f.read()
    if os.stat(bookmarks).st_ino == inode:
        fail("Chromium did not save the profile")
    if resaved != sorted_bytes:
        ours, its = sorted_bytes.decode().splitlines(), resaved.decode().splitlines()
        line = next((i for i, (a, b) in enumerate(zip(ours, its)) if a != b), min(len(ours), len(its)))
        fail("Chromium writes the sorted profile otherwise, from line %d: %r where orvane-cli wrote %r"
             % (line + 1, its[line] if line < len(its) else "(end)", ours[line] if line < len(ours) else "(end)"))
    print("%d bookmarks: Chromium, saving the sorted profile itself, writes the same bytes, checksum included" % count)


def check_lock(cli, user_data, bookmarks, ext):
    with open(bookmarks, "rb") as f:
        before = f.read()
    # Unsorted again, so that a sort would write.
    data = json.loads(before)
    data["roots"]["other"]["children"].reverse()
    out = []
    make_chromium_bookmarks.write(data, 0, out)
    with open(bookmarks, "w", encoding="utf-8") as f:
        f.write("".join(out) + "\n")
    with open(bookmarks, "rb") as f:
        unsorted = f.read()
    process = chromium(user_data, ext, 60)
    for line in process.stdout:
        if "ORVANE-TREE " in line:
            break
    result = subprocess.run([cli, "sort", "--no-backup", bookmarks], capture_output=True, text=True)
    with open(bookmarks, "rb") as f:
        untouched = f.read() == unsorted
    process.kill()
    process.wait()
    if result.returncode != 8 or not untouched:
        fail("a sort while Chromium runs exited %d and %s the file" % (result.returncode, "left" if untouched else "changed"))
    print("  while Chromium runs: status 8, file untouched (%s)" % result.stderr.strip().splitlines()[-1])
    if not os.path.islink(os.path.join(user_data, "SingletonLock")):
        fail("the killed Chromium left no lock to test with")
    result = subprocess.run([cli, "sort", "--no-backup", bookmarks], capture_output=True, text=True)
    if result.returncode != 0:
        fail("the stale lock of a killed Chromium blocked the sort: " + result.stderr)
    print("  the stale lock of a killed Chromium does not block")


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n\n")[0])
    parser.add_argument("--cli", default=os.path.join(ROOT, "build", "cli", "orvane-cli"), help="orvane-cli to check")
    parser.add_argument("--bookmarks", type=int, default=2000, help="size of the generated profiles (default 2000)")
    args = parser.parse_args()
    if not shutil.which("chromium"):
        parser.error("no chromium: apt-get install chromium")
    if not os.access(args.cli, os.X_OK):
        parser.error("no program at %s: build it first (scripts/build.sh)" % args.cli)
    work = tempfile.mkdtemp(prefix="orvane-chromium-")
    try:
        ext = os.path.join(work, "extension")
        extension(ext)
        check_profile(args.cli, work, ext, args.bookmarks, sort_bar=True)
        user_data, bookmarks = check_profile(args.cli, work, ext, args.bookmarks, sort_bar=False)
        resave = os.path.join(work, "resave-extension")
        extension(resave, RESAVE)
        check_resaved(args.cli, work, resave, args.bookmarks)
        check_lock(args.cli, user_data, bookmarks, ext)
        print("all checks passed with " + subprocess.run(["chromium", "--version"], capture_output=True,
                                                         text=True).stdout.strip())
    finally:
        shutil.rmtree(work, ignore_errors=True)


if __name__ == "__main__":
    main()
