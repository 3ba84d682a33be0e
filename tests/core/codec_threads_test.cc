// SPDX-License-Identifier: MIT
// Codecs in several threads at once: each has streams, encoders and decoders of its own.
#include "image_support.h"

#include <tovmx/codec.h>

#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

namespace {

constexpr int kThreads = 4;
constexpr int kRounds = 3;

// Runs work(thread number) in several threads at once.
template <typename Work>
void InThreads(Work work) {
  std::vector<std::thread> threads;
  for (int i = 0; i < kThreads; ++i) threads.emplace_back(work, i);
  for (std::thread& thread : threads) thread.join();
}

class CodecThreads : public testing::TestWithParam<CoreImageFormat> {};

INSTANTIATE_TEST_SUITE_P(Formats, CodecThreads, testing::ValuesIn(image::kFormats), image::FormatTestName);

TEST_P(CodecThreads, EncodeAndDecodeAtOnceGiveWhatOneThreadGives) {
  if (CoreCodecRegistry::Get().GetFactory().CreateEncoder(GetParam()) == nullptr) {
    // A format that is only read: what a file holds.
    const std::string file = image::ReadFile(TOVKIT_SOURCE_DIR "/tests/data/images/animation.gif");
    const auto decoded = image::Decode(file);
    ASSERT_NE(decoded, nullptr);
    InThreads([&](int) {
      for (int round = 0; round < kRounds; ++round) {
        const auto got = image::Decode(file);
        ASSERT_NE(got, nullptr);
        EXPECT_EQ(image::Difference(*decoded, *got), "");
      }
    });
    return;
  }
  for (const int bits : {1, 8, 24, 32}) {
    const CoreDib picture = image::MakePicture(70, 50, bits);
    const std::string expected = image::Encode(picture, GetParam());
    const auto decoded = image::Decode(expected);
    ASSERT_NE(decoded, nullptr);
    InThreads([&](int) {
      for (int round = 0; round < kRounds; ++round) {
        EXPECT_EQ(image::Encode(picture, GetParam()), expected);
        const auto got = image::Decode(expected);
        ASSERT_NE(got, nullptr);
        EXPECT_EQ(image::Difference(*decoded, *got), "");
      }
    });
  }
}

// Errors take another way out of the libraries than success.
TEST_P(CodecThreads, BrokenFilesAtOnce) {
  const bool written = CoreCodecRegistry::Get().GetFactory().CreateEncoder(GetParam()) != nullptr;
  const std::string bytes = written ? image::Encode(image::MakePicture(20, 15, 24), GetParam())
                                    : image::ReadFile(TOVKIT_SOURCE_DIR "/tests/data/images/animation.gif");
  InThreads([&](int thread) {
    for (std::size_t size = static_cast<std::size_t>(thread); size < bytes.size(); size += 7) {
      const std::string cut = bytes.substr(0, size);
      image::Decode(cut);
      std::string bad = bytes;
      bad[size] = static_cast<char>(bad[size] ^ 0x55);
      image::Decode(bad);
      image::FullOutput out(size);
      const auto encoder = CoreCodecRegistry::Get().GetFactory().CreateEncoder(GetParam());
      if (encoder == nullptr) continue;
      const CoreDib picture = image::MakePicture(20, 15, 24);
      EXPECT_EQ(encoder->Encode(&picture, &out), 0u);
    }
    EXPECT_NE(image::Decode(bytes), nullptr);
  });
}

TEST(CodecsTogether, AllFormatsAndTheLimitAtOnce) {
  CoreCodecRegistry& registry = CoreCodecRegistry::Get();
  const std::uint64_t usual = registry.GetPixelLimit();
  const CoreDib picture = image::MakePicture(40, 30, 24);
  InThreads([&](int thread) {
    for (int round = 0; round < 4 * kRounds; ++round) {
      if (thread == 0) {
        registry.SetPixelLimit(usual - static_cast<std::uint64_t>(round));
        EXPECT_EQ(CoreCodecRegistry::Get().DescribeBackends().GetCount(), 6);
        continue;
      }
      const CoreImageFormat format = image::kFormats[(thread + round) % 6];
      EXPECT_NE(image::Decode(image::Encode(picture, format)), nullptr);
    }
  });
  registry.SetPixelLimit(usual);
}

// A bitmap may be read by many; its rows may be written by several.
TEST(CodecsTogether, OneBitmapIsEncodedByAll) {
  const CoreDib picture = image::MakePicture(64, 48, 32);
  InThreads([&](int thread) {
    for (int round = 0; round < 6; ++round) {
      const CoreImageFormat format = image::kFormats[(thread + round) % 6];
      EXPECT_NE(image::Encode(picture, format), "");
    }
  });
}

}  // namespace
