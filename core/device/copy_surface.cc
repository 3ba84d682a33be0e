// SPDX-License-Identifier: MIT
// The memory hangs on its surface as user data and goes back to the thread that destroys the surface. What
// was touched of it is known as one range, across all the surfaces that it served.
#include "device/copy_surface.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <new>
#include <utility>

namespace tovmx {

namespace {

struct FreeMemory {
  void operator()(unsigned char* bytes) const { std::free(bytes); }
};

struct Block {
  std::unique_ptr<unsigned char[], FreeMemory> bytes;
  std::size_t size = 0;
  std::size_t first = SIZE_MAX;  // what was touched, to before `last`
  std::size_t last = 0;

  bool IsWorthKeeping() const {
    return size <= CopySurface::kLargestKept && (last <= first || last - first <= CopySurface::kMostKept);
  }
};

// Surfaces may outlive it, at the end of a thread.
thread_local bool isThreadEnding = false;

struct Spare {
  std::unique_ptr<Block> block;
  ~Spare() { isThreadEnding = true; }
};
thread_local Spare spare;

const cairo_user_data_key_t kBlock = {};

void GiveBack(void* given) {
  std::unique_ptr<Block> block(static_cast<Block*>(given));
  if (isThreadEnding || !block->IsWorthKeeping()) return;
  if (spare.block == nullptr || spare.block->size < block->size) spare.block = std::move(block);
}

std::unique_ptr<Block> TakeBlock(std::size_t size) {
  if (!isThreadEnding && spare.block != nullptr && spare.block->size >= size) return std::move(spare.block);
  if (!isThreadEnding) spare.block.reset();  // too small, and its room may be needed
  std::unique_ptr<Block> block(new (std::nothrow) Block);
  if (block == nullptr) return nullptr;
  block->bytes.reset(static_cast<unsigned char*>(std::malloc(size)));
  block->size = size;
  return block->bytes == nullptr ? nullptr : std::move(block);
}

}  // namespace

CairoSurfacePtr CopySurface::Make(int width, int height) {
  const int stride = cairo_format_stride_for_width(CAIRO_FORMAT_ARGB32, width);
  if (stride <= 0 || height <= 0) return nullptr;
  // The surface frees what is released below. NOLINTNEXTLINE(clang-analyzer-cplusplus.NewDeleteLeaks)
  std::unique_ptr<Block> block =
      TakeBlock(static_cast<std::size_t>(stride) * static_cast<std::size_t>(height));
  if (block == nullptr) return nullptr;
  CairoSurfacePtr surface(
      cairo_image_surface_create_for_data(block->bytes.get(), CAIRO_FORMAT_ARGB32, width, height, stride));
  if (cairo_surface_set_user_data(surface.get(), &kBlock, block.get(), GiveBack) != CAIRO_STATUS_SUCCESS)
    return nullptr;
  (void)block.release();
  return surface;
}

void CopySurface::Touch(cairo_surface_t* surface, int top, int bottom) {
  auto* const block = static_cast<Block*>(cairo_surface_get_user_data(surface, &kBlock));
  if (block == nullptr) return;
  const auto stride = static_cast<std::size_t>(cairo_image_surface_get_stride(surface));
  block->first = std::min(block->first, stride * static_cast<std::size_t>(top));
  block->last = std::max(block->last, stride * static_cast<std::size_t>(bottom));
}

}  // namespace tovmx
