// SPDX-License-Identifier: MIT
// Pixels between a bitmap of any depth and a premultiplied Cairo surface of the same size.
#pragma once

#include "geometry/box.h"
#include "tovmx/dib.h"

#include <cairo.h>

namespace tovmx {

// True for 32 bits with every alpha 255: straight and premultiplied are then the same.
bool IsOpaque32(const CoreDib& bitmap);

void LoadPixels(const CoreDib& bitmap, cairo_surface_t* surface);

// Writes the surface's pixels inside `area` that differ from the bitmap's own; the rest keep their bits.
void StorePixels(cairo_surface_t* surface, const Box& area, CoreDib& bitmap);

}  // namespace tovmx
