#!/usr/bin/env bash
# Runs one fuzz target with clang's libFuzzer: scripts/fuzz.sh binary|xml|openstep|safari_sort [SECONDS]
# New inputs that add coverage are merged into fuzz/corpus/TARGET (commit them); crashes land in
# fuzz/artifacts/.
set -euo pipefail
usage="usage: scripts/fuzz.sh binary|xml|openstep|safari_sort [SECONDS]
Runs one fuzz target with clang's libFuzzer for SECONDS (default 1200) and merges new inputs
that add coverage into fuzz/corpus/TARGET; crashes land in fuzz/artifacts/."
if [[ $# -eq 1 && ($1 == -h || $1 == --help) ]]; then echo "$usage"; exit 0; fi
if (($# < 1 || $# > 2)) || [[ ! $1 =~ ^(binary|xml|openstep|safari_sort)$ || ! ${2:-1200} =~ ^[0-9]+$ ]]; then echo "$usage" >&2; exit 64; fi
cd "$(dirname "$0")/.."
target="$1"
seconds="${2:-1200}"
scripts/install-deps.sh --fuzz
scripts/build.sh build-fuzz -DORVANE_FUZZ=ON -DCMAKE_CXX_COMPILER=clang++ -DCMAKE_BUILD_TYPE=RelWithDebInfo
mkdir -p fuzz/artifacts
found=$(mktemp -d)
trap 'rm -rf "$found"' EXIT
dict=()
[[ -f "fuzz/$target.dict" ]] && dict=(-dict="fuzz/$target.dict")
"build-fuzz/fuzz/fuzz_$target" "${dict[@]}" -max_total_time="$seconds" -max_len=16384 -timeout=30 -rss_limit_mb=2048 \
  -print_final_stats=1 -artifact_prefix=fuzz/artifacts/ "$found" "fuzz/corpus/$target"
"build-fuzz/fuzz/fuzz_$target" -merge=1 "fuzz/corpus/$target" "$found"
