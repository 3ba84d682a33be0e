// SPDX-License-Identifier: MIT
// Files that other programs wrote decode to the pixels that those programs report.
#include "foreign_files.h"
#include "image_support.h"
#include "libjpeg_writer.h"

#include <tovmx/codec.h>

#include <gtest/gtest.h>

#include <cmath>
#include <fstream>
#include <string>
#include <vector>

namespace {

// Pictures that the files are made of, as ImageMagick draws them.
enum Base { kColor, kDeep, kAlpha, kGray, kDeepGray, kBilevel };
constexpr const char* kBases[] = {
    "-size 61x43 -seed 7 plasma:red-blue -depth 8",
    "-size 61x43 -seed 7 plasma:red-blue -depth 16",
    ("-size 61x43 -seed 7 plasma:red-blue \\( -size 61x43 gradient: \\) -compose copy_opacity -composite "
     "-depth 8"),
    "-size 61x43 -seed 7 plasma:black-white -colorspace gray -depth 8",
    "-size 61x43 -seed 7 plasma:black-white -colorspace gray -depth 16",
    "-size 61x43 -seed 7 plasma:black-white -monochrome -type bilevel -depth 1",
};

struct Case {
  const char* file;
  Base base;
  const char* options;  // of ImageMagick, for this file only
  const char* written;  // what it writes
  const char* then;     // a command that makes the file of that, if any
  int bits;             // of the bitmap
  int tolerance = 0;
};

constexpr Case kCases[] = {
    {"rgb.png", kColor, "", "png24:rgb.png", "", 24},
    {"rgb16.png", kDeep, "", "png48:rgb16.png", "", 24},
    {"rgba.png", kAlpha, "", "png32:rgba.png", "", 32},
    {"rgba16.png", kAlpha, "-depth 16", "png64:rgba16.png", "", 32},
    {"interlaced.png", kColor, "-interlace PNG", "png24:interlaced.png", "", 24},
    {"palette.png", kColor, "-colors 200", "png8:palette.png", "", 8},
    {"palette4.png", kColor, "+dither -colors 12 -define png:bit-depth=4", "png8:palette4.png", "", 4},
    {"palette2.png", kColor, "+dither -colors 4", "png8:palette2.png", "", 8},
    {"gray.png", kGray, "", "gray.png", "", 8},
    {"gray16.png", kGray, "-depth 16 -define png:bit-depth=16 -define png:color-type=0", "gray16.png", "", 8},
    {"gray2.png", kGray, "-posterize 4 -define png:bit-depth=2 -define png:color-type=0", "gray2.png", "", 8},
    {"gray4.png", kGray, "-posterize 16 -define png:bit-depth=4 -define png:color-type=0", "gray4.png", "",
     4},
    {"grayalpha.png", kAlpha, "-colorspace gray -define png:color-type=4", "grayalpha.png", "", 32},
    {"bilevel.png", kBilevel, "", "bilevel.png", "", 1},
    {"420.jpg", kColor, "-quality 85 -sampling-factor 2x2", "420.jpg", "", 24, 1},
    {"444.jpg", kColor, "-quality 95 -sampling-factor 1x1", "444.jpg", "", 24, 1},
    {"progressive.jpg", kColor, "-interlace JPEG", "progressive.jpg", "", 24, 1},
    {"gray.jpg", kGray, "", "gray.jpg", "", 8, 1},
    {"none.tif", kColor, "-compress none", "none.tif", "", 24},
    {"lzw.tif", kColor, "-compress lzw", "lzw.tif", "", 24},
    {"zip.tif", kColor, "-compress zip", "zip.tif", "", 24},
    {"packbits.tif", kColor, "-compress rle", "packbits.tif", "", 24},
    {"jpeg.tif", kColor, "-compress jpeg -quality 90", "jpeg.tif", "", 24, 1},
    {"ycc.tif", kColor, "", "in_ycc.tif", "tiffcp -c jpeg:95 in_ycc.tif ycc.tif", 24, 2},
    {"grayjpeg.tif", kGray, "", "in_grayjpeg.tif", "tiffcp -c jpeg:95 in_grayjpeg.tif grayjpeg.tif", 8, 2},
    {"big.tif", kColor, "-endian MSB", "big.tif", "", 24},
    {"deep.tif", kDeep, "", "deep.tif", "", 24},
    {"deepbig.tif", kDeep, "-endian MSB", "deepbig.tif", "", 24},
    {"alpha.tif", kAlpha, "-define tiff:alpha=unassociated", "alpha.tif", "", 32},
    {"palette.tif", kColor, "-colors 100 -type palette", "palette.tif", "", 8},
    {"gray.tif", kGray, "", "gray.tif", "", 8},
    {"deepgray.tif", kDeepGray, "", "deepgray.tif", "", 8},
    {"grayalpha.tif", kAlpha, "-colorspace gray -define tiff:alpha=unassociated", "grayalpha.tif", "", 32},
    {"twobits.tif", kGray, "-posterize 4 -depth 2", "twobits.tif", "", 8},
    {"graytiles.tif", kGray, "", "in_graytiles.tif",
     "tiffcp -c lzw -t -w 16 -l 16 in_graytiles.tif graytiles.tif", 8},
    {"deep.jp2", kDeep, "-quality 100", "deep.jp2", "", 24, 1},
    {"alpha.jp2", kAlpha, "-quality 100", "alpha.jp2", "", 32, 1},
    {"g4.tif", kBilevel, "-compress group4", "g4.tif", "", 1},
    {"g3.tif", kBilevel, "-compress fax", "g3.tif", "", 1},
    {"white.tif", kBilevel, "-define quantum:polarity=min-is-white", "white.tif", "", 1},
    {"black.tif", kBilevel, "-define quantum:polarity=min-is-black", "black.tif", "", 1},
    {"tiles.tif", kColor, "", "in_tiles.tif", "tiffcp -c lzw -t -w 16 -l 32 in_tiles.tif tiles.tif", 24},
    {"deeptiles.tif", kDeep, "", "in_deeptiles.tif",
     "tiffcp -c zip -t -w 16 -l 16 in_deeptiles.tif deeptiles.tif", 24},
    {"bileveltiles.tif", kBilevel, "", "in_bileveltiles.tif",
     "tiffcp -c none -t -w 16 -l 16 in_bileveltiles.tif bileveltiles.tif", 1},
    {"planes.tif", kColor, "", "in_planes.tif", "tiffcp -c lzw -p separate in_planes.tif planes.tif", 24},
    {"deepplanes.tif", kDeep, "-interlace plane", "deepplanes.tif", "", 24},
    {"alphaplanes.tif", kAlpha, "-define tiff:alpha=unassociated", "in_alphaplanes.tif",
     "tiffcp -p separate in_alphaplanes.tif alphaplanes.tif", 32},
    {"bigtiff.tif", kColor, "", "in_bigtiff.tif", "tiffcp -8 in_bigtiff.tif bigtiff.tif", 24},
    {"lossless.webp", kColor, "", "in_lossless.png",
     "cwebp -quiet -lossless in_lossless.png -o lossless.webp", 24},
    {"lossy.webp", kColor, "", "in_lossy.png", "cwebp -quiet -q 80 in_lossy.png -o lossy.webp", 24, 1},
    {"alpha.webp", kAlpha, "", "png32:in_alpha.png",
     "cwebp -quiet -exact -lossless in_alpha.png -o alpha.webp", 32},
    {"rgb.jp2", kColor, "-quality 100", "rgb.jp2", "", 24, 1},
    {"gray.jp2", kGray, "-quality 100", "gray.jp2", "", 8, 1},
    {"rgb.j2k", kColor, "-quality 100", "rgb.j2k", "", 24, 1},
    {"3.bmp", kColor, "", "bmp3:3.bmp", "", 24},
    {"2.bmp", kColor, "", "bmp2:2.bmp", "", 24},
    {"4.bmp", kColor, "", "4.bmp", "", 24},
    {"alpha.bmp", kAlpha, "", "alpha.bmp", "", 32},
    {"palette.bmp", kColor, "-colors 90", "bmp3:palette.bmp", "", 8},
    {"runs.bmp", kColor, "-colors 20 -compress rle", "bmp3:runs.bmp", "", 8},
    {"bilevel.bmp", kBilevel, "", "bmp3:bilevel.bmp", "", 1},
    {"565.bmp", kColor, "-define bmp:subtype=RGB565", "565.bmp", "", 24, 8},
    {"still.gif", kColor, "-colors 50", "still.gif", "", 8},
    {"lines.gif", kColor, "-colors 50 -interlace GIF", "lines.gif", "", 8},
    {"clear.gif", kColor, "-colors 50 -transparent red", "clear.gif", "", 8},
};

// The cases of one format, told by the extension of the file.
class ForeignStills : public ForeignFiles, public testing::WithParamInterface<CoreImageFormat> {
 protected:
  // One call for all files of a base: each is written from a copy, and its options end with the parenthesis.
  void Make(const std::vector<Case>& cases) {
    for (std::size_t base = 0; base < std::size(kBases); ++base) {
      std::string command;
      for (const Case& c : cases) {
        if (c.base == base)
          command += " \\( +clone " + std::string(c.options) + " -write " + c.written + " +delete \\)";
      }
      if (!command.empty())
        Run("convert -respect-parentheses " + std::string(kBases[base]) + command + " null:");
    }
    for (const Case& c : cases) {
      if (*c.then != '\0') Run(c.then);
    }
  }
};

INSTANTIATE_TEST_SUITE_P(Formats, ForeignStills, testing::ValuesIn(image::kFormats), image::FormatTestName);

TEST_P(ForeignStills, DecodeToTheReportedPixels) {
  std::vector<Case> cases;
  std::vector<std::string> files;
  for (const Case& c : kCases) {
    if (CoreImageFormatFromExtension(std::strchr(c.file, '.')) != GetParam()) continue;
    cases.push_back(c);
    files.push_back(c.file);
  }
  ASSERT_FALSE(cases.empty());
  Make(cases);
  const std::vector<std::string> pixels = PixelsOf(files);
  for (std::size_t i = 0; i < cases.size(); ++i) {
    const Case& c = cases[i];
    CoreFileInputStream in((folder_ + "/" + c.file).c_str());
    CoreImageInfo info;
    const auto bitmap = image::Decode(in, 0, 0, 0, &info);
    ASSERT_NE(bitmap, nullptr) << c.file;
    EXPECT_EQ(bitmap->GetBitsPerPixel(), c.bits) << c.file;
    EXPECT_EQ(info.bitsPerPixel, c.bits) << c.file;
    EXPECT_EQ(info.paletteSize, bitmap->GetPaletteSize()) << c.file;
    ExpectPixels(c.file, 0, pixels[i], c.tolerance);
  }
}

TEST_F(ForeignFiles, PagesOfATiff) {
  for (const Base base : {kColor, kGray, kBilevel})
    Run("convert " + std::string(kBases[base]) + " " + std::to_string(base) + ".tif");
  Run("tiffcp 0.tif 3.tif 5.tif pages.tif");
  CoreFileInputStream in((folder_ + "/pages.tif").c_str());
  CoreImageInfo info;
  EXPECT_NE(image::Decode(in, 0, 0, 0, &info), nullptr);
  EXPECT_EQ(info.frameCount, 3);
  const std::vector<std::string> pixels = PixelsOf({"pages.tif[0]", "pages.tif[1]", "pages.tif[2]"});
  for (int i = 0; i < 3; ++i) ExpectPixels("pages.tif", i, pixels[static_cast<std::size_t>(i)], 0);
}

TEST_F(ForeignFiles, AnimationsAreComposedAsTheyAreShown) {
  Run("cp '" TOVKIT_SOURCE_DIR
      "/tests/data/images/animation.gif' a.gif && "
      "convert a.gif -coalesce +write f%d.png whole.gif && gif2webp -quiet whole.gif -o "
      "a.webp");
  const std::vector<std::string> pixels = PixelsOf({"f0.png", "f1.png", "f2.png", "f3.png", "f4.png"});
  for (int i = 0; i < 5; ++i) {
    const std::string& seen = pixels[static_cast<std::size_t>(i)];
    CoreFileInputStream in((folder_ + "/a.gif").c_str());
    const auto frame = image::Decode(in, i);
    ASSERT_NE(frame, nullptr);
    EXPECT_EQ(frame->GetBitsPerPixel(), 32);
    ExpectPixels("a.gif", i, seen, 0);
    ExpectPixels("a.webp", i, seen, 0);
  }
}

TEST_F(ForeignFiles, CmykJpegsOfEveryMaking) {
  // Inks as Adobe stores them, inverted, with and without the detour over YCCK.
  for (const bool ycck : {false, true}) {
    const std::string name = ycck ? "YCCK" : "CMYK";
    LibjpegWriter writer(16, 16, 4, JCS_CMYK);
    jpeg_set_colorspace(&writer.jpeg, ycck ? JCS_YCCK : JCS_CMYK);
    writer.jpeg.write_Adobe_marker = TRUE;
    jpeg_set_quality(&writer.jpeg, 100, TRUE);
    JSAMPLE row[64];
    for (int x = 0; x < 16; ++x)
      row[4 * x] = 255 - 255, row[4 * x + 1] = 255 - 51, row[4 * x + 2] = 255, row[4 * x + 3] = 255 - 51;
    const auto bitmap = image::Decode(writer.Write([&row](int) { return row; }));
    ASSERT_NE(bitmap, nullptr) << name;
    EXPECT_EQ(bitmap->GetBitsPerPixel(), 24);
    // Cyan 255, magenta 51, yellow 0, black 51: no red, 204 x 204 / 255 of green, 204 of blue.
    CoreDib expected;
    ASSERT_TRUE(expected.Create(16, 16, 24));
    for (std::size_t i = 0; i < expected.GetBufferSize(); i += 3)
      expected.GetBuffer()[i] = 204, expected.GetBuffer()[i + 1] = 163, expected.GetBuffer()[i + 2] = 0;
    EXPECT_EQ(image::Difference(*bitmap, expected, 3), "") << name;
  }
}

// One color all over and the best quality lose nothing. Without the mark of Adobe the inks are as they are.
TEST(CmykJpegs, ComeOutAsLightWhetherTheInksAreInvertedOrNot) {
  for (const bool inverted : {false, true}) {
    for (unsigned ink = 0; ink < 256; ink += 3) {
      const unsigned inks[] = {ink, 255 - ink, (ink * 7 + 1) % 256, (ink * 11 + 5) % 256};
      LibjpegWriter writer(8, 8, 4, JCS_CMYK);
      writer.jpeg.write_Adobe_marker = inverted ? TRUE : FALSE;
      jpeg_set_quality(&writer.jpeg, 100, TRUE);
      JSAMPLE row[32];
      for (int i = 0; i < 32; ++i) row[i] = static_cast<JSAMPLE>(inverted ? 255 - inks[i % 4] : inks[i % 4]);
      const std::string file = writer.Write([&row](int) { return row; });
      CoreImageInfo info;
      const auto bitmap = image::Decode(file, 0, 0, 0, &info);
      ASSERT_NE(bitmap, nullptr);
      EXPECT_EQ(info.bitsPerPixel, 24);
      EXPECT_EQ(info.fileBitsPerPixel, 32);
      std::uint32_t expected = 255;
      for (int c = 0; c < 3; ++c) {
        expected = expected << 8 |
                   static_cast<std::uint32_t>(std::lround((255 - inks[c]) * (255.0 - inks[3]) / 255));
      }
      EXPECT_EQ(bitmap->GetArgb(3, 5), expected) << ink << (inverted ? ", inverted" : "");
    }
  }
}

// A JPEG that marks each of its blocks with the numbers 0 to 7 in turn.
std::string MarkedJpeg() {
  const CoreDib dib = image::MakePicture(64, 48, 24);
  LibjpegWriter writer(64, 48, 3, JCS_EXT_BGR);
  writer.jpeg.restart_interval = 1;
  return writer.Write([&dib](int y) { return dib.GetRow(y); });
}

// A block that is marked with another number is lost, or some blocks are; what lies far from it stays.
TEST(MarkedJpegs, ABlockOfAnotherNumberSpoilsNoMoreThanItsNeighbors) {
  const std::string whole = MarkedJpeg();
  const auto expected = image::Decode(whole);
  ASSERT_NE(expected, nullptr);
  const std::size_t mark = whole.find("\xff\xd2", whole.find("\xff\xda"));
  ASSERT_NE(mark, std::string::npos);
  for (const char number : {'\xd0', '\xd1', '\xd3', '\xd4', '\xd6'}) {
    std::string file = whole;
    file[mark + 1] = number;
    const auto bitmap = image::Decode(file);
    ASSERT_NE(bitmap, nullptr) << static_cast<int>(number);
    for (int x = 0; x < 16; ++x) ASSERT_EQ(bitmap->GetArgb(x, 3), expected->GetArgb(x, 3)) << x;
  }
}

TEST_F(ForeignFiles, CmykTiffsComeOutAsLight) {
  for (const char* how : {"-compress none", "-compress lzw -interlace plane", "-depth 16"}) {
    Run("convert -size 20x10 xc:'cmyk(255,51,0,51)' " + std::string(how) + " cmyk.tif");
    CoreFileInputStream in((folder_ + "/cmyk.tif").c_str());
    const auto bitmap = image::Decode(in);
    ASSERT_NE(bitmap, nullptr) << how;
    EXPECT_EQ(bitmap->GetArgb(7, 7), 0xff00a3ccu) << how;
  }
}

TEST_F(ForeignFiles, OurFilesAreReadByOthers) {
  std::vector<std::string> names;
  for (const char* extension : {"png", "tif", "webp", "bmp", "jp2"}) {
    for (const int bits : {1, 4, 8, 24, 32}) {
      names.push_back("ours" + std::to_string(bits) + "." + extension);
      const std::string bytes =
          image::Encode(image::MakePicture(45, 31, bits), CoreImageFormatFromExtension(extension));
      std::ofstream(folder_ + "/" + names.back(), std::ios::binary) << bytes;
    }
  }
  const std::vector<std::string> pixels = PixelsOf(names);
  for (std::size_t i = 0; i < names.size(); ++i) ExpectPixels(names[i], 0, pixels[i], 0);
}

}  // namespace
