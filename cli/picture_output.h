// Writing a picture, for every subcommand that makes one.
#pragma once

#include "output_stream.h"

#include <tovmx/codec.h>

#include <string>

namespace cli {

// Writes the picture to `output` in that format, which has an encoder, and closes it; a quality of 0 is the
// format's default. Throws JobError naming `file`: with the system's reason when bytes were refused, or
// saying that the format cannot hold the picture.
void WritePicture(const std::string& file, CoreImageFormat format, int quality, const CoreDib& picture,
                  OutputStream& output);

// The same to a file that appears whole or not at all, or to standard output for "-".
void WritePicture(const std::string& file, CoreImageFormat format, int quality, const CoreDib& picture);

}  // namespace cli
