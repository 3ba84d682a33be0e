// SPDX-License-Identifier: MIT
// Devices at their limits, and the same drawing on every kind of bitmap.
#include "device_support.h"
#include "document_facts.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <functional>
#include <limits>
#include <memory>
#include <random>
#include <string>
#include <vector>

namespace {

using namespace device;

constexpr wchar_t kBlock[] = L"\u2588";

std::uint32_t Color(const CoreDib& dib, int x, int y) { return dib.GetArgb(x, y) & 0xFFFFFF; }

CorePath LineTo(float x, float y) {
  CorePath path;
  path.MoveTo(1, 1);
  path.LineTo(x, y);
  return path;
}

// The pixels in which the same drawing differs on an opaque 32-bit bitmap, which is painted at once, and on a
// copy, of which only the part that was painted on is stored.
int DifferencesOfACopy(int side, const std::function<void(CorePathDevice&)>& draw) {
  Picture direct(side, side, 32);
  Picture copied(side, side, 24);
  for (Picture* picture : {&direct, &copied}) {
    CoreBitmapDevice device(&picture->dib);
    draw(device);
    EXPECT_TRUE(device.Flush());
  }
  int differences = 0;
  for (int y = 0; y < side; ++y) {
    for (int x = 0; x < side; ++x) differences += Color(direct.dib, x, y) != Color(copied.dib, x, y) ? 1 : 0;
  }
  return differences;
}

CorePath RandomPath(std::mt19937& random, float side) {
  std::uniform_real_distribution<float> place(-0.2f * side, 1.2f * side);
  const auto at = [&] { return place(random); };
  CorePath path;
  path.MoveTo(at(), at());
  switch (random() % 4) {
    case 0:
      path.LineTo(at(), at());
      path.LineTo(at(), at());
      break;
    case 1:
      path.QuadTo(at(), at(), at(), at());
      break;
    case 2:
      path.CubicTo(at(), at(), at(), at(), at(), at());
      break;
    default:
      path.ArcTo(at(), at(), 1, random() % 2 == 0 ? 0.0f : 1.0f, random() % 2 == 0 ? 0.0f : 1.0f, at(), at());
  }
  if (random() % 2 == 0) path.Close();
  return path;
}

TEST(DeviceLimits, PathsAreStoredWholeWhereverTheyReach) {
  std::mt19937 random(7);
  for (int round = 0; round < 600; ++round) {
    const float side = 30;
    const CorePath path = RandomPath(random, side);
    const float width = 0.3f + static_cast<float>(random() % 60) / 10;
    CoreMatrix matrix;
    if (random() % 2 == 0) matrix.Scale(0.5f, 1.7f);
    EXPECT_EQ(DifferencesOfACopy(
                  30, [&](CorePathDevice& device) { device.StrokePath(path, width, matrix, kBlack); }),
              0)
        << round;
    EXPECT_EQ(
        DifferencesOfACopy(
            30, [&](CorePathDevice& device) { device.FillPath(path, kCoreFillWinding, matrix, kBlack); }),
        0)
        << round;
  }
}

// A corner that is as sharp as one that is not cut off can be: the miter reaches four times the pen's width
// from one end to the other.
TEST(DeviceLimits, TheLongestMiterIsStoredWhole) {
  for (const bool across : {false, true}) {
    for (const bool back : {false, true}) {
      const auto draw = [&](CorePathDevice& device) {
        CorePath path;
        const auto add = [&](float along, float aside, bool start) {
          const float from = back ? 200 - along : along;
          const float x = across ? aside : from;
          const float y = across ? from : aside;
          start ? path.MoveTo(x, y) : path.LineTo(x, y);
        };
        add(20, 100 - 0.2587f * 80, true);  // tan of just above half of 28.96 degrees
        add(100, 100, false);
        add(20, 100 + 0.2587f * 80, false);
        device.StrokePath(path, 24, CoreMatrix(), kBlack);
      };
      EXPECT_EQ(DifferencesOfACopy(200, draw), 0);
      Picture picture(200, 200, 32);
      CoreBitmapDevice device(&picture.dib);
      draw(device);
      device.Flush();
      const int tip = back ? 58 : 141;
      EXPECT_NE(across ? Color(picture.dib, 100, tip) : Color(picture.dib, tip, 100), 0xFFFFFFu)
          << "no miter";
    }
  }
}

TEST(DeviceLimits, TextIsStoredWholeAtEveryFractionOfAPixel) {
  for (const float size : {5.0f, 13.3f, 40.0f, 300.0f}) {
    for (int step = 0; step < 20; ++step) {
      const float fraction = 0.05f * static_cast<float>(step);
      CoreMatrix place = At(20 + fraction, 60 - fraction);
      if (step % 2 == 1) place.b = 0.2f;
      EXPECT_EQ(DifferencesOfACopy(
                    90, [&](CorePathDevice& device) { DrawLine(device, L"fj\u00C5g", place, kBlack, size); }),
                0)
          << size << ' ' << step;
    }
  }
}

// Half on the page on each side of it: the rest of the line is left out, and what is there stays as it is.
TEST(DeviceLimits, ALineThatIsCutOffByTheEdgeShowsTheSameInk) {
  Picture whole(400, 300, 32);
  CoreBitmapDevice wide(&whole.dib);
  ASSERT_TRUE(DrawLine(wide, L"Wgj\u00C5lf", At(100, 150), kBlack, 60.0f));
  const CoreRect ink = InkOf(whole.dib);
  const int middleX = (ink.left + ink.right) / 2;
  const int middleY = (ink.top + ink.bottom) / 2;
  const std::pair<int, int> corners[] = {{middleX, ink.top - 50},        {middleX - 100, ink.top - 50},
                                         {ink.left - 20, middleY},       {ink.left - 20, middleY - 100},
                                         {ink.right - 1, middleY},       {ink.left - 99, middleY - 50},
                                         {middleX - 50, ink.bottom - 1}, {middleX - 50, ink.top - 99}};
  for (const auto& [left, top] : corners) {
    Picture cut(100, 100, 32);
    CoreBitmapDevice device(&cut.dib);
    ASSERT_TRUE(DrawLine(device, L"Wgj\u00C5lf",
                         At(static_cast<float>(100 - left), static_cast<float>(150 - top)), kBlack, 60.0f));
    for (int y = 0; y < 100; ++y) {
      for (int x = 0; x < 100; ++x) {
        const bool known = left + x >= 0 && left + x < 400 && top + y >= 0 && top + y < 300;
        const std::uint32_t expected = known ? whole.dib.GetArgb(left + x, top + y) : kWhite;
        ASSERT_EQ(cut.dib.GetArgb(x, y), expected) << left << ',' << top << ": " << x << ',' << y;
      }
    }
  }
}

bool LeavesInk(float size, const CoreMatrix& matrix) {
  CoreTextExtents extents;
  EXPECT_TRUE(Fonts().MeasureText(kBlock, 1, size, extents));
  Picture picture(60, 60, 32);
  CoreBitmapDevice device(&picture.dib);
  // The middle of the block comes to the middle of the picture.
  const float x = (extents.ink.left + extents.ink.right) / 2;
  const float y = (extents.ink.top + extents.ink.bottom) / 2;
  CoreMatrix place = matrix;
  place.e = 30 - (matrix.a * x + matrix.c * y);
  place.f = 30 - (matrix.b * x + matrix.d * y);
  EXPECT_TRUE(DrawLine(device, kBlock, place, kBlack, size));
  return !InkOf(picture.dib).IsEmpty();
}

CoreMatrix Linear(float a, float b, float c, float d) {
  CoreMatrix matrix;
  matrix.a = a;
  matrix.b = b;
  matrix.c = c;
  matrix.d = d;
  return matrix;
}

// The longest radius of what the matrix makes of the em decides.
TEST(DeviceLimits, TextLargerThanAHundredThousandPixelsLeavesNoInk) {
  const CoreMatrix matrices[] = {Linear(1, 0, 0, 1),
                                 Linear(0, 1, -1, 0),
                                 Linear(-1, 0, 0, 1),
                                 Linear(1, 0, 0, 0.5f),
                                 Linear(0.5f, 0, 0, 1),
                                 Linear(0, 1, 1, 0),
                                 Linear(0.6f, 0.8f, -0.8f, 0.6f)};
  for (const CoreMatrix& matrix : matrices) {
    EXPECT_TRUE(LeavesInk(99'999.0f, matrix));
    EXPECT_FALSE(LeavesInk(100'001.0f, matrix));
    CoreMatrix doubled = Linear(2 * matrix.a, 2 * matrix.b, 2 * matrix.c, 2 * matrix.d);
    EXPECT_TRUE(LeavesInk(49'999.0f, doubled));
    EXPECT_FALSE(LeavesInk(50'001.0f, doubled));
  }
  EXPECT_TRUE(LeavesInk(100'000.0f, CoreMatrix()));
  // A shear by 1 makes the golden ratio of the longest radius.
  EXPECT_TRUE(LeavesInk(61'803.0f, Linear(1, 0, 1, 1)));
  EXPECT_FALSE(LeavesInk(61'804.0f, Linear(1, 0, 1, 1)));
}

// Whether a page of PDF has a font, which it has for every text that is not left out.
bool IsWritten(float size, const CoreMatrix& matrix) {
  CoreMemoryOutputStream stream;
  CorePdfDevice device(&stream, 100, 100);
  EXPECT_TRUE(DrawLine(device, L"x", matrix, kBlack, size));
  EXPECT_TRUE(device.Finish());
  return TextOf(stream).find("/FontDescriptor") != std::string::npos;
}

// Of text in a document the sizes count in its points, three fourths of a unit.
TEST(DeviceLimits, TextSmallerThanAFractionOfAPixelIsLeftOut) {
  constexpr float kLeast = 4.0f / 3 / 64;
  EXPECT_TRUE(IsWritten(kLeast * 1.001f, At(10, 10)));
  EXPECT_FALSE(IsWritten(kLeast * 0.999f, At(10, 10)));
  EXPECT_TRUE(IsWritten(20.0f, At(10, 10)));
  // The shortest radius decides.
  CoreMatrix flat = At(10, 10);
  flat.d = 0.01f;
  EXPECT_TRUE(IsWritten(100 * kLeast * 1.001f, flat));
  EXPECT_FALSE(IsWritten(100 * kLeast * 0.999f, flat));
  CoreMatrix thin = At(10, 10);
  thin.a = 0;
  thin.d = 0;
  thin.b = 0.01f;
  thin.c = -1;
  EXPECT_TRUE(IsWritten(100 * kLeast * 1.001f, thin));
  EXPECT_FALSE(IsWritten(100 * kLeast * 0.999f, thin));
}

// Larger text is written as outlines, and so is what reaches far beyond the page.
TEST(DeviceLimits, TextOfADocumentIsTextUpTo4096Points) {
  EXPECT_TRUE(IsWritten(4095.9f * 4 / 3, At(-1500, 1500)));
  EXPECT_FALSE(IsWritten(4096.1f * 4 / 3, At(-1500, 1500)));
  const auto writes = [](const std::wstring& text) {
    CoreMemoryOutputStream stream;
    CorePdfDevice device(&stream, 100, 100);
    EXPECT_TRUE(
        device.DrawText(text.data(), static_cast<int>(text.size()), Fonts(), At(10, 50), kBlack, 32.0f));
    EXPECT_TRUE(device.Finish());
    return TextOf(stream).find("/FontDescriptor") != std::string::npos;
  };
  CoreTextExtents one;
  ASSERT_TRUE(Fonts().MeasureText(L"\u2588", 1, 32.0f, one));
  const auto most =
      static_cast<std::size_t>((100'000 * 4.0 / 3 - 10) / static_cast<double>(one.logical.right));
  EXPECT_TRUE(writes(std::wstring(most - 2, L'\u2588')));
  EXPECT_FALSE(writes(std::wstring(most + 2, L'\u2588')));
}

// Up to 256 pixels a glyph is a picture, which stands at whole pixels or at a fourth of them; larger ones are
// outlines, which stand anywhere.
TEST(DeviceLimits, GlyphsOfABitmapAreOutlinesAbove256Pixels) {
  const auto bytesAt = [](float size, float x) {
    Picture picture(300, 300, 32);
    CoreBitmapDevice device(&picture.dib);
    EXPECT_TRUE(DrawLine(device, L"S", At(20 + x, 250), kBlack, size));
    return picture.Bytes();
  };
  EXPECT_EQ(bytesAt(256, 0.01f), bytesAt(256, 0.05f));
  EXPECT_NE(bytesAt(256.5f, 0.01f), bytesAt(256.5f, 0.05f));
}

TEST(DeviceLimits, SidesOfABitmap) {
  constexpr int kMost = CoreBitmapDevice::kMaxSide;
  const std::pair<int, int> sides[] = {{kMost, 1}, {1, kMost}, {kMost + 1, 1}, {1, kMost + 1}};
  for (const auto& [width, height] : sides) {
    for (const int bits : {8, 32}) {
      Picture picture(width, height, bits);
      CoreBitmapDevice device(&picture.dib);
      EXPECT_EQ(device.IsGood(), width <= kMost && height <= kMost) << width << 'x' << height << ' ' << bits;
    }
  }
}

// At twice the resolution everything is as with a matrix that doubles.
TEST(DeviceLimits, AResolutionIsAScaleOfTheMatrix) {
  const CoreMatrix matrices[] = {Linear(1, 0, 0, 1), Linear(0.9f, 0.2f, -0.3f, 1.1f),
                                 Linear(0, 1.5f, 0.7f, 0)};
  for (const CoreMatrix& matrix : matrices) {
    std::vector<std::uint8_t> bytes[2];
    for (const bool doubled : {false, true}) {
      CoreMatrix place = matrix;
      place.Translate(30, 20);
      if (doubled) place.Scale(2, 2);
      Picture picture(200, 160, 32);
      CoreBitmapDevice device(&picture.dib, doubled ? 96.0f : 192.0f);
      CorePath path;
      path.MoveTo(1, 2);
      path.LineTo(40, 5);
      path.QuadTo(50, 30, 10, 40);
      EXPECT_TRUE(device.FillPath(path, kCoreFillWinding, place, 0xFF804020));
      EXPECT_TRUE(device.StrokePath(path, 3, place, 0xFF204080));
      EXPECT_TRUE(DrawLine(device, L"R\u00E9g", place, kBlack, 24.0f));
      bytes[doubled ? 1 : 0] = picture.Bytes();
    }
    EXPECT_EQ(bytes[0], bytes[1]);
  }
}

// Whatever was drawn before, the next drawing is as on a device of its own.
TEST(DeviceLimits, DrawingsLeaveNothingToTheNext) {
  CorePath path;
  path.MoveTo(10, 20);
  path.LineTo(60, 30);
  path.QuadTo(70, 60, 20, 70);
  CoreMatrix turned = Linear(0.9f, 0.3f, -0.2f, 1.1f);
  turned.Translate(15, 5);
  const std::function<void(CorePageDevice&)> drawings[] = {
      [&](CorePageDevice& device) { device.FillPath(path, kCoreFillWinding, turned, 0xC0804020); },
      [&](CorePageDevice& device) { device.FillPath(path, kCoreFillEvenOdd, CoreMatrix(), 0xFF40FF20); },
      [&](CorePageDevice& device) { device.StrokePath(path, 3, turned, 0x80204080); },
      [&](CorePageDevice& device) { device.StrokePath(path, 1, CoreMatrix(), kBlack); },
      [&](CorePageDevice& device) { DrawLine(device, L"Ag", turned, 0xA0FF0000, 30.0f); },
      [&](CorePageDevice& device) { DrawLine(device, L"Ag", At(5, 90), kBlack, 300.0f); },
      [&](CorePageDevice& device) { DrawLine(device, L"\U0001F600", At(20, 60), 0x80000000, 40.0f); },
      [&](CorePageDevice& device) { device.FillPath(LineTo(5e6f, 3), kCoreFillWinding, turned, kBlack); },
      [&](CorePageDevice& device) { device.FillPage(0xFF123456); },
  };
  for (const auto& first : drawings) {
    for (const auto& second : drawings) {
      for (const int bits : {24, 32}) {
        Picture together(100, 100, bits);
        Picture apart(100, 100, bits);
        CoreBitmapDevice device(&together.dib);
        first(device);
        ASSERT_TRUE(device.Flush());
        second(device);
        ASSERT_TRUE(device.Flush());
        for (const auto* drawing : {&first, &second}) {
          CoreBitmapDevice own(&apart.dib);
          (*drawing)(own);
          ASSERT_TRUE(own.Flush());
        }
        ASSERT_EQ(together.Bytes(), apart.Bytes())
            << &first - drawings << ' ' << &second - drawings << ' ' << bits;
      }
    }
  }
}

// Its control points are two thirds of the way to that of the quadratic.
TEST(DeviceLimits, AQuadraticCurveIsTheCubicThatItIs) {
  std::mt19937 random(11);
  std::uniform_real_distribution<float> place(0, 90);
  for (int round = 0; round < 100; ++round) {
    float at[6];
    for (float& value : at) value = place(random);
    CorePath quad, cubic;
    quad.MoveTo(at[0], at[1]);
    quad.QuadTo(at[2], at[3], at[4], at[5]);
    cubic.MoveTo(at[0], at[1]);
    cubic.CubicTo((at[0] + 2 * at[2]) / 3, (at[1] + 2 * at[3]) / 3, (at[4] + 2 * at[2]) / 3,
                  (at[5] + 2 * at[3]) / 3, at[4], at[5]);
    Picture pictures[2] = {Picture(100, 100), Picture(100, 100)};
    for (const bool isCubic : {false, true}) {
      CoreBitmapDevice device(&pictures[isCubic ? 1 : 0].dib);
      ASSERT_TRUE(device.StrokePath(isCubic ? cubic : quad, 2, CoreMatrix(), kBlack));
      ASSERT_TRUE(device.Flush());
    }
    for (int y = 0; y < 100; ++y) {
      for (int x = 0; x < 100; ++x) {
        ASSERT_NEAR(static_cast<int>(Color(pictures[0].dib, x, y) & 0xFF),
                    static_cast<int>(Color(pictures[1].dib, x, y) & 0xFF), 12)
            << round;
      }
    }
  }
}

TEST(DeviceLimits, APageOfPdfHasItsSizeInPoints) {
  CoreMemoryOutputStream stream;
  CorePdfDevice device(&stream, 300, 100);
  ASSERT_TRUE(device.Finish());
  EXPECT_EQ(document::PdfFact(TextOf(stream), "Page size"), "225 x 75 pts");
}

// As a box, which stands where the character would.
TEST(DeviceLimits, ACharacterThatNoFontHoldsLeavesInk) {
  Picture picture(100, 60, 32);
  CoreBitmapDevice device(&picture.dib);
  ASSERT_TRUE(DrawLine(device, L"\uEBEB", At(20, 45), kBlack, 40.0f));
  const CoreRect ink = InkOf(picture.dib);
  EXPECT_GT(ink.right - ink.left, 10);
  EXPECT_GT(ink.bottom - ink.top, 20);
}

TEST(DeviceLimits, PathsReachAsFarAsTheLimitAndNoFurther) {
  constexpr auto kReach = static_cast<float>(CorePathDevice::kMaxReach);
  const float beyond = std::nextafter(kReach, 1e9f);
  Picture picture(20, 20, 32);
  CoreBitmapDevice device(&picture.dib);
  const auto fills = [&device](const CorePath& path) {
    return device.FillPath(path, kCoreFillWinding, CoreMatrix(), kBlack);
  };
  for (const float sign : {1.0f, -1.0f}) {
    for (const bool far : {false, true}) {
      const float to = sign * (far ? beyond : kReach);
      EXPECT_EQ(fills(LineTo(to, 5)), !far);
      EXPECT_EQ(fills(LineTo(5, to)), !far);
      for (int place = 0; place < 8; ++place) {
        float at[8] = {1, 2, 3, 4, 5, 6, 7, 8};
        at[place] = to;
        CorePath cubic;
        cubic.MoveTo(at[0], at[1]);
        cubic.CubicTo(at[2], at[3], at[4], at[5], at[6], at[7]);
        EXPECT_EQ(fills(cubic), !far) << place << ' ' << to;
      }
    }
  }
  // Of a quadratic curve the control points of the cubic count, two thirds of the way.
  const auto quad = [](float x, float y) {
    CorePath path;
    path.MoveTo(0, 0);
    path.QuadTo(x, y, 0, 0);
    return path;
  };
  EXPECT_TRUE(fills(quad(1.49f * kReach, 0)) && fills(quad(0, -1.49f * kReach)));
  EXPECT_FALSE(fills(quad(1.51f * kReach, 0)) || fills(quad(0, -1.51f * kReach)));

  CorePath closed;
  closed.MoveTo(beyond, 0);
  closed.Close();
  EXPECT_FALSE(fills(closed));
  CorePath arc;
  arc.MoveTo(0, 0);
  arc.ArcTo(3e6f, 3e6f, 0, 1, 1, 1, 1);
  EXPECT_FALSE(fills(arc));

  const CorePath path = LineTo(9, 9);
  CoreMatrix flat;
  flat.d = 0;
  EXPECT_TRUE(device.StrokePath(path, kReach, flat, kBlack));
  EXPECT_FALSE(device.StrokePath(path, beyond, flat, kBlack));
  const float root = kReach / std::sqrt(2.0f);
  EXPECT_TRUE(device.StrokePath(path, root - 1, CoreMatrix(), kBlack));
  EXPECT_FALSE(device.StrokePath(path, root + 1, CoreMatrix(), kBlack));
  EXPECT_TRUE(device.StrokePath(path, std::numeric_limits<float>::denorm_min(), CoreMatrix(), kBlack));
}

// The characters of a picture stand in a font without ink, which readers measure: its box and its width.
TEST(DeviceLimits, TheTextBelowPicturesIsMeasuredAsLetters) {
  CoreMemoryOutputStream stream;
  CorePdfDevice device(&stream, 200, 100);
  ASSERT_TRUE(DrawLine(device, L"\U0001F600", At(10, 60), kBlack, 40.0f));
  ASSERT_TRUE(device.Finish());
  const std::string pdf = TextOf(stream);
  const std::size_t at = pdf.find("/Subtype /Type3");
  ASSERT_NE(at, std::string::npos);
  const std::string font = pdf.substr(at, pdf.find("endobj", at) - at);
  EXPECT_NE(font.find("/FontBBox [0 -0.75 0.5 0.25]"), std::string::npos) << font;
  EXPECT_NE(font.find("/Widths [ 0.5]"), std::string::npos) << font;
}

}  // namespace
