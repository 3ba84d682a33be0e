# SPDX-License-Identifier: MIT
# cmake -D list=FILE -D folder=FOLDER -P embed_page.cmake
#
# Writes page_data.cc, which has the files of the list in it. All but index.html are served below a folder that is named
# after the digest of everything, so that browsers may keep them for good; index.html gets that name for @ASSETS@.
cmake_minimum_required(VERSION 3.25)
file(READ "${list}" pairs)

set(types html text/html css text/css js text/javascript json application/json svg image/svg+xml txt text/plain)

set(names)
set(digests)
set(rest ${pairs})
while(rest)
  list(POP_FRONT rest name file)
  file(SHA256 "${file}" digest)
  list(APPEND names "${name}")
  list(APPEND files "${file}")
  string(APPEND digests "${name} ${digest}\n")
endwhile()
string(SHA256 digest "${digests}")
string(SUBSTRING "${digest}" 0 16 digest)
set(ASSETS "assets/${digest}")

set(data)
set(table)
set(index 0)
foreach(name file IN ZIP_LISTS names files)
  string(REGEX MATCH "[a-z]+$" extension "${name}")
  list(FIND types "${extension}" place)
  if(place EQUAL -1)
    message(FATAL_ERROR "${name}: no media type is known for .${extension}")
  endif()
  math(EXPR place "${place} + 1")
  list(GET types ${place} type)
  string(REGEX REPLACE "^text/.*" "\\0; charset=utf-8" type "${type}")
  if(name STREQUAL "index.html")
    set(path "/")
    set(cache "no-cache")
    configure_file("${file}" "${folder}/index.html" @ONLY)
    set(file "${folder}/index.html")
  else()
    set(path "/${ASSETS}/${name}")
    set(cache "public, max-age=31536000, immutable")
  endif()
  string(APPEND data "__asm__(\".pushsection .rodata\\n\"
        \"page_file_${index}: .incbin \\\"${file}\\\"\\n\"
        \"page_file_${index}_end: .byte 0\\n\"
        \".popsection\\n\");
extern \"C\" const char page_file_${index}[], page_file_${index}_end[];\n")
  string(APPEND table "    {\"${path}\", \"${type}\", \"${cache}\", \"\\\"${digest}\\\"\",
     {page_file_${index}, static_cast<std::size_t>(page_file_${index}_end - page_file_${index})}},\n")
  math(EXPR index "${index} + 1")
endforeach()

file(WRITE "${folder}/page_data.cc" "// Made by embed_page.cmake.
#include \"page_files.h\"

${data}
namespace page {

std::span<const File> Files() {
  static const File files[] = {
${table}  };
  return files;
}

}  // namespace page
")
