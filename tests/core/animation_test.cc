// SPDX-License-Identifier: MIT
// Frames of animations, in whatever order they are asked for.
#include "image_support.h"

#include <tovmx/codec.h>

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace {

constexpr int kFrames = 5;  // of each file; among them frames that are taken away in either way

std::string Webp() { return image::ReadFile(TOVKIT_SOURCE_DIR "/tests/data/images/animation.webp"); }
std::string Animation() { return image::ReadFile(TOVKIT_SOURCE_DIR "/tests/data/images/animation.gif"); }

// The animation shown `times` times over. The frames begin behind the head and its colors.
std::string LongAnimation(int times) {
  const std::string once = Animation();
  const std::size_t colors = std::size_t{2} << (once[10] & 7);
  const std::size_t head = 13 + ((once[10] & 0x80) != 0 ? 3 * colors : 0);
  std::string all = once.substr(0, head);
  for (int i = 0; i < times; ++i) all += once.substr(head, once.size() - 1 - head);
  return all + ";";
}

std::unique_ptr<CoreImageDecoder> Open(CoreInputStream& in) {
  auto decoder = CoreCodecRegistry::Get().GetFactory().CreateDecoder(CoreDetectImageFormat(&in));
  EXPECT_EQ(decoder->Open(&in, kCoreOpenReadAhead), 1u);
  return decoder;
}

// Frame by frame, each by a decoder of its own.
std::vector<std::unique_ptr<CoreDib>> FramesOneByOne(const std::string& bytes, int count) {
  std::vector<std::unique_ptr<CoreDib>> frames;
  for (int i = 0; i < count; ++i) {
    frames.push_back(image::Decode(bytes, i));
    EXPECT_NE(frames.back(), nullptr) << i;
  }
  return frames;
}

// Its position cannot be set while it is stuck.
class StickingInput final : public CoreInputStream {
 public:
  explicit StickingInput(const std::string& bytes) : in_(bytes.data(), bytes.size()) {}
  std::size_t Read(void* to, std::size_t size) override { return in_.Read(to, size); }
  bool Seek(std::uint64_t position) override { return !stuck && in_.Seek(position); }
  std::uint64_t GetPosition() const override { return in_.GetPosition(); }
  std::uint64_t GetSize() const override { return in_.GetSize(); }

  bool stuck = false;

 private:
  CoreMemoryInputStream in_;
};

TEST(Animations, AFrameThatCannotBeReachedGivesNullAndComesLater) {
  const std::string bytes = Animation();
  const auto expected = FramesOneByOne(bytes, kFrames);
  StickingInput in(bytes);
  const auto decoder = Open(in);
  ASSERT_NE(decoder->GetBitmap(0, 0, 0), nullptr);
  for (int frame = 1; frame < kFrames; ++frame) {
    in.stuck = true;
    EXPECT_EQ(decoder->GetBitmap(frame, 0, 0), nullptr) << frame;
    in.stuck = false;
    const auto found = decoder->GetBitmap(frame, 0, 0);
    ASSERT_NE(found, nullptr) << frame;
    EXPECT_EQ(image::Difference(*found, *expected[static_cast<std::size_t>(frame)]), "") << frame;
  }
}

TEST(Animations, FramesDoNotDependOnTheOrderInWhichTheyAreAskedFor) {
  for (const std::string& bytes : {LongAnimation(3), Webp()}) {
    image::StubbornInput in(bytes, UINT64_MAX);
    const auto decoder = Open(in);
    const int count = decoder->GetInfo().frameCount;
    ASSERT_EQ(count % kFrames, 0);
    const auto expected = FramesOneByOne(bytes, count);
    unsigned state = 1;
    int frame = 0;
    for (int i = 0; i < 300; ++i) {
      state = state * 1664525U + 1013904223U;
      const int step = static_cast<int>(state >> 30);
      frame = (step == 3 ? static_cast<int>(state >> 8 & 0xffffU) : frame + step) % count;
      in.Seek(state % bytes.size());  // where the caller leaves the stream does not matter
      const auto got = decoder->GetBitmap(frame, 0, 0);
      ASSERT_NE(got, nullptr) << frame;
      ASSERT_EQ(image::Difference(*expected[static_cast<std::size_t>(frame)], *got), "") << "frame " << frame;
    }
  }
}

TEST(Animations, AWalkOverAllFramesReadsTheFileOnce) {
  for (const std::string& bytes : {LongAnimation(200), Webp()}) {
    image::CountingInput in(bytes);
    const auto decoder = Open(in);
    const std::uint64_t opening = in.Total();
    for (int i = 0; i < decoder->GetInfo().frameCount; ++i)
      ASSERT_NE(decoder->GetBitmap(i, 0, 0), nullptr) << i;
    EXPECT_LE(opening, in.GetSize() + 100);
    EXPECT_LE(in.Total() - opening, in.GetSize() + 100);
  }
}

// The frame that is there, and those right before it, are not composed from the first one again.
TEST(Animations, AFrameAskedForAgainAndStepsBackReadLittle) {
  const std::string bytes = LongAnimation(200);
  const auto expected = FramesOneByOne(Animation(), kFrames);
  image::CountingInput in(bytes);
  const auto decoder = Open(in);
  const int count = decoder->GetInfo().frameCount;
  std::uint64_t before = in.Total();
  ASSERT_NE(decoder->GetBitmap(count - 1, 0, 0), nullptr);
  const std::uint64_t once = in.Total() - before;
  before = in.Total();
  for (int i = 0; i < 5; ++i) ASSERT_NE(decoder->GetBitmap(count - 1, 0, 0), nullptr);
  EXPECT_EQ(in.Total(), before) << "the last frame again";
  for (int frame = count - 2; frame >= 0; --frame) {
    const auto got = decoder->GetBitmap(frame, 0, 0);
    ASSERT_NE(got, nullptr) << frame;
    // A frame of the animation shown again lies on what the showing before has left.
    if (frame < kFrames) {
      ASSERT_EQ(image::Difference(*expected[static_cast<std::size_t>(frame)], *got), "") << frame;
    }
  }
  EXPECT_LE(in.Total() - before, 2 * once) << "all frames from the last to the first";
}

TEST(Animations, StepsBackAndForthShowTheSameFrames) {
  for (const std::string& bytes : {LongAnimation(4), Webp()}) {
    CoreMemoryInputStream in(bytes.data(), bytes.size());
    const auto decoder = Open(in);
    const int count = decoder->GetInfo().frameCount;
    const auto expected = FramesOneByOne(bytes, count);
    CoreCodecRegistry& registry = CoreCodecRegistry::Get();
    const std::uint64_t usual = registry.GetPixelLimit();
    // Room for as many frames as there are, for two, and for none.
    for (const std::uint64_t canvases : {std::uint64_t{100}, std::uint64_t{5}, std::uint64_t{3}}) {
      registry.SetPixelLimit(canvases * expected[0]->GetBufferSize());
      int at = count - 1;
      for (const int step : {0, -1, 1, 0, -2, -1, 3, -4, -1, -1, 2, -3}) {
        at = (at + step + count) % count;
        const auto got = decoder->GetBitmap(at, 0, 0);
        ASSERT_NE(got, nullptr) << at;
        ASSERT_EQ(image::Difference(*expected[static_cast<std::size_t>(at)], *got), "")
            << at << " with room for " << canvases;
      }
    }
    registry.SetPixelLimit(usual);
  }
}

TEST(Gif, WithoutRoomForACopyEachFrameIsDecodedAnew) {
  const std::string bytes = LongAnimation(2);
  const auto expected = FramesOneByOne(bytes, 2 * kFrames);
  CoreCodecRegistry& registry = CoreCodecRegistry::Get();
  const std::uint64_t usual = registry.GetPixelLimit();
  const std::uint64_t canvas = expected[0]->GetBufferSize();
  for (const std::uint64_t limit : {canvas, 2 * canvas - 1, 2 * canvas, 3 * canvas - 1, 3 * canvas}) {
    registry.SetPixelLimit(limit);
    CoreMemoryInputStream in(bytes.data(), bytes.size());
    const auto decoder = Open(in);
    for (int i = 0; i < 2 * kFrames; ++i) {
      const auto got = decoder->GetBitmap(i, 0, 0);
      // Frames that come behind one that is taken away need what it covered.
      if (got == nullptr && limit < 2 * canvas) {
        EXPECT_EQ(CoreGetDecodeFailure(decoder.get()), kCoreDecodeOverLimit) << i << " with " << limit;
        continue;
      }
      ASSERT_NE(got, nullptr) << i << " with " << limit;
      EXPECT_EQ(image::Difference(*expected[static_cast<std::size_t>(i)], *got), "")
          << i << " with " << limit;
    }
    EXPECT_NE(decoder->GetBitmap(0, 0, 0), nullptr);
  }
  registry.SetPixelLimit(usual);
}

TEST(Gif, ABrokenFrameDoesNotSpoilTheOthers) {
  const std::string bytes = LongAnimation(2);
  const auto expected = FramesOneByOne(bytes, 2 * kFrames);
  // The stream ends midway from now on, then it is whole again.
  class Failing final : public CoreInputStream {
   public:
    explicit Failing(const std::string& all) : in(all.data(), all.size()) {}
    std::size_t Read(void* to, std::size_t size) override {
      return in.GetPosition() + size > limit ? 0 : in.Read(to, size);
    }
    bool Seek(std::uint64_t position) override { return in.Seek(position); }
    std::uint64_t GetPosition() const override { return in.GetPosition(); }
    std::uint64_t GetSize() const override { return in.GetSize(); }
    CoreMemoryInputStream in;
    std::uint64_t limit = UINT64_MAX;
  } in(bytes);
  const auto decoder = Open(in);
  for (int i = 0; i < 2 * kFrames; ++i) {
    ASSERT_NE(decoder->GetBitmap(0, 0, 0), nullptr);
    in.limit = bytes.size() / 2;
    const auto cut = decoder->GetBitmap(i, 0, 0);
    if (cut != nullptr) {
      EXPECT_EQ(image::Difference(*expected[static_cast<std::size_t>(i)], *cut), "") << i;
    }
    in.limit = UINT64_MAX;
    const auto got = decoder->GetBitmap(i, 0, 0);
    ASSERT_NE(got, nullptr) << i;
    EXPECT_EQ(image::Difference(*expected[static_cast<std::size_t>(i)], *got), "") << i;
  }
}

TEST(Animations, ADecoderThatIsOpenedAgainForgetsTheOldOne) {
  const std::string gif = image::ReadFile(TOVKIT_SOURCE_DIR "/tests/data/images/interlaced.gif");
  const std::string webp = image::Encode(image::MakePicture(9, 7, 24), kCoreImageWebp);
  const std::pair<std::string, std::string> cases[] = {{Animation(), gif}, {Webp(), webp}};
  for (const auto& [animation, still] : cases) {
    CoreMemoryInputStream first(animation.data(), animation.size());
    const auto decoder = Open(first);
    ASSERT_NE(decoder->GetBitmap(1, 0, 0), nullptr);
    CoreMemoryInputStream second(still.data(), still.size());
    ASSERT_EQ(decoder->Open(&second, kCoreOpenReadAhead), 1u);
    const auto got = decoder->GetBitmap(0, 0, 0);
    ASSERT_NE(got, nullptr);
    EXPECT_EQ(image::Difference(*image::Decode(still), *got), "");
    EXPECT_EQ(decoder->GetBitmap(2, 0, 0), nullptr);
    first.Seek(0);
    ASSERT_EQ(decoder->Open(&first, kCoreOpenReadAhead), 1u);
    EXPECT_NE(decoder->GetBitmap(4, 0, 0), nullptr);
  }
}

// Frames that were drawn of one file are no part of another one's.
TEST(Animations, ADecoderThatIsOpenedAgainComposesTheNewOneFromItsStart) {
  std::string other = Animation();
  for (std::size_t i = 13; i < 19; ++i) other[i] = static_cast<char>(other[i] ^ 0x7f);  // two colors
  const auto expected = FramesOneByOne(other, kFrames);
  const std::string animation = Animation();
  ASSERT_NE(image::Difference(*image::Decode(animation, 2), *expected[2]), "");
  CoreMemoryInputStream first(animation.data(), animation.size()), second(other.data(), other.size());
  const auto decoder = Open(first);
  ASSERT_NE(decoder->GetBitmap(1, 0, 0), nullptr);
  ASSERT_EQ(decoder->Open(&second, kCoreOpenReadAhead), 1u);
  const auto got = decoder->GetBitmap(2, 0, 0);
  ASSERT_NE(got, nullptr);
  EXPECT_EQ(image::Difference(*got, *expected[2]), "");
}

// A stream whose content is another one when the pixels are read. Of a WebP the whole file was read at Open,
// so it does not matter; of a GIF the head.
TEST(Animations, AFileThatChangesBehindItsDecoderGivesNullOrWhatWasOpened) {
  const std::string still = image::ReadFile(TOVKIT_SOURCE_DIR "/tests/data/images/interlaced.gif");
  const std::string plain = image::Encode(image::MakePicture(9, 7, 24), kCoreImageWebp);
  const std::string clear = image::Encode(image::MakePicture(9, 7, 32), kCoreImageWebp);
  // The frame of the still picture, moved by a pixel, and without its colors.
  std::string moved = still, colorless = still;
  moved[still.find(',') + 1] = 1;
  const std::size_t colors = std::size_t{3} * (std::size_t{2} << (still[10] & 7));
  colorless[10] = static_cast<char>(still[10] & 0x7f);
  colorless.erase(13, colors);
  const struct {
    const std::string opened, read;
    bool decodes;
  } rows[] = {{still, still, true},  {still, moved, false}, {still, colorless, false},
              {still, ";", false},   {still, "", false},    {Animation(), "", false},
              {plain, plain, true},  {plain, clear, true},  {plain, Webp(), true},
              {plain, "RIFF", true}, {Webp(), plain, true}, {Webp(), "", true},
              {Webp(), clear, true}};
  class Changing final : public CoreInputStream {
   public:
    std::size_t Read(void* to, std::size_t size) override { return in->Read(to, size); }
    bool Seek(std::uint64_t position) override { return in->Seek(position); }
    std::uint64_t GetPosition() const override { return in->GetPosition(); }
    std::uint64_t GetSize() const override { return in->GetSize(); }
    std::unique_ptr<CoreMemoryInputStream> in;
  };
  for (const auto& row : rows) {
    Changing in;
    in.in = std::make_unique<CoreMemoryInputStream>(row.opened.data(), row.opened.size());
    const auto decoder = Open(in);
    in.in = std::make_unique<CoreMemoryInputStream>(row.read.data(), row.read.size());
    const auto got = decoder->GetBitmap(0, 0, 0);
    const auto at = static_cast<std::size_t>(&row - rows);
    EXPECT_EQ(got != nullptr, row.decodes) << at;
    if (got != nullptr) {
      EXPECT_EQ(image::Difference(*image::Decode(row.opened), *got), "") << at;
    } else {
      EXPECT_EQ(CoreGetDecodeFailure(decoder.get()), kCoreDecodeBroken) << at;
    }
  }
}

// The library composes on two canvases of its own, beside the bitmap.
TEST(Webp, AnAnimationNeedsRoomForThreeCanvases) {
  CoreCodecRegistry& registry = CoreCodecRegistry::Get();
  const std::uint64_t usual = registry.GetPixelLimit();
  const auto whole = image::Decode(Webp());
  ASSERT_NE(whole, nullptr);
  const std::uint64_t three = 3 * std::uint64_t{whole->GetBufferSize()};
  for (const std::uint64_t limit : {three - 1, three, three + 1}) {
    registry.SetPixelLimit(limit);
    EXPECT_EQ(image::Decode(Webp()) != nullptr, limit >= three) << limit - three;
  }
  registry.SetPixelLimit(usual);
}

// A canvas of 12 by 10 with one frame of one color.
TEST(Gif, FramesOutsideTheCanvasDrawWhatIsInIt) {
  const auto picture = [](unsigned left, unsigned top, unsigned width, unsigned height) {
    std::string bytes("GIF89a\x0c\0\x0a\0\x80\0\0\x10\x20\x30\x40\x50\x60,", 20);
    for (const unsigned number : {left, top, width, height})
      bytes += {static_cast<char>(number & 255U), static_cast<char>(number >> 8)};
    bytes += std::string("\0\2", 2);
    // Clear, then index 1 for each pixel with a clear between them, end: codes of 3 bits.
    std::vector<unsigned> codes;
    for (unsigned i = 0; i < width * height; ++i) codes.insert(codes.end(), {4, 1});
    codes.push_back(5);
    std::string data;
    unsigned bits = 0, count = 0;
    for (const unsigned code : codes) {
      bits |= code << count;
      for (count += 3; count >= 8; count -= 8, bits >>= 8) data += static_cast<char>(bits & 255U);
    }
    if (count > 0) data += static_cast<char>(bits);
    for (std::size_t at = 0; at < data.size(); at += 255) {
      const std::string block = data.substr(at, 255);
      bytes += static_cast<char>(block.size()) + block;
    }
    return bytes + std::string("\0;", 2);
  };
  const struct {
    unsigned left, top, width, height;
  } frames[] = {{0, 0, 12, 10},   {11, 9, 1, 1},         {12, 9, 1, 1},  {11, 10, 1, 1},
                {11, 9, 5, 5},    {0, 0, 30, 30},        {3, 4, 200, 2}, {65535, 0, 1, 1},
                {0, 65535, 1, 1}, {65535, 65535, 9, 9},  {6, 0, 7, 20},  {0, 9, 12, 200},
                {12, 0, 200, 1},  {65530, 65530, 20, 20}};
  for (const auto& f : frames) {
    const auto got = image::Decode(picture(f.left, f.top, f.width, f.height));
    ASSERT_NE(got, nullptr) << f.left << ", " << f.top << " " << f.width << " x " << f.height;
    ASSERT_EQ(got->GetWidth(), 12);
    ASSERT_EQ(got->GetHeight(), 10);
    for (unsigned y = 0; y < 10; ++y) {
      for (unsigned x = 0; x < 12; ++x) {
        const bool inside = x >= f.left && x < f.left + f.width && y >= f.top && y < f.top + f.height;
        ASSERT_EQ(got->GetArgb(static_cast<int>(x), static_cast<int>(y)), inside ? 0xff405060u : 0u)
            << x << ", " << y << " of " << f.left << ", " << f.top << " " << f.width << " x " << f.height;
      }
    }
  }
  EXPECT_EQ(image::Decode(picture(0, 0, 0, 5)), nullptr) << "a frame without pixels";
  EXPECT_EQ(image::Decode(picture(0, 0, 5, 0)), nullptr);
}

}  // namespace
