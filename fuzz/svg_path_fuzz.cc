// SPDX-License-Identifier: MIT
// Any text is a path of finite numbers or an SvgPathError, and hit tests on it end.
#include "jobs/svg_path.h"

#include <tovkit/geometry.h>

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  try {
    const CorePath path = jobs::ParseSvgPath({reinterpret_cast<const char*>(data), size});
    for (int i = 0; i <= path.GetPointCounter(); ++i) {
      if (!std::isfinite(path.GetPoints()[i].x) || !std::isfinite(path.GetPoints()[i].y)) std::abort();
    }
    tovkit::HitTestPath({10, 10}, 1, path, 0, true, kCoreFillEvenOdd);
  } catch (const jobs::SvgPathError&) {
  }
  return 0;
}
