# Headers, both libraries, the command with its man page and completions, the package configuration, tovkit.pc; and the
# .deb that CPack makes of them.
include(CMakePackageConfigHelpers)

set(exported_targets tovkit)
if(NOT TOVKIT_CORE_DIR)
  list(APPEND exported_targets tovmx)
  install(DIRECTORY core/include/tovmx DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
endif()
install(DIRECTORY include/tovkit DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(TARGETS ${exported_targets} EXPORT tovkitTargets LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(EXPORT tovkitTargets NAMESPACE tovkit:: DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/tovkit)
if(TARGET tovkit_command)
  install(TARGETS tovkit_command DESTINATION ${CMAKE_INSTALL_BINDIR})
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
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/tovkit)
# Found from where the file is, so that a prefix given to `cmake --install`, or moved later, is right too.
file(RELATIVE_PATH pkgconfig_to_prefix "/${CMAKE_INSTALL_LIBDIR}/pkgconfig" /)
string(REGEX REPLACE "/$" "" pkgconfig_to_prefix "${pkgconfig_to_prefix}")
configure_file(packaging/tovkit.pc.in "${PROJECT_BINARY_DIR}/tovkit.pc" @ONLY)
install(FILES "${PROJECT_BINARY_DIR}/tovkit.pc" DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
install(FILES LICENSE RENAME copyright DESTINATION ${CMAKE_INSTALL_DOCDIR})

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME tovkit)
set(CPACK_PACKAGE_VERSION ${TOVKIT_VERSION_TEXT})
set(CPACK_PACKAGE_CONTACT "the tovkit authors <authors@tovkit.invalid>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "Utility library of a document-rendering product, its graphics core and command")
set(CPACK_RESOURCE_FILE_LICENSE "${PROJECT_SOURCE_DIR}/LICENSE")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS "fonts-dejavu-core, fonts-arphic-uming, fonts-noto-color-emoji")
set(CPACK_DEBIAN_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_STRIP_FILES ON)
include(CPack)
