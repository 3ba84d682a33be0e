// Scaling of bitmaps.
#pragma once

#include "tovmx/dib.h"
#include "tovmx/geometry.h"

// `wanted` with a side of 0 replaced by what keeps the proportions of `own`, rounded and at least 1.
CoreSize FillProportions(CoreSize wanted, CoreSize own) noexcept;

// The depth that ScaleBitmap gives: 8 for grey, 32 with alpha, else 24.
int ScaledBits(const CoreDib& from) noexcept;

// Fills `to` with `from` scaled to `size`. Every new pixel is the mean of the old ones beneath it, weighted
// by area and, where there is alpha, by alpha; when growing, the mean of the nearest ones (a triangle
// filter). The resolution follows the size. False when memory is short.
bool ScaleBitmap(const CoreDib& from, CoreSize size, CoreDib& to);
