#!/usr/bin/env python3
"""Cleans and sorts a Chromium Bookmarks file with plain Python json: the yardstick for the sort
job on Chromium's format.

    python3 bench/sort_chromium_json.py IN OUT

Loads IN and, in each of the three roots, does what the sort does: bookmarks without an address
and folders that are or become empty go, of several bookmarks with one address in a root the last
stays, entries without a name get their address, and every folder but the Bookmarks Bar itself is
sorted, folders first, by name with case ignored. The checksum is computed again as Chromium
computes it, and the file is written with sorted keys and three-space indentation through a new
file that is flushed and renamed into place. Not done (so the comparison flatters this script a
little): same names told apart, collation by the user's language, the change test.

Prints the same "name: value" lines as plist_peak_memory: file_bytes, seconds, cpu_seconds,
baseline_rss_kib and peak_rss_kib.
"""
import json
import os
import sys

from make_chromium_bookmarks import checksum
from sort_plistlib import Probe


def clean(node, seen):
    """Cleans the folder's entries in place, last to first; answers whether it is now empty."""
    kept = []
    for child in reversed(node.get("children", [])):
        if child.get("type") == "folder":
            if clean(child, seen):
                continue
        elif child.get("type") == "url":
            url = child.get("url", "")
            if not url.strip() or url in seen:
                continue
            seen.add(url)
        if "name" not in child:
            child["name"] = child.get("url", "No Name")
        kept.append(child)
    kept.reverse()
    node["children"] = kept
    return not kept


def sort(node, keep_own_order):
    for child in node.get("children", []):
        if child.get("type") == "folder":
            sort(child, False)
    if not keep_own_order:
        node["children"].sort(key=lambda c: (c.get("type") != "folder", c.get("name", "").casefold()))


def main(argv):
    if argv in (["-h"], ["--help"]):
        print(__doc__.strip())
        return
    if len(argv) != 2 or any(a.startswith("-") for a in argv):
        print("usage: bench/sort_chromium_json.py IN OUT", file=sys.stderr)
        sys.exit(64)
    src, out = argv
    probe = Probe()
    with open(src, encoding="utf-8") as f:
        data = json.load(f)
    for key, root in data["roots"].items():
        clean(root, set())
        sort(root, key == "bookmark_bar")
    data["checksum"] = checksum(data["roots"])
    tmp = out + ".tmp"
    with open(tmp, "w", encoding="utf-8") as f:
        json.dump(data, f, indent=3, sort_keys=True, ensure_ascii=False)
        f.write("\n")
        f.flush()
        os.fsync(f.fileno())
    os.replace(tmp, out)
    probe.report(src)


if __name__ == "__main__":
    main(sys.argv[1:])
