#!/usr/bin/env bash
# Configures and builds one build folder: scripts/build.sh FOLDER [cmake options...]
set -euo pipefail
cd "$(dirname "$0")/.."
dir="${1:-build}"
shift || true
cmake -S . -B "$dir" -G Ninja "$@" >/dev/null
cmake --build "$dir"
