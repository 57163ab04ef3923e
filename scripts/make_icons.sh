#!/usr/bin/env bash
# Renders resources/icons/com.marrowfen.Orvane.svg into the PNG sizes that the About panel and the
# icon theme use. Run it after changing the drawing, and commit the PNGs (the build does not
# render them). Needs rsvg-convert (Debian package librsvg2-bin).
set -euo pipefail
usage="usage: scripts/make_icons.sh
Renders resources/icons/com.marrowfen.Orvane.svg into resources/icons/orvane-SIZE.png."
case "$#:${1:-}" in
  0:) ;;
  1:-h | 1:--help) echo "$usage"; exit 0 ;;
  *) echo "$usage" >&2; exit 64 ;;
esac
cd "$(dirname "$0")/../resources/icons"
command -v rsvg-convert >/dev/null || { echo "make_icons.sh: rsvg-convert is missing: apt-get install librsvg2-bin" >&2; exit 69; }
for size in 16 24 32 48 64 128 256 512; do
  rsvg-convert -w "$size" -h "$size" com.marrowfen.Orvane.svg -o "orvane-$size.png"
done
