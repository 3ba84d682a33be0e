// SPDX-License-Identifier: MIT
// Pictures in the forms that JPEG 2000 files have besides 8 bits of gray or RGB.
#include "jpeg2000_support.h"

#include <tovmx/geometry.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace {

using namespace jpeg2000;

TEST(Jpeg2000Forms, EveryDepthAndSignGivesTheSamePixels) {
  for (const int bits : {8, 9, 12, 16}) {
    for (const bool isSigned : {false, true}) {
      const Component component{bits, isSigned};
      for (const auto format : {OPJ_CODEC_JP2, OPJ_CODEC_J2K}) {
        const auto gray = Decoded(Store({component}, OPJ_CLRSPC_GRAY, format));
        EXPECT_EQ(Mismatch(gray.get(), GrayAt), "") << bits << (isSigned ? " signed" : "");
        const auto rgb = Decoded(Store({component, component, component}, OPJ_CLRSPC_SRGB, format));
        EXPECT_EQ(Mismatch(rgb.get(), RgbAt), "") << bits << (isSigned ? " signed" : "");
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
    EXPECT_EQ(Mismatch(bitmap.get(), expected), "") << bits;
  }
}

TEST(Jpeg2000Forms, AlphaBesideGrayAndRgbOfAnyDepth) {
  for (const int bits : {8, 12}) {
    for (const bool told : {true, false}) {
      const Component plain{bits};
      const Component alpha{bits, false, 1, told};
      const auto gray = Decoded(Store({plain, alpha}, OPJ_CLRSPC_GRAY));
      EXPECT_EQ(Mismatch(gray.get(),
                         [](int x, int y) {
                           Argb argb = GrayAt(x, y);
                           argb[0] = Value(1, x, y);
                           return argb;
                         }),
                "")
          << bits << (told ? "" : " untold");
      const auto rgb = Decoded(Store({plain, plain, plain, alpha}, OPJ_CLRSPC_SRGB));
      EXPECT_EQ(Mismatch(rgb.get(),
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
  EXPECT_EQ(Mismatch(untold.get(), RgbAt), "");
  const auto told = Decoded(Store({plain, plain, plain, plain, alpha}, OPJ_CLRSPC_SRGB));
  EXPECT_EQ(Mismatch(told.get(),
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
  EXPECT_EQ(Mismatch(bitmap.get(),
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
  EXPECT_EQ(Mismatch(bitmap.get(),
                     [](int x, int y) { return FromYcc(Value(0, x, y), Value(1, x, y), Value(2, x, y)); }),
            "");
}

TEST(Jpeg2000Forms, SubsampledChromaIsSpreadOverItsPixelsWhateverTheColorsAreCalled) {
  const Component luma;
  for (const auto& [across, down] : {std::pair(2, 2), {2, 1}, {1, 2}}) {
    const Component chroma{8, false, across, false, down};
    for (const auto colors : {OPJ_CLRSPC_SYCC, OPJ_CLRSPC_SRGB}) {
      const auto bitmap = Decoded(Store({luma, chroma, chroma}, colors));
      EXPECT_EQ(Mismatch(bitmap.get(),
                         [width = across, height = down](int x, int y) {
                           const int left = x / width * width;
                           const int top = y / height * height;
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
        EXPECT_EQ(Mismatch(bitmap.get(),
                           [&](int x, int y) {
                             Argb argb = gray ? GrayAt(x, y) : RgbAt(x, y);
                             argb[0] = Value(gray ? 1 : 3, x * columns / kWidth * across,
                                             y * rows / kHeight * down);
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
  EXPECT_EQ(Mismatch(plain.get(), lightOf), "");
  const auto withAlpha = Decoded(WithColors(Store({ink, ink, ink, ink, ink}, OPJ_CLRSPC_SRGB), kCmyk));
  EXPECT_EQ(Mismatch(withAlpha.get(),
                     [&](int x, int y) {
                       Argb argb = lightOf(x, y);
                       argb[0] = Value(4, x, y);
                       return argb;
                     }),
            "");
}

// What the library itself makes of a bitmap, from the start of its code on; below 0 dB without loss.
std::string CodeOf(const CoreDib& dib, float decibels) {
  const int count = dib.GetBitsPerPixel() / 8;
  std::vector<opj_image_cmptparm_t> forms(static_cast<std::size_t>(count));
  for (opj_image_cmptparm_t& form : forms) {
    form.dx = form.dy = 1;
    form.w = static_cast<OPJ_UINT32>(dib.GetWidth());
    form.h = static_cast<OPJ_UINT32>(dib.GetHeight());
    form.prec = 8;
  }
  opj_image_t* const image = opj_image_create(static_cast<OPJ_UINT32>(count), forms.data(),
                                              count == 1 ? OPJ_CLRSPC_GRAY : OPJ_CLRSPC_SRGB);
  image->x1 = forms[0].w;
  image->y1 = forms[0].h;
  for (int c = 0; c < count; ++c) {
    OPJ_INT32* out = image->comps[c].data;
    for (int y = 0; y < dib.GetHeight(); ++y) {
      for (int x = 0; x < dib.GetWidth(); ++x)
        *out++ = dib.GetRow(y)[x * count + (c < 3 && count > 1 ? 2 - c : c)];
    }
  }
  opj_cparameters_t parameters;
  opj_set_default_encoder_parameters(&parameters);
  parameters.tcp_numlayers = 1;
  parameters.tcp_mct = count == 1 ? 0 : 1;
  const int side = std::min(dib.GetWidth(), dib.GetHeight());
  parameters.numresolution = std::min(6, 1 + static_cast<int>(std::floor(std::log2(side))));
  if (decibels < 0) {
    parameters.cp_disto_alloc = 1;
  } else {
    parameters.irreversible = 1;
    parameters.cp_fixed_quality = 1;
    parameters.tcp_distoratio[0] = decibels;
  }
  const std::string file = Written(image, parameters, OPJ_CODEC_JP2);
  return file.substr(file.find("\xFF\x4F\xFF\x51"));
}

TEST(Jpeg2000Forms, AQualityIsSoManyDecibelsAndNoneIsNoLoss) {
  const CoreSize sizes[] = {{61, 47}, {1, 9}, {2, 3}, {4, 4}, {5, 70}, {40, 31}, {32, 64}, {63, 99}};
  for (const int bits : {8, 24, 32}) {
    for (const CoreSize size : sizes) {
      const CoreDib dib = image::MakePicture(size.width, size.height, bits);
      for (const int quality : {0, 1, 10, 50, 75, 100}) {
        const std::string file = image::Encode(dib, kCoreImageJpeg2000, quality);
        const std::size_t code = file.find("\xFF\x4F\xFF\x51");
        ASSERT_NE(code, std::string::npos);
        EXPECT_TRUE(file.substr(code) ==
                    CodeOf(dib, quality == 0 ? -1.0f : 20.0f + 0.3f * static_cast<float>(quality)))
            << bits << " bits, " << size.width << "x" << size.height << ", quality " << quality;
      }
    }
  }
}

TEST(Jpeg2000Forms, PicturesOfASingleLineComeBack) {
  for (const int bits : {8, 24, 32}) {
    for (const CoreSize size : {CoreSize{1, 1}, CoreSize{1, 9}, CoreSize{9, 1}, CoreSize{70, 1}}) {
      const CoreDib dib = image::MakePicture(size.width, size.height, bits);
      const auto back = image::Decode(image::Encode(dib, kCoreImageJpeg2000));
      ASSERT_NE(back, nullptr) << size.width << "x" << size.height;
      EXPECT_EQ(image::Difference(dib, *back), "") << size.width << "x" << size.height;
    }
  }
}

// The library decodes once: whoever asks again has the file read again, which may have changed.
TEST(Jpeg2000Forms, AFileThatChangesBehindItsDecoderGivesNull) {
  const std::string whole = image::Encode(image::MakePicture(30, 20, 24), kCoreImageJpeg2000);
  std::string bytes = whole + std::string(1000, '\0');
  CoreMemoryInputStream in(bytes.data(), bytes.size());
  const auto decoder = CoreCodecRegistry::Get().GetFactory().CreateDecoder(kCoreImageJpeg2000);
  ASSERT_EQ(decoder->Open(&in, kCoreOpenReadAhead), 1u);
  const auto first = decoder->GetBitmap(0, 0, 0);
  ASSERT_NE(first, nullptr);
  for (const std::size_t cut : {std::size_t{0}, std::size_t{20}, whole.find("jp2c") + 8, whole.size() / 2}) {
    std::fill(bytes.begin() + static_cast<std::ptrdiff_t>(cut), bytes.end(), '\0');
    EXPECT_EQ(decoder->GetBitmap(0, 0, 0), nullptr) << cut;
    std::copy(whole.begin(), whole.end(), bytes.begin());
    const auto again = decoder->GetBitmap(0, 0, 0);
    ASSERT_NE(again, nullptr) << cut;
    EXPECT_EQ(image::Difference(*first, *again), "");
  }
}

}  // namespace
