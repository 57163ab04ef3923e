#!/usr/bin/env bash
# Configures and builds one build folder: scripts/build.sh FOLDER [cmake options...]
set -euo pipefail
usage="usage: scripts/build.sh [FOLDER [CMAKE-OPTION...]]
Configures (Ninja) and builds FOLDER (default: build); the options go to cmake, e.g. -DORVANE_SANITIZE=ON."
case "${1:-}" in
  -h | --help) echo "$usage"; exit 0 ;;
  -*) echo "$usage" >&2; exit 64 ;;
esac
cd "$(dirname "$0")/.."
dir="${1:-build}"
shift || true
cmake -S . -B "$dir" -G Ninja "$@" >/dev/null
cmake --build "$dir"
