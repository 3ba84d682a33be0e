// SPDX-License-Identifier: MIT
// CoreFontRequest: what a loader holds, as it was asked for.
#pragma once

#include "tovmx/font.h"

struct CoreFontRequest {
  CoreWideString family;
  CoreWideString face;
  int source = kCoreFontAny;
  int weight = 400;
  bool italic = false;

  friend bool operator==(const CoreFontRequest& a, const CoreFontRequest& b) noexcept {
    return a.source == b.source && a.weight == b.weight && a.italic == b.italic && a.family == b.family &&
           a.face == b.face;
  }
};
