# Installs the build into a scratch prefix and checks the layout that desktops and scripts rely
# on: cmake -DBUILD=<build folder> -DPREFIX=<scratch folder> -P check_install.cmake
file(REMOVE_RECURSE "${PREFIX}")
execute_process(COMMAND "${CMAKE_COMMAND}" --install "${BUILD}" --prefix "${PREFIX}" OUTPUT_QUIET RESULT_VARIABLE failed)
if(failed)
  message(FATAL_ERROR "cmake --install failed")
endif()
set(expected
  bin/orvane
  bin/orvane-cli
  bin/orvane-helper
  share/dbus-1/services/com.marrowfen.Orvane.service
  share/applications/com.marrowfen.Orvane.desktop
  share/metainfo/com.marrowfen.Orvane.metainfo.xml
  share/icons/hicolor/scalable/apps/com.marrowfen.Orvane.svg
  share/icons/hicolor/16x16/apps/com.marrowfen.Orvane.png
  share/icons/hicolor/512x512/apps/com.marrowfen.Orvane.png
  share/man/man1/orvane.1.gz
  share/man/man1/orvane-cli.1.gz
  share/man/man1/orvane-helper.1.gz
  share/bash-completion/completions/orvane-cli
  share/zsh/vendor-completions/_orvane-cli
  share/fish/vendor_completions.d/orvane-cli.fish
  )
foreach(item ${expected})
  if(NOT EXISTS "${PREFIX}/${item}")
    message(FATAL_ERROR "not installed: ${item}")
  endif()
endforeach()
# The bus must start the installed orvane, wherever the prefix is.
file(STRINGS "${PREFIX}/share/dbus-1/services/com.marrowfen.Orvane.service" exec REGEX "^Exec=")
if(NOT exec STREQUAL "Exec=${PREFIX}/bin/orvane")
  message(FATAL_ERROR "the activation file says ${exec}")
endif()
file(REMOVE_RECURSE "${PREFIX}")
