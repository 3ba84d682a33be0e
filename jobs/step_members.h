// SPDX-License-Identifier: MIT
// The steps of a job about a picture, as JSON.
#pragma once

#include "members.h"
#include "picture_steps.h"

namespace jobs {

// Takes "steps", none when there are none. Throws Error.
[[nodiscard]] PictureSteps TakeSteps(Members& members);

}  // namespace jobs
