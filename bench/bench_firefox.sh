#!/usr/bin/env bash
# Sorts a generated Firefox places.sqlite with the sort job (plist_peak_memory --sort, which sorts
# any format the engine knows) and prints its time and peak memory.
#
#   bench/bench_firefox.sh [BUILD_DIR [BOOKMARKS]]     (defaults: build 100000)
#
# The database comes from bench/make_places.py (seed 1): one large folder and many small ones,
# every item synced, so that removals write tombstones. Each run sorts a fresh copy of it; the
# time is that of the job alone, in-process, best of ORVANE_BENCH_RUNS runs (default 5); peak
# memory is the process's peak RSS.
set -euo pipefail
usage="usage: bench/bench_firefox.sh [BUILD_DIR [BOOKMARKS]]
Sorts a generated places.sqlite of BOOKMARKS bookmarks (default 100000) with the sort job of
BUILD_DIR/bench/plist_peak_memory (default build), and prints its time and peak memory."
if [[ $# -eq 1 && ($1 == -h || $1 == --help) ]]; then echo "$usage"; exit 0; fi
if (($# > 2)) || [[ ${1:-} == -* || ! ${2:-0} =~ ^[0-9]+$ ]]; then echo "$usage" >&2; exit 64; fi

here=$(cd "$(dirname "$0")" && pwd)
source "$here/compare_common.sh"
setup "${1:-build}" "${2:-100000}" make_places.py "places-${2:-100000}.sqlite"
work="$build/bench/places-$count.work.sqlite"
best=$(for ((i = 0; i < runs; i++)); do "$tool" --sort "$data" "$work" | probe_fields; done | best_of)
rm -f "$work" "$work-wal" "$work-shm"
printf 'orvane %s\n' "$best" | print_table "$size" | cut -c1-72  # no speed-up: nothing to compare with
