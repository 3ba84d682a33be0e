// SPDX-License-Identifier: MIT
// Emoji fonts of the application, whole and broken.
#include "emoji_support.h"
#include "scratch_dir.h"

namespace {

using namespace emoji;

class EmojiFontFile : public testing::Test {
 protected:
  void TearDown() override { CoreFontLoader::UnregisterFontFiles(); }

  // The font of the package list with every picture changed.
  template <typename Change>
  void Register(Change change) {
    std::string font = Load("/usr/share/fonts/truetype/noto/NotoColorEmoji.ttf");
    ASSERT_FALSE(font.empty()) << "fonts-noto-color-emoji is not installed";
    std::size_t pictures = 0;
    for (std::size_t at = font.find("IHDR"); at != std::string::npos; at = font.find("IHDR", at + 1)) {
      change(font, at);
      ++pictures;
    }
    EXPECT_GT(pictures, 1000u);
    const std::string file = scratch_.path() + "/emoji.ttf";
    Save(file, font);
    ASSERT_TRUE(CoreFontLoader::RegisterFontFile(file.c_str()));
  }

  Picture DrawnByTheApplication() const {
    Picture picture;
    CoreBitmapDevice device(&picture.dib);
    EXPECT_TRUE(DrawOn(device, kSmile, At(20, 90), 64, kBlack, Fonts(L"", kCoreFontApplication)));
    EXPECT_TRUE(device.IsGood());
    return picture;
  }

  const ScratchDir scratch_;
};

TEST_F(EmojiFontFile, PicturesComeFromAFileOfTheApplication) {
  Register([](std::string&, std::size_t) {});
  EXPECT_EQ(DrawnByTheApplication().Bytes(), Drawn(kSmile).Bytes());
}

// The sum at the end of a chunk of PNG (ISO 3309).
std::uint32_t ChecksumOf(const std::string& bytes) {
  std::uint32_t sum = 0xFFFFFFFF;
  for (const char c : bytes) {
    sum ^= static_cast<unsigned char>(c);
    for (int bit = 0; bit < 8; ++bit) sum = sum >> 1 ^ ((sum & 1) != 0 ? 0xEDB88320 : 0);
  }
  return ~sum;
}

// The rows of a picture as one long row, which is a whole PNG file too.
void MakeOneRow(std::string& font, std::size_t at, std::uint32_t width) {
  const auto put = [&font](std::size_t place, std::uint32_t value) {
    for (int i = 0; i < 4; ++i)
      font[place + static_cast<std::size_t>(i)] = static_cast<char>(value >> (24 - 8 * i));
  };
  put(at + 4, width);
  put(at + 8, 1);
  put(at + 17, ChecksumOf(font.substr(at, 17)));
}

TEST_F(EmojiFontFile, APictureThatIsTooLargeIsNotRead) {
  Register([](std::string& font, std::size_t at) { MakeOneRow(font, at, 8192); });
  EXPECT_TRUE(InkOf(DrawnByTheApplication().dib).IsEmpty());
}

TEST_F(EmojiFontFile, APictureOfAnotherShapeIsStretchedToItsFrame) {
  Register([](std::string& font, std::size_t at) { MakeOneRow(font, at, 1024); });
  EXPECT_FALSE(InkOf(DrawnByTheApplication().dib).IsEmpty());
}

TEST_F(EmojiFontFile, ABrokenPictureLeavesNoInk) {
  testing::internal::CaptureStderr();
  Register([](std::string& font, std::size_t at) { font[at + 12] = '\x77'; });
  EXPECT_EQ(ColoredPixels(DrawnByTheApplication().dib), 0);
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

TEST_F(EmojiFontFile, WhatIsNoPngOrHasNoPixelsLeavesNoInk) {
  Register([](std::string& font, std::size_t at) { font[at - 7] = 'Q'; });
  EXPECT_TRUE(InkOf(DrawnByTheApplication().dib).IsEmpty());
  CoreFontLoader::UnregisterFontFiles();
  Register([](std::string& font, std::size_t at) { MakeOneRow(font, at, 0); });
  EXPECT_TRUE(InkOf(DrawnByTheApplication().dib).IsEmpty());
}

// A chunk that claims to be longer than all of the font.
TEST_F(EmojiFontFile, APictureThatIsCutOffLeavesNoInk) {
  Register([](std::string& font, std::size_t at) {
    for (const std::size_t i : {21U, 22U, 23U, 24U}) font[at + i] = '\x7F';
  });
  EXPECT_EQ(ColoredPixels(DrawnByTheApplication().dib), 0);
}

// Indices of a palette as shades of gray: nothing of the picture is transparent then.
TEST_F(EmojiFontFile, AnOpaquePictureFillsItsFrame) {
  Register([](std::string& font, std::size_t at) {
    font[at + 13] = 0;
    const std::uint32_t sum = ChecksumOf(font.substr(at, 17));
    for (int i = 0; i < 4; ++i)
      font[at + 17 + static_cast<std::size_t>(i)] = static_cast<char>(sum >> (24 - 8 * i));
  });
  CoreTextExtents extents;
  ASSERT_TRUE(Fonts(L"", kCoreFontApplication).MeasureText(kSmile, -1, 64, extents));
  // 136 by 128 pixels for an em of 109, and half of one on each side.
  EXPECT_NEAR(extents.ink.right - extents.ink.left, 64 * 137 / 109.0, 0.7);
  EXPECT_NEAR(extents.ink.bottom - extents.ink.top, 64 * 129 / 109.0, 0.7);
}

}  // namespace
