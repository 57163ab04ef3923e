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
# Afterwards bench/check_sorted.py checks both outputs: the script's folders must be in its
# order, and ours must hold every bookmark of the input except repeated addresses within one
# region, with folders ahead of bookmarks and ASCII titles in alphabetical order (case ignored).
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

"$python" "$here/check_sorted.py" --plistlib "$out_python" "$data" "$out_ours"

printf 'plistlib %s\norvane %s\n' "$py_best" "$our_best" | print_table "$size"
