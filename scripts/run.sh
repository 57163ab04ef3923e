#!/usr/bin/env bash
# The main job: install what is missing, build, then sort a copy of the bundled sample bookmarks
# file in a scratch folder: its outline before, what a sort would do (dry run), the sort itself,
# and the outline after. With a display, it then opens Orvane's window on another scratch copy
# (its settings and backup in the scratch folder too) and shows that copy once the window is closed.
set -euo pipefail
usage="usage: scripts/run.sh
Installs what is missing, builds, and sorts a copy of examples/Bookmarks.plist in a scratch
folder, showing it before and after; with a display, then opens Orvane's window on another
scratch copy."
case "$#:${1:-}" in
  0:) ;;
  1:-h | 1:--help) echo "$usage"; exit 0 ;;
  *) echo "$usage" >&2; exit 64 ;;
esac
cd "$(dirname "$0")/.."
scripts/install-deps.sh
scripts/build.sh build
cli=build/cli/orvane-cli
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
cp examples/Bookmarks.plist "$scratch/Bookmarks.plist"

echo "== Before"
"$cli" print "$scratch/Bookmarks.plist"
echo
echo "== Dry run"
"$cli" sort --dry-run --backup "$scratch/backup.plist" "$scratch/Bookmarks.plist"
echo
echo "== Sort"
"$cli" sort --backup "$scratch/backup.plist" "$scratch/Bookmarks.plist"
echo
echo "== After"
"$cli" print "$scratch/Bookmarks.plist"

if [[ -z "${DISPLAY:-}${WAYLAND_DISPLAY:-}" ]]; then
  echo
  echo "(No display: to use the window, run build/bin/orvane on a desktop.)"
  exit 0
fi
echo
echo "== The window: press Sort Bookmarks, then close the window"
mkdir -p "$scratch/window/config/Marrowfen" "$scratch/window/Safari.app/Contents"
cp examples/Bookmarks.plist "$scratch/window/Bookmarks.plist"
printf '[General]\nBookmarksFilename=%s\n' "$scratch/window/Bookmarks.plist" >"$scratch/window/config/Marrowfen/Orvane.conf"
# A stand-in for Safari's bundle, so that this machine's missing Safari brings no update alert.
"$cli" convert --format xml -o "$scratch/window/Safari.app/Contents/Info.plist" - <<'PLIST'
<?xml version="1.0" encoding="UTF-8"?>
<plist version="1.0"><dict><key>CFBundleShortVersionString</key><string>17.1</string></dict></plist>
PLIST
XDG_CONFIG_HOME="$scratch/window/config" XDG_DATA_HOME="$scratch/window/data" \
  ORVANE_SAFARI_APP="$scratch/window/Safari.app" build/bin/orvane
echo
"$cli" print "$scratch/window/Bookmarks.plist"
