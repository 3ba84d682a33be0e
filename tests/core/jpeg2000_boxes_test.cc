// SPDX-License-Identifier: MIT
// The boxes of JP2 files and the size segment of their code streams, put together byte by byte.
#include "codec/jpeg2000_box.h"
#include "codec/jpeg2000_head.h"
#include "image_support.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <iterator>
#include <string>
#include <utility>
#include <vector>

namespace {

std::string BigEndian(std::uint64_t value, int bytes) {
  std::string text;
  while (bytes-- > 0) text += static_cast<char>(value >> (8 * bytes) & 255U);
  return text;
}

std::string Box(const std::string& type, const std::string& content) {
  return BigEndian(content.size() + 8, 4) + type + content;
}

// The same with its length in 8 bytes.
std::string LongBox(const std::string& type, const std::string& content) {
  return BigEndian(1, 4) + type + BigEndian(content.size() + 16, 8) + content;
}

constexpr std::uint32_t kAbcd = 0x61626364;

class Memory {
 public:
  explicit Memory(std::string bytes) : bytes_(std::move(bytes)), in_(bytes_.data(), bytes_.size()) {}
  operator CoreInputStream&() { return in_; }
  CoreInputStream* operator->() { return &in_; }

 private:
  std::string bytes_;
  CoreMemoryInputStream in_;
};

TEST(Jpeg2000Boxes, AHeadTellsTypeContentAndEnd) {
  for (const std::size_t ahead : {0U, 1U, 300U}) {
    const std::string gap(ahead, '\1');
    tovmx::Jpeg2000Box box;
    Memory plain(gap + Box("abcd", "12345") + "more");
    ASSERT_TRUE(tovmx::NextJpeg2000Box(plain, ahead, box));
    EXPECT_EQ(box.type, kAbcd);
    EXPECT_EQ(box.start, ahead);
    EXPECT_EQ(box.content, ahead + 8);
    EXPECT_EQ(box.end, ahead + 13);
    Memory large(gap + LongBox("abcd", "12345") + "more");
    ASSERT_TRUE(tovmx::NextJpeg2000Box(large, ahead, box));
    EXPECT_EQ(box.type, kAbcd);
    EXPECT_EQ(box.start, ahead);
    EXPECT_EQ(box.content, ahead + 16);
    EXPECT_EQ(box.end, ahead + 21);
  }
}

// A length counts its own head; where it does not, the box has no end. 1 stands for a length of 8 bytes.
TEST(Jpeg2000Boxes, ASenselessLengthGoesOnToTheEnd) {
  tovmx::Jpeg2000Box box;
  for (const std::uint64_t length : {0, 2, 7, 8, 9, 0x01020304}) {
    Memory file("xyz" + BigEndian(length, 4) + "abcd");
    ASSERT_TRUE(tovmx::NextJpeg2000Box(file, 3, box)) << length;
    EXPECT_EQ(box.content, 11U);
    EXPECT_EQ(box.end, length < 8 ? UINT64_MAX : 3 + length) << length;
  }
  for (const std::uint64_t length :
       {std::uint64_t{0}, std::uint64_t{8}, std::uint64_t{15}, std::uint64_t{16}, std::uint64_t{17},
        std::uint64_t{0x0102030405060708}, UINT64_MAX - 4, UINT64_MAX - 3, UINT64_MAX - 2, UINT64_MAX}) {
    Memory file("xyz" + BigEndian(1, 4) + "abcd" + BigEndian(length, 8));
    ASSERT_TRUE(tovmx::NextJpeg2000Box(file, 3, box)) << length;
    EXPECT_EQ(box.content, 19U);
    EXPECT_EQ(box.end, length < 16 || length > UINT64_MAX - 3 ? UINT64_MAX : 3 + length) << length;
  }
}

TEST(Jpeg2000Boxes, AHeadThatIsCutIsNone) {
  tovmx::Jpeg2000Box box;
  for (const std::string& whole : {Box("abcd", ""), LongBox("abcd", "")}) {
    for (std::size_t size = 0; size <= whole.size(); ++size) {
      Memory cut(whole.substr(0, size));
      EXPECT_EQ(tovmx::NextJpeg2000Box(cut, 0, box), size == whole.size()) << size;
    }
  }
}

TEST(Jpeg2000Boxes, TheFirstOfATypeBeforeTheEndIsFound) {
  const std::string first = Box("wxyz", "abcd"), second = LongBox("abcd", "1"), third = Box("abcd", "23");
  Memory file(first + second + third);
  tovmx::Jpeg2000Box box;
  const std::uint64_t size = first.size() + second.size() + third.size();
  ASSERT_TRUE(tovmx::FindJpeg2000Box(file, 0, size, kAbcd, box));
  EXPECT_EQ(box.start, first.size());
  ASSERT_TRUE(tovmx::FindJpeg2000Box(file, box.end, size, kAbcd, box));
  EXPECT_EQ(box.start, first.size() + second.size());
  EXPECT_FALSE(tovmx::FindJpeg2000Box(file, box.end, UINT64_MAX, kAbcd, box));
  // What begins at the end lies behind it.
  EXPECT_FALSE(tovmx::FindJpeg2000Box(file, 0, first.size(), kAbcd, box));
  EXPECT_TRUE(tovmx::FindJpeg2000Box(file, 0, first.size() + 1, kAbcd, box));
  EXPECT_FALSE(tovmx::FindJpeg2000Box(file, 0, size, 0x65666768, box));
}

struct Sizes {
  std::uint32_t width = 100, height = 50, left = 0, top = 0, tileWidth = 100, tileHeight = 50, tileLeft = 0,
                tileTop = 0, components = 3;
};

std::string CodeStream(const Sizes& s) {
  std::string code("\xff\x4f\xff\x51\0\x2f\0\0", 8);
  for (const std::uint32_t number :
       {s.width, s.height, s.left, s.top, s.tileWidth, s.tileHeight, s.tileLeft, s.tileTop})
    code += BigEndian(number, 4);
  return code + BigEndian(s.components, 2);
}

// The file with a code stream of so many components behind it.
std::string WithCode(const std::string& file, std::uint32_t components = 3) {
  return file + Box("jp2c", CodeStream({.components = components}));
}

// Two fractions and two powers of ten, the vertical ones first.
std::string Dots(int up, int upBelow, int across, int acrossBelow, int upTen, int acrossTen) {
  return BigEndian(static_cast<std::uint64_t>(up), 2) + BigEndian(static_cast<std::uint64_t>(upBelow), 2) +
         BigEndian(static_cast<std::uint64_t>(across), 2) +
         BigEndian(static_cast<std::uint64_t>(acrossBelow), 2) + static_cast<char>(upTen) +
         static_cast<char>(acrossTen);
}

tovmx::Jpeg2000Resolution ResolutionOf(const std::string& file, std::uint64_t start = 0) {
  Memory in(WithCode(file));
  in->Seek(start);
  tovmx::Jpeg2000Head head;
  return tovmx::ReadJpeg2000Head(in, head) ? head.resolution : tovmx::Jpeg2000Resolution();
}

TEST(Jpeg2000Boxes, AResolutionIsAFractionTimesAPowerOfTen) {
  const struct {
    int number, below, ten;
    double dpi;
  } rows[] = {{10000, 1, 0, 254},
              {1, 1, 4, 254},
              {10000, 254, 0, 1},
              {65535, 1, 0, 1664.589},
              {1, 65535, 0, 3.8758e-7},
              {500, 2, 2, 635},
              {5, 1, -1, 0.0127},
              {1, 1, -128, 0},
              {1, 1, 127, 0},
              {0, 1, 3, 0},
              {7, 0, 3, 0},
              {256, 1, 0, 6.5024},
              {0x1234, 0x0102, 1, 4.58775}};
  for (const auto& row : rows) {
    const auto read = [&](const std::string& dots) {
      return ResolutionOf(Box("jp2h", Box("res ", Box("resc", dots))));
    };
    const auto across = read(Dots(10000, 1, row.number, row.below, 1, row.ten));
    EXPECT_NEAR(across.dpiX, row.dpi, row.dpi * 1e-4) << row.number << " / " << row.below;
    EXPECT_NEAR(across.dpiY, 2540, 1e-3);
    const auto up = read(Dots(row.number, row.below, 10000, 1, row.ten, 2));
    EXPECT_NEAR(up.dpiY, row.dpi, row.dpi * 1e-4) << row.number << " / " << row.below;
    EXPECT_NEAR(up.dpiX, 25400, 1e-2);
  }
}

TEST(Jpeg2000Boxes, TheCapturedResolutionComesBeforeTheOneToShow) {
  const std::string captured = Box("resc", Dots(1, 1, 1, 1, 4, 4));
  const std::string shown = Box("resd", Dots(2, 1, 2, 1, 4, 4));
  const struct {
    std::string file;
    float dpi;
  } rows[] = {
      {Box("jp2h", Box("res ", captured + shown)), 254},
      {Box("jp2h", Box("res ", shown + captured)), 254},
      {Box("jp2h", Box("res ", shown)), 508},
      {Box("ftyp", captured) + Box("jp2h", Box("ihdr", "x") + Box("res ", captured)), 254},
      {Box("jp2h", Box("res ", captured.substr(0, 17) + "")), 0},
      {Box("jp2h", Box("res ", Box("resx", Dots(1, 1, 1, 1, 4, 4)))), 0},
      {Box("jp2h", Box("res ", "")), 0},
      {Box("jp2h", "") + Box("res ", captured), 0},  // not in the header
      {Box("jp2h", Box("res ", "") + captured), 0},  // not in the box of resolutions
      {Box("res ", captured), 0},
      {"", 0},
  };
  for (const auto& row : rows) {
    const auto resolution = ResolutionOf(row.file);
    EXPECT_FLOAT_EQ(resolution.dpiX, row.dpi);
    EXPECT_FLOAT_EQ(resolution.dpiY, row.dpi);
    const auto behind = ResolutionOf("seven.." + row.file, 7);
    EXPECT_FLOAT_EQ(behind.dpiX, row.dpi);
  }
  const std::string whole = Box("jp2h", Box("res ", captured));
  for (std::size_t size = 0; size < whole.size(); ++size)
    EXPECT_EQ(ResolutionOf(whole.substr(0, size)).dpiX, 0) << size;
}

// Dots a meter times 254: the largest number of 16 bits that is one, or the most decimals.
TEST(Jpeg2000Boxes, AResolutionIsWrittenWithAsManyDecimalsAsFit) {
  const struct {
    float dpi;
    int number, ten;
  } rows[] = {{72, 72, 4},          {300, 300, 4},    {65535, 65535, 4},   {65536, 6554, 5},
              {96.5f, 965, 3},      {0.125f, 125, 1}, {6553.5f, 65535, 3}, {6553.6f, 6554, 4},
              {0.0001f, 1, 0},      {0.00001f, 1, 0}, {655350, 65535, 5},  {655360, 6554, 6},
              {12.3456f, 12346, 1}, {1, 1, 4},        {3e8f, 30000, 8}};
  for (const auto& row : rows) {
    const std::string box = Box("res ", Box("resc", Dots(1, 254, row.number, 254, 4, row.ten)));
    const auto made = tovmx::MakeJpeg2000Resolution(row.dpi, 1);
    EXPECT_EQ(std::string(made.begin(), made.end()), box) << row.dpi;
    const auto turned = tovmx::MakeJpeg2000Resolution(1, row.dpi);
    EXPECT_EQ(std::string(turned.begin(), turned.end()),
              Box("res ", Box("resc", Dots(row.number, 254, 1, 254, row.ten, 4))))
        << row.dpi;
  }
}

bool ReadSize(const std::string& file, tovmx::Jpeg2000Head& size, std::size_t at = 0) {
  Memory in(file);
  in->Seek(at);
  return tovmx::ReadJpeg2000Head(in, size);
}

TEST(Jpeg2000Sizes, ACodeStreamIsFoundBareOrInItsBox) {
  const std::string code = CodeStream({.components = 0x0102}) + "tail";
  for (const std::size_t ahead : {0U, 5U}) {
    const std::string gap(ahead, 'j');
    tovmx::Jpeg2000Head size;
    ASSERT_TRUE(ReadSize(gap + code, size, ahead));
    EXPECT_TRUE(size.bare);
    EXPECT_EQ(size.tiles, 1U);
    EXPECT_EQ(size.components, 258U);
    EXPECT_EQ(size.codeBytes, code.size());
    for (const std::string& boxed :
         {Box("jP  ", "....") + Box("jp2c", code), Box("ftyp", code) + LongBox("jp2c", code)}) {
      tovmx::Jpeg2000Head inside;
      ASSERT_TRUE(ReadSize(gap + boxed, inside, ahead));
      EXPECT_FALSE(inside.bare);
      EXPECT_EQ(inside.tiles, 1U);
      EXPECT_EQ(inside.components, 258U);
      EXPECT_EQ(inside.codeBytes, code.size());
    }
  }
  tovmx::Jpeg2000Head size;
  EXPECT_FALSE(ReadSize(Box("ftyp", code), size)) << "no box of a code stream";
  EXPECT_FALSE(ReadSize(Box("jp2c", "x" + code), size)) << "no code stream in it";
}

TEST(Jpeg2000Sizes, ACodeStreamThatIsCutHasNoSize) {
  for (const std::string& whole : {CodeStream({}), Box("jp2c", CodeStream({}))}) {
    for (std::size_t length = 0; length <= whole.size(); ++length) {
      tovmx::Jpeg2000Head size;
      EXPECT_EQ(ReadSize(whole.substr(0, length), size), length == whole.size()) << length;
    }
  }
}

TEST(Jpeg2000Sizes, TilesAreCountedFromTheirOriginToTheEndOfTheCanvas) {
  constexpr std::uint32_t kMost = UINT32_MAX;
  const struct {
    Sizes sizes;
    std::uint64_t tiles;
  } rows[] = {
      {{.tileWidth = 50, .tileHeight = 25}, 4},
      {{.tileWidth = 49, .tileHeight = 50}, 3},
      {{.tileWidth = 100, .tileHeight = 24}, 3},
      {{.tileWidth = 51, .tileHeight = 26}, 4},
      {{.tileWidth = 1, .tileHeight = 1}, 5000},
      {{.tileWidth = 10, .tileHeight = 50, .tileLeft = 90}, 1},
      {{.tileWidth = 10, .tileHeight = 50, .tileLeft = 89}, 2},
      {{.tileWidth = 100, .tileHeight = 10, .tileTop = 30}, 2},
      {{.tileWidth = 100, .tileHeight = 10, .tileTop = 29}, 3},
      {{.tileLeft = 100}, 0},
      {{.tileTop = 50}, 0},
      {{.left = 7, .top = 9, .tileWidth = 60, .tileHeight = 40, .tileLeft = 5, .tileTop = 3}, 4},
      {{.width = kMost, .height = kMost, .tileWidth = 1, .tileHeight = 1}, std::uint64_t{kMost} * kMost},
      {{.width = kMost, .height = 1, .tileWidth = kMost, .tileHeight = kMost}, 1}};
  for (const auto& row : rows) {
    tovmx::Jpeg2000Head size;
    ASSERT_TRUE(ReadSize(CodeStream(row.sizes), size)) << row.tiles;
    EXPECT_EQ(size.tiles, row.tiles);
  }
  for (const Sizes& senseless :
       {Sizes{.tileWidth = 0}, Sizes{.tileHeight = 0}, Sizes{.tileLeft = 101}, Sizes{.tileTop = 51}}) {
    tovmx::Jpeg2000Head size;
    EXPECT_FALSE(ReadSize(CodeStream(senseless), size));
  }
}

std::string Definitions(const std::vector<std::vector<unsigned>>& list) {
  std::string text = BigEndian(list.size(), 2);
  for (const auto& entry : list) {
    for (const unsigned number : entry) text += BigEndian(number, 2);
  }
  return Box("cdef", text);
}

std::string Colors(int method, unsigned space) {
  return Box("colr", static_cast<char>(method) + std::string("\0\0", 2) + BigEndian(space, 4));
}

std::string Palette(unsigned channels) {
  return Box("pclr", BigEndian(1, 2) + static_cast<char>(channels) + std::string(2 * channels, '\7'));
}

// Where boxes lie, and what is told of the channels.
TEST(Jpeg2000Channels, AreThoseOfTheHeadersBoxes) {
  const std::string head = Box("ihdr", "0123456789abcd");
  const std::string map = Box("cmap", std::string("\0\0\1\0", 4));
  const struct {
    std::string file;
    std::uint32_t components, count;
    bool cmyk, alpha;
  } rows[] = {
      {"", 3, 3, false, false},
      {Box("jp2h", head + Colors(1, 16)), 3, 3, false, false},
      {Box("jp2h", head + Colors(1, 12)), 4, 4, true, false},
      {Box("jp2h", head + Colors(2, 12)), 4, 4, false, false},
      {Box("jp2h", head + Colors(3, 12)), 4, 4, false, false},
      // The first box that is understood counts.
      {Box("jp2h", Colors(1, 16) + Colors(1, 12)), 4, 4, false, false},
      {Box("jp2h", Colors(2, 16) + Colors(1, 12)), 4, 4, false, false},
      {Box("jp2h", Colors(3, 16) + Colors(1, 12)), 4, 4, true, false},
      {Box("jp2h", Colors(0, 16) + Colors(1, 12)), 4, 4, true, false},
      // Only behind the header box, never before it or behind the code stream.
      {Colors(1, 12) + Box("jp2h", head), 4, 4, false, false},
      {Box("jp2h", head) + Colors(1, 12), 4, 4, true, false},
      {WithCode(Box("jp2h", head), 4) + Colors(1, 12), 4, 4, false, false},
      {Box("jp2h", Box("jp2h", Colors(1, 12))), 4, 4, false, false},
      {Box("jp2h", head + Palette(3) + map), 1, 3, false, false},
      {Box("jp2h", head + map + Palette(3)), 1, 3, false, false},
      {Box("jp2h", head + Palette(3)), 1, 1, false, false},
      {Box("jp2h", head + map), 2, 2, false, false},
      {Box("jp2h", Palette(3) + Palette(4) + map), 1, 3, false, false},
      {Box("jp2h", Definitions({{0, 0, 1}, {1, 1, 0}})), 2, 2, false, true},
      {Box("jp2h", Definitions({{0, 0, 1}, {1, 2, 0}})), 2, 2, false, true},
      {Box("jp2h", Definitions({{0, 0, 1}, {1, 3, 0}})), 2, 2, false, false},
      {Box("jp2h", Definitions({{0, 0, 1}, {1, 0, 0}})), 2, 2, false, false},
      {Box("jp2h", Definitions({{0, 1, 0}, {1, 0, 1}})), 2, 2, false, false},
      {Box("jp2h", Definitions({{0, 1, 0}})), 2, 2, false, false},
      {Box("jp2h", Definitions({{1, 1, 0}, {2, 1, 0}})), 2, 2, false, true},
      {Box("jp2h", Definitions({{2, 1, 0}})), 2, 2, false, false},
      {Box("jp2h", Definitions({{3, 1, 0}})), 5, 5, false, true},
      {Box("jp2h", Definitions({{4, 1, 65535}})), 5, 5, false, true},
      {Box("jp2h", Definitions({{2, 1, 0}})), 5, 5, false, false},
      {Box("jp2h", Definitions({{4, 1, 6}})), 5, 5, false, false},
      {Box("jp2h", Definitions({{4, 1, 5}})), 5, 5, false, true},
      {Box("jp2h", Definitions({{1, 0, 1}}) + Definitions({{1, 1, 0}})), 2, 2, false, false},
      {Box("jp2h", Colors(1, 12) + Definitions({{3, 1, 0}})), 5, 5, true, false},
      {Box("jp2h", Colors(1, 12) + Definitions({{4, 1, 0}})), 5, 5, true, true},
  };
  for (std::size_t i = 0; i < std::size(rows); ++i) {
    const auto& row = rows[i];
    for (const std::size_t ahead : {0U, 9U}) {
      Memory in(std::string(ahead, 'x') + WithCode(row.file, row.components));
      in->Seek(ahead);
      tovmx::Jpeg2000Head whole;
      ASSERT_TRUE(tovmx::ReadJpeg2000Head(in, whole)) << i;
      const tovmx::Jpeg2000Channels& got = whole.channels;
      EXPECT_EQ(got.count, row.count) << i;
      EXPECT_EQ(got.cmyk, row.cmyk) << i;
      EXPECT_EQ(got.alphaTold, row.alpha) << i;
    }
  }
}

// Colors, alpha and depth by the number of channels.
TEST(Jpeg2000Channels, OneBesideTheColorsIsAlpha) {
  const struct {
    std::uint32_t count;
    bool cmyk, told;
    std::uint32_t colors;
    bool alpha;
    int bits;
  } rows[] = {{1, false, false, 1, false, 8},  {1, false, true, 1, false, 8},  {2, false, false, 1, true, 32},
              {3, false, false, 3, false, 24}, {3, false, true, 3, false, 24}, {3, true, false, 3, false, 24},
              {4, false, false, 3, true, 32},  {4, true, false, 4, false, 24}, {4, true, true, 4, false, 24},
              {5, false, false, 3, false, 24}, {5, false, true, 3, true, 32},  {5, true, false, 4, true, 32},
              {6, true, false, 4, false, 24},  {6, true, true, 4, true, 32}};
  for (const auto& row : rows) {
    const tovmx::Jpeg2000Channels channels{row.count, row.cmyk, row.told};
    EXPECT_EQ(channels.Colors(), row.colors) << row.count << row.cmyk << row.told;
    EXPECT_EQ(channels.HasAlpha(), row.alpha) << row.count << row.cmyk << row.told;
    EXPECT_EQ(channels.Bits(), row.bits) << row.count << row.cmyk << row.told;
  }
}

}  // namespace
