// SPDX-License-Identifier: MIT
// Emoji, which stand in their fonts as pictures, on the three devices.
#include "emoji_support.h"
#include "run_command.h"
#include "scratch_dir.h"

#include <tovkit/imaging.h>
#include <tovmx/codec.h>
#include <tovmx/text_codec.h>

#include <cmath>
#include <memory>

namespace {

using namespace emoji;

struct Form {
  const char* name;
  const wchar_t* text;
};

// One of every kind of sequence, each a single picture.
const Form kForms[] = {
    {"smiley", kSmile},
    {"heart with a variation selector", L"\u2764\uFE0F"},
    {"sign that is text by default", L"\u00A9\uFE0F"},
    {"hand with a skin color", L"\U0001F44D\U0001F3FD"},
    {"family", L"\U0001F468\u200D\U0001F469\u200D\U0001F467\u200D\U0001F466"},
    {"heart on fire", L"\u2764\uFE0F\u200D\U0001F525"},
    {"flag", L"\U0001F1E9\U0001F1EA"},
    {"flag of a region", L"\U0001F3F4\U000E0067\U000E0062\U000E0065\U000E006E\U000E0067\U000E007F"},
    {"keycap", L"1\uFE0F\u20E3"},
    {"keycap of a sign", L"#\uFE0F\u20E3"},
};

template <typename Device>
std::string Document(const wchar_t* text, float size = 64, std::uint32_t argb = kBlack) {
  CoreMemoryOutputStream stream;
  Device device(&stream, 200, 120);
  EXPECT_TRUE(device.FillPage(kWhite));
  EXPECT_TRUE(DrawOn(device, text, At(20, 90), size, argb));
  EXPECT_TRUE(device.Finish());
  return {reinterpret_cast<const char*>(stream.GetData()), stream.GetSize()};
}

// What another program makes of a document, 96 dots to the inch.
std::unique_ptr<CoreDib> Rendered(const std::string& document, const char* extension) {
  const ScratchDir scratch;
  const std::string in = scratch.path() + "/page." + extension;
  Save(in, document);
  const std::string command =
      extension == std::string("pdf")
          ? "pdftoppm -r 96 -png -singlefile '" + in + "' '" + scratch.path() + "/page'"
          : "rsvg-convert '" + in + "' -o '" + scratch.path() + "/page.png'";
  EXPECT_EQ(std::system(command.c_str()), 0) << command;
  CoreFileInputStream stream((scratch.path() + "/page.png").c_str());
  return std::unique_ptr<CoreDib>(tovkit::ImageDecode(&stream));
}

TEST(Emoji, EveryFormIsOnePictureInColorWhateverTheTextColor) {
  CoreTextExtents smile;
  ASSERT_TRUE(Fonts().MeasureText(kSmile, -1, 64, smile));
  for (const Form& form : kForms) {
    const Picture black = Drawn(form.text);
    EXPECT_FALSE(InkOf(black.dib).IsEmpty()) << form.name;
    EXPECT_EQ(Drawn(form.text, 64, 0xFF00FF00).Bytes(), black.Bytes()) << form.name;
    CoreTextExtents extents;
    ASSERT_TRUE(Fonts().MeasureText(form.text, -1, 64, extents));
    EXPECT_EQ(extents.logical.right, smile.logical.right) << form.name;
    const std::string name = form.name;
    if (name == "family" || name.rfind("sign", 0) == 0) continue;  // gray in many a font
    EXPECT_GT(ColoredPixels(black.dib), 150) << form.name;
  }
}

TEST(Emoji, DocumentsShowThemAsBitmapsDo) {
  std::wstring line;
  for (const Form& form : kForms) {
    const Picture bitmap = Drawn(form.text);
    for (const std::uint32_t argb : {kBlack, 0x80000000}) {
      const Picture expected = Drawn(form.text, 64, argb);
      const auto pdf = Rendered(Document<CorePdfDevice>(form.text, 64, argb), "pdf");
      const auto svg = Rendered(Document<CoreSvgDevice>(form.text, 64, argb), "svg");
      ASSERT_NE(pdf, nullptr);
      ASSERT_NE(svg, nullptr);
      const double blank = Difference(expected.dib, Picture().dib);
      EXPECT_LT(Difference(expected.dib, *pdf), blank / 4) << form.name;
      EXPECT_LT(Difference(expected.dib, *svg), blank / 12) << form.name;
    }
  }
}

TEST(Emoji, TheTextOfAPdfIsFoundInItsOrder) {
  const ScratchDir scratch;
  std::wstring line = L"Smile \U0001F600\U0001F680 and ";
  for (const Form& form : kForms) line += form.text + std::wstring(L" ");
  line += L"end";
  Save(scratch.path() + "/page.pdf", Document<CorePdfDevice>(line.c_str(), 5));
  ASSERT_EQ(std::system(("cd '" + scratch.path() + "' && pdftotext -raw page.pdf page.txt").c_str()), 0);
  const std::string expected = CoreTextCodec::Utf8Encode(line.data(), static_cast<int>(line.size())).c_str();
  EXPECT_EQ(Load(scratch.path() + "/page.txt").substr(0, expected.size() + 1), expected + "\n");
}

// A character that has both forms is text, and so is what has no emoji form.
TEST(Emoji, WhatIsTextByDefaultIsDrawnInTheTextColor) {
  for (const wchar_t* text : {L"0123456789#*", L"\u00A9\u00AE\u2122\u2139",
                              L"\u2764\u263A\u2600\u25B6\u261D\u270C", L"\U0001F600\uFE0E", L"x\uFE0Fy"}) {
    EXPECT_FALSE(InkOf(Drawn(text, 20).dib).IsEmpty());
    EXPECT_EQ(ColoredPixels(Drawn(text, 20).dib), 0);
  }
  EXPECT_GT(ColoredPixels(Drawn(L"\u261D\uFE0F").dib), 150);
  EXPECT_GT(ColoredPixels(Drawn(L"\u261D\U0001F3FD").dib), 150);
}

std::string DescriptionOf(const std::string& text, const char* font) {
  return R"({"Content": ")" + text + R"(", "Font": {"FontName": ")" + font + R"(", "FontSize": 30}})";
}

// Signs and digits of which emoji fonts have pictures, and plain text of several scripts. Every one is in a
// font of the package list that has outlines.
TEST(Emoji, AFontOfThemLeavesAllOtherTextAsItWas) {
  const ScratchDir scratch;
  const std::string config = scratch.path() + "/fonts.conf";
  Save(config, R"(<?xml version="1.0"?><!DOCTYPE fontconfig SYSTEM "urn:fontconfig:fonts.dtd">
<fontconfig><include>/etc/fonts/fonts.conf</include><selectfont><rejectfont><pattern>
<patelt name="color"><bool>true</bool></patelt></pattern></rejectfont></selectfont></fontconfig>)");
  const char* const texts[] = {
      "Plain text 0123456789 #* \xC2\xA9 \xC2\xAE",
      "\xE5\xAE\x8B\xE4\xBD\x93 text 12",
      "\xE2\x98\xBA \xE2\x9D\xA4 \xE2\x99\xA5 \xE2\x98\x80 \xE2\x84\xA2 \xE2\x84\xB9 \xE2\x80\xBC",
      "\xE2\x86\x94\xE2\x86\x95\xE2\x86\xA9\xE2\x86\xAA\xE2\x96\xAA\xE2\x96\xB6\xE2\x97\x80\xE2\x97\xBB",
      "\xE2\x98\x9D\xE2\x9C\x8C\xE2\x9C\x8D\xE2\x9C\x88\xE2\x9C\x89\xE2\x9C\x8F\xE2\x9C\x82\xE2\x9C\x94",
      "\xD7\xA9\xD7\x9C\xD7\x95\xD7\x9D 12 abc"};
  for (const char* font : {"DejaVu Sans", "SimSun", "Liberation Serif"}) {
    for (const char* text : texts) {
      for (const char* format : {"png", "svg"}) {
        const std::string with = scratch.path() + "/with." + format;
        const std::string without = scratch.path() + "/without." + format;
        ASSERT_EQ(RunCommand({"draw", "-", "-o", with}, DescriptionOf(text, font)).status, 0);
        ASSERT_EQ(
            RunCommand({"draw", "-", "-o", without}, DescriptionOf(text, font), {{"FONTCONFIG_FILE", config}})
                .status,
            0);
        EXPECT_EQ(Load(with), Load(without)) << font << ": " << text;
      }
    }
  }
}

TEST(Emoji, InkMeetsItsMeasureAtEverySize) {
  for (const float size : {6.0f, 9.5f, 16.0f, 40.0f, 109.0f, 200.0f, 255.0f, 257.0f, 300.0f, 700.0f}) {
    CoreTextExtents extents;
    ASSERT_TRUE(Fonts().MeasureText(kSmile, -1, size, extents));
    EXPECT_NEAR(extents.ink.right - extents.ink.left, 1.09f * size, 0.06f * size);
    EXPECT_GE(extents.ink.left, 0);
    EXPECT_LE(extents.ink.right, extents.logical.right);
    const auto side = static_cast<int>(std::ceil(size * 1.5f)) + 20;
    Picture picture(side, side);
    CoreBitmapDevice device(&picture.dib);
    const float top = std::floor(10 - extents.ink.top);
    ASSERT_TRUE(DrawOn(device, kSmile, At(10, top), size));
    const CoreRect ink = InkOf(picture.dib);
    // Half a pixel of the font's picture fades out.
    const float edge = 1.5f + size / 100;
    EXPECT_NEAR(ink.left, 10 + extents.ink.left, edge) << size;
    EXPECT_NEAR(ink.right, 10 + extents.ink.right, edge) << size;
    EXPECT_NEAR(ink.top, top + extents.ink.top, edge) << size;
    EXPECT_NEAR(ink.bottom, top + extents.ink.bottom, edge) << size;
  }
}

TEST(Emoji, MeasuresGrowInProportionToTheSize) {
  CoreTextExtents small;
  CoreTextExtents large;
  ASSERT_TRUE(Fonts().MeasureText(L"a\U0001F600b", -1, 10, small));
  ASSERT_TRUE(Fonts().MeasureText(L"a\U0001F600b", -1, 1000, large));
  EXPECT_NEAR(large.logical.right, small.logical.right * 100, 0.01f * large.logical.right);
  EXPECT_NEAR(large.ink.top, small.ink.top * 100, 0.01f * std::fabs(large.ink.top));
}

// The middle of the face keeps its color, however large; the picture turns with its matrix.
TEST(Emoji, LargeAndTurnedPicturesStandInTheirPlace) {
  for (const float size : {250.0f, 260.0f, 1000.0f, 20000.0f, 90000.0f}) {
    CoreTextExtents extents;
    ASSERT_TRUE(Fonts().MeasureText(kSmile, -1, size, extents));
    const float x = (extents.ink.left + extents.ink.right) / 2;
    const float y = extents.ink.top * 0.42f + extents.ink.bottom * 0.58f;
    for (const bool turned : {false, true}) {
      Picture picture(100, 100);
      CoreBitmapDevice device(&picture.dib);
      CoreMatrix place = At(50 - x, 50 - y);
      if (turned) {
        place.a = place.d = 0;
        place.b = 1;
        place.c = -1;
        place.e = 50 + y;
        place.f = 50 - x;
      }
      ASSERT_TRUE(DrawOn(device, kSmile, place, size));
      EXPECT_TRUE(IsColored(picture.dib.GetArgb(50, 50))) << size << (turned ? " turned" : "");
      EXPECT_GT(Channel(picture.dib.GetArgb(50, 50), 16), Channel(picture.dib.GetArgb(50, 50), 0) + 60);
    }
  }
}

TEST(Emoji, AQuarterTurnTurnsTheInk) {
  const wchar_t rocket[] = L"\U0001F680\U0001F600";
  const Picture upright = Drawn(rocket, 40, kBlack, At(60, 60));
  CoreMatrix down = At(60, 60);
  down.a = down.d = 0;
  down.b = 1;
  down.c = -1;
  const Picture turned = Drawn(rocket, 40, kBlack, down);
  Picture back;
  for (int y = 0; y < 120; ++y) {
    for (int x = 0; x < 200; ++x) {
      const int fromX = 119 - y;
      const int fromY = x;
      if (fromY >= 120) continue;
      const std::uint32_t pixel = turned.dib.GetArgb(fromX, fromY);
      std::memcpy(back.dib.GetRow(y) + static_cast<std::ptrdiff_t>(x) * 4, &pixel, 4);
    }
  }
  // Cut to what the turn keeps.
  Picture cut;
  for (int y = 0; y < 120; ++y) std::memcpy(cut.dib.GetRow(y), upright.dib.GetRow(y), 120 * 4);
  EXPECT_LT(Difference(cut.dib, back.dib), Difference(cut.dib, Picture().dib) / 10);
}

TEST(Emoji, PlacesFarAlongAWidePictureAreExact) {
  for (const float size : {7.0f, 40.0f, 400.0f}) {
    Picture near(600, 40);
    Picture far(32000, 40);
    CoreBitmapDevice one(&near.dib);
    CoreBitmapDevice other(&far.dib);
    ASSERT_TRUE(DrawOn(one, kSmile, At(20, 32), size));
    ASSERT_TRUE(DrawOn(other, kSmile, At(31420, 32), size));
    CoreDib piece;
    ASSERT_TRUE(piece.Create(600, 40, 32));
    for (int y = 0; y < 40; ++y) std::memcpy(piece.GetRow(y), far.dib.GetRow(y) + 31400 * 4, 600 * 4);
    EXPECT_GT(ColoredPixels(piece), 10);
    EXPECT_LT(Difference(near.dib, piece), 0.25) << size;
  }
}

TEST(Emoji, TheAlphaOfTheTextColorFadesThem) {
  const Picture full = Drawn(kSmile);
  const Picture half = Drawn(kSmile, 64, 0x80123456);
  EXPECT_TRUE(InkOf(Drawn(kSmile, 64, 0x00FFFFFF).dib).IsEmpty());
  int pixels = 0;
  for (int y = 0; y < 120; ++y) {
    for (int x = 0; x < 200; ++x) {
      for (const int shift : {0, 8, 16}) {
        const int ink = Channel(full.dib.GetArgb(x, y), shift);
        const int expected = 255 - (255 - ink) * 128 / 255;
        ASSERT_NEAR(Channel(half.dib.GetArgb(x, y), shift), expected, 3) << x << ' ' << y;
        pixels += ink < 255 ? 1 : 0;
      }
    }
  }
  EXPECT_GT(pixels, 1000);
}

TEST(Emoji, OnATransparentBitmapTheyBringTheirOwnAlpha) {
  Picture picture;
  std::memset(picture.dib.GetBuffer(), 0, picture.dib.GetBufferSize());
  CoreBitmapDevice device(&picture.dib);
  ASSERT_TRUE(DrawOn(device, kSmile, At(20, 90), 64));
  const Picture onWhite = Drawn(kSmile);
  EXPECT_EQ(picture.dib.GetArgb(0, 0), 0u);
  EXPECT_EQ(picture.dib.GetArgb(60, 60), onWhite.dib.GetArgb(60, 60));
}

TEST(Emoji, EveryDepthGetsAllOfTheInk) {
  for (const float size : {9.0f, 33.3f, 64.0f}) {
    for (int step = 0; step < 8; ++step) {
      const CoreMatrix place =
          At(20 + 0.13f * static_cast<float>(step), 90 + 0.29f * static_cast<float>(step));
      const Picture expected = Drawn(L"a\U0001F600\U0001F680", size, kBlack, place);
      Picture picture(200, 120, 24);
      CoreBitmapDevice device(&picture.dib);
      ASSERT_TRUE(DrawOn(device, L"a\U0001F600\U0001F680", place, size));
      EXPECT_EQ(Difference(expected.dib, picture.dib), 0) << size << ' ' << step;
    }
  }
}

TEST(Emoji, DocumentsAreTheSameTwice) {
  ASSERT_EQ(setenv("SOURCE_DATE_EPOCH", "86400", 1), 0);
  std::wstring line;
  for (const Form& form : kForms) line += form.text + std::wstring(L"x");
  const std::string svg = Document<CoreSvgDevice>(line.c_str(), 10);
  const std::string pdf = Document<CorePdfDevice>(line.c_str(), 10, 0x40000000);
  Drawn(L"\U0001F680");  // makes surfaces of its own
  EXPECT_EQ(Document<CoreSvgDevice>(line.c_str(), 10), svg);
  EXPECT_EQ(Document<CorePdfDevice>(line.c_str(), 10, 0x40000000), pdf);
  unsetenv("SOURCE_DATE_EPOCH");
  // As the releases of Cairo call it.
  const bool isCounted =
      svg.find("id=\"image1\"") != std::string::npos || svg.find("id=\"source-1\"") != std::string::npos;
  EXPECT_TRUE(isCounted) << svg;
}

TEST(Emoji, ADocumentHoldsEachPictureOnce) {
  const std::size_t one = Document<CoreSvgDevice>(kSmile, 10).size();
  const std::size_t oneInPdf = Document<CorePdfDevice>(kSmile, 10).size();
  const std::wstring line(100, *kSmile);
  EXPECT_LT(Document<CoreSvgDevice>(line.c_str(), 1).size(), one + 100 * 200);
  EXPECT_LT(Document<CorePdfDevice>(line.c_str(), 1).size(), oneInPdf + 100 * 50);
}

// More pictures than are kept; those that had to go are read anew.
TEST(Emoji, MorePicturesThanAreKeptAreDrawnTheSameAgain) {
  std::vector<std::vector<std::uint8_t>> first;
  for (int round = 0; round < 2; ++round) {
    for (wchar_t c = 0x1F300; c < 0x1F5FF; ++c) {
      const wchar_t text[] = {c, 0xFE0F, 0};
      const auto bytes = Drawn(text, 16).Bytes();
      if (round == 0) {
        first.push_back(bytes);
      } else {
        ASSERT_EQ(bytes, first[static_cast<std::size_t>(c - 0x1F300)]) << std::hex << int{c};
      }
    }
  }
}

TEST(Emoji, ALongLineIsDrawnWhereItMeetsThePage) {
  const std::wstring line(100'000, *kSmile);
  CoreTextExtents extents;
  ASSERT_TRUE(Fonts().MeasureText(line.c_str(), -1, 32, extents));
  for (const float start : {0.0f, -extents.logical.right / 2, 60 - extents.logical.right}) {
    EXPECT_GT(ColoredPixels(Drawn(line.c_str(), 32, kBlack, At(start, 60)).dib), 500) << start;
  }
  EXPECT_EQ(ColoredPixels(Drawn(line.c_str(), 32, kBlack, At(0, -60)).dib), 0);
}

}  // namespace
