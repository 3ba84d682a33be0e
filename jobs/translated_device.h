// SPDX-License-Identifier: MIT
// TranslatedDevice: draws text on another device, translated so that one position becomes another.
#pragma once

#include "bounds.h"

#include <tovmx/device.h>

#include <cstdint>

namespace jobs {

class TranslatedDevice final : public CoreDevice {
 public:
  TranslatedDevice(CoreDevice& target, Position from, Position to) : target_(target), from_(from), to_(to) {}
  bool DrawText(const wchar_t* characters, int count, const CoreFontLoader& fonts, const CoreMatrix& matrix,
                std::uint32_t argb, float pixelSize) override {
    CoreMatrix translated = matrix;
    translated.e = static_cast<float>(matrix.e - from_.x + to_.x);
    translated.f = static_cast<float>(matrix.f - from_.y + to_.y);
    return target_.DrawText(characters, count, fonts, translated, argb, pixelSize);
  }
  bool EndText() override { return target_.EndText(); }
  bool Flush() override { return true; }  // once, when the page is full

 private:
  CoreDevice& target_;
  Position from_;
  Position to_;
};

}  // namespace jobs
