# Makes the Debian package of a build with CPack and checks what it holds: every file under /usr,
# the programs, pages, completions and desktop files where Debian looks for them, the bus's
# activation file naming /usr/bin/orvane, and the control fields apt and lintian need.
#   cmake -DCPACK=<cpack> -DBUILD=<build folder> -DVERSION=<version> -DSCRATCH=<scratch folder> -P check_package.cmake
file(REMOVE_RECURSE "${SCRATCH}")
file(MAKE_DIRECTORY "${SCRATCH}")
execute_process(COMMAND "${CPACK}" -G DEB --config "${BUILD}/CPackConfig.cmake" -B "${SCRATCH}"
                OUTPUT_VARIABLE out ERROR_VARIABLE out RESULT_VARIABLE failed)
file(GLOB deb "${SCRATCH}/orvane_*.deb")
if(failed OR NOT deb)
  message(FATAL_ERROR "cpack made no package:\n${out}")
endif()

execute_process(COMMAND dpkg-deb --contents "${deb}" OUTPUT_VARIABLE listing COMMAND_ERROR_IS_FATAL ANY)
string(REGEX MATCHALL "[^ ]+\n" entries "${listing}")
set(files)
foreach(entry ${entries})
  string(STRIP "${entry}" entry)
  string(REGEX REPLACE "^\\./" "/" entry "${entry}")
  if(NOT entry MATCHES "^/usr/")
    if(NOT entry STREQUAL "/" AND NOT entry STREQUAL "/usr/")
      message(FATAL_ERROR "outside /usr: ${entry}")
    endif()
  elseif(NOT entry MATCHES "/$")
    list(APPEND files "${entry}")
  endif()
endforeach()
foreach(item
    /usr/bin/orvane /usr/bin/orvane-cli /usr/bin/orvane-helper
    /usr/share/applications/com.marrowfen.Orvane.desktop
    /usr/share/metainfo/com.marrowfen.Orvane.metainfo.xml
    /usr/share/icons/hicolor/scalable/apps/com.marrowfen.Orvane.svg
    /usr/share/icons/hicolor/48x48/apps/com.marrowfen.Orvane.png
    /usr/share/dbus-1/services/com.marrowfen.Orvane.service
    /usr/share/man/man1/orvane.1.gz /usr/share/man/man1/orvane-cli.1.gz /usr/share/man/man1/orvane-helper.1.gz
    /usr/share/bash-completion/completions/orvane-cli
    /usr/share/zsh/vendor-completions/_orvane-cli
    /usr/share/fish/vendor_completions.d/orvane-cli.fish
    /usr/share/doc/orvane/copyright /usr/share/doc/orvane/changelog.Debian.gz)
  list(FIND files "${item}" at)
  if(at LESS 0)
    message(FATAL_ERROR "not in the package: ${item}\n${listing}")
  endif()
endforeach()

execute_process(COMMAND dpkg-deb --fsys-tarfile "${deb}" COMMAND tar -xO ./usr/share/dbus-1/services/com.marrowfen.Orvane.service
                OUTPUT_VARIABLE activation COMMAND_ERROR_IS_FATAL ANY)
if(NOT activation MATCHES "\nExec=/usr/bin/orvane\n")
  message(FATAL_ERROR "the activation file says:\n${activation}")
endif()

execute_process(COMMAND dpkg-deb --field "${deb}" Package Version Section Priority Maintainer Depends Description
                OUTPUT_VARIABLE control COMMAND_ERROR_IS_FATAL ANY)
foreach(field "Package: orvane\n" "Version: ${VERSION}-[0-9]+\n" "Section: utils\n" "Priority: optional\n"
              "Maintainer: [^\n]+ <[^@\n]+@[^>\n]+>\n" "Depends: [^\n]*libqt6widgets6[^\n]*\n" "Description: [^\n]+\n [^\n]+")
  if(NOT control MATCHES "${field}")
    message(FATAL_ERROR "no field matching '${field}' in:\n${control}")
  endif()
endforeach()
file(REMOVE_RECURSE "${SCRATCH}")
