# The Debian package, made by CPack from the same install rules as `cmake --install`:
# scripts/package.sh builds it in Release, and tests/packaging checks what it holds.
include(GNUInstallDirs)

# Debian's revision of the project's version: raise it for a new package of the same version.
set(ORVANE_DEBIAN_REVISION 1)
set(ORVANE_DEBIAN_VERSION ${PROJECT_VERSION}-${ORVANE_DEBIAN_REVISION})

# Debian's policy wants the copyright file and the changelog, compressed, in the package's
# documentation folder, which is named after the package.
set(docdir ${CMAKE_INSTALL_DATADIR}/doc/orvane)
configure_file(${CMAKE_CURRENT_LIST_DIR}/changelog.in changelog.Debian @ONLY)
add_custom_command(OUTPUT changelog.Debian.gz
  COMMAND ${ORVANE_GZIP} -9 -n -c changelog.Debian > changelog.Debian.gz
  DEPENDS ${CMAKE_CURRENT_BINARY_DIR}/changelog.Debian)
add_custom_target(debian_changelog ALL DEPENDS changelog.Debian.gz)
install(FILES ${CMAKE_CURRENT_LIST_DIR}/copyright ${CMAKE_CURRENT_BINARY_DIR}/changelog.Debian.gz DESTINATION ${docdir})

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME orvane)
set(CPACK_PACKAGE_VENDOR Marrowfen)
set(CPACK_PACKAGE_CONTACT "The Orvane developers <orvane@marrowfen.com>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "bookmark sorter for Safari, Chromium and Firefox")
set(CPACK_PACKAGE_DESCRIPTION
    "Orvane sorts every folder of a bookmarks file by title, case ignored and
in the order of the user's language. It drops bookmarks without an address
and folders left empty, and can put folders ahead of bookmarks, remove
duplicate addresses, give entries of one name distinct names and sort the
bookmarks bar too. A file already in order is never rewritten, and a copy
of the bookmarks made before the first change can be put back at any time.

The package holds the desktop program orvane, its background helper
orvane-helper, which sorts the bookmarks whenever they change, and the
command-line tool orvane-cli for terminals and scripts. It reads Safari's
Bookmarks.plist, the Bookmarks file of Chromium, Chrome, Edge, Brave,
Vivaldi and Opera profiles, and the places.sqlite of Firefox, LibreWolf,
Floorp and Waterfox profiles.")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE ${ORVANE_DEBIAN_REVISION})
set(CPACK_DEBIAN_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_HOMEPAGE "https://www.marrowfen.com/orvane/")
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# Qt's own catalogues translate the standard dialogs' buttons, as Orvane's translate the rest.
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS qt6-translations-l10n)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
include(CPack)
