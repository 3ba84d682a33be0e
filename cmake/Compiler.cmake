# SPDX-License-Identifier: MIT
# What every target of ours is compiled with.
set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
if(TOVKIT_COVERAGE)
  # fork and execv are builtins of the GNU dialect only, and only as such do they save the counters of a child.
  set(CMAKE_CXX_EXTENSIONS ON)
endif()
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_C_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
find_package(Threads REQUIRED)

if(PROJECT_IS_TOP_LEVEL)
  find_program(CCACHE_PROGRAM ccache)
  if(CCACHE_PROGRAM AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
    set(CMAKE_CXX_COMPILER_LAUNCHER "${CCACHE_PROGRAM}")
  endif()
endif()

# Optimized code is the same bytes wherever it is built: no path of this machine gets into it. Debuggers and reports then
# name files as they are seen from the top of the source.
set(CMAKE_BUILD_RPATH_USE_ORIGIN ON)
set(optimized "$<CONFIG:Release,RelWithDebInfo,MinSizeRel>")

add_library(tovkit_options INTERFACE)
# Results are the same on every machine: no contraction into fused operations, no unsafe mathematics.
target_compile_options(tovkit_options INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor -Woverloaded-virtual -Wcast-align -Wformat=2
  -ffp-contract=off -fstack-protector-strong)
if(TOVKIT_WERROR)
  target_compile_options(tovkit_options INTERFACE -Werror)
endif()
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  target_compile_options(tovkit_options INTERFACE -fstack-clash-protection -fcf-protection)
endif()
target_link_options(tovkit_options INTERFACE -Wl,-z,relro -Wl,-z,now -Wl,-z,noexecstack)

if(TOVKIT_SANITIZE)
  # Reports need lines and no more: full debug information would take a quarter of the build.
  target_compile_options(tovkit_options INTERFACE
    -fsanitize=${TOVKIT_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer -O1 -g1)
  target_link_options(tovkit_options INTERFACE -fsanitize=${TOVKIT_SANITIZE})
  if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
    # The overflow of an unsigned count is defined; the vptr check wants RTTI of libraries that have none.
    target_compile_options(tovkit_options INTERFACE -fno-sanitize=vptr,function)
  endif()
else()
  # Modules are the exception: Python's functions are those of the program that loads one. So are the calls that count
  # for libFuzzer.
  if(NOT TOVKIT_BUILD_FUZZ)
    target_link_options(tovkit_options INTERFACE "$<$<NOT:$<STREQUAL:$<TARGET_PROPERTY:TYPE>,MODULE_LIBRARY>>:-Wl,-z,defs>")
  endif()
  target_compile_options(tovkit_options INTERFACE "$<${optimized}:-U_FORTIFY_SOURCE;-D_FORTIFY_SOURCE=2>")
endif()
target_compile_definitions(tovkit_options INTERFACE "$<$<CONFIG:Debug>:_GLIBCXX_ASSERTIONS>")
if(PROJECT_IS_TOP_LEVEL)
  # Of two that fit the compiler takes the later: the folder of the build may be inside that of the source.
  target_compile_options(tovkit_options INTERFACE
    "$<${optimized}:-ffile-prefix-map=${PROJECT_SOURCE_DIR}=.;-ffile-prefix-map=${PROJECT_BINARY_DIR}=./build>")
endif()
if(TOVKIT_COVERAGE)
  target_compile_options(tovkit_options INTERFACE --coverage -O0 -fno-inline -fprofile-update=atomic)
  target_link_options(tovkit_options INTERFACE --coverage)
endif()
if(TOVKIT_BUILD_FUZZ)
  target_compile_options(tovkit_options INTERFACE -fsanitize=fuzzer-no-link)
endif()

# The shared libraries besides: their calls among themselves are bound when they are linked, so that they cost no more
# than in one program; calls into other libraries go straight through their table of addresses, which is filled
# when the program starts anyway (now). A lock and unlock takes 4 such calls, and the detour of each is a tenth of it.
add_library(tovkit_library_options INTERFACE)
target_link_libraries(tovkit_library_options INTERFACE tovkit_options)
target_compile_options(tovkit_library_options INTERFACE -fno-plt -fno-semantic-interposition)
target_link_options(tovkit_library_options INTERFACE -Wl,-Bsymbolic-functions)
