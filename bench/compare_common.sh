# Helpers shared by the bench/compare_*.sh scripts; sourced, not run. They expect `here` to be the
# bench folder and `python` the Python to use (setup sets it).

# setup BUILD_DIR BOOKMARKS [GENERATOR FILE-NAME]: sets build, count, runs, python, tool and data,
# checks that the probe is built and makes the generated file when it is missing (a Safari file
# from make_bookmarks.py unless another generator and file name are given).
setup() {
    build=${1:-build}
    count=${2:-100000}
    runs=${ORVANE_BENCH_RUNS:-5}
    python=${PYTHON3:-python3}
    tool="$build/bench/plist_peak_memory"
    generator=${3:-make_bookmarks.py}
    data="$build/bench/${4:-bookmarks-$count.plist}"
    if [[ ! -x "$tool" ]]; then
        echo "no $tool: build it first (cmake --build $build --target plist_peak_memory)" >&2
        exit 1
    fi
    make_data "$data" "$count"
    size=$(stat -c %s "$data")
    echo "file: $data ($count bookmarks, $size bytes), best of $runs runs"
}

# compare PYTHON_ARGS... -- TOOL_ARGS...: runs both jobs `runs` times, alternating so that a change
# in the machine's load hits both alike, and sets py_best and our_best to their best runs.
compare() {
    local py_args=() our_args=()
    while [[ $1 != -- ]]; do py_args+=("$1"); shift; done
    shift
    our_args=("$@")
    local results
    results=$(for ((i = 0; i < runs; i++)); do
        echo "py $("$python" "${py_args[@]}" | probe_fields)"
        echo "our $("$tool" "${our_args[@]}" | probe_fields)"
    done)
    py_best=$(grep '^py ' <<<"$results" | cut -d' ' -f2- | best_of)
    our_best=$(grep '^our ' <<<"$results" | cut -d' ' -f2- | best_of)
}

# make_data FILE COUNT: makes the generated bookmarks file of COUNT bookmarks (seed 1) unless it
# is there, with `generator` (default make_bookmarks.py); through a temporary name, so an
# interrupted run leaves nothing that looks finished.
make_data() {
    local data=$1 count=$2
    [[ -f "$data" ]] && return 0
    echo "making $data ($count bookmarks)..." >&2
    "$python" "$here/${generator:-make_bookmarks.py}" "$count" "$data.partial" --seed 1
    mv "$data.partial" "$data"
}

# Reads the "name: value" lines of plist_peak_memory or sort_plistlib.py; prints
# "seconds cpu_seconds peak_kib baseline_kib".
probe_fields() {
    awk -F': ' '
        $1 == "seconds" { s = $2 } $1 == "cpu_seconds" { c = $2 }
        $1 == "peak_rss_kib" { p = $2 } $1 == "baseline_rss_kib" { b = $2 }
        END { if (s == "" || p == "") exit 1; print s, c, p, b }'
}

# Reads "seconds cpu peak baseline" lines; prints the best times and the largest peak and baseline.
best_of() {
    awk 'NR == 1 || $1 < s { s = $1 } NR == 1 || $2 < c { c = $2 } $3 > p { p = $3 } $4 > b { b = $4 }
         END { print s, c, p, b }'
}

# print_table FILE_BYTES: reads "tool seconds cpu peak baseline" lines, the first being the one the
# others are measured against, and prints them as a table with the speed-ups.
print_table() {
    awk -v size="$1" '
    NR == 1 {
        printf "%-9s %9s %9s %13s %10s %17s %10s %10s\n", "tool", "wall s", "cpu s", "peak RSS MiB", "peak/file",
            "(peak-base)/file", "speed-up", "cpu s-up"
        rs = $2; rc = $3
    }
    {
        printf "%-9s %9.4f %9.4f %13.1f %10.2f %17.2f %9.1fx %9.1fx\n", $1, $2, $3, $4 / 1024, $4 * 1024 / size,
            ($4 - $5) * 1024 / size, rs / $2, rc / $3
    }'
}
