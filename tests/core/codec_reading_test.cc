// SPDX-License-Identifier: MIT
// What a decoder reads of its stream, and in which order: the head once, at Open, and the pixels behind it.
#include "image_support.h"

#include <tovmx/codec.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

namespace {

// Writes down which bytes are read.
class WatchedInput final : public CoreInputStream {
 public:
  explicit WatchedInput(std::string bytes) : bytes_(std::move(bytes)), in_(bytes_.data(), bytes_.size()) {}
  std::size_t Read(void* to, std::size_t size) override {
    const std::uint64_t from = in_.GetPosition();
    const std::size_t count = in_.Read(to, size);
    if (count != 0) reads_.push_back({from, from + count});
    return count;
  }
  bool Seek(std::uint64_t position) override { return in_.Seek(position); }
  std::uint64_t GetPosition() const override { return in_.GetPosition(); }
  std::uint64_t GetSize() const override { return in_.GetSize(); }

  using Range = std::pair<std::uint64_t, std::uint64_t>;
  std::vector<Range> TakeReads() { return std::exchange(reads_, {}); }

 private:
  std::string bytes_;
  CoreMemoryInputStream in_;
  std::vector<Range> reads_;
};

std::uint64_t FirstByte(const std::vector<WatchedInput::Range>& reads) {
  std::uint64_t first = UINT64_MAX;
  for (const auto& [from, to] : reads) first = std::min(first, from);
  return first;
}

struct Head {
  CoreImageFormat format;
  std::uint64_t size;  // what the decoder must not look at again
};

std::string FileOf(CoreImageFormat format) {
  if (format == kCoreImageGif) return image::ReadFile(TOVKIT_SOURCE_DIR "/tests/data/images/animation.gif");
  return image::Encode(image::MakePicture(61, 47, 24), format);
}

TEST(CodecReading, TheFirstBitmapTakesNothingOfTheHeadAgain) {
  constexpr Head kHeads[] = {{kCoreImageJpeg, 300},    {kCoreImageTiff, 8}, {kCoreImageWebp, UINT64_MAX},
                             {kCoreImageJpeg2000, 85}, {kCoreImageBmp, 54}, {kCoreImageGif, 13}};
  for (const Head& head : kHeads) {
    SCOPED_TRACE(CoreImageFormatName(head.format));
    WatchedInput in("something else" + FileOf(head.format));
    constexpr std::uint64_t kStart = 14;
    const auto decoder = CoreCodecRegistry::Get().GetFactory().CreateDecoder(head.format);
    // A stream whose position is kept is put back by seeking, not by reading.
    for (const std::uint32_t flags : {std::uint32_t{0}, kCoreOpenReadAhead}) {
      ASSERT_TRUE(in.Seek(kStart));
      ASSERT_EQ(decoder->Open(&in, flags), 1U);
      EXPECT_EQ(FirstByte(in.TakeReads()), kStart);
      ASSERT_NE(decoder->GetBitmap(0, 0, 0), nullptr);
      const std::uint64_t first = FirstByte(in.TakeReads());
      EXPECT_GE(first, head.size == UINT64_MAX ? head.size : kStart + head.size);
    }
  }
}

// Memory that holds the rest of the file behind the stream, and another one before it, shows whoever leaves
// it.
TEST(CodecReading, BehindAPositionAFileEndsWhereItsStreamDoes) {
  constexpr std::size_t kStart = 10000;
  for (const CoreImageFormat format : image::kFormats) {
    const std::string file = FileOf(format);
    CoreDib black;  // the same size, and a shorter file
    ASSERT_TRUE(black.Create(61, 47, 24));
    std::string other = image::Encode(black, format);
    ASSERT_LE(other.size(), kStart);
    other.resize(kStart, 'x');
    const std::string all = other + std::string(kStart, 'x') + file;
    const char* const stream = all.data() + kStart;
    for (std::size_t cut = 0; cut < 40; ++cut) {
      const std::size_t kept = file.size() - cut * file.size() / 40;
      SCOPED_TRACE(std::string(CoreImageFormatName(format)) + ", " + std::to_string(kept) + " bytes of " +
                   std::to_string(file.size()));
      CoreImageInfo info, alone;
      const auto expected = image::Decode(file.substr(0, kept), 0, 0, 0, &alone);
      CoreMemoryInputStream in(stream, kStart + kept);
      ASSERT_TRUE(in.Seek(kStart));
      const auto found = image::Decode(in, 0, 0, 0, &info);
      ASSERT_EQ(found == nullptr, expected == nullptr);
      EXPECT_EQ(info.frameCount, alone.frameCount);
      if (expected == nullptr) continue;
      EXPECT_EQ(image::Difference(*found, *expected), "");
    }
  }
}

TEST(CodecReading, JpegAndBmpAreReadFromFrontToBack) {
  for (const CoreImageFormat format : {kCoreImageJpeg, kCoreImageBmp}) {
    SCOPED_TRACE(CoreImageFormatName(format));
    // Larger than the block that the reader of JPEG takes at a time.
    WatchedInput in(image::Encode(image::MakePicture(400, 400, 24), format, 100));
    ASSERT_GT(in.GetSize(), 100000U);
    const auto decoder = CoreCodecRegistry::Get().GetFactory().CreateDecoder(format);
    ASSERT_EQ(decoder->Open(&in, kCoreOpenReadAhead), 1U);
    ASSERT_NE(decoder->GetBitmap(0, 0, 0), nullptr);
    std::uint64_t at = 0;
    for (const auto& [from, to] : in.TakeReads()) {
      EXPECT_EQ(from, at);
      at = to;
    }
    EXPECT_EQ(at, in.GetSize());
  }
}

TEST(CodecReading, TheSameFrameComesTwice) {
  for (const CoreImageFormat format : image::kFormats) {
    SCOPED_TRACE(CoreImageFormatName(format));
    WatchedInput in(FileOf(format));
    const auto decoder = CoreCodecRegistry::Get().GetFactory().CreateDecoder(format);
    ASSERT_EQ(decoder->Open(&in, kCoreOpenReadAhead), 1U);
    const auto once = decoder->GetBitmap(0, 0, 0);
    const auto again = decoder->GetBitmap(0, 0, 0);
    ASSERT_TRUE(once != nullptr && again != nullptr);
    EXPECT_EQ(image::Difference(*once, *again), "");
    ASSERT_TRUE(in.Seek(0));
    ASSERT_EQ(decoder->Open(&in, kCoreOpenReadAhead), 1U) << "a second time";
    const auto anew = decoder->GetBitmap(0, 0, 0);
    ASSERT_NE(anew, nullptr);
    EXPECT_EQ(image::Difference(*once, *anew), "");
  }
}

// A decoder goes on from where the last call left it, whatever happened there.
TEST(CodecReading, AFrameThatIsBrokenStaysBroken) {
  for (const CoreImageFormat format : image::kFormats) {
    if (format == kCoreImageGif || format == kCoreImageWebp) continue;  // their ends are looked for at Open
    SCOPED_TRACE(CoreImageFormatName(format));
    const std::string file = image::Encode(image::MakePicture(200, 200, 24), format);
    image::StubbornInput in(file, format == kCoreImageTiff ? file.size() : file.size() / 2);
    const auto decoder = CoreCodecRegistry::Get().GetFactory().CreateDecoder(format);
    if (decoder->Open(&in, kCoreOpenReadAhead) == 0) continue;
    const bool expected = decoder->GetBitmap(0, 0, 0) != nullptr;
    EXPECT_EQ(expected, format == kCoreImageTiff);
    EXPECT_EQ(decoder->GetBitmap(0, 0, 0) != nullptr, expected);
    EXPECT_EQ(CoreGetDecodeFailure(decoder.get()), expected ? kCoreDecodeNoFailure : kCoreDecodeBroken);
  }
}

}  // namespace
