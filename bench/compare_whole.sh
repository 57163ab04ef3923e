#!/usr/bin/env bash
# Times whole processes sorting one generated Safari file: bench/sort_plistlib.py (Python's
# plistlib) beside one or more orvane-cli programs, say a build before a change and one after it,
# in the same run, and prints the results as a Markdown table for README.
#
#   bench/compare_whole.sh [--build DIR] [--runs N] [--sizes "N..."] [--cli [NAME=]PATH]...
#
# For each size the file is made once by bench/make_bookmarks.py (seed 1) in DIR/bench, where the
# other comparisons keep theirs. Then come N rounds, each running every tool once, alternating so
# that a change in the machine's load hits all alike; the tool that goes first moves on by one
# each round. The tools are `python3 bench/sort_plistlib.py FILE OUT` and, for each orvane-cli,
# `orvane-cli sort --no-backup COPY` on a fresh copy of the file, made before the clock starts.
# Python is run as the interpreter itself (sys.executable), not through a wrapper script such as
# a version manager's shim, whose start would be counted against plistlib.
#
# Each process is measured whole, from its start to its exit, as a user waits for it: starting
# the interpreter or program and loading its libraries included. DIR/bench/whole_process
# (bench/whole_process.cpp) runs it, reading the monotonic clock to the microsecond and the peak
# RSS from wait4. GNU time gives wall time in hundredths of a second only, half of orvane-cli's
# 0.02 s on 10,000 bookmarks; a Python wrapper would be precise enough in time but passes its own
# peak RSS, 10 to 14 MB, on to every process it starts (the kernel keeps the larger peak across
# fork and exec), which is about all of orvane-cli's peak on that file. The table gives the
# median of the N runs, for time and for peak RSS each on its own; keep the machine quiet, as a
# build beside the benchmark slows the tools unevenly.
#
# Afterwards the last output of each orvane-cli is checked by bench/check_sorted.py, as
# bench/compare_sort.sh checks its own: every bookmark of the input is there except repeated
# addresses within one region, folders come first and plain titles are in order. The plistlib
# script's output must be in its own order.
#
# Sizes: 10,000 and 100,000 bookmarks unless told otherwise. To include a million, pass
# --sizes "10000 100000 1000000": its file (some 200 MB) takes a few minutes to make the first
# time, and plistlib about 30 s a run and some 2 GB (ten times the file). Below the table, one
# line a tool tells how its time grew from each size to the next: with both measured,
# time(1,000,000) / time(100,000).
set -euo pipefail
usage="usage: bench/compare_whole.sh [--build DIR] [--runs N] [--sizes \"N...\"] [--cli [NAME=]PATH]...
Times whole processes sorting a generated Safari file: bench/sort_plistlib.py and each orvane-cli
(sort --no-backup on a fresh copy), alternating, and prints the medians as a Markdown table.
  --build DIR         where the generated files go and whole_process is (default: build)
  --runs N            runs of each tool for each size (default: 5)
  --sizes \"N...\"      numbers of bookmarks (default: \"10000 100000\"; add 1000000 for the
                      million, which takes minutes)
  --cli [NAME=]PATH   an orvane-cli to time, named NAME in the table; repeat it to compare
                      builds, e.g. --cli before=old/cli/orvane-cli --cli after=build/cli/orvane-cli
                      (default: orvane=DIR/cli/orvane-cli)
  -h, --help          show this help"
fail_usage() {
    [[ -n ${1:-} ]] && echo "bench/compare_whole.sh: $1" >&2
    echo "$usage" >&2
    exit 64
}

build=build runs=5 sizes="10000 100000" cli_args=()
while (($# > 0)); do
    case $1 in
    -h | --help) echo "$usage"; exit 0 ;;
    --build | --runs | --sizes | --cli)
        (($# >= 2)) || fail_usage "$1 needs a value"
        option=$1 value=$2
        shift 2
        ;;
    --build=* | --runs=* | --sizes=* | --cli=*)
        option=${1%%=*} value=${1#*=}
        shift
        ;;
    *) fail_usage "unknown argument: $1" ;;
    esac
    case $option in
    --build) build=$value ;;
    --runs) runs=$value ;;
    --sizes) sizes=$value ;;
    --cli) cli_args+=("$value") ;;
    esac
done
[[ $runs =~ ^[1-9][0-9]*$ ]] || fail_usage "--runs takes a positive number"
read -r -a size_list <<<"$sizes"
((${#size_list[@]} > 0)) || fail_usage "--sizes takes one or more numbers"
declare -A seen_size
for count in "${size_list[@]}"; do
    [[ $count =~ ^[1-9][0-9]*$ ]] || fail_usage "--sizes takes numbers of bookmarks, not '$count'"
    [[ -z ${seen_size[$count]:-} ]] || fail_usage "--sizes names $count twice"
    seen_size[$count]=1
done
((${#cli_args[@]} > 0)) || cli_args=("orvane=$build/cli/orvane-cli")
names=()
declare -A path_of
for arg in "${cli_args[@]}"; do
    if [[ $arg =~ ^([A-Za-z0-9._-]+)=(.+)$ ]]; then
        name=${BASH_REMATCH[1]} path=${BASH_REMATCH[2]}
    else
        name=orvane path=$arg
    fi
    [[ $name != plistlib ]] || fail_usage "plistlib names the Python side; give the orvane-cli another NAME"
    for other in "${names[@]}"; do
        [[ $name != "$other" ]] || fail_usage "two --cli named $name: give each NAME= a name of its own"
    done
    [[ -x $path && -f $path ]] || fail_usage "no orvane-cli at $path"
    names+=("$name")
    path_of[$name]=$path
done

here=$(cd "$(dirname "$0")" && pwd)
source "$here/compare_common.sh"
python=${PYTHON3:-python3}
probe="$build/bench/whole_process"
if [[ ! -x "$probe" ]]; then
    echo "no $probe: build it first (cmake --build $build --target whole_process)" >&2
    exit 1
fi
interpreter=$("$python" -c 'import sys; print(sys.executable)')
tools=(plistlib "${names[@]}")

# measure TOOL COUNT: runs TOOL once on the file of COUNT bookmarks and prints
# "COUNT TOOL seconds cpu_seconds peak_kib".
measure() {
    local tool=$1 count=$2 work="$build/bench/whole-$2" command=() fields
    if [[ $tool == plistlib ]]; then
        command=("$interpreter" "$here/sort_plistlib.py" "$data" "$work/plistlib.plist")
    else
        cp "$data" "$work/$tool.plist"
        command=("${path_of[$tool]}" sort --no-backup "$work/$tool.plist")
    fi
    if ! fields=$("$probe" "${command[@]}" | probe_fields); then
        echo "$tool failed on $data: ${command[*]}" >&2
        exit 1
    fi
    echo "$count $tool $fields"
}

scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
for count in "${size_list[@]}"; do
    data="$build/bench/bookmarks-$count.plist"
    make_data "$data" "$count"
    mkdir -p "$build/bench/whole-$count"
    echo "$count $(stat -c %s "$data")" >>"$scratch/sizes"
    for ((run = 0; run < runs; run++)); do
        echo "$count bookmarks: run $((run + 1)) of $runs" >&2
        for ((k = 0; k < ${#tools[@]}; k++)); do
            measure "${tools[(run + k) % ${#tools[@]}]}" "$count" >>"$scratch/results"
        done
    done
    outputs=()
    for name in "${names[@]}"; do outputs+=("$build/bench/whole-$count/$name.plist"); done
    "$python" "$here/check_sorted.py" --plistlib "$build/bench/whole-$count/plistlib.plist" "$data" "${outputs[@]}"
done

"$python" - "$scratch/results" "$scratch/sizes" "$runs" "${tools[@]}" <<'PY'
import statistics, sys

results, sizes_file, runs, tools = sys.argv[1], sys.argv[2], int(sys.argv[3]), sys.argv[4:]
sizes = {}
for line in open(sizes_file):
    count, size = map(int, line.split())
    sizes[count] = size
samples = {}
for line in open(results):
    count, tool, seconds, cpu, peak = line.split()[:5]
    samples.setdefault((int(count), tool), []).append((float(seconds), float(cpu), int(peak)))
median = {key: [statistics.median(v[i] for v in values) for i in range(3)] for key, values in samples.items()}

print("Whole processes, start to exit; median of %d alternating runs each; peak is the peak RSS." % runs)
print()
print("| bookmarks | file | tool | wall s | CPU s | peak RSS | peak / file | speed-up |")
print("| ---: | ---: | --- | ---: | ---: | ---: | ---: | ---: |")
for count in sizes:
    base = median[(count, "plistlib")][0]
    for tool in tools:
        seconds, cpu, peak = median[(count, tool)]
        print("| {:,} | {:.1f} MB | {} | {:.3f} | {:.3f} | {:.1f} MiB | {:.2f} | {:.1f}x |".format(
            count, sizes[count] / 1e6, tool, seconds, cpu, peak / 1024, peak * 1024 / sizes[count], base / seconds))

ordered = sorted(sizes)
if len(ordered) > 1:
    print()
    for tool in tools:
        growth = ["{:,} to {:,} bookmarks ({:g}x): {:.1f}x".format(
            a, b, b / a, median[(b, tool)][0] / median[(a, tool)][0]) for a, b in zip(ordered, ordered[1:])]
        print("- time of %s: %s" % (tool, "; ".join(growth)))
PY
