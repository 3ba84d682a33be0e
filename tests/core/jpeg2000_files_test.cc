// SPDX-License-Identifier: MIT
// The boxes of JPEG 2000 files: palettes, channels, tiles, and boxes that nobody knows.
#include "jpeg2000_support.h"

#include <gtest/gtest.h>

#include <array>
#include <string>
#include <vector>

namespace {

using namespace jpeg2000;

std::string BigEndian(std::size_t value, int bytes) {
  std::string text;
  while (bytes-- > 0) text += static_cast<char>(value >> (8 * bytes));
  return text;
}

std::string Box(const std::string& typeAndContent) {
  return BigEndian(typeAndContent.size() + 4, 4) + typeAndContent;
}

TEST(Jpeg2000Files, ABoxThatNobodyKnowsIsPassedOverHoweverLargeItIs) {
  const std::string plain = Store({{8}}, OPJ_CLRSPC_GRAY);
  const std::size_t code = plain.find("jp2c") - 4;
  for (const std::size_t size : {0, 1, 70'000, 3'000'000}) {
    std::string file = plain;
    file.insert(code, Box("wxyz" + std::string(size, 'x')));
    EXPECT_EQ(Mismatch(Decoded(file).get(), GrayAt), "") << size;
    // The same with its length in 8 bytes.
    file = plain;
    file.insert(code, BigEndian(1, 4) + "wxyz" + BigEndian(size + 16, 8) + std::string(size, 'x'));
    EXPECT_EQ(Mismatch(Decoded(file).get(), GrayAt), "") << size;
    // A length that does not even cover itself: what follows cannot be found.
    if (size > 1) continue;
    for (const std::size_t length : {0, 1, 15}) {
      file = plain;
      file.insert(code, BigEndian(1, 4) + "wxyz" + BigEndian(length, 8) + std::string(size, 'x'));
      EXPECT_EQ(Decoded(file), nullptr) << length;
    }
  }
}

// Boxes about colors that say nothing of use, or less than they should: what is left is a gray picture.
TEST(Jpeg2000Files, HeadersThatSayTooLittleAreHarmless) {
  const std::string plain = Store({{8}, {8, false, 1, true}}, OPJ_CLRSPC_GRAY);
  for (const char* type : {"colr", "cdef", "ihdr"}) {
    const std::size_t box = plain.find(type);
    ASSERT_NE(box, std::string::npos) << type;
    for (const char length : {8, 9, 10}) {
      std::string file = plain;
      file[box - 1] = length;
      CoreImageInfo info;
      const auto bitmap = image::Decode(file, 0, 0, 0, &info);
      if (bitmap != nullptr) {
        EXPECT_EQ(bitmap->GetWidth(), info.width) << type;
        EXPECT_EQ(bitmap->GetHeight(), info.height) << type;
      }
    }
  }
}

// The file with boxes at the end of its header.
std::string WithInHeader(std::string file, const std::string& boxes) {
  const std::size_t header = file.find("jp2h");
  EXPECT_NE(header, std::string::npos);
  std::size_t length = 0;
  for (std::size_t i = 0; i < 4; ++i) length = length << 8 | static_cast<unsigned char>(file[header - 4 + i]);
  file.insert(header - 4 + length, boxes);
  return file.replace(header - 4, 4, BigEndian(length + boxes.size(), 4));
}

std::string PaletteMap() {
  std::string map = "cmap";
  for (char column = 0; column < 3; ++column) map += std::string("\0\0\1", 3) + column;
  return Box(map);
}

// The entries of a palette may have any depth, of which the library unpacks up to 31 bits.
TEST(Jpeg2000Files, APaletteHasUpTo31BitsAColor) {
  for (const int bits : {8, 9, 16, 24, 30, 31, 32, 33}) {
    std::string palette = "pclr" + BigEndian(256, 2) + "\3" + std::string(3, static_cast<char>(bits - 1));
    const std::size_t most = (std::size_t{1} << bits) - 1;
    for (std::size_t i = 0; i < 256; ++i) {
      for (const std::size_t level : {255 - i, i * 3 % 256, i ^ 0x55})
        palette += BigEndian((level * most + 127) / 255, (bits + 7) / 8);
    }
    const std::string file = WithInHeader(Store({{8}}, OPJ_CLRSPC_SRGB), Box(palette) + PaletteMap());
    CoreMemoryInputStream in(file.data(), file.size());
    const auto decoder = CoreCodecRegistry::Get().GetFactory().CreateDecoder(kCoreImageJpeg2000);
    ASSERT_EQ(decoder->Open(&in, 0), 1U) << bits;
    const auto bitmap = decoder->GetBitmap(0, 0, 0);
    if (bits > 31) {
      EXPECT_EQ(bitmap, nullptr) << bits;
      EXPECT_EQ(CoreGetUnsupportedFeature(decoder.get()), std::to_string(bits) + "-bit JPEG 2000 samples");
      continue;
    }
    EXPECT_EQ(Mismatch(bitmap.get(),
                       [](int x, int y) {
                         const int i = Value(0, x, y);
                         return Argb{255, 255 - i, i * 3 % 256, i ^ 0x55};
                       }),
              "")
        << bits;
  }
}

// The entries lie in whole bytes, which may hold more than the depth that is told: such a color is the
// brightest. Without a sign they begin at 0, with one in the middle.
TEST(Jpeg2000Files, APaletteMayHoldMoreThanItsDepth) {
  for (const int bits : {1, 3, 5, 7, 8}) {
    for (const bool isSigned : {false, true}) {
      std::string palette = "pclr" + BigEndian(256, 2) + "\3" +
                            std::string(3, static_cast<char>(bits - 1 + (isSigned ? 128 : 0)));
      for (int i = 0; i < 256; ++i)
        palette += {static_cast<char>(i), static_cast<char>(255 - i), static_cast<char>(i * 3)};
      const auto bitmap = Decoded(WithInHeader(Store({{8}}, OPJ_CLRSPC_SRGB), Box(palette) + PaletteMap()));
      const int most = (1 << bits) - 1;
      const auto level = [&](int entry) {
        const int value = std::min(entry + (isSigned ? 1 << (bits - 1) : 0), most);
        return (value * 255 + most / 2) / most;
      };
      EXPECT_EQ(Mismatch(bitmap.get(),
                         [&](int x, int y) {
                           const int i = Value(0, x, y);
                           return Argb{255, level(i), level(255 - i), level(i * 3 % 256)};
                         }),
                "")
          << bits << (isSigned ? " signed" : "");
    }
  }
}

// A color is never alpha, whatever the file calls it.
TEST(Jpeg2000Files, TheOnlyChannelIsGrayEvenIfItIsCalledAlpha) {
  const auto bitmap = Decoded(Store({{8, false, 1, true}}, OPJ_CLRSPC_GRAY));
  EXPECT_EQ(Mismatch(bitmap.get(), GrayAt), "");
}

TEST(Jpeg2000Files, APaletteIsUnpackedToItsColors) {
  const std::string file = Store({{8}}, OPJ_CLRSPC_SRGB);
  std::string palette = "pclr" + BigEndian(256, 2) + "\3\7\7\7";
  for (int i = 0; i < 256; ++i)
    palette += {static_cast<char>(255 - i), static_cast<char>(i * 3), static_cast<char>(i ^ 0x55)};
  const auto bitmap = Decoded(WithInHeader(file, Box(palette) + PaletteMap()));
  EXPECT_EQ(Mismatch(bitmap.get(),
                     [](int x, int y) {
                       const int i = Value(0, x, y);
                       return Argb{255, 255 - i, i * 3 % 256, i ^ 0x55};
                     }),
            "");
}

// As many tiles as there are pixels: the head of a tile and its data take more bytes than the least that is
// believed.
TEST(Jpeg2000Files, APictureMayHaveATileForEachPixel) {
  for (const int tile : {1, 2, 3, 19, 20}) {
    for (const auto format : {OPJ_CODEC_JP2, OPJ_CODEC_J2K}) {
      const auto gray = Decoded(Store({{8}}, OPJ_CLRSPC_GRAY, format, tile));
      EXPECT_EQ(Mismatch(gray.get(), GrayAt), "") << tile;
    }
  }
}

// The head of a tile takes 14 bytes: a file that has fewer for each tile is not even opened.
TEST(Jpeg2000Files, AFileTooShortForItsTilesIsRefusedBeforeItIsDecoded) {
  const std::string file = Store({{8}}, OPJ_CLRSPC_GRAY, OPJ_CODEC_J2K, 1);
  constexpr std::size_t kLeast = std::size_t{14} * kWidth * kHeight;
  ASSERT_GT(file.size(), kLeast);
  const auto opens = [&file](std::size_t size) {
    CoreMemoryInputStream in(file.data(), size);
    return CoreCodecRegistry::Get().GetFactory().CreateDecoder(kCoreImageJpeg2000)->Open(&in, 0) != 0;
  };
  EXPECT_TRUE(opens(kLeast));
  EXPECT_FALSE(opens(kLeast - 1));
}

// Each tile and each component of it has a price; a limit that pays for all is enough, and a byte less is
// not.
TEST(Jpeg2000Files, TheLimitPaysForSoManyTilesAndNoMore) {
  const std::string file = Store({{8}}, OPJ_CLRSPC_GRAY, OPJ_CODEC_JP2, 1);
  constexpr std::uint64_t kPrice = 6000 + 1200;
  constexpr std::uint64_t kTiles = kWidth * kHeight;
  CoreCodecRegistry& registry = CoreCodecRegistry::Get();
  const std::uint64_t usual = registry.GetPixelLimit();
  registry.SetPixelLimit((kTiles - 1) * kPrice);
  EXPECT_EQ(Mismatch(Decoded(file).get(), GrayAt), "");
  registry.SetPixelLimit((kTiles - 1) * kPrice - 1);
  EXPECT_EQ(Decoded(file), nullptr);
  registry.SetPixelLimit(usual);
}

// The head and the end of a box, from its name.
std::pair<std::size_t, std::size_t> PlaceOf(const std::string& file, const char* type) {
  const std::size_t name = file.find(type);
  EXPECT_NE(name, std::string::npos) << type;
  std::size_t length = 0;
  for (std::size_t i = 0; i < 4; ++i) length = length << 8 | static_cast<unsigned char>(file[name - 4 + i]);
  return {name - 4, name - 4 + length};
}

// Puts boxes at the end of the header box.
std::string WithBoxes(std::string file, const std::string& boxes) {
  const auto [start, end] = PlaceOf(file, "jp2h");
  file.insert(end, boxes);
  return file.replace(start, 4, BigEndian(end - start + boxes.size(), 4));
}

std::string Definitions(const std::vector<std::array<unsigned, 3>>& list) {
  std::string text = "cdef" + BigEndian(list.size(), 2);
  for (const auto& entry : list) {
    for (const unsigned number : entry) text += BigEndian(number, 2);
  }
  return Box(text);
}

// Boxes in every place and order that the library takes, with channels of every kind: Decoded() compares what
// is told before the pixels are there with the bitmap.
TEST(Jpeg2000Files, TheDepthThatIsToldIsThatOfTheBitmap) {
  const Component plain;
  const std::string palette = Box("pclr" + BigEndian(1, 2) + "\3\7\7\7" + "abc") +
                              Box(std::string("cmap\0\0\1\0\0\0\1\1\0\0\1\2", 16));
  const std::string one = Store({{8}}, OPJ_CLRSPC_SRGB);
  int read = 0;
  const auto look = [&](const std::string& file) { read += Decoded(file) != nullptr ? 1 : 0; };
  // A palette in the header box, behind it, and cut in two.
  look(WithBoxes(one, palette));
  std::string behind = one;
  behind.insert(PlaceOf(one, "jp2h").second, palette);
  look(behind);
  std::string ahead = one;
  ahead.insert(PlaceOf(one, "jp2h").first, palette);
  look(ahead);
  look(WithBoxes(one, palette.substr(0, palette.size() - 20)));
  // Definitions of up to five channels: each may be alpha, and each may take another's place.
  for (std::size_t count = 1; count <= 5; ++count) {
    const std::string file = Store(std::vector<Component>(count, plain), OPJ_CLRSPC_SRGB);
    const auto total = static_cast<unsigned>(count);
    for (unsigned alpha = 0; alpha < total; ++alpha) {
      for (unsigned turn = 0; turn < total; ++turn) {
        for (const unsigned kind : {0U, 1U, 2U, 65535U}) {
          std::vector<std::array<unsigned, 3>> list;
          for (unsigned c = 0; c < total; ++c)
            list.push_back(
                {c, c == alpha ? kind : 0U, c == alpha && kind != 0 ? 0U : (c + turn) % total + 1});
          const std::string box = Definitions(list);
          look(WithBoxes(file, box));
          std::string late = file;
          late.insert(PlaceOf(file, "jp2h").second, box);
          look(late);
        }
      }
    }
    // The colors are told twice, and first by a method that nobody knows.
    for (const char method : {0, 1, 2, 3}) {
      std::string twice = file;
      const auto [start, end] = PlaceOf(file, "colr");
      const std::string colors = file.substr(start, end - start);
      std::string other = colors;
      other[8] = method, other[14] = 12;  // ink
      twice.insert(start, other);
      const auto [head, tail] = PlaceOf(file, "jp2h");
      look(twice.replace(head, 4, BigEndian(tail - head + other.size(), 4)));
    }
  }
  EXPECT_GT(read, 300);
}

}  // namespace
