# SPDX-License-Identifier: MIT
# Another core with the same headers, installed below TOVKIT_CORE_DIR.
find_library(TOVMX_LIBRARY tovmx PATHS "${TOVKIT_CORE_DIR}" PATH_SUFFIXES lib lib64 lib/${CMAKE_LIBRARY_ARCHITECTURE}
             NO_DEFAULT_PATH REQUIRED)
find_path(TOVMX_INCLUDE_DIR tovmx/string.h PATHS "${TOVKIT_CORE_DIR}/include" NO_DEFAULT_PATH REQUIRED)
add_library(tovmx SHARED IMPORTED GLOBAL)
set_target_properties(tovmx PROPERTIES
  IMPORTED_LOCATION "${TOVMX_LIBRARY}"
  INTERFACE_INCLUDE_DIRECTORIES "${TOVMX_INCLUDE_DIR}")
