// SPDX-License-Identifier: MIT
// One small picture in every form that other programs write, with the pixels that those programs see.
#include "foreign_files.h"
#include "image_support.h"

#include <tovmx/codec.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <sstream>
#include <string>

namespace {

constexpr int kWidth = 37;
constexpr int kHeight = 29;

class PictureForms : public ForeignFiles, public testing::WithParamInterface<CoreImageFormat> {};
INSTANTIATE_TEST_SUITE_P(Formats, PictureForms, testing::ValuesIn(image::kFormats), image::FormatTestName);

// A line of what picture_forms.py prints.
struct Form {
  std::string file;
  int frame = 0;
  std::string reader;
  int tolerance = 0;
  std::string seen;         // the file with red, green, blue and alpha of each pixel
  std::string unsupported;  // not empty for what is not read
};

std::string Describe(const Form& form) {
  return form.file + ", frame " + std::to_string(form.frame) + ", as " + form.reader + " sees it";
}

// The bitmap with these pixels, rounded to 8 bits. Where it and `ours` are transparent the color does not
// count.
CoreDib Expected(const std::string& rgba, const CoreDib& ours) {
  CoreDib dib;
  EXPECT_TRUE(dib.Create(kWidth, kHeight, 32));
  const auto sample = [&](std::size_t i) {
    const unsigned low = static_cast<unsigned char>(rgba[2 * i]);
    const unsigned high = static_cast<unsigned char>(rgba[2 * i + 1]);
    return static_cast<std::uint8_t>((low + 256U * high + 128U) / 257U);
  };
  for (int y = 0; y < kHeight; ++y) {
    for (int x = 0; x < kWidth; ++x) {
      const auto at = 4 * static_cast<std::size_t>(y * kWidth + x);
      std::uint8_t* out = dib.GetRow(y) + 4 * x;
      for (std::size_t c = 0; c < 4; ++c) out[c] = sample(at + (c < 3 ? 2 - c : 3));
      const std::uint32_t argb = ours.GetArgb(x, y);
      if (out[3] == 0 && argb >> 24 == 0) std::memcpy(out, &argb, 4);
    }
  }
  return dib;
}

TEST_P(PictureForms, AreReadAsOthersReadThem) {
  const std::string format = image::FormatTestName({GetParam(), 0});
  std::istringstream lines(
      Run("/usr/bin/python3 -W ignore '" TOVKIT_SOURCE_DIR "/tests/core/picture_forms.py' " + format));
  int count = 0;
  for (std::string line; std::getline(lines, line); ++count) {
    Form form;
    std::istringstream fields(line);
    fields >> form.file >> form.frame >> form.reader >> form.tolerance >> form.seen >> form.unsupported;
    CoreFileInputStream in((folder_ + "/" + form.file).c_str());
    ASSERT_EQ(CoreDetectImageFormat(&in), GetParam()) << form.file;
    const auto decoder = CoreCodecRegistry::Get().GetFactory().CreateDecoder(GetParam());
    ASSERT_EQ(decoder->Open(&in, kCoreOpenReadAhead), 1u) << form.file;
    const auto bitmap = decoder->GetBitmap(form.frame, 0, 0);
    if (!form.unsupported.empty()) {
      EXPECT_EQ(CoreGetDecodeFailure(decoder.get()), kCoreDecodeUnsupported) << form.file;
      continue;
    }
    if (bitmap == nullptr) {
      ADD_FAILURE() << Describe(form) << ": " << CoreDecodeFailureName(CoreGetDecodeFailure(decoder.get()))
                    << " " << CoreGetUnsupportedFeature(decoder.get());
      continue;
    }
    EXPECT_EQ(bitmap->GetBitsPerPixel(), decoder->GetInfo().bitsPerPixel) << Describe(form);
    if (bitmap->GetBitsPerPixel() <= 8) {
      EXPECT_EQ(bitmap->GetPaletteSize(), decoder->GetInfo().paletteSize) << Describe(form);
    }
    const std::string seen = image::ReadFile(folder_ + "/" + form.seen);
    ASSERT_EQ(seen.size(), static_cast<std::size_t>(8 * kWidth * kHeight)) << form.file;
    EXPECT_EQ(image::Difference(*bitmap, Expected(seen, *bitmap), form.tolerance), "") << Describe(form);
  }
  EXPECT_GT(count, 40) << "forms of " << format;
  RecordProperty("forms", count);
}

}  // namespace
