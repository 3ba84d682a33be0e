// SPDX-License-Identifier: MIT
// GIF files packed here, code by code, in ways that few programs choose.
#include "foreign_files.h"
#include "image_support.h"

#include <tovmx/codec.h>

#include <gtest/gtest.h>

#include <climits>
#include <cstdint>
#include <fstream>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace {

constexpr int kWidth = 150;
constexpr int kHeight = 120;

// Noise, which fills a table of 4,096 codes several times over, and then long runs.
std::vector<std::uint8_t> Indices(unsigned colors) {
  std::vector<std::uint8_t> indices;
  unsigned state = 5;
  for (int i = 0; i < kWidth * kHeight; ++i) {
    state = state * 1664525U + 1013904223U;
    indices.push_back(static_cast<std::uint8_t>(i < kWidth * kHeight / 2 ? (state >> 24) % colors
                                                                         : unsigned(i) / 700 % colors));
  }
  return indices;
}

class BitWriter {
 public:
  void Put(unsigned code, unsigned bits) {
    held_ |= code << count_;
    for (count_ += bits; count_ >= 8; count_ -= 8, held_ >>= 8) bytes_ += static_cast<char>(held_ & 255U);
  }
  std::string Finish() {
    if (count_ > 0) bytes_ += static_cast<char>(held_ & 255U);
    return bytes_;
  }

 private:
  std::uint32_t held_ = 0;
  unsigned count_ = 0;
  std::string bytes_;
};

// Packs the indices; the table is cleared `delay` codes after it is full, counted by the codes written.
std::string Pack(const std::vector<std::uint8_t>& indices, unsigned indexBits, long delay) {
  const unsigned clear = 1U << indexBits;
  std::map<std::pair<unsigned, unsigned>, unsigned> table;
  unsigned next = clear + 2, bits = indexBits + 1;
  long full = 0;
  BitWriter out;
  const auto reset = [&] {
    table.clear();
    next = clear + 2;
    bits = indexBits + 1;
    full = 0;
  };
  out.Put(clear, bits);
  unsigned code = indices[0];
  for (std::size_t i = 1; i < indices.size(); ++i) {
    const auto found = table.find({code, indices[i]});
    if (found != table.end()) {
      code = found->second;
      continue;
    }
    out.Put(code, bits);
    if (next < 4096) {
      table[{code, indices[i]}] = next++;
      // The reader learns this code one code later.
      if (next > 1U << bits && bits < 12) ++bits;
    } else if (full++ == delay) {
      out.Put(clear, bits);
      reset();
    }
    code = indices[i];
  }
  out.Put(code, bits);
  if (next == 1U << bits && bits < 12) ++bits;
  out.Put(clear + 1, bits);
  return out.Finish();
}

std::string Gif(const std::string& data, unsigned indexBits, unsigned colorBits) {
  std::string bytes = "GIF89a";
  const auto put = [&](int number) {
    bytes += {static_cast<char>(number & 255), static_cast<char>(number >> 8)};
  };
  put(kWidth), put(kHeight);
  bytes += {static_cast<char>(0x80U | (colorBits - 1)), 0, 0};
  for (unsigned i = 0; i < 1U << colorBits; ++i)
    bytes += {static_cast<char>(i), static_cast<char>(i * 7), static_cast<char>(255 - i)};
  bytes += ',';
  put(0), put(0), put(kWidth), put(kHeight);
  bytes += {0, static_cast<char>(indexBits)};
  for (std::size_t at = 0; at < data.size(); at += 255) {
    const std::string block = data.substr(at, 255);
    bytes += static_cast<char>(block.size()) + block;
  }
  return bytes + std::string("\0;", 2);
}

std::uint32_t Color(std::uint8_t index) {
  const unsigned i = index;
  return 0xff000000U | i << 16 | (i * 7 & 255U) << 8 | (255 - i);
}

// The first pixel that is not what its index says, or an empty text.
std::string Mismatch(const CoreDib* bitmap, const std::vector<std::uint8_t>& indices) {
  if (bitmap == nullptr) return "no bitmap";
  for (int i = 0; i < kWidth * kHeight; ++i) {
    if (bitmap->GetArgb(i % kWidth, i / kWidth) != Color(indices[static_cast<std::size_t>(i)]))
      return "pixel " + std::to_string(i);
  }
  return {};
}

class GifForms : public ForeignFiles {};

constexpr long kDelays[] = {0, 1, 2, 3, 100, 2000, LONG_MAX};

TEST_F(GifForms, ATableThatIsFullMayBeClearedAtAnyTimeOrNever) {
  for (const unsigned bits : {2U, 3U, 5U, 8U}) {
    const std::vector<std::uint8_t> indices = Indices(1U << bits);
    for (const long delay : kDelays) {
      const std::string gif = Gif(Pack(indices, bits, delay), bits, bits);
      EXPECT_EQ(Mismatch(image::Decode(gif).get(), indices), "") << bits << " bits, cleared after " << delay;
      image::StubbornInput in(gif, gif.size());
      EXPECT_EQ(Mismatch(image::Decode(in).get(), indices), "") << bits << " bits, cleared after " << delay;
    }
  }
}

TEST_F(GifForms, OthersReadTheSameFilesTheSameWay) {
  const std::vector<std::uint8_t> indices = Indices(256);
  std::string expected;
  for (const std::uint8_t index : indices) {
    for (const unsigned shift : {16U, 8U, 0U}) expected += static_cast<char>(Color(index) >> shift & 255U);
  }
  for (const long delay : kDelays) {
    std::ofstream(folder_ + "/a.gif", std::ios::binary) << Gif(Pack(indices, 8, delay), 8, 8);
    EXPECT_TRUE(Run("convert a.gif -depth 8 rgb:-") == expected) << "ImageMagick, cleared after " << delay;
    const std::string pillow =
        Run("/usr/bin/python3 -c 'import sys, PIL.Image; "
            "sys.stdout.buffer.write(PIL.Image.open(\"a.gif\").convert(\"RGB\").tobytes())'");
    EXPECT_TRUE(pillow == expected) << "Pillow, cleared after " << delay;
  }
}

// Codes of more bits than the colors need, and of a single bit's color.
TEST_F(GifForms, TheNumberOfBitsOfAnIndexIsTheDatasOwn) {
  const std::vector<std::uint8_t> two = Indices(2);
  for (unsigned bits = 1; bits <= 8; ++bits) {
    for (const long delay : {0L, 50L, LONG_MAX})
      EXPECT_EQ(Mismatch(image::Decode(Gif(Pack(two, bits, delay), bits, 1)).get(), two), "")
          << bits << " bits, cleared after " << delay;
  }
}

std::string Codes(const std::vector<unsigned>& codes, unsigned bits) {
  BitWriter out;
  for (const unsigned code : codes) out.Put(code, bits);
  return out.Finish();
}

TEST_F(GifForms, CodesThatTheTableLacksGiveNull) {
  const std::string whole = Pack(Indices(4), 2, 0);
  ASSERT_NE(image::Decode(Gif(whole, 2, 2)), nullptr);
  // 4 clears, 5 ends, 6 is the first that can be learned.
  for (const std::vector<unsigned>& codes : std::initializer_list<std::vector<unsigned>>{
           {}, {5}, {4, 5}, {4, 6}, {4, 4, 7}, {4, 0, 7}, {4, 0, 5}, {0, 1, 2, 3}, {6}})
    EXPECT_EQ(image::Decode(Gif(Codes(codes, 3), 2, 2)), nullptr) << testing::PrintToString(codes);
  for (std::size_t size = 0; size < whole.size(); size += 1 + size / 3)
    EXPECT_EQ(image::Decode(Gif(whole.substr(0, size), 2, 2)), nullptr) << size;
  // Even where the rest makes up for it.
  for (const unsigned code : {5U, 7U}) {
    std::vector<unsigned> codes = {4, 0, code};
    for (int i = 0; i < kWidth * kHeight; ++i) codes.insert(codes.end(), {4, static_cast<unsigned>(i) % 4});
    codes.push_back(5);
    EXPECT_EQ(image::Decode(Gif(Codes(codes, 3), 2, 2)), nullptr) << code;
    codes[2] = 6;
    EXPECT_NE(image::Decode(Gif(Codes(codes, 3), 2, 2)), nullptr) << "the code that is learned just then";
  }
  for (const unsigned code : {6U, 7U}) {
    std::vector<unsigned> codes = {4, code};
    for (int i = 0; i < kWidth * kHeight; ++i) codes.insert(codes.end(), {4, static_cast<unsigned>(i) % 4});
    codes.push_back(5);
    EXPECT_EQ(image::Decode(Gif(Codes(codes, 3), 2, 2)), nullptr) << code << " behind a clear";
  }
  for (const unsigned bits : {9U, 12U, 255U}) EXPECT_EQ(image::Decode(Gif(whole, bits, 2)), nullptr) << bits;
}

TEST_F(GifForms, AFileThatEndsAmongItsCodesGivesNull) {
  const std::string file = Gif(Pack(Indices(4), 2, 0), 2, 2);
  const std::size_t end = file.size() - 2;  // the block without bytes and the trailer
  for (std::size_t size = 0; size <= end; size += 1 + size / 50)
    EXPECT_EQ(image::Decode(file.substr(0, size)), nullptr) << size;
}

// Frames of a canvas of 3 by 2 pixels.
struct Frame {
  int left = 0, top = 0, width = 3, height = 2;
  std::vector<std::uint8_t> indices = {};
  int transparent = -1;
};

std::string Canvas() { return std::string("GIF89a\3\0\2\0\x81\0\0", 13) + "abcdefghijkl"; }

std::uint32_t CanvasColor(std::uint8_t index) {
  const std::uint32_t first = 'a' + 3U * index;
  return 0xff000000U | first << 16 | (first + 1) << 8 | (first + 2);
}

std::string Bytes(const Frame& frame) {
  std::string bytes;
  if (frame.transparent >= 0)
    bytes += std::string("!\xf9\4\1\0\0", 6) + static_cast<char>(frame.transparent) + '\0';
  bytes += ',';
  for (const int number : {frame.left, frame.top, frame.width, frame.height})
    bytes += {static_cast<char>(number), '\0'};
  const std::string data = Pack(frame.indices, 2, 0);
  return bytes + std::string("\0\2", 2) + static_cast<char>(data.size()) + data + '\0';
}

// A picture keeps its palette when its one frame begins at the corner and ends at the other.
TEST_F(GifForms, OnlyAFrameThatFillsTheCanvasIsAPictureOfIndices) {
  for (int form = 0; form < 16; ++form) {
    Frame frame{form & 1, form >> 1 & 1, 3 - (form >> 2 & 1), 2 - (form >> 3 & 1)};
    for (int i = 0; i < frame.width * frame.height; ++i)
      frame.indices.push_back(static_cast<std::uint8_t>((i + 1) % 4));
    CoreImageInfo info;
    const auto bitmap = image::Decode(Canvas() + Bytes(frame) + ";", 0, 0, 0, &info);
    ASSERT_NE(bitmap, nullptr) << form;
    EXPECT_EQ(info.bitsPerPixel, form == 0 ? 8 : 32) << form;
    EXPECT_EQ(bitmap->GetBitsPerPixel(), info.bitsPerPixel) << form;
    for (int y = 0; y < 2; ++y) {
      for (int x = 0; x < 3; ++x) {
        const int column = x - frame.left, line = y - frame.top;
        const bool inside = column >= 0 && line >= 0 && column < frame.width && line < frame.height;
        const auto at = static_cast<std::size_t>(line) * static_cast<std::size_t>(frame.width) +
                        static_cast<std::size_t>(column);
        EXPECT_EQ(bitmap->GetArgb(x, y), inside ? CanvasColor(frame.indices[at]) : 0U) << form;
      }
    }
  }
}

// With room for two canvases a walk reads the file once, and with less each frame begins anew.
TEST_F(GifForms, OnlyWithRoomForACopyAWalkGoesOn) {
  constexpr int kCount = 8;
  std::string file = Canvas();
  for (int i = 0; i < kCount; ++i) {
    file += Bytes({.indices = {0, 1, 2, 3, 2, static_cast<std::uint8_t>(i % 4)}, .transparent = 9});
  }
  file += ";";
  CoreCodecRegistry& registry = CoreCodecRegistry::Get();
  const std::uint64_t usual = registry.GetPixelLimit();
  constexpr std::uint64_t kCanvasBytes = 24;
  for (const std::uint64_t limit : {kCanvasBytes, 2 * kCanvasBytes - 1, 2 * kCanvasBytes}) {
    registry.SetPixelLimit(limit);
    image::CountingInput in(file);
    const auto decoder = CoreCodecRegistry::Get().GetFactory().CreateDecoder(kCoreImageGif);
    ASSERT_EQ(decoder->Open(&in, kCoreOpenReadAhead), 1u);
    const std::uint64_t opening = in.Total();
    for (int i = 0; i < kCount; ++i) {
      const auto bitmap = decoder->GetBitmap(i, 0, 0);
      ASSERT_NE(bitmap, nullptr) << i;
      EXPECT_EQ(bitmap->GetArgb(2, 1), CanvasColor(static_cast<std::uint8_t>(i % 4))) << i;
    }
    if (limit == 2 * kCanvasBytes) {
      EXPECT_LE(in.Total() - opening, file.size()) << limit;
    } else {
      EXPECT_GT(in.Total() - opening, 3 * file.size()) << limit;
    }
  }
  registry.SetPixelLimit(usual);
}

TEST_F(GifForms, ATransparentIndexLeavesWhatIsThere) {
  const std::vector<std::uint8_t> below = {0, 1, 2, 3, 2, 1}, above = {3, 2, 1, 0, 1, 2};
  for (int transparent = -1; transparent < 5; ++transparent) {
    const std::string file =
        Canvas() + Bytes({.indices = below}) + Bytes({.indices = above, .transparent = transparent}) + ";";
    const auto bitmap = image::Decode(file, 1);
    ASSERT_NE(bitmap, nullptr);
    for (int i = 0; i < 6; ++i) {
      const auto at = static_cast<std::size_t>(i);
      EXPECT_EQ(bitmap->GetArgb(i % 3, i / 3), CanvasColor(above[at] == transparent ? below[at] : above[at]))
          << transparent;
    }
  }
}

// A picture of one frame that fills the canvas of 3 by 2, whose colors are given to all frames, to this one,
// to both or to none. A table of `bits` bits holds 2^bits colors.
std::string WithColors(int all, int own, const std::string& before = "") {
  const auto table = [](int bits, char first) {
    std::string colors;
    for (int i = 0; bits != 0 && i < 3 << bits; ++i) colors += static_cast<char>(first + i);
    return colors;
  };
  const auto flags = [](int bits) { return static_cast<char>(bits == 0 ? 0 : 0x80 | (bits - 1)); };
  const std::string data = Pack({0, 1, 1, 0, 1, 0}, 2, 0);
  return std::string("GIF89a\3\0\2\0", 10) + flags(all) + std::string("\0\0", 2) + table(all, 'a') + before +
         std::string(",\0\0\0\0\3\0\2\0", 9) + flags(own) + table(own, 'A') + "\2" +
         static_cast<char>(data.size()) + data + std::string("\0;", 2);
}

TEST_F(GifForms, AFramesOwnColorsComeBeforeThoseOfAllFrames) {
  for (int all = 0; all <= 8; ++all) {
    for (int own = 0; own <= 8; ++own) {
      const std::string file = WithColors(all, own);
      CoreMemoryInputStream in(file.data(), file.size());
      const auto decoder = CoreCodecRegistry::Get().GetFactory().CreateDecoder(kCoreImageGif);
      ASSERT_EQ(decoder->Open(&in, 0), 1U) << all << ", " << own;
      const int bits = own != 0 ? own : all;
      const CoreImageInfo& info = decoder->GetInfo();
      EXPECT_EQ(info.frameCount, 1);
      EXPECT_EQ(info.bitsPerPixel, bits == 0 ? 32 : 8);
      EXPECT_EQ(info.fileBitsPerPixel, bits == 0 ? 8 : bits) << all << ", " << own;
      EXPECT_EQ(info.paletteSize, bits == 0 ? 0 : 1 << bits) << all << ", " << own;
      const auto bitmap = decoder->GetBitmap(0, 0, 0);
      EXPECT_EQ(CoreGetDecodeFailure(decoder.get()), bits == 0 ? kCoreDecodeBroken : kCoreDecodeNoFailure);
      ASSERT_EQ(bitmap != nullptr, bits != 0);
      if (bits == 0) continue;
      EXPECT_EQ(bitmap->GetPaletteSize(), 1 << bits);
      const std::uint32_t first = own != 0 ? 0xff414243 : 0xff616263;
      for (int i = 0; i < 6; ++i)
        EXPECT_EQ(bitmap->GetArgb(i % 3, i / 3), first + (i == 0 || i == 3 || i == 5 ? 0 : 0x030303)) << i;
    }
  }
}

// Only a block of graphics control of at least 4 bytes says which index is transparent.
TEST_F(GifForms, OnlyAGraphicsControlTellsWhatIsTransparent) {
  const struct {
    std::string before;
    bool transparent;
  } rows[] = {{"", false},
              {std::string("!\xf9\4\1\0\0\1\0", 8), true},
              {std::string("!\xf9\4\0\0\0\1\0", 8), false},
              {std::string("!\xf9\4\1\0\0\0\0", 8), false},  // the other index
              {std::string("!\xf9\3\1\0\0\0", 7), false},
              {std::string("!\xf9\0", 3), false},
              {std::string("!\xfe\4\1\0\0\1\0", 8), false},
              {std::string("!\x01\4\1\0\0\1\0", 8), false},
              {std::string("!\xf9\4\1\0\0\1\0!\xfe\2hi\3you\0", 18), true},
              {std::string("!\xf9\4\1\0\0\1\0!\xf9\4\0\0\0\1\0", 16), false}};
  for (const auto& row : rows) {
    const std::string file = WithColors(2, 0, row.before);
    const auto bitmap = image::Decode(file);
    ASSERT_NE(bitmap, nullptr) << testing::PrintToString(row.before);
    const bool first = row.before.find(std::string("\xf9\4\1\0\0\0", 6)) == 1;
    EXPECT_EQ(bitmap->GetArgb(0, 0), first ? 0x00616263U : 0xff616263U);
    EXPECT_EQ(bitmap->GetArgb(1, 0), row.transparent ? 0x00646566U : 0xff646566U)
        << testing::PrintToString(row.before);
    for (std::size_t size = 25; size + 1 < file.size(); ++size)
      EXPECT_EQ(image::Decode(file.substr(0, size)), nullptr) << testing::PrintToString(row.before) << size;
  }
}

// The limit holds for a frame that is larger than its canvas, too.
TEST_F(GifForms, AFrameBeyondTheLimitIsRefusedBeforeItsRowsAreMade) {
  std::string file = WithColors(2, 0);
  const std::size_t frame = file.find(',');
  for (const std::size_t side : {5U, 6U, 7U, 8U}) file[frame + side] = '\xff';
  CoreMemoryInputStream in(file.data(), file.size());
  const auto decoder = CoreCodecRegistry::Get().GetFactory().CreateDecoder(kCoreImageGif);
  ASSERT_EQ(decoder->Open(&in, 0), 1U);
  EXPECT_EQ(decoder->GetBitmap(0, 0, 0), nullptr);
  EXPECT_EQ(CoreGetDecodeFailure(decoder.get()), kCoreDecodeOverLimit);
}

TEST_F(GifForms, TheControlOfAFrameIsNotThatOfTheNext) {
  const std::vector<std::uint8_t> below = {0, 1, 2, 3, 2, 1}, above = {3, 2, 1, 0, 1, 2};
  const std::string file =
      Canvas() + Bytes({.indices = below, .transparent = 1}) + Bytes({.indices = above}) + ";";
  const auto first = image::Decode(file, 0), second = image::Decode(file, 1);
  ASSERT_NE(first, nullptr);
  ASSERT_NE(second, nullptr);
  for (int i = 0; i < 6; ++i) {
    const auto at = static_cast<std::size_t>(i);
    EXPECT_EQ(first->GetArgb(i % 3, i / 3), below[at] == 1 ? 0U : CanvasColor(below[at])) << i;
    EXPECT_EQ(second->GetArgb(i % 3, i / 3), CanvasColor(above[at])) << i;
  }
}

// An index that no color is given for is black, in a picture of indices and on a canvas.
TEST_F(GifForms, AnIndexBeyondTheColorsIsBlack) {
  for (const int width : {3, 2}) {
    Frame frame{0, 0, width, 2};
    for (int i = 0; i < width * 2; ++i) frame.indices.push_back(static_cast<std::uint8_t>(i % 4));
    std::string file = Canvas() + Bytes(frame) + ";";
    file[10] = '\x80';      // two colors
    file.erase(13 + 6, 6);  // instead of four
    const auto bitmap = image::Decode(file);
    ASSERT_NE(bitmap, nullptr) << width;
    for (int i = 0; i < width * 2; ++i) {
      const std::uint8_t index = frame.indices[static_cast<std::size_t>(i)];
      EXPECT_EQ(bitmap->GetArgb(i % width, i / width), index < 2 ? CanvasColor(index) : 0xff000000U)
          << width << ", " << i;
    }
  }
}

// What no record begins with is no frame, even where what follows could be the data of one.
TEST_F(GifForms, ARecordOfNoKindBreaksTheFile) {
  const std::string frame = Bytes({.indices = {0, 1, 2, 3, 2, 1}});
  ASSERT_NE(image::Decode(Canvas() + frame + frame + ";"), nullptr);
  for (const char record : {'\0', '\1', 'X', '\xff', '+', '-', ':', '<', ' ', '"'}) {
    const std::string bad = record + std::string("\2\0", 2);
    EXPECT_EQ(image::Decode(Canvas() + frame + bad + ";"), nullptr) << record;
    EXPECT_EQ(image::Decode(Canvas() + bad + frame + ";"), nullptr) << record;
  }
}

}  // namespace
