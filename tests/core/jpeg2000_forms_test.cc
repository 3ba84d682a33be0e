// Pictures in the forms that JPEG 2000 files have besides 8 bits of gray or RGB, written by OpenJPEG itself.
#include "image_support.h"

#include <gtest/gtest.h>
#include <openjpeg.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace {

constexpr int kWidth = 20;
constexpr int kHeight = 14;

struct Component {
  int bits = 8;
  bool isSigned = false;
  int step = 1;  // one sample for so many pixels across and, unless stepDown says otherwise, down
  bool alpha = false;
  int stepDown = 0;
  int Down() const { return stepDown != 0 ? stepDown : step; }
};

// The 8 bits that sample (x, y) of a component stands for.
int Value(std::size_t component, int x, int y) {
  return (static_cast<int>(component) * 60 + x * 9 + y * 13 + 20) % 256;
}

// The same in the component's own range.
OPJ_INT32 Stored(const Component& component, int value) {
  const long most = (1L << component.bits) - 1;
  const long number = (value * most + 127) / 255;
  return static_cast<OPJ_INT32>(component.isSigned ? number - (1L << (component.bits - 1)) : number);
}

struct Bytes {
  std::string text;
  std::size_t position = 0;
};

OPJ_SIZE_T Write(void* from, OPJ_SIZE_T size, void* data) {
  auto& bytes = *static_cast<Bytes*>(data);
  if (bytes.text.size() < bytes.position + size) bytes.text.resize(bytes.position + size);
  bytes.text.replace(bytes.position, size, static_cast<const char*>(from), size);
  bytes.position += size;
  return size;
}

OPJ_OFF_T Skip(OPJ_OFF_T count, void* data) {
  static_cast<Bytes*>(data)->position += static_cast<std::size_t>(count);
  return count;
}

OPJ_BOOL Seek(OPJ_OFF_T position, void* data) {
  static_cast<Bytes*>(data)->position = static_cast<std::size_t>(position);
  return OPJ_TRUE;
}

// In tiles of so many pixels a side, or in one without a number.
std::string Store(const std::vector<Component>& components, OPJ_COLOR_SPACE colors,
                  OPJ_CODEC_FORMAT format = OPJ_CODEC_JP2, int tile = 0) {
  std::vector<opj_image_cmptparm_t> forms;
  for (const Component& component : components) {
    opj_image_cmptparm_t form = {};
    form.dx = static_cast<OPJ_UINT32>(component.step);
    form.dy = static_cast<OPJ_UINT32>(component.Down());
    form.w = static_cast<OPJ_UINT32>((kWidth + component.step - 1) / component.step);
    form.h = static_cast<OPJ_UINT32>((kHeight + component.Down() - 1) / component.Down());
    form.prec = static_cast<OPJ_UINT32>(component.bits);
    form.sgnd = component.isSigned ? 1 : 0;
    forms.push_back(form);
  }
  opj_image_t* const image = opj_image_create(static_cast<OPJ_UINT32>(forms.size()), forms.data(), colors);
  image->x1 = kWidth;
  image->y1 = kHeight;
  for (std::size_t c = 0; c < components.size(); ++c) {
    image->comps[c].alpha = components[c].alpha ? 1 : 0;
    OPJ_INT32* out = image->comps[c].data;
    for (int y = 0; y < kHeight; y += components[c].Down()) {
      for (int x = 0; x < kWidth; x += components[c].step) *out++ = Stored(components[c], Value(c, x, y));
    }
  }
  opj_cparameters_t parameters;
  opj_set_default_encoder_parameters(&parameters);
  parameters.tcp_numlayers = 1;
  parameters.cp_disto_alloc = 1;
  parameters.numresolution = tile == 1 ? 1 : 2;
  if (tile != 0) {
    parameters.tile_size_on = OPJ_TRUE;
    parameters.cp_tdx = parameters.cp_tdy = tile;
  }
  Bytes bytes;
  opj_codec_t* const codec = opj_create_compress(format);
  opj_stream_t* const stream = opj_stream_default_create(OPJ_FALSE);
  opj_stream_set_write_function(stream, Write);
  opj_stream_set_skip_function(stream, Skip);
  opj_stream_set_seek_function(stream, Seek);
  opj_stream_set_user_data(stream, &bytes, nullptr);
  const bool done = opj_setup_encoder(codec, &parameters, image) != 0 &&
                    opj_start_compress(codec, image, stream) != 0 && opj_encode(codec, stream) != 0 &&
                    opj_end_compress(codec, stream) != 0;
  opj_stream_destroy(stream);
  opj_destroy_codec(codec);
  opj_image_destroy(image);
  EXPECT_TRUE(done);
  return bytes.text;
}

constexpr char kCmyk = 12;

// The library names only the colors that it writes itself.
std::string WithColors(std::string file, char enumerated) {
  const std::size_t box = file.find("colr");
  EXPECT_NE(box, std::string::npos);
  file[box + 10] = enumerated;
  return file;
}

// What is told of the picture before it is decoded holds of the bitmap.
std::unique_ptr<CoreDib> Decoded(const std::string& file) {
  CoreImageInfo info;
  auto bitmap = image::Decode(file, 0, 0, 0, &info);
  if (bitmap != nullptr) {
    EXPECT_EQ(info.bitsPerPixel, bitmap->GetBitsPerPixel());
  }
  return bitmap;
}

using Argb = std::array<int, 4>;

// The first pixel that is further off than `tolerance`, or an empty text. `expected` gives alpha, red, green
// and blue.
template <typename Expected>
std::string Trouble(const CoreDib* bitmap, const Expected& expected, int tolerance = 0) {
  if (bitmap == nullptr) return "no bitmap";
  if (bitmap->GetWidth() != kWidth || bitmap->GetHeight() != kHeight) return "size";
  for (int y = 0; y < kHeight; ++y) {
    for (int x = 0; x < kWidth; ++x) {
      const std::uint32_t argb = bitmap->GetArgb(x, y);
      const Argb wanted = expected(x, y);
      for (std::size_t c = 0; c < 4; ++c) {
        const int seen = static_cast<int>(argb >> (24 - 8 * c) & 255U);
        if (std::abs(seen - wanted[c]) <= tolerance) continue;
        char text[80];
        std::snprintf(text, sizeof text, "at (%d, %d): %d for %d, number %zu", x, y, seen, wanted[c], c);
        return text;
      }
    }
  }
  return {};
}

Argb GrayAt(int x, int y) { return {255, Value(0, x, y), Value(0, x, y), Value(0, x, y)}; }
Argb RgbAt(int x, int y) { return {255, Value(0, x, y), Value(1, x, y), Value(2, x, y)}; }

TEST(Jpeg2000Forms, EveryDepthAndSignGivesTheSamePixels) {
  for (const int bits : {8, 9, 12, 16}) {
    for (const bool isSigned : {false, true}) {
      const Component component{bits, isSigned};
      for (const auto format : {OPJ_CODEC_JP2, OPJ_CODEC_J2K}) {
        const auto gray = Decoded(Store({component}, OPJ_CLRSPC_GRAY, format));
        EXPECT_EQ(Trouble(gray.get(), GrayAt), "") << bits << (isSigned ? " signed" : "");
        const auto rgb = Decoded(Store({component, component, component}, OPJ_CLRSPC_SRGB, format));
        EXPECT_EQ(Trouble(rgb.get(), RgbAt), "") << bits << (isSigned ? " signed" : "");
      }
    }
  }
}

TEST(Jpeg2000Forms, ShallowSamplesSpanTheWholeRange) {
  for (const int bits : {1, 2, 4}) {
    const Component component{bits};
    const auto bitmap = Decoded(Store({component}, OPJ_CLRSPC_GRAY));
    const int most = (1 << bits) - 1;
    const auto expected = [&](int x, int y) {
      const int light = (Stored(component, Value(0, x, y)) * 255 + most / 2) / most;
      return Argb{255, light, light, light};
    };
    EXPECT_EQ(Trouble(bitmap.get(), expected), "") << bits;
  }
}

TEST(Jpeg2000Forms, AlphaBesideGrayAndRgbOfAnyDepth) {
  for (const int bits : {8, 12}) {
    for (const bool told : {true, false}) {
      const Component plain{bits};
      const Component alpha{bits, false, 1, told};
      const auto gray = Decoded(Store({plain, alpha}, OPJ_CLRSPC_GRAY));
      EXPECT_EQ(Trouble(gray.get(),
                        [](int x, int y) {
                          Argb argb = GrayAt(x, y);
                          argb[0] = Value(1, x, y);
                          return argb;
                        }),
                "")
          << bits << (told ? "" : " untold");
      const auto rgb = Decoded(Store({plain, plain, plain, alpha}, OPJ_CLRSPC_SRGB));
      EXPECT_EQ(Trouble(rgb.get(),
                        [](int x, int y) {
                          Argb argb = RgbAt(x, y);
                          argb[0] = Value(3, x, y);
                          return argb;
                        }),
                "")
          << bits << (told ? "" : " untold");
    }
  }
}

TEST(Jpeg2000Forms, TwoSamplesBesideTheColorsAreAlphaOnlyWhereTheFileSaysSo) {
  const Component plain;
  const Component alpha{8, false, 1, true};
  const auto untold = Decoded(Store({plain, plain, plain, plain, plain}, OPJ_CLRSPC_SRGB));
  EXPECT_EQ(Trouble(untold.get(), RgbAt), "");
  const auto told = Decoded(Store({plain, plain, plain, plain, alpha}, OPJ_CLRSPC_SRGB));
  EXPECT_EQ(Trouble(told.get(),
                    [](int x, int y) {
                      Argb argb = RgbAt(x, y);
                      argb[0] = Value(4, x, y);
                      return argb;
                    }),
            "");
}

TEST(Jpeg2000Forms, ColorsThatAreMultipliedByTheirAlphaAreDivided) {
  const Component plain;
  std::string file = Store({plain, plain, plain, {8, false, 1, true}}, OPJ_CLRSPC_SRGB);
  const std::size_t definitions = file.find("cdef");
  ASSERT_NE(definitions, std::string::npos);
  char& kind = file[definitions + 6 + 3 * 6 + 3];
  ASSERT_EQ(kind, 1);
  kind = 2;
  const auto bitmap = Decoded(file);
  EXPECT_EQ(Trouble(bitmap.get(),
                    [](int x, int y) {
                      Argb argb = RgbAt(x, y);
                      const int alpha = argb[0] = Value(3, x, y);
                      for (std::size_t c = 1; c < 4; ++c)
                        argb[c] = alpha == 0 ? 0 : std::min(255, (argb[c] * 255 + alpha / 2) / alpha);
                      return argb;
                    }),
            "");
}

// Full-range YCbCr of three samples.
Argb FromYcc(double y, double cb, double cr) {
  const auto byte = [](double value) { return static_cast<int>(std::clamp(std::lround(value), 0L, 255L)); };
  cb -= 128, cr -= 128;
  return {255, byte(y + 1.402 * cr), byte(y - 0.344136 * cb - 0.714136 * cr), byte(y + 1.772 * cb)};
}

TEST(Jpeg2000Forms, LumaAndChromaBecomeRgb) {
  const Component plain;
  const auto bitmap = Decoded(Store({plain, plain, plain}, OPJ_CLRSPC_SYCC));
  EXPECT_EQ(Trouble(bitmap.get(),
                    [](int x, int y) { return FromYcc(Value(0, x, y), Value(1, x, y), Value(2, x, y)); }),
            "");
}

TEST(Jpeg2000Forms, SubsampledChromaIsSpreadOverItsPixelsWhateverTheColorsAreCalled) {
  const Component luma;
  for (const auto& [across, down] : {std::pair(2, 2), {2, 1}, {1, 2}}) {
    const Component chroma{8, false, across, false, down};
    for (const auto colors : {OPJ_CLRSPC_SYCC, OPJ_CLRSPC_SRGB}) {
      const auto bitmap = Decoded(Store({luma, chroma, chroma}, colors));
      EXPECT_EQ(Trouble(bitmap.get(),
                        [across = across, down = down](int x, int y) {
                          const int left = x / across * across;
                          const int top = y / down * down;
                          return FromYcc(Value(0, x, y), Value(1, left, top), Value(2, left, top));
                        }),
                "")
          << static_cast<int>(colors) << ", " << across << " by " << down;
    }
  }
}

// The library's planes have 4 bytes for each sample, besides the bitmap.
TEST(Jpeg2000Forms, TheLimitPaysForThePlanes) {
  const Component plain;
  CoreCodecRegistry& registry = CoreCodecRegistry::Get();
  const std::uint64_t usual = registry.GetPixelLimit();
  for (const std::size_t count : {1U, 2U, 3U, 4U}) {
    const std::string file = Store(std::vector<Component>(count, plain), OPJ_CLRSPC_SRGB);
    const auto bitmap = Decoded(file);
    ASSERT_NE(bitmap, nullptr) << count;
    const std::uint64_t most = bitmap->GetBufferSize() + std::uint64_t{count} * kWidth * kHeight * 4;
    registry.SetPixelLimit(most);
    EXPECT_NE(Decoded(file), nullptr) << count;
    registry.SetPixelLimit(most - 1);
    EXPECT_EQ(Decoded(file), nullptr) << count;
    registry.SetPixelLimit(usual);
  }
}

// Alpha of fewer samples than the colors, in either direction or both.
TEST(Jpeg2000Forms, SubsampledAlphaIsSpreadOverItsPixels) {
  const Component plain;
  for (const int across : {1, 2, 3}) {
    for (const int down : {1, 2, 5}) {
      for (const bool gray : {false, true}) {
        const Component alpha{8, false, across, true, down};
        const auto bitmap = gray ? Decoded(Store({plain, alpha}, OPJ_CLRSPC_GRAY))
                                 : Decoded(Store({plain, plain, plain, alpha}, OPJ_CLRSPC_SRGB));
        // The sample that lies nearest when all of them are spread evenly.
        const int columns = (kWidth + across - 1) / across, rows = (kHeight + down - 1) / down;
        EXPECT_EQ(Trouble(bitmap.get(),
                          [&](int x, int y) {
                            Argb argb = gray ? GrayAt(x, y) : RgbAt(x, y);
                            argb[0] =
                                Value(gray ? 1 : 3, x * columns / kWidth * across, y * rows / kHeight * down);
                            return argb;
                          }),
                  "")
            << across << " by " << down << (gray ? ", gray" : "");
      }
    }
  }
}

TEST(Jpeg2000Forms, InksComeOutAsLight) {
  const Component ink;
  const auto lightOf = [](int x, int y) {
    Argb argb = {255};
    for (std::size_t c = 0; c < 3; ++c)
      argb[c + 1] = ((255 - Value(c, x, y)) * (255 - Value(3, x, y)) + 127) / 255;
    return argb;
  };
  const auto plain = Decoded(WithColors(Store({ink, ink, ink, ink}, OPJ_CLRSPC_SRGB), kCmyk));
  EXPECT_EQ(Trouble(plain.get(), lightOf), "");
  const auto withAlpha = Decoded(WithColors(Store({ink, ink, ink, ink, ink}, OPJ_CLRSPC_SRGB), kCmyk));
  EXPECT_EQ(Trouble(withAlpha.get(),
                    [&](int x, int y) {
                      Argb argb = lightOf(x, y);
                      argb[0] = Value(4, x, y);
                      return argb;
                    }),
            "");
}

std::string BigEndian(std::size_t value, int bytes) {
  std::string text;
  while (bytes-- > 0) text += static_cast<char>(value >> (8 * bytes));
  return text;
}

std::string Box(const std::string& typeAndContent) {
  return BigEndian(typeAndContent.size() + 4, 4) + typeAndContent;
}

TEST(Jpeg2000Forms, ABoxThatNobodyKnowsIsPassedOverHoweverLargeItIs) {
  const std::string plain = Store({{8}}, OPJ_CLRSPC_GRAY);
  const std::size_t code = plain.find("jp2c") - 4;
  for (const std::size_t size : {0, 1, 70'000, 3'000'000}) {
    std::string file = plain;
    file.insert(code, Box("wxyz" + std::string(size, 'x')));
    EXPECT_EQ(Trouble(Decoded(file).get(), GrayAt), "") << size;
    // The same with its length in 8 bytes.
    file = plain;
    file.insert(code, BigEndian(1, 4) + "wxyz" + BigEndian(size + 16, 8) + std::string(size, 'x'));
    EXPECT_EQ(Trouble(Decoded(file).get(), GrayAt), "") << size;
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
TEST(Jpeg2000Forms, HeadersThatSayTooLittleAreHarmless) {
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
TEST(Jpeg2000Forms, APaletteHasUpTo31BitsAColor) {
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
    EXPECT_EQ(Trouble(bitmap.get(),
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
TEST(Jpeg2000Forms, APaletteMayHoldMoreThanItsDepth) {
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
      EXPECT_EQ(Trouble(bitmap.get(),
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
TEST(Jpeg2000Forms, TheOnlyChannelIsGrayEvenIfItIsCalledAlpha) {
  const auto bitmap = Decoded(Store({{8, false, 1, true}}, OPJ_CLRSPC_GRAY));
  EXPECT_EQ(Trouble(bitmap.get(), GrayAt), "");
}

TEST(Jpeg2000Forms, APaletteIsUnpackedToItsColors) {
  const std::string file = Store({{8}}, OPJ_CLRSPC_SRGB);
  std::string palette = "pclr" + BigEndian(256, 2) + "\3\7\7\7";
  for (int i = 0; i < 256; ++i)
    palette += {static_cast<char>(255 - i), static_cast<char>(i * 3), static_cast<char>(i ^ 0x55)};
  const auto bitmap = Decoded(WithInHeader(file, Box(palette) + PaletteMap()));
  EXPECT_EQ(Trouble(bitmap.get(),
                    [](int x, int y) {
                      const int i = Value(0, x, y);
                      return Argb{255, 255 - i, i * 3 % 256, i ^ 0x55};
                    }),
            "");
}

// As many tiles as there are pixels: the head of a tile and its data take more bytes than the least that is
// believed.
TEST(Jpeg2000Forms, APictureMayHaveATileForEachPixel) {
  for (const int tile : {1, 2, 3, 19, 20}) {
    for (const auto format : {OPJ_CODEC_JP2, OPJ_CODEC_J2K}) {
      const auto gray = Decoded(Store({{8}}, OPJ_CLRSPC_GRAY, format, tile));
      EXPECT_EQ(Trouble(gray.get(), GrayAt), "") << tile;
    }
  }
}

// Each tile and each component of it has a price; a limit that pays for all is enough, and a byte less is
// not.
TEST(Jpeg2000Forms, TheLimitPaysForSoManyTilesAndNoMore) {
  const std::string file = Store({{8}}, OPJ_CLRSPC_GRAY, OPJ_CODEC_JP2, 1);
  constexpr std::uint64_t kPrice = 6000 + 1200;
  constexpr std::uint64_t kTiles = kWidth * kHeight;
  CoreCodecRegistry& registry = CoreCodecRegistry::Get();
  const std::uint64_t usual = registry.GetPixelLimit();
  registry.SetPixelLimit((kTiles - 1) * kPrice);
  EXPECT_EQ(Trouble(Decoded(file).get(), GrayAt), "");
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
TEST(Jpeg2000Forms, TheDepthThatIsToldIsThatOfTheBitmap) {
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
