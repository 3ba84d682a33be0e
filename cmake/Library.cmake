# SPDX-License-Identifier: MIT
# libtovkit.so, put together from the subsystems.
set(subsystem_targets)
foreach(name IN ITEMS json convert imaging util geometry system)
  list(APPEND subsystem_targets tovkit_${name})
endforeach()

add_library(tovkit SHARED)
target_link_libraries(tovkit PRIVATE tovkit_library_options ${subsystem_targets} Threads::Threads ${CMAKE_DL_LIBS} PUBLIC tovmx)
target_include_directories(tovkit PUBLIC
  $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/include> $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
target_compile_features(tovkit INTERFACE cxx_std_17)
set_target_properties(tovkit PROPERTIES VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR} LINKER_LANGUAGE CXX)
# The watchdog thread never ends: dlclose must not take its code away.
target_link_options(tovkit PRIVATE -Wl,-z,nodelete)
target_link_options(tovkit PRIVATE "-Wl,--version-script=${PROJECT_SOURCE_DIR}/cmake/tovkit.map")
set_property(TARGET tovkit APPEND PROPERTY LINK_DEPENDS "${PROJECT_SOURCE_DIR}/cmake/tovkit.map")

# The names of the installed package, for a project that has this one inside.
add_library(tovkit::tovkit ALIAS tovkit)
add_library(tovkit::tovmx ALIAS tovmx)
