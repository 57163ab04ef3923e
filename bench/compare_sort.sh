#!/usr/bin/env bash
# Sorts a large unsorted bookmarks file with bench/sort_plistlib.py (Python's plistlib) and with
# the sort job (plist_peak_memory --sort), and prints time, peak memory and speed-up side by side.
#
#   bench/compare_sort.sh [BUILD_DIR [BOOKMARKS]]     (defaults: build 100000)
#
# Both sides start from the same generated file (bench/make_bookmarks.py, seed 1) and write the
# sorted tree in binary through a new file that is flushed and renamed into place. Ours does the
# full job: load, validate (broken and duplicate bookmarks and empty folders removed, same-named
# entries renamed), sort with folders first by the user's collation, change test and write; the
# script only sorts. Both time only the job, in-process (not the start of the interpreter or
# program), and take the best of ORVANE_BENCH_RUNS runs (default 5), alternating. CPU seconds
# (user + system) are shown beside wall seconds because the machine may be shared. Peak memory
# is the process's peak RSS (getrusage), the interpreter's or program's baseline included.
#
# Afterwards both outputs are checked: the script's folders must be in its order, and ours must
# hold every bookmark of the input except repeated addresses within one region, with folders
# ahead of bookmarks and ASCII titles in alphabetical order (case ignored). The last check
# assumes a locale that orders plain ASCII letters, digits and blanks as ICU's root order does,
# which the common ones do.
set -euo pipefail
usage="usage: bench/compare_sort.sh [BUILD_DIR [BOOKMARKS]]
Sorts a generated file of BOOKMARKS bookmarks (default 100000) with bench/sort_plistlib.py and
with the sort job of BUILD_DIR/bench/plist_peak_memory (default build), and prints time and peak
memory side by side."
if [[ $# -eq 1 && ($1 == -h || $1 == --help) ]]; then echo "$usage"; exit 0; fi
if (($# > 2)) || [[ ${1:-} == -* || ! ${2:-0} =~ ^[0-9]+$ ]]; then echo "$usage" >&2; exit 64; fi

here=$(cd "$(dirname "$0")" && pwd)
source "$here/compare_common.sh"
setup "$@"
out_ours="$build/bench/bookmarks-$count.orvane-sorted.plist"
out_python="$build/bench/bookmarks-$count.plistlib-sorted.plist"
compare "$here/sort_plistlib.py" "$data" "$out_python" -- --sort "$data" "$out_ours"

"$python" - "$data" "$out_python" "$out_ours" <<'PY'
import plistlib, re, sys
from collections import Counter

source, theirs, ours = (plistlib.load(open(p, "rb")) for p in sys.argv[1:])
RANK = {"WebBookmarkTypeProxy": 0, "WebBookmarkTypeList": 1, "WebBookmarkTypeLeaf": 2}
PLAIN = re.compile(r"[A-Za-z0-9 ]*\Z")
problems = []

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

def folders(node, path=None):
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
        yield from folders(child, here)

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

side = "plistlib"
for path, children in folders(theirs):
    keys = [(rank(c), title(c).casefold()) for c in children]
    if keys != sorted(keys):
        problems.append("plistlib: %s is not in order" % path)
        break

side = "ours"
for path, children in folders(ours):
    for a, b in zip(children, children[1:]):
        ta, tb = title(a), title(b)
        if rank(a) > rank(b) or (rank(a) == rank(b) and PLAIN.match(ta) and PLAIN.match(tb) and ta.casefold() > tb.casefold()):
            problems.append("ours: %s holds %r before %r" % (path, ta, tb))
            break
    if len(problems) > 5:
        break

(src_regions, src_untouched), (our_regions, our_untouched) = regions(source), regions(ours)
for name, before, after in zip(("Bookmarks Bar", "Bookmarks Menu", "root level"), src_regions, our_regions):
    want, got = addresses(before), addresses(after)
    if set(got) != set(want) or any(n != 1 for n in got.values()):
        problems.append("ours: the %s lost addresses or kept repeats (%d distinct in, %d bookmarks out)"
                        % (name, len(want), sum(got.values())))
if addresses(src_untouched) != addresses(our_untouched):
    problems.append("ours: a hidden root folder changed")

if problems:
    sys.exit("the outputs are wrong:\n  " + "\n  ".join(problems))
PY

printf 'plistlib %s\norvane %s\n' "$py_best" "$our_best" | print_table "$size"
