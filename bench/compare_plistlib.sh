#!/usr/bin/env bash
# Reads and rewrites a large bookmarks file with Python's plistlib and with plist_peak_memory,
# and prints time, peak memory and speed-up side by side.
#
#   bench/compare_plistlib.sh [BUILD_DIR [BOOKMARKS]]     (defaults: build 100000)
#
# Both sides do the same job: load the binary file, write it again in binary to a temporary file,
# flush it to disk and rename it into place. Both time only that job, in-process (not the start
# of the interpreter or program), and take the best of ORVANE_BENCH_RUNS runs (default 5). CPU
# seconds (user + system) are shown beside wall seconds because the machine may be shared. Peak
# memory is the process's peak RSS (getrusage), the interpreter's or program's baseline included.
set -euo pipefail
usage="usage: bench/compare_plistlib.sh [BUILD_DIR [BOOKMARKS]]
Reads and rewrites a generated file of BOOKMARKS bookmarks (default 100000) with plistlib and with
BUILD_DIR/bench/plist_peak_memory (default build), and prints time and peak memory side by side."
if [[ $# -eq 1 && ($1 == -h || $1 == --help) ]]; then echo "$usage"; exit 0; fi
if (($# > 2)) || [[ ${1:-} == -* || ! ${2:-0} =~ ^[0-9]+$ ]]; then echo "$usage" >&2; exit 64; fi

here=$(cd "$(dirname "$0")" && pwd)
source "$here/compare_common.sh"
setup "$@"
out_ours="$build/bench/bookmarks-$count.orvane-out.plist"
out_python="$build/bench/bookmarks-$count.plistlib-out.plist"
compare "$here/sort_plistlib.py" --no-sort "$data" "$out_python" -- "$data" "$out_ours"

# Both outputs must hold the same tree, or the comparison means nothing.
"$python" -c '
import plistlib, sys
a, b = (plistlib.load(open(p, "rb")) for p in sys.argv[1:])
sys.exit(0 if a == b else "the two outputs differ")' "$out_python" "$out_ours"

printf 'plistlib %s\norvane %s\n' "$py_best" "$our_best" | print_table "$size"
