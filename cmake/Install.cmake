# Headers, both libraries, the package configuration, tovkit.pc.
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
endif()

configure_package_config_file(cmake/tovkitConfig.cmake.in "${PROJECT_BINARY_DIR}/tovkitConfig.cmake"
  INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/tovkit)
write_basic_package_version_file("${PROJECT_BINARY_DIR}/tovkitConfigVersion.cmake" COMPATIBILITY SameMajorVersion)
install(FILES "${PROJECT_BINARY_DIR}/tovkitConfig.cmake" "${PROJECT_BINARY_DIR}/tovkitConfigVersion.cmake"
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/tovkit)
configure_file(packaging/tovkit.pc.in "${PROJECT_BINARY_DIR}/tovkit.pc" @ONLY)
install(FILES "${PROJECT_BINARY_DIR}/tovkit.pc" DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
