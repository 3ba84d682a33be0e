// SPDX-License-Identifier: MIT
// CopySurface: a surface of premultiplied pixels as large as a bitmap, of which few may be used.
//
// The system clears each page of new memory when it is first touched, and the some 80 pages beneath a line
// take longer than the line. So each thread keeps the memory of its last surface, while little of that was
// touched.
#pragma once

#include "font/handles.h"

#include <cstddef>

namespace tovmx {

class CopySurface {
 public:
  // A surface whose pixels may be anything, or null when memory is short. Its memory lives as long as it
  // does.
  static CairoSurfacePtr Make(int width, int height);

  // To be called before rows of such a surface are first written to.
  static void Touch(cairo_surface_t* surface, int top, int bottom);

  // What a thread keeps at most of memory that was touched.
  static constexpr std::size_t kMostKept = std::size_t{4} << 20;
  // And of address space, which may be limited.
  static constexpr std::size_t kLargestKept = std::size_t{48} << 20;
};

}  // namespace tovmx
