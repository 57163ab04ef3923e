#!/usr/bin/env bash
# Installs the Debian packages the build and the tests need, only when something is missing.
# Pass --fuzz to add clang's libFuzzer runtime, --screenshot what scripts/screenshot.sh needs,
# --package what scripts/package.sh needs.
set -euo pipefail
usage="usage: scripts/install-deps.sh [--fuzz | --screenshot | --package]
Installs the Debian packages that the build and the tests need, only when some are missing;
--fuzz adds clang and libFuzzer, --screenshot what scripts/screenshot.sh needs, --package what
scripts/package.sh needs (dpkg's tools and lintian)."
case "$#:${1:-}" in
  0: | 1:--fuzz | 1:--screenshot | 1:--package) ;;
  1:-h | 1:--help) echo "$usage"; exit 0 ;;
  *) echo "$usage" >&2; exit 64 ;;
esac

packages=(cmake ninja-build g++ pkg-config libgtest-dev libbenchmark-dev libplist-utils libicu-dev rapidjson-dev libsqlite3-dev
  qt6-base-dev qt6-tools-dev qt6-l10n-tools qt6-tools-dev-tools dbus xvfb xauth desktop-file-utils appstream
  groff-base zsh fish)
case "${1:-}" in
  --fuzz) packages+=(clang libclang-rt-dev) ;;
  --screenshot) packages+=(imagemagick openbox x11-utils xdotool) ;;
  --package) packages+=(dpkg-dev file lintian) ;;
esac

missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
command -v python3 >/dev/null 2>&1 || missing+=(python3)

if ((${#missing[@]})); then
  echo "Installing: ${missing[*]}"
  sudo=""
  [[ $(id -u) -eq 0 ]] || sudo="sudo"
  # Another apt (an unattended upgrade, a second build) may hold the lock: wait for it a while.
  wait=(-o DPkg::Lock::Timeout=600)
  $sudo apt-get "${wait[@]}" update -qq
  DEBIAN_FRONTEND=noninteractive $sudo apt-get "${wait[@]}" install -y -qq "${missing[@]}"
fi
