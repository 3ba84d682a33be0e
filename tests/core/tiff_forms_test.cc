// SPDX-License-Identifier: MIT
// One picture stored in every form that a TIFF has for it: each decodes to the same pixels.
#include "image_support.h"
#include "tiff_support.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <string>
#include <vector>

namespace {

using namespace tiff;

constexpr int kWidth = 19;  // a tile and a bit
constexpr int kHeight = 21;
constexpr int kTile = 16;

struct Form {
  int photometric;
  int bits;
  std::vector<int> extra;  // what the samples after the colors are
  bool planes;
  bool tiles;

  int Colors() const { return photometric == kRgb ? 3 : photometric == kInks ? 4 : 1; }
  int Samples() const { return Colors() + static_cast<int>(extra.size()); }
  // Which sample is alpha, -1 for none.
  int Alpha() const {
    const auto found =
        std::find_if(extra.begin(), extra.end(), [](int kind) { return kind != kUnspecified; });
    return found == extra.end() ? -1 : Colors() + static_cast<int>(found - extra.begin());
  }
  std::string Name() const {
    std::string name = "photometric " + std::to_string(photometric) + ", " + std::to_string(bits) + " bits";
    for (const int kind : extra) name += ", extra " + std::to_string(kind);
    return name + (planes ? ", planes" : "") + (tiles ? ", tiles" : "");
  }
};

unsigned Value(int sample, int x, int y) {
  return static_cast<unsigned>(31 + sample * 57 + x * 11 + y * 7 + x * y * sample) % 256;
}

// What the file holds: the 16 bits of a sample lie off its 8 by less than half of a step.
void PutSample(std::string& bytes, const Form& form, int sample, int x, int y) {
  const bool inside = x < kWidth && y < kHeight;
  const unsigned value = inside ? Value(sample, x, y) : 85;
  if (form.bits == 8) return Put(bytes, value, 1);
  const int off = (x * 37 + y * 91) % 257 - 128;
  Put(bytes, static_cast<std::size_t>(std::clamp(static_cast<int>(value) * 257 + off, 0, 65535)), 2);
}

// `more` takes the place of what the form says; a tag without numbers is left out.
std::string Store(const Form& form, std::map<int, Numbers> more = {}) {
  const int tileWidth = form.tiles ? kTile : kWidth;
  const int tileHeight = form.tiles ? kTile : kHeight;
  const int passes = form.planes ? form.Samples() : 1;
  std::string pixels;
  Numbers places, sizes;
  for (int plane = 0; plane < passes; ++plane) {
    for (int top = 0; top < kHeight; top += tileHeight) {
      for (int left = 0; left < kWidth; left += tileWidth) {
        places.push_back(static_cast<unsigned>(pixels.size()));
        for (int y = top; y < top + tileHeight; ++y) {
          for (int x = left; x < left + tileWidth; ++x) {
            for (int s = 0; s < (form.planes ? 1 : form.Samples()); ++s)
              PutSample(pixels, form, form.planes ? plane : s, x, y);
          }
        }
        sizes.push_back(static_cast<unsigned>(pixels.size()) - places.back());
      }
    }
  }
  std::map<int, Numbers> tags = {{256, {kWidth}}, {257, {kHeight}}, {259, {1}}};
  tags[kBitsTag] = Numbers(static_cast<std::size_t>(form.Samples()), static_cast<unsigned>(form.bits));
  tags[kPhotometricTag] = {static_cast<unsigned>(form.photometric)};
  tags[kSamplesTag] = {static_cast<unsigned>(form.Samples())};
  tags[kPlanarTag] = {form.planes ? 2U : 1U};
  for (const int kind : form.extra) tags[kExtraTag].push_back(static_cast<unsigned>(kind));
  if (form.tiles) tags[kTileWidthTag] = tags[kTileHeightTag] = {kTile};
  if (!form.tiles) tags[kRowsTag] = {kHeight};
  tags[form.tiles ? kTilesTag : kStripsTag] = places;
  tags[form.tiles ? kTileBytesTag : kStripBytesTag] = sizes;
  for (const auto& [tag, numbers] : more) {
    tags[tag] = numbers;
    if (numbers.empty()) tags.erase(tag);
  }
  return TiffOf(tags, form.tiles ? kTilesTag : kStripsTag, pixels);
}

// One color out of what its sample and black, if it is an ink, say.
unsigned Light(const Form& form, unsigned value, unsigned black) {
  if (form.photometric == kWhiteIsZero) return 255 - value;
  return form.photometric == kInks ? ((255 - value) * (255 - black) + 127) / 255 : value;
}

std::uint32_t Expected(const Form& form, int x, int y) {
  std::uint32_t argb = 0;
  const int alphaSample = form.Alpha();
  const unsigned alpha = alphaSample < 0 ? 255 : Value(alphaSample, x, y);
  const bool divide =
      alphaSample >= 0 && form.extra[static_cast<std::size_t>(alphaSample - form.Colors())] == kPremultiplied;
  for (int c = 0; c < 3; ++c) {
    unsigned light = Light(form, Value(form.Colors() == 1 ? 0 : c, x, y), Value(3, x, y));
    if (divide) light = alpha == 0 ? 0 : std::min(255U, (light * 255 + alpha / 2) / alpha);
    argb = argb << 8 | light;
  }
  return alpha << 24 | argb;
}

// The first pixel that is not as it should be, or an empty text.
std::string Mismatch(const Form& form, const CoreDib* bitmap) {
  if (bitmap == nullptr) return "no bitmap";
  if (bitmap->GetWidth() != kWidth || bitmap->GetHeight() != kHeight) return "size";
  for (int y = 0; y < kHeight; ++y) {
    for (int x = 0; x < kWidth; ++x) {
      if (bitmap->GetArgb(x, y) == Expected(form, x, y)) continue;
      char text[80];
      std::snprintf(text, sizeof text, "at (%d, %d): %08x for %08x", x, y, bitmap->GetArgb(x, y),
                    Expected(form, x, y));
      return text;
    }
  }
  return {};
}

TEST(TiffForms, EveryStorageOfAPictureGivesItsPixels) {
  for (const int photometric : {kWhiteIsZero, kBlackIsZero, kRgb, kInks}) {
    for (const std::vector<int>& extra : std::initializer_list<std::vector<int>>{
             {}, {kStraight}, {kPremultiplied}, {kUnspecified}, {kUnspecified, kStraight}}) {
      for (const int bits : {8, 16}) {
        for (const bool planes : {false, true}) {
          for (const bool tiles : {false, true}) {
            const Form form{photometric, bits, extra, planes, tiles};
            CoreImageInfo info;
            const auto bitmap = image::Decode(Store(form), 0, 0, 0, &info);
            EXPECT_EQ(Mismatch(form, bitmap.get()), "") << form.Name();
            const int plain = form.Colors() == 1 ? 8 : 24;
            EXPECT_EQ(info.bitsPerPixel, form.Alpha() < 0 ? plain : 32) << form.Name();
            EXPECT_EQ(info.fileBitsPerPixel, bits * form.Samples()) << form.Name();
          }
        }
      }
    }
  }
}

constexpr Form kGrayForm{kBlackIsZero, 8, {}, false, false};

TEST(TiffForms, AColorMapOf8BitNumbersIsTakenAsThatOf16) {
  for (const unsigned step : {1U, 257U}) {
    Numbers map;
    for (unsigned c = 0; c < 3; ++c) {
      for (unsigned i = 0; i < 256; ++i) map.push_back((i * (c + 1)) % 256 * step);
    }
    const auto bitmap = image::Decode(Store({kPalette, 8, {}, false, false}, {{kMapTag, map}}));
    ASSERT_NE(bitmap, nullptr);
    const unsigned value = Value(0, 5, 4);
    EXPECT_EQ(bitmap->GetArgb(5, 4), 0xff000000 | value << 16 | value * 2 % 256 << 8 | value * 3 % 256)
        << step;
  }
}

// One number beyond 255, in whichever color, tells that all have 16 bits.
TEST(TiffForms, AnyNumberOfAColorMapTellsItsWidth) {
  for (unsigned c = 0; c < 3; ++c) {
    for (const unsigned place : {0U, 100U, 255U}) {
      ASSERT_NE(place, Value(0, 5, 4)) << "the color of another pixel";
      for (const unsigned most : {255U, 256U}) {
        Numbers map(std::size_t{3} * 256, 200);
        map[256 * c + place] = most;
        const auto bitmap = image::Decode(Store({kPalette, 8, {}, false, false}, {{kMapTag, map}}));
        ASSERT_NE(bitmap, nullptr);
        const std::uint32_t expected = most == 255 ? 0xffc8c8c8 : 0xff010101;
        EXPECT_EQ(bitmap->GetArgb(5, 4), expected) << c << ", " << place << ", " << most;
      }
    }
  }
}

TEST(TiffForms, TheUnitOfTheResolutionCounts) {
  const struct {
    unsigned unit;
    float dpi;
  } rows[] = {{1, 0}, {2, 118}, {3, 118 * 2.54f}};
  for (const auto& row : rows) {
    CoreImageInfo info;
    const auto bitmap = image::Decode(
        Store(kGrayForm, {{kUnitTag, {row.unit}}, {kXResolutionTag, {118, 1}}, {kYResolutionTag, {236, 2}}}),
        0, 0, 0, &info);
    ASSERT_NE(bitmap, nullptr) << row.unit;
    EXPECT_FLOAT_EQ(info.dpiX, row.dpi) << row.unit;
    EXPECT_FLOAT_EQ(info.dpiY, row.dpi) << row.unit;
    EXPECT_FLOAT_EQ(bitmap->GetDpiX(), row.dpi) << row.unit;
  }
}

// What the library cannot turn into RGBA makes no bitmap, and neither do samples that the file does not hold.
TEST(TiffForms, ColorsThatNobodyKnowsGiveNull) {
  EXPECT_EQ(image::Decode(Store({kRgb, 8, {}, false, false}, {{kPhotometricTag, {1234}}})), nullptr);
  EXPECT_EQ(image::Decode(Store(kGrayForm, {{kBitsTag, {13}}})), nullptr);
}

TEST(TiffForms, TilesThatAreNoTilesGiveNull) {
  const Form form{kRgb, 8, {}, false, true};
  EXPECT_NE(image::Decode(Store(form)), nullptr);
  for (const unsigned side : {0U, 12U}) {
    EXPECT_EQ(image::Decode(Store(form, {{kTileWidthTag, {side}}})), nullptr) << side << " wide";
  }
  EXPECT_EQ(image::Decode(Store(form, {{kTileHeightTag, {0}}})), nullptr);
}

TEST(TiffForms, AKindOfASampleThatIsNotThereIsNone) {
  for (const Form& form : {Form{kRgb, 8, {kUnspecified}, false, false}, Form{kRgb, 8, {}, false, false},
                           Form{kBlackIsZero, 8, {kUnspecified}, false, false}}) {
    Numbers kinds(form.extra.size(), kUnspecified);
    kinds.push_back(kStraight);
    CoreImageInfo info;
    const auto bitmap = image::Decode(Store(form, {{kExtraTag, kinds}}), 0, 0, 0, &info);
    EXPECT_EQ(Mismatch(form, bitmap.get()), "") << form.Name();
    EXPECT_EQ(info.bitsPerPixel, form.Colors() == 1 ? 8 : 24) << form.Name();
  }
}

// As other programs read a file that forgets to say what its samples are.
TEST(TiffForms, ASingleSampleOfNoKindIsAlpha) {
  for (const int photometric : {kWhiteIsZero, kBlackIsZero, kRgb}) {
    for (const int bits : {8, 16}) {
      for (const bool planes : {false, true}) {
        for (const bool tiles : {false, true}) {
          const Form form{photometric, bits, {kStraight}, planes, tiles};
          CoreImageInfo info;
          const auto bitmap = image::Decode(Store(form, {{kExtraTag, {}}}), 0, 0, 0, &info);
          EXPECT_EQ(Mismatch(form, bitmap.get()), "") << form.Name();
          EXPECT_EQ(info.bitsPerPixel, 32) << form.Name();
        }
      }
    }
  }
  for (const Form& form : {Form{kRgb, 8, {kUnspecified, kUnspecified}, false, false},
                           Form{kBlackIsZero, 8, {kUnspecified, kUnspecified}, false, false},
                           Form{kInks, 8, {kUnspecified}, false, false}}) {
    EXPECT_EQ(Mismatch(form, image::Decode(Store(form, {{kExtraTag, {}}})).get()), "") << form.Name();
  }
}

// A strip beside the bitmap would be beyond it.
TEST(TiffForms, PackBitsIsReadRowByRowWhereTheLimitHasNoRoomForAStrip) {
  constexpr unsigned kSide = 64;
  std::string rows;
  for (unsigned y = 0; y < kSide; ++y) rows += static_cast<char>(kSide - 1) + std::string(kSide, '\x55');
  const std::string file = TiffOf({{256, {kSide}},
                                   {257, {kSide}},
                                   {kBitsTag, {8}},
                                   {259, {32773}},
                                   {kPhotometricTag, {kBlackIsZero}},
                                   {kStripsTag, {0}},
                                   {kSamplesTag, {1}},
                                   {kRowsTag, {kSide}},
                                   {kStripBytesTag, {static_cast<unsigned>(rows.size())}}},
                                  kStripsTag, rows);
  CoreCodecRegistry& registry = CoreCodecRegistry::Get();
  const std::uint64_t usual = registry.GetPixelLimit();
  for (const std::uint64_t limit : {kSide * kSide, 2 * kSide * kSide - 1, 2 * kSide * kSide}) {
    registry.SetPixelLimit(limit);
    const auto bitmap = image::Decode(file);
    registry.SetPixelLimit(usual);
    ASSERT_NE(bitmap, nullptr) << limit;
    EXPECT_EQ(bitmap->GetArgb(kSide - 1, kSide - 1), 0xff555555) << limit;
  }
}

TEST(TiffForms, AWidthBeyondAnIntIsOverTheLimit) {
  const std::string file = Store(kGrayForm, {{256, {0x80000000U}}});
  CoreMemoryInputStream in(file.data(), file.size());
  const auto decoder = CoreCodecRegistry::Get().GetFactory().CreateDecoder(kCoreImageTiff);
  EXPECT_EQ(decoder->Open(&in, kCoreOpenReadAhead), 0u);
  EXPECT_EQ(CoreGetDecodeFailure(decoder.get()), kCoreDecodeOverLimit);
}

TEST(TiffForms, SizesOfZeroGiveNull) {
  EXPECT_EQ(image::Decode(Store(kGrayForm, {{256, {0}}})), nullptr);
  EXPECT_EQ(image::Decode(Store(kGrayForm, {{257, {0}}})), nullptr);
}

// The library makes RGBA of whatever inks these are.
TEST(TiffForms, InksOfAnotherSetAreNotTakenForCmyk) {
  constexpr int kInkSetTag = 332;
  const Form form{kInks, 8, {}, false, false};
  CoreImageInfo known, unknown;
  image::Decode(Store(form, {{kInkSetTag, {1}}}), 0, 0, 0, &known);
  image::Decode(Store(form, {{kInkSetTag, {2}}}), 0, 0, 0, &unknown);
  EXPECT_EQ(known.bitsPerPixel, 24);
  EXPECT_EQ(unknown.bitsPerPixel, 32);
}

// Samples with a sign go through the library, which makes premultiplied RGBA of them.
TEST(TiffForms, WhatTheLibraryMakesOfAPictureHasItsPixels) {
  for (const Form& form : {Form{kRgb, 8, {}, false, false}, Form{kRgb, 8, {kPremultiplied}, false, false},
                           Form{kBlackIsZero, 8, {}, false, false}}) {
    const Numbers isSigned(static_cast<std::size_t>(form.Samples()), 2);
    CoreImageInfo info;
    const auto bitmap = image::Decode(Store(form, {{kFormatTag, isSigned}}), 0, 0, 0, &info);
    EXPECT_EQ(Mismatch(form, bitmap.get()), "") << form.Name();
    EXPECT_EQ(info.bitsPerPixel, 32) << form.Name();
  }
}

// What the library turns into RGBA fails like the rest when its strip ends early.
TEST(TiffForms, PixelsThatAreMissingGiveNullWhateverTheColors) {
  constexpr unsigned kWhole = 1, kSigned = 2;
  for (const unsigned kind : {kWhole, kSigned}) {
    const std::string file = Store(kGrayForm, {{kFormatTag, {kind}}});
    EXPECT_NE(image::Decode(file), nullptr) << kind;
    for (const std::size_t missing : {1, 4, kWidth, kWidth * kHeight})
      EXPECT_EQ(image::Decode(file.substr(0, file.size() - missing)), nullptr) << kind << ", " << missing;
  }
}

// Rows that fit the bitmap are read where they lie; others cost a row or a tile, and once more for samples
// that have to be brought to 8 bits. A limit that pays for all is enough, and a byte less is not.
TEST(TiffForms, TheLimitPaysForARowOrATile) {
  CoreCodecRegistry& registry = CoreCodecRegistry::Get();
  const std::uint64_t usual = registry.GetPixelLimit();
  const auto row = [](unsigned width, unsigned bits) {
    return StoreRow(std::string(100, '\7'), width, bits);
  };
  const auto onePlane = [](unsigned width) {
    std::map<int, Numbers> tags = {{256, {width}},     {257, {1}},        {259, {1}},
                                   {kBitsTag, {8}},    {kRowsTag, {1}},   {kPhotometricTag, {kBlackIsZero}},
                                   {kSamplesTag, {1}}, {kStripsTag, {0}}, {kStripBytesTag, {100}},
                                   {kPlanarTag, {2}}};
    return TiffOf(tags, kStripsTag, std::string(100, '\7'));
  };
  const std::uint64_t rgb = 60 * kHeight, gray = 20 * kHeight;
  const struct {
    std::string file;
    std::uint64_t bytes;
  } rows[] = {{row(4, 8), 4},
              {row(5, 8), 8},
              {onePlane(4), 4},
              {row(5, 12), 8 + 8 + 5},
              {row(5, 24), 8 + 15 + 5},
              {Store({kRgb, 8, {}, false, false}), rgb},
              {Store({kRgb, 16, {}, false, false}), rgb + kWidth * 6},
              {Store({kRgb, 16, {}, true, false}), rgb + kWidth * 2},
              {Store({kRgb, 8, {}, false, true}), rgb + kTile * kTile * 3},
              {Store({kRgb, 16, {}, true, true}), rgb + kTile * kTile * 2},
              {Store({kBlackIsZero, 8, {}, false, true}), gray + kTile * kTile}};
  for (const auto& each : rows) {
    const auto at = &each - rows;
    registry.SetPixelLimit(each.bytes);
    EXPECT_NE(image::Decode(each.file), nullptr) << at;
    registry.SetPixelLimit(each.bytes - 1);
    EXPECT_EQ(image::Decode(each.file), nullptr) << at;
    registry.SetPixelLimit(usual);
  }
}

// Without the lengths of its strips a file is read up to its end, and without the meaning of its levels 0 is
// white.
TEST(TiffForms, AFileThatSaysLittleIsRead) {
  const std::map<int, Numbers> tags = {{256, {4}},         {257, {2}},      {259, {1}},       {kBitsTag, {8}},
                                       {kSamplesTag, {1}}, {kRowsTag, {2}}, {kStripsTag, {0}}};
  const std::string bytes = TiffOf(tags, kStripsTag, std::string("\0\1\2\3\xfc\xfd\xfe\xff", 8));
  for (const std::size_t ahead : {0U, 7U}) {
    const std::string file = std::string(ahead, 'I') + bytes;
    CoreMemoryInputStream viewed(file.data(), file.size());
    image::StubbornInput piecemeal(file, file.size());
    for (CoreInputStream* in : std::initializer_list<CoreInputStream*>{&viewed, &piecemeal}) {
      in->Seek(ahead);
      const auto bitmap = image::Decode(*in);
      ASSERT_NE(bitmap, nullptr) << ahead;
      for (int i = 0; i < 8; ++i) {
        const unsigned level = i < 4 ? 255U - static_cast<unsigned>(i) : 7U - static_cast<unsigned>(i);
        EXPECT_EQ(bitmap->GetArgb(i % 4, i / 4), 0xff000000U | level * 0x010101U) << ahead << ", " << i;
      }
    }
  }
}

}  // namespace
