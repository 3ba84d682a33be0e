// SPDX-License-Identifier: MIT
// BMP files put together byte by byte, with pixels worked out by hand: forms that other readers take and few
// programs write.
#include "bmp_support.h"
#include "image_support.h"

#include <tovmx/codec.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace {

using bmp::Bmp;
using bmp::Bytes;
using bmp::Pixels;
using bmp::PixelsOf;
using bmp::Put;

constexpr std::uint32_t kBlack = 0xff000000, kRed = 0xffff0000, kGreen = 0xff00ff00, kBlue = 0xff0000ff,
                        kWhite = 0xffffffff;

// Blue, green, red and a byte that says nothing.
const std::string kFourColors("\0\0\xff\0\0\xff\0\0\xff\0\0\0\xff\xff\xff\0", 16);  // red, green, blue, white

TEST(BmpForms, RowsComeFromTheBottomUpOrWithANegativeHeightFromTheTopDown) {
  const std::string first("\0\0\xff\0\xff\0\xff\0\0\0\0\0", 12);     // red, green, blue, 3 bytes of padding
  const std::string second("\xff\xff\xff\0\0\0\0\0\xff\0\0\0", 12);  // white, black, red
  const Pixels expected = {kRed, kGreen, kBlue, kWhite, kBlack, kRed};
  EXPECT_EQ(PixelsOf({.pixels = second + first}), expected);
  EXPECT_EQ(PixelsOf({.height = -2, .pixels = first + second}), expected);
  // One row, whose height is all ones.
  EXPECT_EQ(PixelsOf({.height = -1, .pixels = first}), Pixels({kRed, kGreen, kBlue}));
}

TEST(BmpForms, EveryDepthIsReadFromTheTopDown) {
  const struct {
    unsigned bits;
    std::string first, second;  // red, green, blue and white, black or red, red
  } cases[] = {
      {2, std::string("\x18\0\0\0", 4), std::string("\xc0\0\0\0", 4)},
      {4, std::string("\x01\x20\0\0", 4), std::string("\x30\0\0\0", 4)},
      {8, std::string("\0\1\2\0", 4), std::string("\3\0\0\0", 4)},
      {16, std::string("\0\x7c\xe0\3\x1f\0\0\0", 8), std::string("\xff\x7f\0\x7c\0\x7c\0\0", 8)},
      {24, std::string("\0\0\xff\0\xff\0\xff\0\0\0\0\0", 12),
       std::string("\xff\xff\xff\0\0\xff\0\0\xff\0\0\0", 12)},
      {32, std::string("\0\0\xff\0\0\xff\0\0\xff\0\0\0", 12),
       std::string("\xff\xff\xff\0\0\0\xff\0\0\0\xff\0", 12)},
  };
  for (const auto& c : cases) {
    const std::string palette = c.bits <= 8 ? kFourColors : "";
    EXPECT_EQ(
        PixelsOf(
            {.height = -2, .bits = c.bits, .colors = 4, .palette = palette, .pixels = c.first + c.second}),
        Pixels({kRed, kGreen, kBlue, kWhite, kRed, kRed}))
        << c.bits;
  }
}

TEST(BmpForms, SidesThatAreNoneAreBroken) {
  const std::string pixels(100, '\0');
  ASSERT_NE(image::Decode(Bytes({.pixels = pixels})), nullptr);
  for (const std::int32_t width : {0, -1, -3, INT32_MIN})
    EXPECT_EQ(image::Decode(Bytes({.width = width, .pixels = pixels})), nullptr) << width;
  for (const std::int32_t height : {0, INT32_MIN})
    EXPECT_EQ(image::Decode(Bytes({.height = height, .pixels = pixels})), nullptr) << height;
  for (const std::int32_t height : {INT32_MIN + 1, INT32_MAX, -1000000})
    EXPECT_EQ(image::Decode(Bytes({.height = height, .pixels = pixels})), nullptr) << height;
}

TEST(BmpForms, TwoBitsAreIndices) {
  // 3 0 1 2 1 over 0 1 2 3 3.
  const std::string pixels("\x1b\xc0\0\0\xc6\x40\0\0", 8);
  const Bmp colored{.width = 5, .bits = 2, .colors = 4, .palette = kFourColors, .pixels = pixels};
  CoreImageInfo info;
  const auto bitmap = image::Decode(Bytes(colored), 0, 0, 0, &info);
  EXPECT_EQ(PixelsOf(bitmap.get()),
            Pixels({kWhite, kRed, kGreen, kBlue, kGreen, kRed, kGreen, kBlue, kWhite, kWhite}));
  EXPECT_EQ(info.bitsPerPixel, 8);
  EXPECT_EQ(bitmap->GetBitsPerPixel(), 8);
  EXPECT_EQ(info.fileBitsPerPixel, 2);
  EXPECT_EQ(info.paletteSize, 4);

  // The palette that is a ramp of gray goes, and the pixels become levels.
  std::string ramp;
  for (unsigned i = 0; i < 4; ++i) Put(ramp, i * 0x555555U, 4);
  const Bmp gray{.width = 5, .bits = 2, .palette = ramp, .pixels = pixels};
  const auto levels = image::Decode(Bytes(gray), 0, 0, 0, &info);
  EXPECT_EQ(info.paletteSize, 0);
  EXPECT_EQ(PixelsOf(levels.get()), Pixels({0xffffffff, 0xff000000, 0xff555555, 0xffaaaaaa, 0xff555555,
                                            0xff000000, 0xff555555, 0xffaaaaaa, 0xffffffff, 0xffffffff}));
}

TEST(BmpForms, AHeadOfOs2EndsBehindAnyOfItsFields) {
  const std::string row("\0\0\xff\0\xff\0\xff\0\0\0\0\0", 12);
  for (std::uint32_t head = 16; head <= 64; head += head < 40 ? 4 : 2) {
    CoreImageInfo info;
    const auto bitmap =
        image::Decode(Bytes({.head = head, .height = 1, .dots = 10000, .pixels = row}), 0, 0, 0, &info);
    EXPECT_EQ(PixelsOf(bitmap.get()), Pixels({kRed, kGreen, kBlue})) << head;
    EXPECT_EQ(info.dpiX, head >= 28 ? 254 : 0) << head;
    EXPECT_EQ(info.dpiY, head >= 32 ? 254 : 0) << head;
  }
  for (const std::uint32_t head : {0U, 4U, 11U, 13U, 15U, 125U, 1000U})
    EXPECT_EQ(image::Decode(Bytes({.head = head, .height = 1, .pixels = row})), nullptr) << head;
}

TEST(BmpForms, PalettesOfTheNewerOs2HaveFourBytesAColorAndOfTheOldestThree) {
  const std::string pixels("\x18\0\0\0", 4);  // 2 bits: red, green, blue
  EXPECT_EQ(PixelsOf({.head = 16, .height = 1, .bits = 2, .palette = kFourColors, .pixels = pixels}),
            Pixels({kRed, kGreen, kBlue}));
  std::string three;
  for (std::size_t i = 0; i < 16; ++i) {
    if (i % 4 != 3) three += kFourColors[i];
  }
  EXPECT_EQ(PixelsOf({.head = 12, .height = 1, .bits = 2, .palette = three, .pixels = pixels}),
            Pixels({kRed, kGreen, kBlue}));
}

TEST(BmpForms, RunsOf24BitsAreThoseOfOs2) {
  const std::string runs(
      "\2\0\0\xff"                          // two red
      "\1\0\xff\0"                          // one green
      "\0\0"                                // end of the row
      "\0\3\xff\0\0\xff\xff\xff\0\0\xff\0"  // blue, white, red, and a byte to make a pair
      "\0\0"
      "\0\2\1\0"      // past one pixel
      "\xff\0\xff\0"  // green up to the end of the row and beyond it
      "\0\1",         // end of the picture
      34);
  const Pixels expected = {kBlack, kGreen, kGreen, kBlue, kWhite, kRed, kRed, kRed, kGreen};
  for (const std::uint32_t head : {20U, 48U, 64U}) {
    const Bmp bmp{.head = head, .height = 3, .bits = 24, .packing = 4, .pixels = runs};
    EXPECT_EQ(PixelsOf(bmp), expected) << head;
  }
  const Bmp whole{.head = 64, .height = 3, .bits = 24, .packing = 4, .pixels = runs};
  const std::string bytes = Bytes(whole);
  for (std::size_t size = 0; size < bytes.size(); ++size)
    EXPECT_EQ(image::Decode(bytes.substr(0, size)), nullptr) << size;
  // In a head of Windows the same number says that there is a JPEG inside.
  for (const std::uint32_t head : {40U, 52U, 56U, 108U, 124U})
    EXPECT_EQ(image::Decode(Bytes({.head = head, .height = 3, .packing = 4, .pixels = runs})), nullptr)
        << head;
  EXPECT_EQ(image::Decode(Bytes({.head = 64, .height = 3, .bits = 8, .packing = 4, .pixels = runs})),
            nullptr);
}

TEST(BmpForms, RunsOf4BitsTakeTurns) {
  const std::string runs(
      "\5\x12"  // 1 2 1 2 1
      "\0\0"
      "\0\5\x30\x12\x30\0"  // 3 0 1 2 3, and a byte to make a pair
      "\0\1",
      12);
  EXPECT_EQ(
      PixelsOf({.width = 5, .bits = 4, .packing = 2, .colors = 4, .palette = kFourColors, .pixels = runs}),
      Pixels({kWhite, kRed, kGreen, kBlue, kWhite, kGreen, kBlue, kGreen, kBlue, kGreen}));
}

TEST(BmpForms, MasksOfAnyWidthSpanTheWholeRange) {
  std::string masks;
  for (const std::uint32_t mask : {0x7f0000U, 0x7f00U, 0x7fU}) Put(masks, mask, 4);
  std::string pixels = {};
  for (const std::uint32_t pixel : {0x7f0000U, 0x7f00U, 0x7fU}) Put(pixels, pixel, 4);
  // 64 of 127 is 128.5 of 255, which rounds up; 1 is 2.008, and the highest bit of each byte says nothing.
  for (const std::uint32_t pixel : {0x400140U, 0xffffffffU, 0x80808080U}) Put(pixels, pixel, 4);
  const Pixels expected = {0xff810281, kWhite, kBlack, kRed, kGreen, kBlue};
  EXPECT_EQ(PixelsOf({.bits = 32, .packing = 3, .pixels = masks + pixels}), expected);
  EXPECT_EQ(PixelsOf({.head = 52, .bits = 32, .packing = 3, .more = masks, .pixels = pixels}), expected);
}

TEST(BmpForms, APaletteIsAsLongAsTheHeadSaysOrThePlaceOfThePixelsAllows) {
  const std::string pixels("\0\1\2\0", 4);
  CoreImageInfo info;
  const Bmp told{.height = 1, .bits = 8, .colors = 3, .palette = kFourColors.substr(0, 12), .pixels = pixels};
  EXPECT_EQ(PixelsOf(image::Decode(Bytes(told), 0, 0, 0, &info).get()), Pixels({kRed, kGreen, kBlue}));
  EXPECT_EQ(info.paletteSize, 3);
  // The head tells 256 colors, and the pixels begin behind three.
  for (const std::uint32_t colors : {0U, 256U, 70000U}) {
    Bmp cut = told;
    cut.colors = colors;
    EXPECT_EQ(PixelsOf(image::Decode(Bytes(cut), 0, 0, 0, &info).get()), Pixels({kRed, kGreen, kBlue}));
    EXPECT_EQ(info.paletteSize, 3) << colors;
  }
  // Two colors, and pixels that point beyond them: these are black. The gap in front of the pixels is no
  // palette.
  Bmp two = told;
  two.colors = 2;
  EXPECT_EQ(PixelsOf(image::Decode(Bytes(two), 0, 0, 0, &info).get()), Pixels({kRed, kGreen, kBlack}));
  EXPECT_EQ(info.paletteSize, 2);
}

TEST(BmpForms, AFileIsReadFromWhereTheStreamStands) {
  const std::string row("\0\0\xff\0\xff\0\xff\0\0\0\0\0", 12);
  const Bmp plain{.height = 1, .pixels = row};
  const Bmp indexed{
      .height = 1, .bits = 8, .palette = kFourColors.substr(0, 12), .pixels = std::string("\0\1\2\0", 4)};
  const Bmp runs{.height = 1,
                 .bits = 8,
                 .packing = 1,
                 .palette = kFourColors.substr(0, 12),
                 .pixels = std::string("\1\0\1\1\1\2\0\1", 8)};
  for (const Bmp& bmp : {plain, indexed, runs}) {
    for (const std::size_t ahead : {1U, 13U, 1000U, 70000U}) {
      const std::string bytes = std::string(ahead, 'B') + Bytes(bmp);
      CoreMemoryInputStream viewed(bytes.data(), bytes.size());
      image::StubbornInput piecemeal(bytes, bytes.size());
      for (CoreInputStream* in : std::initializer_list<CoreInputStream*>{&viewed, &piecemeal}) {
        in->Seek(ahead);
        CoreImageInfo info;
        const auto bitmap = image::Decode(*in, 0, 0, 0, &info);
        EXPECT_EQ(PixelsOf(bitmap.get()), Pixels({kRed, kGreen, kBlue})) << bmp.bits << " at " << ahead;
        EXPECT_EQ(info.paletteSize, bmp.bits == 8 ? 3 : 0) << ahead;
      }
    }
  }
}

// More than one block of what is read at once from a stream that has no view of its memory.
TEST(BmpForms, RunsOfAnyLengthAreReadFromAnyStream) {
  for (const int pairs : {100, 32000, 33000, 100000}) {
    std::string runs;
    for (int i = 0; i < pairs; ++i) runs += {1, static_cast<char>(i % 3)};
    const Bmp bmp{.width = pairs,
                  .height = 1,
                  .bits = 8,
                  .packing = 1,
                  .palette = kFourColors.substr(0, 12),
                  .pixels = runs + std::string("\0\1", 2)};
    const std::string bytes = Bytes(bmp);
    image::StubbornInput in(bytes, bytes.size());
    const auto bitmap = image::Decode(in);
    ASSERT_NE(bitmap, nullptr) << pairs;
    for (int x = 0; x < pairs; ++x)
      ASSERT_EQ(bitmap->GetArgb(x, 0), (Pixels{kRed, kGreen, kBlue}[static_cast<std::size_t>(x) % 3])) << x;
  }
}

TEST(BmpForms, WithoutAResolutionBothDpiAreZero) {
  const std::string row("\0\0\xff\0\xff\0\xff\0\0\0\0\0", 12);
  for (const std::uint32_t head : {12U, 16U, 40U, 64U, 108U, 124U}) {
    // Bytes that a reader might take for dots follow the head.
    const Bmp bmp{.head = head, .height = 1, .pixels = row + std::string(100, '\7')};
    CoreImageInfo info;
    const auto bitmap = image::Decode(Bytes(bmp), 0, 0, 0, &info);
    ASSERT_NE(bitmap, nullptr) << head;
    for (const float dpi : {info.dpiX, info.dpiY, bitmap->GetDpiX(), bitmap->GetDpiY()})
      EXPECT_EQ(dpi, 0) << head;
  }
}

// Every pixel of 16 bits, which has 5 of each color, and the same bits as 4 components of 4 and as 5, 6
// and 5.
TEST(BmpForms, EveryPixelOf16BitsIsTheNearestColor) {
  std::string pixels;
  for (std::uint32_t pixel = 0; pixel < 65536; ++pixel) Put(pixels, pixel, 2);
  const struct {
    std::uint32_t packing;
    int bits[4];  // of red, green, blue and alpha, the highest first
    int order[4];
  } forms[] = {{0, {5, 5, 5, 0}, {10, 5, 0, 0}},
               {3, {5, 6, 5, 0}, {11, 5, 0, 0}},
               {6, {4, 4, 4, 4}, {8, 4, 0, 12}},
               {6, {5, 5, 5, 1}, {0, 5, 10, 15}}};
  for (const auto& form : forms) {
    std::string masks;
    for (int c = 0; c < (form.packing == 6 ? 4 : form.packing == 3 ? 3 : 0); ++c)
      Put(masks, ((1U << form.bits[c]) - 1) << form.order[c], 4);
    const auto bitmap = image::Decode(Bytes({.width = 256,
                                             .height = -256,
                                             .bits = 16,
                                             .packing = form.packing,
                                             .palette = masks,
                                             .pixels = pixels}));
    ASSERT_NE(bitmap, nullptr);
    for (unsigned pixel = 0; pixel < 65536; ++pixel) {
      std::uint32_t expected = 0;
      for (const int c : {3, 0, 1, 2}) {
        const double most = (1 << form.bits[c]) - 1;
        const double sample = most == 0 ? 255 : (pixel >> form.order[c] & unsigned(most)) * 255 / most;
        expected = expected << 8 | static_cast<std::uint32_t>(std::lround(sample));
      }
      ASSERT_EQ(bitmap->GetArgb(static_cast<int>(pixel % 256), static_cast<int>(pixel / 256)), expected)
          << pixel << " of packing " << form.packing;
    }
  }
}

TEST(BmpForms, ComponentsOf8BitsMayStandInAnyOrder) {
  int order[] = {0, 8, 16, 24};
  do {
    std::string masks;
    for (const int shift : order) Put(masks, 0xffU << shift, 4);
    // Red, green, blue, alpha; each value is met by each component.
    std::string pixels;
    Pixels with, without;
    for (unsigned i = 0; i < 256; ++i) {
      const unsigned parts[] = {i, (i + 64) & 255, 255 - i, (i * 5 + 1) & 255};
      std::uint32_t pixel = 0;
      for (int c = 0; c < 4; ++c) pixel |= parts[c] << order[c];
      Put(pixels, pixel, 4);
      without.push_back(kBlack | parts[0] << 16 | parts[1] << 8 | parts[2]);
      with.push_back((without.back() & 0xffffffU) | parts[3] << 24);
    }
    const std::string three = masks.substr(0, 12);
    const Bmp plain{.width = 256, .height = -1, .bits = 32, .packing = 3, .pixels = pixels};
    Bmp after = plain, after4 = plain, inside3 = plain, inside4 = plain;
    after.palette = three;
    after4.packing = 6, after4.palette = masks;
    inside3.head = 52, inside3.more = three;
    inside4.head = 56, inside4.more = masks;
    EXPECT_EQ(PixelsOf(after), without);
    EXPECT_EQ(PixelsOf(after4), with);
    EXPECT_EQ(PixelsOf(inside3), without);
    EXPECT_EQ(PixelsOf(inside4), with);
    inside4.height = 1;
    EXPECT_EQ(PixelsOf(inside4), with);
  } while (std::next_permutation(order, order + 4));
}

TEST(BmpForms, AColorWithoutAMaskIsNotThere) {
  for (int missing = 0; missing < 3; ++missing) {
    std::string masks;
    for (int c = 0; c < 3; ++c) Put(masks, c == missing ? 0 : 0xff0000U >> 8 * c, 4);
    std::string pixels;
    for (const std::uint32_t pixel : {0xffffffffU, 0x102030U, 0U}) Put(pixels, pixel, 4);
    const std::uint32_t kept = 0xffffffU & ~(0xff0000U >> 8 * missing);
    EXPECT_EQ(PixelsOf({.height = 1, .bits = 32, .packing = 3, .palette = masks, .pixels = pixels}),
              Pixels({kBlack | kept, kBlack | (0x102030U & kept), kBlack}))
        << missing;
  }
}

// Rows are taken as they are only when all four masks are the usual ones.
TEST(BmpForms, EachOfTheFourMasksCounts) {
  for (int narrow = -1; narrow < 4; ++narrow) {
    std::uint32_t masks[] = {0xff0000, 0xff00, 0xff, 0xff000000};
    if (narrow >= 0) masks[narrow] = masks[narrow] >> 1 & masks[narrow];
    std::string more;
    for (const std::uint32_t mask : masks) Put(more, mask, 4);
    std::string pixels;
    for (std::uint32_t i = 0; i < 128; ++i) Put(pixels, i * 0x01010101U, 4);
    const Bmp form{
        .head = 56, .width = 128, .height = 1, .bits = 32, .packing = 3, .more = more, .pixels = pixels};
    Pixels expected;
    for (std::uint32_t i = 0; i < 128; ++i) {
      const auto wide = static_cast<std::uint32_t>(std::lround(i * 255 / 127.0));
      const auto part = [&](int mask) { return mask == narrow ? wide : i; };
      expected.push_back(part(3) << 24 | part(0) << 16 | part(1) << 8 | part(2));
    }
    EXPECT_EQ(PixelsOf(form), expected) << narrow;
  }
}

// What is missing at the end of the head, the masks and the palette is missed when the file is opened, what
// is missing of the pixels when they are read.
TEST(BmpForms, AFileCutAnywhereIsBroken) {
  const std::string masks("\0\0\xff\0\0\xff\0\0\xff\0\0\0", 12);
  const std::string row(12, '\1');
  const Bmp forms[] = {
      {.pixels = row + row},
      {.height = -2, .pixels = row + row},
      {.head = 12, .height = 1, .pixels = row},
      {.head = 64, .height = 1, .pixels = row},
      {.height = 1, .bits = 32, .packing = 3, .palette = masks, .pixels = row},
      {.height = 1, .bits = 32, .packing = 6, .palette = masks + row.substr(0, 4), .pixels = row},
      {.head = 56, .height = -1, .bits = 32, .packing = 3, .more = masks + row.substr(0, 4), .pixels = row},
      {.height = 1, .bits = 16, .pixels = row.substr(0, 8)},
      {.height = 1, .bits = 2, .palette = kFourColors, .pixels = row.substr(0, 4)},
      {.height = -1, .bits = 8, .colors = 4, .palette = kFourColors, .pixels = row.substr(0, 4)},
      {.head = 12, .height = 1, .bits = 1, .palette = kFourColors.substr(0, 6), .pixels = row.substr(0, 4)}};
  for (const Bmp& form : forms) {
    const std::string file = Bytes(form);
    const std::size_t start = file.size() - form.pixels.size();
    for (std::size_t size = 0; size <= file.size(); ++size) {
      const std::string cut = file.substr(0, size);
      CoreMemoryInputStream in(cut.data(), cut.size());
      const auto decoder = CoreCodecRegistry::Get().GetFactory().CreateDecoder(kCoreImageBmp);
      EXPECT_EQ(decoder->Open(&in, 0), size < start ? 0U : 1U) << form.bits << " bits, " << size;
      EXPECT_EQ(decoder->GetBitmap(0, 0, 0) != nullptr, size == file.size())
          << form.bits << " bits, " << size;
    }
  }
}

TEST(BmpForms, OnlyAPaletteThatIsARampOfGrayIsNone) {
  for (const unsigned bits : {1U, 2U, 4U, 8U}) {
    const unsigned count = 1U << bits;
    std::vector<std::uint32_t> ramp;
    for (unsigned i = 0; i < count; ++i) ramp.push_back(i * (255 / (count - 1)) * 0x010101U);
    const auto sizeWith = [&](const std::vector<std::uint32_t>& colors) {
      std::string palette;
      for (const std::uint32_t color : colors) Put(palette, color, 4);
      CoreImageInfo info;
      image::Decode(Bytes({.width = 1,
                           .height = 1,
                           .bits = bits,
                           .colors = static_cast<std::uint32_t>(colors.size()),
                           .palette = palette,
                           .pixels = std::string(4, '\0')}),
                    0, 0, 0, &info);
      return info.paletteSize;
    };
    EXPECT_EQ(sizeWith(ramp), 0) << bits;
    EXPECT_EQ(sizeWith({ramp.begin(), ramp.end() - 1}), static_cast<int>(count - 1)) << bits;
    for (unsigned i = 0; i < count; ++i) {
      for (const std::uint32_t bit : {1U, 0x100U, 0x10000U}) {
        std::vector<std::uint32_t> other = ramp;
        other[i] ^= bit;
        EXPECT_EQ(sizeWith(other), static_cast<int>(count)) << bits << " bits, color " << i;
      }
    }
  }
}

}  // namespace
