// SPDX-License-Identifier: MIT
// TextBounds: a device that draws nothing. It notes how much room each line takes and which fonts stand in
// for others.
#pragma once

#include "bounds.h"

#include <tovmx/device.h>

#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <utility>

namespace jobs {

class TextBounds final : public CoreDevice {
 public:
  // The family that was asked for and the one that stands in for it, UTF-8.
  using Substitutions = std::set<std::pair<std::string, std::string>>;

  bool DrawText(const wchar_t* characters, int count, const CoreFontLoader& fonts, const CoreMatrix& matrix,
                std::uint32_t argb, float pixelSize) override;
  bool EndText() override { return drawable_; }
  bool Flush() override { return drawable_; }

  // False when the last line cannot be drawn.
  bool IsDrawable() const { return drawable_; }
  // The offset of the first line.
  Position Origin() const { return origin_.value_or(Position()); }
  // The bounds of the lines, relative to Origin(), since a text's width may vanish beside a large offset. An
  // empty box at (0, 0) when no line has any extent.
  Bounds GetBounds() const { return bounds_.IsEmpty() ? Bounds{{}, {}} : bounds_; }
  const Substitutions& GetSubstitutions() const { return substitutions_; }

 private:
  void Add(const CoreMatrix& matrix, double x, double y);

  bool drawable_ = false;
  std::optional<Position> origin_;
  Bounds bounds_;
  Substitutions substitutions_;
};

}  // namespace jobs
