// A picture of what hits a path: every pixel asks HitTestPath, and the outline is drawn over the answers.
#pragma once

#include <tovmx/dib.h>
#include <tovmx/path.h>

namespace cli {

// The colours of the picture, as 0xRRGGBB.
inline constexpr unsigned kMapNothing = 0xffffff;
inline constexpr unsigned kMapInside = 0xbfd9ec;   // hit with the inside test only
inline constexpr unsigned kMapOutline = 0xf2b05e;  // the outline is within the tolerance
inline constexpr unsigned kMapLine = 0x1d2f4a;     // the outline itself

// Fills `map` with a 24-bit picture whose longer side has `size` pixels: the path's box with a margin that
// shows where the tolerance ends. Shows a progress bar when it takes long. False, and the map unchanged, when
// memory is short. Precondition: the path has records, all finite; size >= 1.
bool DrawHitMap(const CorePath& path, float tolerance, int size, CoreDib& map);

}  // namespace cli
