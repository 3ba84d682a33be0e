// SPDX-License-Identifier: MIT
// Encoding a picture and writing it, for every job that makes one.
#pragma once

#include "output.h"

#include <tovmx/codec.h>

#include <string>

namespace jobs {

// Encodes the picture in a format that has an encoder, and closes the writer; a quality or effort of 0 is the
// format's default. Throws Error naming `place`: with the system's reason when bytes were refused, or saying
// that the format cannot hold the picture.
void EncodePicture(const CoreDib& picture, CoreImageFormat format, int quality, const std::string& place,
                   OutputWriter& writer, int effort = 0);

// The same to an output.
void WritePicture(const CoreDib& picture, CoreImageFormat format, int quality, const Output& output,
                  int effort = 0);

}  // namespace jobs
