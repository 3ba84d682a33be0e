# SPDX-License-Identifier: MIT
# Headers, both libraries, the command with its man page and completions, the package configuration, tovkit.pc.
#
# Components, which the Debian packages are made of: library, development, and command for the rest.
include(CMakePackageConfigHelpers)
set(CMAKE_INSTALL_DEFAULT_COMPONENT_NAME command)
# Folders are everybody's to read, whatever the umask.
set(CMAKE_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
  OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)

set(exported_targets tovkit)
if(NOT TOVKIT_CORE_DIR)
  list(APPEND exported_targets tovmx)
  install(DIRECTORY core/include/tovmx DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT development)
endif()
install(DIRECTORY include/tovkit DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT development)
install(TARGETS ${exported_targets} EXPORT tovkitTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT library NAMELINK_COMPONENT development)
install(EXPORT tovkitTargets NAMESPACE tovkit:: DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/tovkit COMPONENT development)
if(TARGET tovkit_command)
  install(TARGETS tovkit_command DESTINATION ${CMAKE_INSTALL_BINDIR})
  install(TARGETS tovkit_worker DESTINATION ${CMAKE_INSTALL_LIBEXECDIR}/tovkit)
  install(FILES share/tovkit/openapi.json share/tovkit/line.schema.json share/tovkit/job.schema.json share/tovkit/result.schema.json DESTINATION ${CMAKE_INSTALL_DATADIR}/tovkit)
  install(FILES "${PROJECT_BINARY_DIR}/cli/tovkit.1" DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
  install(FILES "${PROJECT_BINARY_DIR}/cli/tovkit.bash" RENAME tovkit
          DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions)
  install(FILES "${PROJECT_BINARY_DIR}/cli/_tovkit" DESTINATION ${CMAKE_INSTALL_DATADIR}/zsh/vendor-completions)
  install(FILES "${PROJECT_BINARY_DIR}/cli/tovkit.fish" DESTINATION ${CMAKE_INSTALL_DATADIR}/fish/vendor_completions.d)
endif()

configure_package_config_file(cmake/tovkitConfig.cmake.in "${PROJECT_BINARY_DIR}/tovkitConfig.cmake"
  INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/tovkit)
write_basic_package_version_file("${PROJECT_BINARY_DIR}/tovkitConfigVersion.cmake" COMPATIBILITY SameMajorVersion)
install(FILES "${PROJECT_BINARY_DIR}/tovkitConfig.cmake" "${PROJECT_BINARY_DIR}/tovkitConfigVersion.cmake"
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/tovkit COMPONENT development)
# Found from where the file is, so that a prefix given to `cmake --install`, or moved later, is right too.
file(RELATIVE_PATH pkgconfig_to_prefix "/${CMAKE_INSTALL_LIBDIR}/pkgconfig" /)
string(REGEX REPLACE "/$" "" pkgconfig_to_prefix "${pkgconfig_to_prefix}")
configure_file(packaging/tovkit.pc.in "${PROJECT_BINARY_DIR}/tovkit.pc" @ONLY)
install(FILES "${PROJECT_BINARY_DIR}/tovkit.pc" DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)
# In a component of its own: the packages have their copyright files from packaging/debian.
install(FILES LICENSE RENAME copyright DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT license)
