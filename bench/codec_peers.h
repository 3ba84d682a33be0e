// SPDX-License-Identifier: MIT
// The picture libraries that a program might use instead, with settings as near to ours as each allows.
//
// Every library encodes from a picture that it holds already, in its own form, and decodes to one; Pillow
// runs in an interpreter inside this process, called once a picture. The settings of one library's two
// directions go by `format`: "PNG", "JPEG", "TIFF", "WEBP" (lossy), "WEBP_LOSSLESS", "JPEG2000", "BMP".
#pragma once

#include "codec_direct.h"

#include <cstddef>
#include <functional>
#include <string>

namespace peers {

// Each call of the returned function returns the size of the encoded bytes; 0 when the library failed.
using Encode = std::function<std::size_t()>;
// Each call of what is returned decodes the bytes; false when the library failed.
using Decode = std::function<bool()>;

Encode QtEncoder(const direct::Picture& picture, const std::string& format);
Decode QtDecoder(const std::string& bytes, const std::string& format);
Encode ImageMagickEncoder(const direct::Picture& picture, const std::string& format);
Decode ImageMagickDecoder(const std::string& bytes, const std::string& format);
Encode PillowEncoder(const direct::Picture& picture, const std::string& format);
Decode PillowDecoder(const std::string& bytes, const std::string& format);

}  // namespace peers
