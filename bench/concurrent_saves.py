#!/usr/bin/env python3
"""Counts how often another program's save is lost when it lands while orvane-cli sorts.

For each kind of writer, RUNS times: a generated, unsorted bookmarks file of BOOKMARKS bookmarks
is put in place, `orvane-cli sort --no-backup FILE` starts, and at a random moment within the
sort's usual duration another process saves the file with one bookmark added:

  rename     writes a temporary file and renames it over FILE (how browsers save)
  in-place   opens FILE, truncates it and writes the new contents
  sort       a second `orvane-cli sort` of the same file

Afterwards the file must read as a property list and, for the two writers, hold the added
bookmark. The table gives, per writer, the runs in which the bookmark was lost, the runs that
left an unreadable file, and the exit codes of the sort.
"""
import argparse
import collections
import os
import plistlib
import random
import shutil
import statistics
import subprocess
import sys
import tempfile
import time

HERE = os.path.dirname(os.path.abspath(__file__))
ADDED = "https://added-while-sorting.example/"


def generated(count, cache):
    path = os.path.join(cache, "bookmarks-%d.plist" % count)
    if not os.path.exists(path):
        subprocess.run([sys.executable, os.path.join(HERE, "make_bookmarks.py"), str(count), path + ".partial",
                        "--seed", "1"], check=True)
        os.rename(path + ".partial", path)
    with open(path, "rb") as f:
        return f.read()


def with_added_bookmark(original):
    root = plistlib.loads(original)
    menu = next(child for child in root["Children"] if child.get("Title") == "BookmarksMenu")
    menu.setdefault("Children", []).append({
        "WebBookmarkType": "WebBookmarkTypeLeaf", "WebBookmarkUUID": "ADDED-WHILE-SORTING",
        "URLString": ADDED, "URIDictionary": {"title": "Added while sorting"}})
    return plistlib.dumps(root, fmt=plistlib.FMT_BINARY)


def save_by_rename(path, data):
    temporary = path + ".other-program"
    with open(temporary, "wb") as f:
        f.write(data)
    os.rename(temporary, path)


def save_in_place(path, data):
    with open(path, "r+b") as f:
        f.truncate(0)
        f.write(data)


def holds_added(path):
    """(readable, holds the added bookmark)"""
    try:
        with open(path, "rb") as f:
            root = plistlib.load(f)
    except Exception:
        return False, False
    pending = [root]
    while pending:
        node = pending.pop()
        if node.get("URLString") == ADDED:
            return True, True
        pending.extend(child for child in node.get("Children", []) if isinstance(child, dict))
    return True, False


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n\n")[0])
    parser.add_argument("--bookmarks", type=int, default=50000, help="size of the generated file (default 50000)")
    parser.add_argument("--runs", type=int, default=40, help="runs per writer (default 40)")
    parser.add_argument("--cli", default="build/cli/orvane-cli", help="the orvane-cli to run (default build/cli/orvane-cli)")
    parser.add_argument("--seed", type=int, default=1, help="seed of the save moments (default 1)")
    args = parser.parse_args()
    if not os.access(args.cli, os.X_OK):
        parser.error("no program at %s: build it first (scripts/build.sh)" % args.cli)

    work = tempfile.mkdtemp(prefix="orvane-concurrent-")
    try:
        original = generated(args.bookmarks, work if not os.path.isdir("build/bench") else "build/bench")
        saved = with_added_bookmark(original)
        path = os.path.join(work, "Bookmarks.plist")
        sort = [args.cli, "sort", "--no-backup", path]

        durations = []
        for _ in range(3):
            with open(path, "wb") as f:
                f.write(original)
            started = time.monotonic()
            subprocess.run(sort, stdout=subprocess.DEVNULL, check=True)
            durations.append(time.monotonic() - started)
        duration = statistics.median(durations)
        print("%d bookmarks, %d bytes; one sort takes %.3f s (median of 3); %d runs per writer"
              % (args.bookmarks, len(original), duration, args.runs))

        moments = random.Random(args.seed)
        print("%-9s %6s %11s  %s" % ("writer", "lost", "unreadable", "exit codes of the sort"))
        for writer in ("rename", "in-place", "sort"):
            lost = unreadable = 0
            codes = collections.Counter()
            for _ in range(args.runs):
                with open(path, "wb") as f:
                    f.write(original)
                sorting = subprocess.Popen(sort, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
                time.sleep(moments.uniform(0, duration))
                if writer == "rename":
                    save_by_rename(path, saved)
                elif writer == "in-place":
                    save_in_place(path, saved)
                else:
                    subprocess.run(sort, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
                codes[sorting.wait()] += 1
                readable, added = holds_added(path)
                unreadable += not readable
                lost += writer != "sort" and not added
            print("%-9s %3d/%-2d %8d/%-2d  %s" % (writer, lost, args.runs, unreadable, args.runs,
                                                  ", ".join("%d: %d" % item for item in sorted(codes.items()))))
    finally:
        shutil.rmtree(work)


if __name__ == "__main__":
    main()
