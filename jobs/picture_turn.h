// SPDX-License-Identifier: MIT
// Turning and mirroring pictures that were stored as the camera was held.
#pragma once

#include <tovmx/dib.h>

#include <string>

namespace jobs {

// Turns the picture as an orientation mark from 1 to 8 asks for (CoreReadOrientation). Depth and palette
// stay. Throws Error naming `place` when memory is short, and the picture is as it was.
void TurnUpright(CoreDib& picture, int orientation, const std::string& place);

// A bitmap of that size with the depth, the palette and the resolution of `like`. Throws Error naming `place`
// when memory is short.
[[nodiscard]] CoreDib NewPictureLike(const CoreDib& like, int width, int height, const std::string& place);

// Copies one pixel to a bitmap of the same depth, 1 or 4 bits, and palette.
void CopyPackedPixel(const CoreDib& from, int fromX, int fromY, CoreDib& to, int x, int y);

}  // namespace jobs
