// SPDX-License-Identifier: MIT
// Owners of OpenJPEG's handles. The library stays silent as long as no message handler is set.
#pragma once

#include <openjpeg.h>

#include <memory>

namespace tovmx {

struct Jpeg2000Deleter {
  void operator()(opj_codec_t* codec) const { opj_destroy_codec(codec); }
  void operator()(opj_image_t* image) const { opj_image_destroy(image); }
};
using Jpeg2000Codec = std::unique_ptr<opj_codec_t, Jpeg2000Deleter>;
using Jpeg2000Image = std::unique_ptr<opj_image_t, Jpeg2000Deleter>;

// opj_stream_t is a pointer to void, so it needs a deleter of its own.
struct Jpeg2000StreamDeleter {
  void operator()(opj_stream_t* stream) const { opj_stream_destroy(stream); }
};
using Jpeg2000Stream = std::unique_ptr<opj_stream_t, Jpeg2000StreamDeleter>;

}  // namespace tovmx
