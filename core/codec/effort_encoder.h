// SPDX-License-Identifier: MIT
// EffortEncoder: an encoder of this library that can do more or less for a smaller file.
//
// The effort lives here and not in CoreImageEncoder, whose layout is part of the interface.
#pragma once

#include "tovmx/codec.h"

namespace tovmx {

class EffortEncoder : public CoreImageEncoder {
 public:
  // Null for an encoder without efforts, and for one that somebody else has derived.
  static EffortEncoder* Of(CoreImageEncoder* encoder) noexcept {
    return dynamic_cast<EffortEncoder*>(encoder);
  }

  void SetEffort(int effort) noexcept { effort_ = effort; }

 protected:
  int effort_ = kCoreDefaultEffort;  // 1 to 9
};

}  // namespace tovmx
