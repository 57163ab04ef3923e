#!/usr/bin/env bash
# Every test: install what is missing, build the optimised programs (and benchmarks) and a
# build with AddressSanitizer and UndefinedBehaviorSanitizer, then run the whole suite under
# the sanitizers, fuzz-corpus replays included.
set -euo pipefail
usage="usage: scripts/test.sh
Installs what is missing, builds build/ and the sanitizer build build-asan/, and runs every test
under AddressSanitizer and UBSan."
case "$#:${1:-}" in
  0:) ;;
  1:-h | 1:--help) echo "$usage"; exit 0 ;;
  *) echo "$usage" >&2; exit 64 ;;
esac
cd "$(dirname "$0")/.."
scripts/install-deps.sh
scripts/build.sh build
scripts/build.sh build-asan -DORVANE_SANITIZE=ON -DCMAKE_BUILD_TYPE=Debug
# The real Safari files are third-party data kept beside the clone, never in it; without them their
# tests are skipped, and tests/data/safari stands in.
[[ -d ../shared/data/real ]] ||
  echo "Skipping the tests of the real Safari files: ../shared/data/real is not beside this clone (third-party data, kept outside the project)."
export ASAN_OPTIONS=detect_leaks=1:abort_on_error=1 UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1
ctest --test-dir build-asan --output-on-failure -j2
