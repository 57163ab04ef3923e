#!/usr/bin/env bash
# The Debian package: builds build-release/ in Release with Debian's hardening flags, makes
# orvane_VERSION-REVISION_ARCH.deb there with CPack (dependencies computed by dpkg-shlibdeps),
# checks it with lintian, and prints its path as the last line of standard output.
set -euo pipefail
usage="usage: scripts/package.sh [--no-check]
Installs what is missing, builds build-release/ in Release, makes the Debian package
build-release/orvane_VERSION-REVISION_ARCH.deb with CPack, checks it with lintian (which fails
the script on an error; --no-check skips it), and prints the package's path as its last line.
Install it with: sudo apt install ./build-release/orvane_*.deb"
check=yes
case "$#:${1:-}" in
  0:) ;;
  1:--no-check) check=no ;;
  1:-h | 1:--help) echo "$usage"; exit 0 ;;
  *) echo "$usage" >&2; exit 64 ;;
esac
cd "$(dirname "$0")/.."
scripts/install-deps.sh
scripts/install-deps.sh --package

# Debian's own compiler and linker flags (stack protector, fortified functions, read-only
# relocations, immediate binding), as its packages are built.
export DEB_BUILD_MAINT_OPTIONS=hardening=+all
cxxflags="$(dpkg-buildflags --get CPPFLAGS) $(dpkg-buildflags --get CXXFLAGS)"
ldflags=$(dpkg-buildflags --get LDFLAGS)
scripts/build.sh build-release -DCMAKE_BUILD_TYPE=Release -DORVANE_TESTS=OFF -DORVANE_BENCH=OFF \
  "-DCMAKE_CXX_FLAGS=$cxxflags" "-DCMAKE_EXE_LINKER_FLAGS=$ldflags"
rm -f build-release/orvane_*.deb
(cd build-release && cpack -G DEB)
deb=$(realpath build-release/orvane_*.deb)

if [[ $check == yes ]]; then
  # Errors fail the script; warnings and notes are shown.
  lintian --fail-on error --display-info "$deb"
fi
echo "$deb"
