// Files that other programs wrote decode to the pixels that those programs report.
#include "image_support.h"

#include <tovmx/codec.h>

#include <gtest/gtest.h>
#include <jpeglib.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

namespace {

class ForeignFiles : public testing::Test {
 protected:
  ForeignFiles() {
    std::string name = testing::TempDir() + "tovmx_foreign_XXXXXX";
    if (mkdtemp(name.data()) != nullptr) folder_ = name;
  }
  ~ForeignFiles() override {
    std::error_code ignored;
    if (!folder_.empty()) std::filesystem::remove_all(folder_, ignored);
  }

  // Runs a shell command in the folder; its standard output, or a failure of the test.
  std::string Run(const std::string& command) {
    std::FILE* pipe = popen(("cd '" + folder_ + "' && " + command + " 2>errors").c_str(), "r");
    std::string out;
    char block[65536];
    for (std::size_t count = 0; (count = std::fread(block, 1, sizeof block, pipe)) != 0;)
      out.append(block, count);
    const int status = pclose(pipe);
    EXPECT_EQ(status, 0) << command << "\n" << image::ReadFile(folder_ + "/errors");
    return out;
  }

  // Compares a frame with what ImageMagick reads from `source`, its 16 bits rounded to 8. Where both are
  // transparent the colour does not count.
  void ExpectPixels(const std::string& file, int frame, const std::string& source, int tolerance) {
    const std::string deep = Run("convert '" + source + "' -depth 16 -endian LSB rgba:-");
    CoreFileInputStream in((folder_ + "/" + file).c_str());
    const auto bitmap = image::Decode(in, frame);
    ASSERT_NE(bitmap, nullptr) << file << ", frame " << frame;
    CoreDib expected;
    ASSERT_TRUE(expected.Create(bitmap->GetWidth(), bitmap->GetHeight(), 32));
    ASSERT_EQ(deep.size(), 2 * expected.GetBufferSize()) << file;
    for (int y = 0; y < expected.GetHeight(); ++y) {
      for (int x = 0; x < expected.GetWidth(); ++x) {
        const auto pixel = static_cast<std::size_t>(y) * static_cast<std::size_t>(expected.GetStride()) +
                           4 * static_cast<std::size_t>(x);
        const std::size_t order[] = {2, 1, 0, 3};
        for (std::size_t c = 0; c < 4; ++c) {
          const auto low = static_cast<unsigned char>(deep[2 * (pixel + order[c])]);
          const auto high = static_cast<unsigned char>(deep[2 * (pixel + order[c]) + 1]);
          expected.GetBuffer()[pixel + c] = static_cast<std::uint8_t>((low + 256U * high + 128U) / 257U);
        }
        const std::uint32_t ours = bitmap->GetArgb(x, y);
        if (ours >> 24 == 0 && expected.GetBuffer()[pixel + 3] == 0)
          std::memcpy(expected.GetBuffer() + pixel, &ours, 4);
      }
    }
    EXPECT_EQ(image::Difference(*bitmap, expected, tolerance), "") << file << ", frame " << frame;
  }

  std::string folder_;
};

constexpr char kColour[] = "convert -size 61x43 -seed 7 plasma:red-blue -depth 8 ";
constexpr char kDeep[] = "convert -size 61x43 -seed 7 plasma:red-blue -depth 16 ";
constexpr char kAlpha[] =
    "convert -size 61x43 -seed 7 plasma:red-blue \\( -size 61x43 gradient: \\) -compose copy_opacity "
    "-composite -depth 8 ";
constexpr char kGray[] = "convert -size 61x43 -seed 7 plasma:black-white -colorspace gray -depth 8 ";
constexpr char kBilevel[] =
    "convert -size 61x43 -seed 7 plasma:black-white -monochrome -type bilevel -depth 1 ";

struct Case {
  std::string file;
  std::string command;  // makes the file
  int bits;             // of the bitmap
  int tolerance = 0;
};

TEST_F(ForeignFiles, StillPicturesOfEveryKind) {
  const std::string colour = kColour;
  const std::string deep = kDeep;
  const std::string alpha = kAlpha;
  const std::string gray = kGray;
  const std::string bilevel = kBilevel;
  const std::vector<Case> cases = {
      {"rgb.png", colour + "png24:rgb.png", 24},
      {"rgb16.png", deep + "png48:rgb16.png", 24},
      {"rgba.png", alpha + "png32:rgba.png", 32},
      {"rgba16.png", alpha + "-depth 16 png64:rgba16.png", 32},
      {"interlaced.png", colour + "-interlace PNG png24:interlaced.png", 24},
      {"palette.png", colour + "-colors 200 png8:palette.png", 8},
      {"palette4.png", colour + "+dither -colors 12 -define png:bit-depth=4 png8:palette4.png", 4},
      {"palette2.png", colour + "+dither -colors 4 png8:palette2.png", 8},
      {"gray.png", gray + "gray.png", 8},
      {"gray16.png", gray + "-depth 16 -define png:bit-depth=16 -define png:color-type=0 gray16.png", 8},
      {"gray2.png", gray + "-posterize 4 -define png:bit-depth=2 -define png:color-type=0 gray2.png", 8},
      {"gray4.png", gray + "-posterize 16 -define png:bit-depth=4 -define png:color-type=0 gray4.png", 4},
      {"grayalpha.png", alpha + "-colorspace gray -define png:color-type=4 grayalpha.png", 32},
      {"bilevel.png", bilevel + "bilevel.png", 1},
      {"420.jpg", colour + "-quality 85 -sampling-factor 2x2 420.jpg", 24, 1},
      {"444.jpg", colour + "-quality 95 -sampling-factor 1x1 444.jpg", 24, 1},
      {"progressive.jpg", colour + "-interlace JPEG progressive.jpg", 24, 1},
      {"gray.jpg", gray + "gray.jpg", 8, 1},
      {"none.tif", colour + "-compress none none.tif", 24},
      {"lzw.tif", colour + "-compress lzw lzw.tif", 24},
      {"zip.tif", colour + "-compress zip zip.tif", 24},
      {"packbits.tif", colour + "-compress rle packbits.tif", 24},
      {"jpeg.tif", colour + "-compress jpeg -quality 90 jpeg.tif", 24, 1},
      {"big.tif", colour + "-endian MSB big.tif", 24},
      {"deep.tif", deep + "deep.tif", 24},
      {"deepbig.tif", deep + "-endian MSB deepbig.tif", 24},
      {"alpha.tif", alpha + "-define tiff:alpha=unassociated alpha.tif", 32},
      {"palette.tif", colour + "-colors 100 -type palette palette.tif", 8},
      {"gray.tif", gray + "gray.tif", 8},
      {"deepgray.tif",
       "convert -size 61x43 -seed 7 plasma:black-white -colorspace gray -depth 16 deepgray.tif", 8},
      {"grayalpha.tif", alpha + "-colorspace gray -define tiff:alpha=unassociated grayalpha.tif", 32},
      {"twobits.tif", gray + "-posterize 4 -depth 2 twobits.tif", 32},
      {"graytiles.tif", gray + "a.tif && tiffcp -c lzw -t -w 16 -l 16 a.tif graytiles.tif", 8},
      {"deep.jp2", deep + "-quality 100 deep.jp2", 24, 1},
      {"alpha.jp2", alpha + "-quality 100 alpha.jp2", 32, 1},
      {"g4.tif", bilevel + "-compress group4 g4.tif", 1},
      {"g3.tif", bilevel + "-compress fax g3.tif", 1},
      {"white.tif", bilevel + "-define quantum:polarity=min-is-white white.tif", 1},
      {"black.tif", bilevel + "-define quantum:polarity=min-is-black black.tif", 1},
      {"tiles.tif", colour + "a.tif && tiffcp -c lzw -t -w 16 -l 32 a.tif tiles.tif", 24},
      {"deeptiles.tif", deep + "a.tif && tiffcp -c zip -t -w 16 -l 16 a.tif deeptiles.tif", 24},
      {"bileveltiles.tif", bilevel + "a.tif && tiffcp -c none -t -w 16 -l 16 a.tif bileveltiles.tif", 1},
      {"planes.tif", colour + "a.tif && tiffcp -c lzw -p separate a.tif planes.tif", 24},
      {"deepplanes.tif", deep + "-interlace plane deepplanes.tif", 24},
      {"alphaplanes.tif",
       alpha + "-define tiff:alpha=unassociated a.tif && tiffcp -p separate a.tif alphaplanes.tif", 32},
      {"bigtiff.tif", colour + "a.tif && tiffcp -8 a.tif bigtiff.tif", 24},
      {"lossless.webp", colour + "a.png && cwebp -quiet -lossless a.png -o lossless.webp", 24},
      {"lossy.webp", colour + "a.png && cwebp -quiet -q 80 a.png -o lossy.webp", 24, 1},
      {"alpha.webp", alpha + "png32:a.png && cwebp -quiet -exact -lossless a.png -o alpha.webp", 32},
      {"rgb.jp2", colour + "-quality 100 rgb.jp2", 24, 1},
      {"gray.jp2", gray + "-quality 100 gray.jp2", 8, 1},
      {"rgb.j2k", colour + "-quality 100 rgb.j2k", 24, 1},
      {"3.bmp", colour + "bmp3:3.bmp", 24},
      {"2.bmp", colour + "bmp2:2.bmp", 24},
      {"4.bmp", colour + "4.bmp", 24},
      {"alpha.bmp", alpha + "alpha.bmp", 32},
      {"palette.bmp", colour + "-colors 90 bmp3:palette.bmp", 8},
      {"runs.bmp", colour + "-colors 20 -compress rle bmp3:runs.bmp", 8},
      {"bilevel.bmp", bilevel + "bmp3:bilevel.bmp", 1},
      {"565.bmp", colour + "-define bmp:subtype=RGB565 565.bmp", 24, 8},
      {"still.gif", colour + "-colors 50 still.gif", 8},
      {"lines.gif", colour + "-colors 50 -interlace GIF lines.gif", 8},
      {"clear.gif", colour + "-colors 50 -transparent red clear.gif", 8},
  };
  for (const Case& c : cases) {
    Run(c.command);
    CoreFileInputStream in((folder_ + "/" + c.file).c_str());
    CoreImageInfo info;
    const auto bitmap = image::Decode(in, 0, 0, 0, &info);
    ASSERT_NE(bitmap, nullptr) << c.file;
    EXPECT_EQ(bitmap->GetBitsPerPixel(), c.bits) << c.file;
    EXPECT_EQ(info.bitsPerPixel, c.bits) << c.file;
    EXPECT_EQ(info.paletteSize, bitmap->GetPaletteSize()) << c.file;
    ExpectPixels(c.file, 0, c.file, c.tolerance);
  }
}

TEST_F(ForeignFiles, PagesOfATiff) {
  Run(std::string(kColour) + "a.tif && " + kGray + "b.tif && " + kBilevel +
      "c.tif && tiffcp a.tif b.tif c.tif pages.tif");
  CoreFileInputStream in((folder_ + "/pages.tif").c_str());
  CoreImageInfo info;
  EXPECT_NE(image::Decode(in, 0, 0, 0, &info), nullptr);
  EXPECT_EQ(info.frameCount, 3);
  for (int i = 0; i < 3; ++i) ExpectPixels("pages.tif", i, "pages.tif[" + std::to_string(i) + "]", 0);
}

TEST_F(ForeignFiles, AnimationsAreComposedAsTheyAreShown) {
  Run("cp '" TOVKIT_SOURCE_DIR
      "/tests/data/images/animation.gif' a.gif && "
      "convert a.gif -coalesce f%d.png && convert a.gif -coalesce whole.gif && gif2webp -quiet whole.gif -o "
      "a.webp");
  for (int i = 0; i < 5; ++i) {
    const std::string seen = "f" + std::to_string(i) + ".png";
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
    const std::string name = ycck ? "ycck.jpg" : "cmyk.jpg";
    std::FILE* file = std::fopen((folder_ + "/" + name).c_str(), "wb");
    ASSERT_NE(file, nullptr);
    jpeg_compress_struct jpeg;
    jpeg_error_mgr errors;
    jpeg.err = jpeg_std_error(&errors);
    jpeg_create_compress(&jpeg);
    jpeg_stdio_dest(&jpeg, file);
    jpeg.image_width = jpeg.image_height = 16;
    jpeg.input_components = 4;
    jpeg.in_color_space = JCS_CMYK;
    jpeg_set_defaults(&jpeg);
    jpeg_set_colorspace(&jpeg, ycck ? JCS_YCCK : JCS_CMYK);
    jpeg.write_Adobe_marker = TRUE;
    jpeg_set_quality(&jpeg, 100, TRUE);
    jpeg_start_compress(&jpeg, TRUE);
    JSAMPLE row[64];
    for (int x = 0; x < 16; ++x)
      row[4 * x] = 255 - 255, row[4 * x + 1] = 255 - 51, row[4 * x + 2] = 255, row[4 * x + 3] = 255 - 51;
    for (JSAMPROW line = row; jpeg.next_scanline < jpeg.image_height;) jpeg_write_scanlines(&jpeg, &line, 1);
    jpeg_finish_compress(&jpeg);
    jpeg_destroy_compress(&jpeg);
    std::fclose(file);

    CoreFileInputStream in((folder_ + "/" + name).c_str());
    const auto bitmap = image::Decode(in);
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
  for (const char* extension : {"png", "tif", "webp", "bmp", "jp2"}) {
    for (const int bits : {1, 4, 8, 24, 32}) {
      const CoreDib dib = image::MakePicture(45, 31, bits);
      const std::string name = "ours." + std::string(extension);
      const std::string bytes = image::Encode(dib, CoreImageFormatFromExtension(extension));
      std::FILE* file = std::fopen((folder_ + "/" + name).c_str(), "wb");
      ASSERT_EQ(std::fwrite(bytes.data(), 1, bytes.size(), file), bytes.size());
      std::fclose(file);
      ExpectPixels(name, 0, name, 0);
    }
  }
}

}  // namespace
