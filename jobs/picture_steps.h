// SPDX-License-Identifier: MIT
// What can be done to a decoded picture, one step after the other.
//
//   CoreDib picture = ...;
//   PictureSteps steps = {CropStep{{0, 0, 100, 100}}, ResizeStep{*ParsePictureSize("50%")}};
//   Apply(steps, picture, reader.ReadOrientation(1), input.name());
#pragma once

#include "picture_size.h"

#include <tovmx/dib.h>
#include <tovmx/geometry.h>

#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace jobs {

// Blanks a rectangle to the brightest color, as DeleteRectDib does.
struct EraseStep {
  CoreRect rect;
};

// Leaves the part of the picture that lies in a rectangle; reversed edges are swapped.
struct CropStep {
  CoreRect rect;
};

struct ResizeStep {
  PictureSize size;
  CoreFilter filter = kCoreFilterLanczos;
};

// The filter that is called nearest, linear, cubic or lanczos; nothing for any other name.
std::optional<CoreFilter> FindFilter(const std::string& name);

// Turns the picture as its orientation mark says, once.
struct UprightStep {};

using PictureStep = std::variant<EraseStep, CropStep, ResizeStep, UprightStep>;
using PictureSteps = std::vector<PictureStep>;

// Takes the steps in their order. `orientation` is the mark of the picture's file. Throws Error naming
// `place` for a rectangle to crop to that misses the picture, and for a size beyond the registry's pixel
// limit; the picture then holds what the steps before made of it.
void Apply(const PictureSteps& steps, CoreDib& picture, int orientation, const std::string& place);

// What a step makes of a picture that stays as it is; throws as Apply does.
[[nodiscard]] CoreDib Cropped(const CoreDib& picture, CoreRect rect, const std::string& place);
[[nodiscard]] CoreDib Resized(const CoreDib& picture, const ResizeStep& step, const std::string& place);

// Gives a picture of up to 8 bits a pixel 24 bits, or 32 where its palette has alpha; every other stays as it
// is. Throws Error naming `place` beyond the registry's pixel limit.
void ToFullColor(CoreDib& picture, const std::string& place);

}  // namespace jobs
