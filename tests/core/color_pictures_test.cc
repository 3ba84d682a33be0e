// SPDX-License-Identifier: MIT
// The pictures of glyphs beside what HarfBuzz and this core's own decoder make of the font, and how long they
// are kept: one that is marked is kept as long as the mark is found again.
#include "font/color_pictures.h"

#include "scratch_dir.h"

#include <tovmx/codec.h>
#include <tovmx/font.h>

#include <gtest/gtest.h>

#include <hb-ot.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>

namespace {

using tovmx::Box;
using tovmx::ColorPicture;
using tovmx::ColorPictures;
using tovmx::HbFacePtr;

constexpr char kEmojiFont[] = "/usr/share/fonts/truetype/noto/NotoColorEmoji.ttf";
constexpr char kPlainFont[] = "/usr/share/fonts/truetype/dejavu/DejaVuSans.ttf";
constexpr std::size_t kPlenty = std::size_t{64} << 20;
constexpr double kMark = 12345;

HbFacePtr FaceOf(const char* file) {
  const std::unique_ptr<hb_blob_t, void (*)(hb_blob_t*)> blob(hb_blob_create_from_file(file),
                                                              hb_blob_destroy);
  return HbFacePtr(hb_face_create(blob.get(), 0));
}

using FontPtr = std::unique_ptr<hb_font_t, void (*)(hb_font_t*)>;

hb_codepoint_t GlyphOf(hb_face_t* face, wchar_t character) {
  const FontPtr font(hb_font_create(face), hb_font_destroy);
  hb_codepoint_t glyph = 0;
  EXPECT_NE(hb_font_get_nominal_glyph(font.get(), static_cast<hb_codepoint_t>(character), &glyph), 0);
  return glyph;
}

// At 64 pixels to the em: the frame of the glyph's picture, and the picture.
struct Expected {
  Box frame;
  std::unique_ptr<CoreDib> picture;
};

Expected Read(hb_face_t* face, hb_codepoint_t glyph) {
  const FontPtr font(hb_font_create(face), hb_font_destroy);
  hb_font_set_scale(font.get(), 64 * 1024, 64 * 1024);
  hb_glyph_extents_t extents;
  EXPECT_NE(hb_font_get_glyph_extents(font.get(), glyph, &extents), 0);
  Expected expected;
  expected.frame = {extents.x_bearing / 1024.0, -extents.y_bearing / 1024.0,
                    (extents.x_bearing + extents.width) / 1024.0,
                    -(extents.y_bearing + extents.height) / 1024.0};
  const std::unique_ptr<hb_blob_t, void (*)(hb_blob_t*)> png(
      hb_ot_color_glyph_reference_png(font.get(), glyph), hb_blob_destroy);
  unsigned size = 0;
  const char* bytes = hb_blob_get_data(png.get(), &size);
  CoreMemoryInputStream stream(bytes, size);
  const auto decoder = CoreCodecRegistry::Get().GetFactory().CreateDecoder(kCoreImagePng);
  EXPECT_NE(decoder->Open(&stream, kCoreOpenReadAhead), 0u);
  expected.picture = decoder->GetBitmap(0, 0, 0);
  return expected;
}

// The box of the pixels that are not wholly transparent, and half a pixel more on each side.
Box InkOf(const Expected& expected) {
  const CoreDib& dib = *expected.picture;
  int left = dib.GetWidth(), top = dib.GetHeight(), right = 0, bottom = 0;
  for (int y = 0; y < dib.GetHeight(); ++y) {
    for (int x = 0; x < dib.GetWidth(); ++x) {
      if (dib.GetArgb(x, y) >> 24 == 0) continue;
      left = std::min(left, x);
      top = std::min(top, y);
      right = std::max(right, x + 1);
      bottom = std::max(bottom, y + 1);
    }
  }
  const Box& frame = expected.frame;
  const double width = (frame.right - frame.left) / dib.GetWidth();
  const double height = (frame.bottom - frame.top) / dib.GetHeight();
  return {frame.left + (left - 0.5) * width, frame.top + (top - 0.5) * height,
          frame.left + (right + 0.5) * width, frame.top + (bottom + 0.5) * height};
}

void ExpectNear(const Box& box, const Box& expected) {
  EXPECT_NEAR(box.left, expected.left, 1e-6);
  EXPECT_NEAR(box.top, expected.top, 1e-6);
  EXPECT_NEAR(box.right, expected.right, 1e-6);
  EXPECT_NEAR(box.bottom, expected.bottom, 1e-6);
}

class ColorPicturesTest : public testing::Test {
 protected:
  bool IsKept(ColorPictures& pictures, wchar_t character, std::uint8_t opacity = 255) const {
    return pictures.Find(face_.get(), GlyphOf(face_.get(), character), opacity)->frame.left == kMark;
  }
  void Mark(ColorPictures& pictures, wchar_t character, std::uint8_t opacity = 255) const {
    const auto* picture = pictures.Find(face_.get(), GlyphOf(face_.get(), character), opacity);
    const_cast<ColorPicture*>(picture)->frame.left = kMark;
  }

  const HbFacePtr face_ = FaceOf(kEmojiFont);
};

// A face, a rocket, a heart, a sign, a flag: tall, wide and small ones.
constexpr wchar_t kPictures[] = {0x1F600, 0x1F680, 0x2764, 0xA9, 0x1F3F4, 0x1F4CF, 0x2796, 0x1F538};

TEST_F(ColorPicturesTest, FrameInkAndPixelsAreThoseOfTheFont) {
  ColorPictures pictures(kPlenty);
  for (const wchar_t character : kPictures) {
    const hb_codepoint_t glyph = GlyphOf(face_.get(), character);
    const Expected expected = Read(face_.get(), glyph);
    const ColorPicture* found = pictures.Find(face_.get(), glyph);
    ASSERT_NE(found, nullptr);
    ExpectNear(found->frame, expected.frame);
    ASSERT_EQ(cairo_image_surface_get_width(found->image.get()), expected.picture->GetWidth());
    ASSERT_EQ(cairo_image_surface_get_height(found->image.get()), expected.picture->GetHeight());
    const Box* ink = pictures.InkOf(face_.get(), glyph);
    ASSERT_NE(ink, nullptr);
    ExpectNear(*ink, InkOf(expected));

    // What is measured is the same.
    CoreFontLoader fonts(nullptr);
    fonts.LoadFont(L"Noto Color Emoji", L"", kCoreFontSystem, 400, false);
    const wchar_t text[] = {character, 0xFE0F, 0};
    CoreTextExtents extents;
    ASSERT_TRUE(fonts.MeasureText(text, -1, 64, extents));
    EXPECT_NEAR(extents.ink.left, ink->left, 0.01);
    EXPECT_NEAR(extents.ink.top, ink->top, 0.01);
    EXPECT_NEAR(extents.ink.right, ink->right, 0.01);
    EXPECT_NEAR(extents.ink.bottom, ink->bottom, 0.01);
  }
}

TEST_F(ColorPicturesTest, AFadedPictureHasItsShareOfEveryComponent) {
  ColorPictures pictures(kPlenty);
  const hb_codepoint_t glyph = GlyphOf(face_.get(), 0x1F600);
  const ColorPicture* full = pictures.Find(face_.get(), glyph);
  const std::size_t bytes = static_cast<std::size_t>(cairo_image_surface_get_stride(full->image.get())) *
                            static_cast<std::size_t>(cairo_image_surface_get_height(full->image.get()));
  const unsigned char* from = cairo_image_surface_get_data(full->image.get());
  for (const std::uint8_t opacity : {0, 1, 100, 254}) {
    const ColorPicture* faded = pictures.Find(face_.get(), glyph, opacity);
    ExpectNear(faded->frame, full->frame);
    cairo_surface_flush(faded->image.get());
    const unsigned char* to = cairo_image_surface_get_data(faded->image.get());
    for (std::size_t i = 0; i < bytes; ++i) ASSERT_NEAR(to[i], from[i] * opacity / 255.0, 1) << i;
  }
}

TEST_F(ColorPicturesTest, AFontWithOutlinesHasNone) {
  EXPECT_TRUE(ColorPictures::HasPictures(face_.get()));
  const HbFacePtr plain = FaceOf(kPlainFont);
  EXPECT_FALSE(ColorPictures::HasPictures(plain.get()));
  ColorPictures pictures(kPlenty);
  const hb_codepoint_t letter = GlyphOf(plain.get(), L'x');
  EXPECT_EQ(pictures.Find(plain.get(), letter), nullptr);
  EXPECT_EQ(pictures.InkOf(plain.get(), letter), nullptr);
}

// Of this font only the A is a picture: all of it is ink, to its first and its last pixel.
TEST_F(ColorPicturesTest, AFontMayHavePicturesForSomeOfItsGlyphs) {
  const ScratchDir scratch;
  const std::string file = scratch.path() + "/some.ttf";
  ASSERT_EQ(std::system(("/usr/bin/python3 '" TOVKIT_SOURCE_DIR "/tests/core/picture_font.py' " +
                         std::string(kPlainFont) + " '" + file + "'")
                            .c_str()),
            0);
  const HbFacePtr some = FaceOf(file.c_str());
  EXPECT_TRUE(ColorPictures::HasPictures(some.get()));
  ColorPictures pictures(kPlenty);
  const hb_codepoint_t a = GlyphOf(some.get(), L'A'), b = GlyphOf(some.get(), L'B');
  const ColorPicture* const picture = pictures.Find(some.get(), a);
  ASSERT_NE(picture, nullptr);
  EXPECT_EQ(cairo_image_surface_get_width(picture->image.get()), 64);
  const Box* const ink = pictures.InkOf(some.get(), a);
  ASSERT_NE(ink, nullptr);
  const Expected expected = Read(some.get(), a);
  ASSERT_EQ(expected.picture->GetWidth(), 64);
  ExpectNear(*ink, InkOf(expected));
  EXPECT_EQ(pictures.Find(some.get(), b), nullptr);
  EXPECT_EQ(pictures.InkOf(some.get(), b), nullptr);
}

TEST_F(ColorPicturesTest, EachGlyphAndOpacityIsKeptByItself) {
  ColorPictures pictures(kPlenty);
  for (const wchar_t character : kPictures) Mark(pictures, character);
  for (const wchar_t character : kPictures) EXPECT_TRUE(IsKept(pictures, character));
  EXPECT_FALSE(IsKept(pictures, 0x1F600, 254));
  EXPECT_FALSE(IsKept(pictures, 0x1F600, 0));
  Mark(pictures, 0x1F600, 254);
  EXPECT_TRUE(IsKept(pictures, 0x1F600, 254));
}

// Two pictures have exactly the room that there is; a third takes it all.
TEST_F(ColorPicturesTest, WhatWouldBeTooMuchMakesItForgetTheOthers) {
  const Expected one = Read(face_.get(), GlyphOf(face_.get(), 0x1F600));
  const auto bytes = static_cast<std::size_t>(one.picture->GetWidth()) *
                     static_cast<std::size_t>(one.picture->GetHeight()) * 4;
  for (const bool enough : {true, false}) {
    ColorPictures pictures(2 * bytes - (enough ? 0 : 1));
    Mark(pictures, 0x1F600);
    Mark(pictures, 0x1F601);
    EXPECT_TRUE(IsKept(pictures, 0x1F601));
    EXPECT_EQ(IsKept(pictures, 0x1F600), enough);
  }
  ColorPictures pictures(2 * bytes);
  for (const wchar_t character : {0x1F600, 0x1F601, 0x1F602}) Mark(pictures, static_cast<wchar_t>(character));
  EXPECT_TRUE(IsKept(pictures, 0x1F602));
  EXPECT_FALSE(IsKept(pictures, 0x1F600));  // the second that is kept now
  EXPECT_TRUE(IsKept(pictures, 0x1F602));
  EXPECT_FALSE(IsKept(pictures, 0x1F601));
  EXPECT_FALSE(IsKept(pictures, 0x1F602));
}

TEST_F(ColorPicturesTest, ClearForgetsPicturesAndInk) {
  const Expected one = Read(face_.get(), GlyphOf(face_.get(), 0x1F600));
  const auto bytes = static_cast<std::size_t>(one.picture->GetWidth()) *
                     static_cast<std::size_t>(one.picture->GetHeight()) * 4;
  ColorPictures pictures(2 * bytes);
  const hb_codepoint_t glyph = GlyphOf(face_.get(), 0x1F600);
  const_cast<Box*>(pictures.InkOf(face_.get(), glyph))->left = kMark;
  EXPECT_EQ(pictures.InkOf(face_.get(), glyph)->left, kMark);
  Mark(pictures, 0x1F600);
  Mark(pictures, 0x1F601);
  pictures.Clear();
  EXPECT_NE(pictures.InkOf(face_.get(), glyph)->left, kMark);
  EXPECT_FALSE(IsKept(pictures, 0x1F600));
  // With all of the room again.
  Mark(pictures, 0x1F600);
  Mark(pictures, 0x1F601);
  EXPECT_TRUE(IsKept(pictures, 0x1F600));
  EXPECT_TRUE(IsKept(pictures, 0x1F601));
}

// Another face at the address of one that is gone would be taken for it.
TEST_F(ColorPicturesTest, AFaceLivesAsLongAsItsPictures) {
  for (const bool onlyInk : {false, true}) {
    ColorPictures pictures(kPlenty);
    bool gone = false;
    HbFacePtr face = FaceOf(onlyInk ? kPlainFont : kEmojiFont);
    static hb_user_data_key_t key;
    hb_face_set_user_data(
        face.get(), &key, &gone, [](void* flag) { *static_cast<bool*>(flag) = true; }, 1);
    if (onlyInk) {
      EXPECT_EQ(pictures.InkOf(face.get(), GlyphOf(face.get(), L'x')), nullptr);
    } else {
      EXPECT_NE(pictures.Find(face.get(), GlyphOf(face.get(), 0x1F600)), nullptr);
    }
    face.reset();
    EXPECT_FALSE(gone);
    pictures.Clear();
    EXPECT_TRUE(gone);
  }
}

}  // namespace
