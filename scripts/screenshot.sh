#!/usr/bin/env bash
# Takes the README's picture of the main window: starts a virtual X display with a small window
# manager, opens orvane on a scratch copy of the sample bookmarks (settings and data in a scratch
# home that also holds a Firefox and a Google Chrome profile, a stand-in Safari bundle so that no
# update alert covers the window), and saves the window, decorations included, as a PNG. With
# --chooser it first opens the "Bookmarks of" list with the keyboard, as a person would, and the
# picture takes in the list too.
#   scripts/screenshot.sh [--chooser] [OUTPUT.png] [LANGUAGE]     defaults: docs/main-window.png, en
set -euo pipefail
usage="usage: scripts/screenshot.sh [--chooser] [OUTPUT.png] [en|de|fr]
Takes a picture of Orvane's main window, frame included, under a virtual X display
(default: docs/main-window.png, in English); --chooser opens the list of bookmarks files first."
chooser=false
case "${1:-}" in
  -h | --help) echo "$usage"; exit 0 ;;
  --chooser) chooser=true; shift ;;
  -*) echo "$usage" >&2; exit 64 ;;
esac
(($# <= 2)) || { echo "$usage" >&2; exit 64; }
cd "$(dirname "$0")/.."
out="${1:-docs/main-window.png}"
language="${2:-en}"
case "$language" in en) locale=C.UTF-8 ;; de) locale=de_DE.UTF-8 ;; fr) locale=fr_FR.UTF-8 ;;
  *) echo "$usage" >&2; exit 64 ;; esac
scripts/install-deps.sh --screenshot
[[ -x build/bin/orvane ]] || scripts/build.sh build

scratch=$(mktemp -d)
pids=()
cleanup() { for pid in "${pids[@]}"; do kill "$pid" 2>/dev/null || true; done; rm -rf "$scratch"; }
trap cleanup EXIT
mkdir -p "$scratch/home/Library/Safari" "$scratch/Safari.app/Contents"
cp examples/Bookmarks.plist "$scratch/home/Library/Safari/Bookmarks.plist"
build/cli/orvane-cli convert --format xml -o "$scratch/Safari.app/Contents/Info.plist" - <<'PLIST'
<?xml version="1.0" encoding="UTF-8"?>
<plist version="1.0"><dict><key>CFBundleShortVersionString</key><string>17.1</string></dict></plist>
PLIST
# Profiles as the browsers leave them: Firefox's listed in profiles.ini, Chrome's named in "Local State".
firefox="$scratch/home/.mozilla/firefox"
mkdir -p "$firefox/k3x9w2la.default-release"
printf '[Profile0]\nName=default-release\nIsRelative=1\nPath=k3x9w2la.default-release\nDefault=1\n' >"$firefox/profiles.ini"
printf 'SQLite format 3\0' >"$firefox/k3x9w2la.default-release/places.sqlite"
chrome="$scratch/home/.config/google-chrome"
mkdir -p "$chrome/Profile 1"
printf '{"profile": {"info_cache": {"Profile 1": {"name": "Work"}}}}' >"$chrome/Local State"
printf '{"checksum": "", "roots": {"bookmark_bar": {"children": [], "id": "1", "name": "Bookmarks bar", "type": "folder"}, "other": {"children": [], "id": "2", "name": "Other bookmarks", "type": "folder"}, "synced": {"children": [], "id": "3", "name": "Mobile bookmarks", "type": "folder"}}, "version": 1}' >"$chrome/Profile 1/Bookmarks"

display=:$((90 + RANDOM % 100))
Xvfb "$display" -screen 0 800x600x24 -nolisten tcp >/dev/null 2>&1 & pids+=($!)
export DISPLAY=$display
for _ in $(seq 50); do xdpyinfo >/dev/null 2>&1 && break; sleep 0.1; done
openbox >/dev/null 2>&1 & pids+=($!)
# A window mapped before the window manager is ready stays without a frame.
for _ in $(seq 50); do xprop -root _NET_SUPPORTING_WM_CHECK 2>/dev/null | grep -q 'window id' && break; sleep 0.1; done
env HOME="$scratch/home" XDG_CONFIG_HOME="$scratch/home/.config" XDG_DATA_HOME="$scratch/home/.local/share" \
  ORVANE_SAFARI_APP="$scratch/Safari.app" LANG="$locale" LC_ALL="$locale" LANGUAGE="$language" \
  build/bin/orvane >"$scratch/orvane.log" 2>&1 & pids+=($!)

# The window, once the window manager has put its frame around it.
window="" frame=""
for _ in $(seq 100); do
  window=$(xwininfo -root -tree | awk '/\("orvane" "Orvane"\)/ && !/1x1\+/ && !found {print $1; found = 1}')
  [[ -n "$window" ]] && frame=$(xwininfo -id "$window" -children | awk '/Parent window id/ && !/root window/ {print $4}')
  [[ -n "$frame" ]] && break
  sleep 0.1
done
[[ -n "$frame" ]] || { echo "screenshot.sh: orvane's window did not appear:" >&2; cat "$scratch/orvane.log" >&2; exit 1; }
sleep 1  # the button's title settles after its animation
mkdir -p "$(dirname "$out")"
if ! $chooser; then
  import -window "$frame" "$out"
  echo "wrote $out"
  exit 0
fi

# The list opens below the window's frame edge, in a window of its own: the picture is the part of
# the screen that holds both.
xdotool windowactivate --sync "$window" 2>/dev/null || xdotool windowfocus --sync "$window"
# The window opens with the keyboard on the Sort button; the list comes just before it.
xdotool key --clearmodifiers shift+Tab
xdotool key --clearmodifiers alt+Down
geometry() { xwininfo -id "$1" | awk '/Absolute upper-left X/ {x=$NF} /Absolute upper-left Y/ {y=$NF}
  /Width:/ {w=$NF} /Height:/ {h=$NF} END {print x, y, x + w, y + h}'; }
read -r left top right bottom < <(geometry "$frame")
popup=""
for _ in $(seq 50); do
  popup=$(xwininfo -root -tree | awk '/\("orvane" "Orvane"\)/ && !/1x1\+/ {print $1}' | while read -r id; do
    [[ "$id" != "$window" ]] && xwininfo -id "$id" | grep -q 'Map State: IsViewable' && echo "$id"; done | head -1) || true
  [[ -n "$popup" ]] && break
  sleep 0.1
done
[[ -n "$popup" ]] || { echo "screenshot.sh: the list did not open" >&2; exit 1; }
sleep 0.5  # the list's opening animation
read -r pl pt pr pb < <(geometry "$popup")
((pl < left)) && left=$pl; ((pt < top)) && top=$pt; ((pr > right)) && right=$pr; ((pb > bottom)) && bottom=$pb
import -window root -crop "$((right - left))x$((bottom - top))+$left+$top" +repage "$out"
echo "wrote $out"
