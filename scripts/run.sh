#!/usr/bin/env bash
# The main job: install what is missing, build, then sort a copy of the bundled sample bookmarks
# file in a scratch folder: its outline before, what a sort would do (dry run), the sort itself,
# and the outline after.
set -euo pipefail
usage="usage: scripts/run.sh
Installs what is missing, builds, and sorts a copy of examples/Bookmarks.plist in a scratch
folder, showing it before and after."
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
