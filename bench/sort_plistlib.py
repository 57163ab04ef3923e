#!/usr/bin/env python3
"""Sorts a bookmarks property list with plain plistlib: the yardstick for the sort job.

    python3 bench/sort_plistlib.py [--no-sort] IN OUT

Loads IN, sorts the entries of every folder by title with case ignored (proxies first, then
folders, then bookmarks, then anything else; the title is "Title", else the "title" of
"URIDictionary"), and writes the tree in binary to OUT the way the tool writes: to a new file
beside it, flushed to disk and renamed into place. With --no-sort it only loads and writes: the
yardstick for reading and writing a file.

To keep the two jobs alike where it costs nothing: hidden folders ("ShouldOmitFromUI") keep
their order and are not entered, the Bookmarks Bar keeps the order of its own entries (the
folders inside it are sorted), and at the root the entries that are not sorted (proxies, hidden
folders, the Bookmarks Bar and Menu, untyped entries) stay in front, in their order. What the
tool does besides (removing broken and duplicate bookmarks and empty folders, renaming
same-named entries, collating titles by the user's language, the change test) is not done here,
so the comparison flatters this script a little.

Prints one "name: value" line each, as plist_peak_memory does: file_bytes, seconds, cpu_seconds
(user + system), baseline_rss_kib and peak_rss_kib (the process's peak RSS, interpreter
included). The times cover loading, sorting and writing, not the start of the interpreter.
"""

import os
import plistlib
import resource
import sys
import time

RANK = {"WebBookmarkTypeProxy": 0, "WebBookmarkTypeList": 1, "WebBookmarkTypeLeaf": 2}
UNTYPED = 3


def title(node):
    t = node.get("Title")
    if t is None:
        uri = node.get("URIDictionary")
        if isinstance(uri, dict):
            t = uri.get("title")
    return t if isinstance(t, str) else ""


def sort_key(node):
    if not isinstance(node, dict):
        return (UNTYPED, "")
    return (RANK.get(node.get("WebBookmarkType"), UNTYPED), title(node).casefold())


def is_hidden(node):
    return bool(node.get("ShouldOmitFromUI"))


def sort_folder(node):
    """Sorts the node's subtree in place, deepest folders first."""
    if not isinstance(node, dict) or is_hidden(node):
        return
    children = node.get("Children")
    if not isinstance(children, list):
        return
    for child in children:
        sort_folder(child)
    if node.get("Title") != "BookmarksBar":
        children.sort(key=sort_key)


def sort_root(root):
    children = root.get("Children")
    if not isinstance(children, list):
        return
    kept, sortable = [], []
    for child in children:
        kind = child.get("WebBookmarkType") if isinstance(child, dict) else None
        if kind == "WebBookmarkTypeList":
            special = child.get("Title") in ("BookmarksBar", "BookmarksMenu")
            if special or is_hidden(child):
                kept.append(child)
                if special:
                    sort_folder(child)
                continue
        if kind in ("WebBookmarkTypeList", "WebBookmarkTypeLeaf"):
            sort_folder(child)
            sortable.append(child)
        else:
            kept.append(child)
    sortable.sort(key=sort_key)
    root["Children"] = kept + sortable


def write_atomically(tree, path):
    tmp = path + ".tmp"
    with open(tmp, "wb") as f:
        plistlib.dump(tree, f, fmt=plistlib.FMT_BINARY, sort_keys=False)
        f.flush()
        os.fsync(f.fileno())
    os.replace(tmp, path)


def cpu_seconds():
    r = resource.getrusage(resource.RUSAGE_SELF)
    return r.ru_utime + r.ru_stime


class Probe:
    """Times a job from its creation and prints what plist_peak_memory prints of one."""

    def __init__(self):
        self.baseline = resource.getrusage(resource.RUSAGE_SELF).ru_maxrss
        self.start, self.cpu_start = time.perf_counter(), cpu_seconds()

    def report(self, src):
        seconds, cpu = time.perf_counter() - self.start, cpu_seconds() - self.cpu_start
        print("file_bytes:", os.path.getsize(src))
        print("seconds: %.6f" % seconds)
        print("cpu_seconds: %.6f" % cpu)
        print("baseline_rss_kib:", self.baseline)
        print("peak_rss_kib:", resource.getrusage(resource.RUSAGE_SELF).ru_maxrss)


def main(argv):
    if argv in (["-h"], ["--help"]):
        print(__doc__.strip())
        return
    sort = argv[:1] != ["--no-sort"]
    if not sort:
        argv = argv[1:]
    if len(argv) != 2 or any(a.startswith("-") for a in argv):
        print("usage: bench/sort_plistlib.py [--no-sort] IN OUT", file=sys.stderr)
        sys.exit(64)
    src, out = argv
    probe = Probe()
    with open(src, "rb") as f:
        tree = plistlib.load(f)
    if sort:
        sort_root(tree)
    write_atomically(tree, out)
    probe.report(src)


if __name__ == "__main__":
    main(sys.argv[1:])
