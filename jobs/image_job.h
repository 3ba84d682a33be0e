// SPDX-License-Identifier: MIT
// ImageJob: a picture into another format, changed on the way.
#pragma once

#include "input.h"
#include "observer.h"
#include "output.h"
#include "picture_steps.h"

#include <tovmx/codec.h>

#include <optional>

namespace jobs {

struct ImageJob {
  struct Target {
    Output output;
    CoreImageFormat format;
    int quality = 0;  // 1 to 100; 0 is the format's default
    int effort = 0;   // 1 to 9; the same
  };

  Input picture;
  int frame = 1;            // counted from 1
  PictureSteps steps = {};  // what is done to the frame, in this order
  // Without one, the picture's head is read and the observer told of it.
  std::optional<Target> target = std::nullopt;
};

// Throws Error; an output file then stays as it was.
void Run(const ImageJob& job, Observer& observer);

}  // namespace jobs
