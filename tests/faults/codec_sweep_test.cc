// SPDX-License-Identifier: MIT
// Pictures and the core's strings and streams.
#include "allocation_sweep.h"
#include "image_support.h"

#include <tovmx/codec.h>
#include <tovmx/string.h>

#include <memory>
#include <string>
#include <vector>

namespace {

// The other libraries are not up to it: libtiff, OpenJPEG and libwebp's decoder end the process, and
// libwebp's encoder calls a broken file a success.
class DecoderAllocations : public AllocationSweep, public testing::WithParamInterface<CoreImageFormat> {};
class CoreAllocations : public AllocationSweep {};
class EncoderAllocations : public AllocationSweep, public testing::WithParamInterface<CoreImageFormat> {};

INSTANTIATE_TEST_SUITE_P(Formats, DecoderAllocations,
                         testing::Values(kCoreImagePng, kCoreImageJpeg, kCoreImageBmp, kCoreImageGif),
                         image::FormatTestName);
INSTANTIATE_TEST_SUITE_P(Formats, EncoderAllocations,
                         testing::Values(kCoreImagePng, kCoreImageJpeg, kCoreImageBmp),
                         image::FormatTestName);

CoreDib PictureOf(int bits) {
  CoreDib dib = image::MakePicture(9, 7, bits);
  dib.SetDpi(72, 96);
  if (bits == 8) image::GivePalette(dib, 11);
  return dib;
}

using Bitmap = std::unique_ptr<CoreDib>;

TEST_F(CoreAllocations, ResamplingGivesThePictureOrLeavesTheTargetAlone) {
  const CoreDib picture = PictureOf(32);
  for (const CoreFilter filter : {kCoreFilterNearest, kCoreFilterLanczos}) {
    CoreDib whole;
    ASSERT_TRUE(CoreResample(picture, 5, 12, filter, whole));
    Sweep([] { return Bitmap(std::make_unique<CoreDib>()); },
          [&](Bitmap& bitmap) { CoreResample(picture, 5, 12, filter, *bitmap); },
          [&](const Bitmap& bitmap, bool threw) {
            EXPECT_FALSE(threw);
            if (bitmap->GetWidth() != 0) {
              EXPECT_EQ(image::Difference(*bitmap, whole), "");
            }
          });
  }
}

// Through a stream with a view of its bytes and one without.
TEST_P(DecoderAllocations, DecodingGivesThePictureOrNull) {
  std::vector<std::string> files;
  if (GetParam() == kCoreImageGif) {
    files.push_back(image::ReadFile(TOVKIT_SOURCE_DIR "/tests/data/images/animation.gif"));
  } else {
    for (const int bits : {1, 8, 24, 32}) files.push_back(image::Encode(PictureOf(bits), GetParam()));
  }
  for (const std::string& file : files) {
    const Bitmap whole = image::Decode(file);
    ASSERT_NE(whole, nullptr);
    const auto check = [&](const Bitmap& bitmap, bool) {
      if (bitmap != nullptr) {
        EXPECT_EQ(image::Difference(*bitmap, *whole), "");
      }
    };
    Sweep([] { return Bitmap(); }, [&](Bitmap& bitmap) { bitmap = image::Decode(file); }, check);
    Sweep([] { return Bitmap(); },
          [&](Bitmap& bitmap) {
            image::StubbornInput in(file, file.size());
            bitmap = image::Decode(in);
          },
          check);
  }
}

// Every frame in turn, each of which copies the canvas and may keep what it covers.
TEST_F(CoreAllocations, FramesOfAnAnimation) {
  const std::string file = image::ReadFile(TOVKIT_SOURCE_DIR "/tests/data/images/animation.gif");
  std::vector<Bitmap> whole;
  for (int i = 0; i < 5; ++i) whole.push_back(image::Decode(file, i));
  Sweep([] { return std::vector<Bitmap>(5); },
        [&](std::vector<Bitmap>& frames) {
          CoreMemoryInputStream in(file.data(), file.size());
          const auto decoder = CoreCodecRegistry::Get().GetFactory().CreateDecoder(kCoreImageGif);
          if (decoder->Open(&in, kCoreOpenReadAhead) == 0) {
            EXPECT_EQ(CoreGetDecodeFailure(decoder.get()), kCoreDecodeOverLimit);
            return;
          }
          for (int i = 0; i < 5; ++i) {
            frames[static_cast<std::size_t>(i)] = decoder->GetBitmap(i, 0, 0);
            if (frames[static_cast<std::size_t>(i)] == nullptr) {
              EXPECT_EQ(CoreGetDecodeFailure(decoder.get()), kCoreDecodeOverLimit) << i;
            }
          }
        },
        [&](const std::vector<Bitmap>& frames, bool) {
          for (std::size_t i = 0; i < 5; ++i) {
            if (frames[i] != nullptr) {
              EXPECT_EQ(image::Difference(*frames[i], *whole[i]), "") << i;
            }
          }
        });
}

// A failed allocation is told as a lack of memory, also when it ends the call with std::bad_alloc.
TEST_P(DecoderAllocations, TheReasonIsTheLackOfMemory) {
  const std::string file = GetParam() == kCoreImageGif
                               ? image::ReadFile(TOVKIT_SOURCE_DIR "/tests/data/images/animation.gif")
                               : image::Encode(PictureOf(24), GetParam());
  struct Run {
    std::unique_ptr<CoreImageDecoder> decoder;
    bool failed = false;
  };
  Sweep(
      [&] {
        return Run{CoreCodecRegistry::Get().GetFactory().CreateDecoder(GetParam()), true};
      },
      [&](Run& run) {
        CoreMemoryInputStream in(file.data(), file.size());
        if (run.decoder->Open(&in, kCoreOpenReadAhead) == 0) return;
        run.failed = run.decoder->GetBitmap(0, 0, 0) == nullptr;
      },
      [](const Run& run, bool) {
        EXPECT_EQ(CoreGetDecodeFailure(run.decoder.get()),
                  run.failed ? kCoreDecodeOverLimit : kCoreDecodeNoFailure);
      });
}

TEST_P(EncoderAllocations, EncodingGivesTheFileOrFails) {
  for (const int bits : {1, 8, 24, 32}) {
    const CoreDib dib = PictureOf(bits);
    const std::string expected = image::Encode(dib, GetParam());
    Sweep([] { return std::string(); }, [&](std::string& file) { file = image::Encode(dib, GetParam()); },
          [&](const std::string& file, bool) { EXPECT_TRUE(file.empty() || file == expected) << bits; });
    EXPECT_FALSE(expected.empty()) << bits;
  }
}

TEST_F(CoreAllocations, Bitmaps) {
  CoreDib dib = image::MakePicture(20, 10, 8);
  image::GivePalette(dib, 200);
  SweepCall([&] {
    CoreDib copy;
    if (copy.CopyFrom(dib)) {
      EXPECT_EQ(image::Difference(copy, dib), "");
    }
  });
}

TEST_F(CoreAllocations, Strings) {
  SweepCall([] {
    CoreString text("a text that is longer than the short ones");
    text += CoreString(" and some more");
    CoreString copy = text.Left(10);
    copy += text.Mid(11);
    EXPECT_EQ(copy, text);
    copy = text.Left(3);
    EXPECT_EQ(copy, CoreString("a t"));
  });
}

}  // namespace
