#!/usr/bin/env bash
# Sorts a generated Chromium Bookmarks file with bench/sort_chromium_json.py (Python's json) and
# with the sort job (plist_peak_memory --sort, which sorts any format the engine knows), and
# prints time, peak memory and speed-up side by side.
#
#   bench/compare_chromium.sh [BUILD_DIR [BOOKMARKS]]     (defaults: build 100000)
#
# Both start from the same file (bench/make_chromium_bookmarks.py, seed 1), clean and sort it by
# the same rules and write it through a new file that is flushed and renamed into place. Both
# time only the job, in-process, best of ORVANE_BENCH_RUNS runs (default 5), alternating; peak
# memory is the process's peak RSS. Afterwards both outputs must hold the same bookmarks.
set -euo pipefail
usage="usage: bench/compare_chromium.sh [BUILD_DIR [BOOKMARKS]]
Sorts a generated Chromium Bookmarks file of BOOKMARKS bookmarks (default 100000) with
bench/sort_chromium_json.py and with the sort job of BUILD_DIR/bench/plist_peak_memory (default
build), and prints time and peak memory side by side."
if [[ $# -eq 1 && ($1 == -h || $1 == --help) ]]; then echo "$usage"; exit 0; fi
if (($# > 2)) || [[ ${1:-} == -* || ! ${2:-0} =~ ^[0-9]+$ ]]; then echo "$usage" >&2; exit 64; fi

here=$(cd "$(dirname "$0")" && pwd)
source "$here/compare_common.sh"
setup "${1:-build}" "${2:-100000}" make_chromium_bookmarks.py "chromium-bookmarks-${2:-100000}.json"
out_ours="$build/bench/chromium-$count.orvane-sorted.json"
out_python="$build/bench/chromium-$count.python-sorted.json"
compare "$here/sort_chromium_json.py" "$data" "$out_python" -- --sort "$data" "$out_ours"

"$python" - "$out_python" "$out_ours" <<'PY'
import json, sys
def urls(path):
    out, stack = set(), list(json.load(open(path, encoding="utf-8"))["roots"].values())
    while stack:
        node = stack.pop()
        if node.get("type") == "url":
            out.add(node["url"])
        stack.extend(node.get("children", []))
    return out
theirs, ours = urls(sys.argv[1]), urls(sys.argv[2])
if theirs != ours:
    sys.exit("the outputs hold different bookmarks: %d only in Python's, %d only in ours"
             % (len(theirs - ours), len(ours - theirs)))
PY

printf 'json %s\norvane %s\n' "$py_best" "$our_best" | print_table "$size"
