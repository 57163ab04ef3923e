#!/usr/bin/env bash
# The main job: install what is missing, build, then convert the bundled sample bookmarks file
# to binary in a scratch folder and print its tree.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh
scripts/build.sh build
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
build/cli/orvane-cli convert -o "$scratch/Bookmarks.plist" examples/Bookmarks.plist
build/cli/orvane-cli print "$scratch/Bookmarks.plist"
