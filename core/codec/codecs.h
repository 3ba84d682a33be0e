// SPDX-License-Identifier: MIT
// The codecs, one maker each; the registry is their only caller.
#pragma once

#include "tovmx/codec.h"

#include <memory>

namespace tovmx {

std::unique_ptr<CoreImageEncoder> MakePngEncoder();
std::unique_ptr<CoreImageDecoder> MakePngDecoder();
std::unique_ptr<CoreImageEncoder> MakeJpegEncoder();
std::unique_ptr<CoreImageDecoder> MakeJpegDecoder();
std::unique_ptr<CoreImageEncoder> MakeTiffEncoder();
std::unique_ptr<CoreImageDecoder> MakeTiffDecoder();
std::unique_ptr<CoreImageEncoder> MakeWebpEncoder();
std::unique_ptr<CoreImageDecoder> MakeWebpDecoder();
std::unique_ptr<CoreImageEncoder> MakeJpeg2000Encoder();
std::unique_ptr<CoreImageDecoder> MakeJpeg2000Decoder();
std::unique_ptr<CoreImageEncoder> MakeBmpEncoder();
std::unique_ptr<CoreImageDecoder> MakeBmpDecoder();
std::unique_ptr<CoreImageDecoder> MakeGifDecoder();

// Each returns the library behind the codec and the version that runs.
CoreString DescribePngBackend();
CoreString DescribeJpegBackend();
CoreString DescribeTiffBackend();
CoreString DescribeWebpBackend();
CoreString DescribeJpeg2000Backend();
CoreString DescribeGifBackend();

}  // namespace tovmx
