#!/usr/bin/env bash
# Installs the Debian packages the build and the tests need, only when something is missing.
# Pass --fuzz to add clang's libFuzzer runtime.
set -euo pipefail
usage="usage: scripts/install-deps.sh [--fuzz]
Installs the Debian packages that the build and the tests need, only when some are missing;
--fuzz adds clang and libFuzzer."
case "$#:${1:-}" in
  0: | 1:--fuzz) ;;
  1:-h | 1:--help) echo "$usage"; exit 0 ;;
  *) echo "$usage" >&2; exit 64 ;;
esac

packages=(cmake ninja-build g++ pkg-config libgtest-dev libbenchmark-dev libplist-utils libicu-dev
  qt6-base-dev qt6-tools-dev qt6-l10n-tools qt6-tools-dev-tools dbus xvfb xauth desktop-file-utils appstream)
if [[ "${1:-}" == "--fuzz" ]]; then packages+=(clang libclang-rt-dev); fi

missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
command -v python3 >/dev/null 2>&1 || missing+=(python3)

if ((${#missing[@]})); then
  echo "Installing: ${missing[*]}"
  sudo=""
  [[ $(id -u) -eq 0 ]] || sudo="sudo"
  $sudo apt-get update -qq
  DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -qq "${missing[@]}"
fi
