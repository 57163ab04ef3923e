#!/usr/bin/env python3
"""Checks that the sorted files a benchmark produced are right, so its numbers mean something.

    python3 bench/check_sorted.py [--plistlib FILE] SOURCE SORTED...

Each SORTED is a Safari-style file that the sort job made from SOURCE. It must hold every
bookmark of SOURCE except repeated addresses within one region (the Bookmarks Bar, the Bookmarks
Menu, the rest of the root level), each address once; the hidden root folders as they were;
folders ahead of bookmarks; and titles of plain ASCII letters, digits and blanks in alphabetical
order, case ignored. The last check assumes a locale that orders those characters as ICU's root
order does, which the common ones do. With --plistlib, FILE is what bench/sort_plistlib.py made,
whose folders must be in its own order.

Silent when everything holds; otherwise lists the problems on standard error and exits 1.
"""

import argparse
import plistlib
import re
import sys
from collections import Counter

RANK = {"WebBookmarkTypeProxy": 0, "WebBookmarkTypeList": 1, "WebBookmarkTypeLeaf": 2}
PLAIN = re.compile(r"[A-Za-z0-9 ]*\Z")


def title(n):
    t = n.get("Title")
    if t is None:
        t = n.get("URIDictionary", {}).get("title")
    return t if isinstance(t, str) else ""


def rank(n):
    return RANK.get(n.get("WebBookmarkType"), 3)


def sortable_at_root(child):
    kind = child.get("WebBookmarkType")
    if kind == "WebBookmarkTypeLeaf":
        return True
    return kind == "WebBookmarkTypeList" and not child.get("ShouldOmitFromUI") and \
        child.get("Title") not in ("BookmarksBar", "BookmarksMenu")


def folders(node, side, problems, path=None):
    """Every folder that both sides sort: not hidden, and not the bar's own entries. At the root,
    the sorted entries follow the ones left in place."""
    if node.get("ShouldOmitFromUI") or not isinstance(node.get("Children"), list):
        return
    here = "" if path is None else path + "/" + title(node)
    children = node["Children"]
    if path is None:
        moved = [sortable_at_root(c) for c in children]
        if moved != sorted(moved):
            problems.append("%s: an entry left in place follows a sorted one at the root" % side)
        children = [c for c in children if sortable_at_root(c)]
    if node.get("Title") != "BookmarksBar":
        yield here, children
    for child in node["Children"]:
        yield from folders(child, side, problems, here)


def regions(root):
    """The three parts that are cleaned each on its own, and the root folders left alone."""
    bar, menu, rest, untouched = [], [], [], []
    for child in root["Children"]:
        kind, t = child.get("WebBookmarkType"), child.get("Title")
        if t == "BookmarksBar" and kind == "WebBookmarkTypeList":
            bar.append(child)
        elif t == "BookmarksMenu" and kind == "WebBookmarkTypeList":
            menu.append(child)
        elif kind == "WebBookmarkTypeList" and child.get("ShouldOmitFromUI"):
            untouched.append(child)
        elif kind in ("WebBookmarkTypeList", "WebBookmarkTypeLeaf"):
            rest.append(child)
    return [bar, menu, rest], untouched


def addresses(nodes):
    out = Counter()
    stack = list(nodes)
    while stack:
        n = stack.pop()
        if n.get("WebBookmarkType") == "WebBookmarkTypeLeaf" and str(n.get("URLString", "")).strip():
            out[n["URLString"]] += 1
        stack.extend(n.get("Children", []))
    return out


def check_plistlib(path, problems):
    side = "plistlib (%s)" % path
    for where, children in folders(load(path), side, problems):
        keys = [(rank(c), title(c).casefold()) for c in children]
        if keys != sorted(keys):
            problems.append("%s: %s is not in order" % (side, where))
            break


def check_ours(source, path, problems):
    side, ours = path, load(path)
    found = len(problems)
    for where, children in folders(ours, side, problems):
        for a, b in zip(children, children[1:]):
            ta, tb = title(a), title(b)
            if rank(a) > rank(b) or (rank(a) == rank(b) and PLAIN.match(ta) and PLAIN.match(tb) and
                                     ta.casefold() > tb.casefold()):
                problems.append("%s: %s holds %r before %r" % (side, where, ta, tb))
                break
        if len(problems) - found > 5:
            break
    (src_regions, src_untouched), (our_regions, our_untouched) = regions(source), regions(ours)
    for name, before, after in zip(("Bookmarks Bar", "Bookmarks Menu", "root level"), src_regions, our_regions):
        want, got = addresses(before), addresses(after)
        if set(got) != set(want) or any(n != 1 for n in got.values()):
            problems.append("%s: the %s lost addresses or kept repeats (%d distinct in, %d bookmarks out)"
                            % (side, name, len(want), sum(got.values())))
    if addresses(src_untouched) != addresses(our_untouched):
        problems.append("%s: a hidden root folder changed" % side)


def load(path):
    with open(path, "rb") as f:
        return plistlib.load(f)


def main(argv):
    parser = argparse.ArgumentParser(prog="check_sorted.py", description=__doc__.strip().splitlines()[0])
    parser.add_argument("--plistlib", metavar="FILE", help="bench/sort_plistlib.py's output of SOURCE")
    parser.add_argument("source", metavar="SOURCE", help="the file before sorting")
    parser.add_argument("sorted", metavar="SORTED", nargs="+", help="the sort job's output of SOURCE")
    args = parser.parse_args(argv)
    problems = []
    if args.plistlib:
        check_plistlib(args.plistlib, problems)
    source = load(args.source)
    for path in args.sorted:
        check_ours(source, path, problems)
    if problems:
        sys.exit("the outputs are wrong:\n  " + "\n  ".join(problems))


if __name__ == "__main__":
    main(sys.argv[1:])
