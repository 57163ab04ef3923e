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

here=$(cd "$(dirname "$0")" && pwd)
source "$here/compare_common.sh"
build=${1:-build}
count=${2:-100000}
runs=${ORVANE_BENCH_RUNS:-5}
python=${PYTHON3:-python3}

tool="$build/bench/plist_peak_memory"
data="$build/bench/bookmarks-$count.plist"
out_ours="$build/bench/bookmarks-$count.orvane-out.plist"
out_python="$build/bench/bookmarks-$count.plistlib-out.plist"

if [[ ! -x "$tool" ]]; then
    echo "no $tool: build it first (cmake --build $build --target plist_peak_memory)" >&2
    exit 1
fi
make_data "$data" "$count"

# Prints "seconds cpu_seconds peak_kib baseline_kib" for one plistlib run.
python_job='
import os, plistlib, resource, sys, time
src, out = sys.argv[1], sys.argv[2]
def cpu():
    r = resource.getrusage(resource.RUSAGE_SELF)
    return r.ru_utime + r.ru_stime
baseline = resource.getrusage(resource.RUSAGE_SELF).ru_maxrss
start, cpu_start = time.perf_counter(), cpu()
with open(src, "rb") as f:
    tree = plistlib.load(f)
tmp = out + ".tmp"
with open(tmp, "wb") as f:
    plistlib.dump(tree, f, fmt=plistlib.FMT_BINARY, sort_keys=False)
    f.flush()
    os.fsync(f.fileno())
os.replace(tmp, out)
seconds, cpu_seconds = time.perf_counter() - start, cpu() - cpu_start
print(seconds, cpu_seconds, resource.getrusage(resource.RUSAGE_SELF).ru_maxrss, baseline)
'

# Prints "seconds cpu_seconds peak_kib baseline_kib" for one run of ours.
ours_job() {
    "$tool" "$data" "$out_ours" | probe_fields
}

size=$(stat -c %s "$data")
echo "file: $data ($count bookmarks, $size bytes), best of $runs runs"
# Runs alternate between the two, so that a change in the machine's load hits both alike.
results=$(for ((i = 0; i < runs; i++)); do
    echo "py $("$python" -c "$python_job" "$data" "$out_python")"
    echo "our $(ours_job)"
done)
py_best=$(grep '^py ' <<<"$results" | cut -d' ' -f2- | best_of)
our_best=$(grep '^our ' <<<"$results" | cut -d' ' -f2- | best_of)

# Both outputs must hold the same tree, or the comparison means nothing.
"$python" -c '
import plistlib, sys
a, b = (plistlib.load(open(p, "rb")) for p in sys.argv[1:])
sys.exit(0 if a == b else "the two outputs differ")' "$out_python" "$out_ours"

printf 'plistlib %s\norvane %s\n' "$py_best" "$our_best" | print_table "$size"
