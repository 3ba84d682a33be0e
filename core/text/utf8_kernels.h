// SPDX-License-Identifier: MIT
// The inner loops of UTF-8 conversion for long stretches of well-formed text, one pair for each level of
// vector instructions. They stop before anything unusual and leave it, and the end of the text, to the scalar
// loop.
#pragma once

#include <cstddef>

namespace tovmx {

struct Utf8Progress {
  std::size_t taken;    // of the input
  std::size_t written;  // of the output
};

struct Utf8Kernels {
  // `out` has room for `length` characters; what lies behind the result may be written over.
  Utf8Progress (*decode)(const char* text, std::size_t length, wchar_t* out);

  // `out` has room for the UTF-8 form of the text; what lies behind the result may be written over.
  Utf8Progress (*encode)(const wchar_t* text, std::size_t length, char* out);
};

extern const Utf8Kernels kUtf8Avx2;

}  // namespace tovmx
