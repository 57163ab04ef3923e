#!/usr/bin/env bash
# Start-up time of the desktop program as a person sees it: from starting build/bin/orvane on a
# virtual X display to its main window being mapped, over several runs, with scratch settings and
# a stand-in Safari (no update alert). Needs xvfb and x11-utils (scripts/install-deps.sh --screenshot).
#   bench/window_startup.sh [BUILD] [RUNS]
set -euo pipefail
usage="usage: bench/window_startup.sh [BUILD] [RUNS]
Times build/bin/orvane from its start to its mapped window under Xvfb (default: build, 10 runs)."
case "${1:-}" in
  -h | --help) echo "$usage"; exit 0 ;;
  -*) echo "$usage" >&2; exit 64 ;;
esac
(($# <= 2)) || { echo "$usage" >&2; exit 64; }
cd "$(dirname "$0")/.."
build=${1:-build}
runs=${2:-10}
[[ -x "$build/bin/orvane" ]] || { echo "window_startup.sh: build $build first" >&2; exit 1; }
scratch=$(mktemp -d)
xvfb=""
trap '[[ -n "$xvfb" ]] && kill "$xvfb"; rm -rf "$scratch"' EXIT
mkdir -p "$scratch/Safari.app/Contents"
"$build/cli/orvane-cli" convert --format xml -o "$scratch/Safari.app/Contents/Info.plist" - <<'PLIST'
<?xml version="1.0" encoding="UTF-8"?>
<plist version="1.0"><dict><key>CFBundleShortVersionString</key><string>17.1</string></dict></plist>
PLIST
display=:$((190 + RANDOM % 50))
Xvfb "$display" -screen 0 1024x768x24 -nolisten tcp >/dev/null 2>&1 & xvfb=$!
export DISPLAY=$display
for _ in $(seq 50); do xdpyinfo >/dev/null 2>&1 && break; sleep 0.1; done
times=()
for ((i = 0; i < runs; i++)); do
  rm -rf "$scratch/config" "$scratch/data"
  start=$(date +%s%N)
  XDG_CONFIG_HOME="$scratch/config" XDG_DATA_HOME="$scratch/data" ORVANE_SAFARI_APP="$scratch/Safari.app" \
    DBUS_SESSION_BUS_ADDRESS=disabled: "$build/bin/orvane" >/dev/null 2>&1 &
  pid=$!
  until xwininfo -root -tree 2>/dev/null | grep -q '("orvane" "Orvane")  [0-9][0-9]'; do sleep 0.002; done
  times+=($(( ($(date +%s%N) - start) / 1000000 )))
  kill "$pid"; wait "$pid" 2>/dev/null || true
done
sorted=$(printf '%s\n' "${times[@]}" | sort -n)
echo "start to mapped window over $runs runs: median $(sed -n "$(( (runs + 1) / 2 ))p" <<<"$sorted") ms, best $(head -1 <<<"$sorted") ms, worst $(tail -1 <<<"$sorted") ms"
