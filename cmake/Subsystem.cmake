# SPDX-License-Identifier: MIT
# tovkit_add_subsystem(<name> [KNOWS <subsystem or core>...] SOURCES <file>...)
#
# One object library per subsystem. It sees its own folder, base/, its own exported header and those of the subsystems
# that it may know, and nothing else: the view is a folder of links, so an include of any other header does not compile.
function(tovkit_add_subsystem name)
  cmake_parse_arguments(ARG "" "" "KNOWS;SOURCES" ${ARGN})
  set(view "${PROJECT_BINARY_DIR}/views/${name}")
  file(REMOVE_RECURSE "${view}")
  file(MAKE_DIRECTORY "${view}/tovkit")
  foreach(header IN ITEMS export ${name} ${ARG_KNOWS})
    if(NOT header STREQUAL "core")
      file(CREATE_LINK "${PROJECT_SOURCE_DIR}/include/tovkit/${header}.h" "${view}/tovkit/${header}.h" SYMBOLIC)
    endif()
  endforeach()

  add_library(tovkit_${name} OBJECT ${ARG_SOURCES})
  target_include_directories(tovkit_${name} PRIVATE
    "${CMAKE_CURRENT_SOURCE_DIR}" "${PROJECT_SOURCE_DIR}/base" "${view}")
  target_compile_definitions(tovkit_${name} PRIVATE TOVKIT_BUILDING)
  target_link_libraries(tovkit_${name} PRIVATE tovkit_library_options)
  if("core" IN_LIST ARG_KNOWS)
    target_link_libraries(tovkit_${name} PRIVATE tovmx)
  endif()
endfunction()
