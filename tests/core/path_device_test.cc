// SPDX-License-Identifier: MIT
// Paths on the devices: what of each pixel is covered, worked out by hand or by the area of the shape.
#include <tovmx/device.h>

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <memory>
#include <string>

namespace {

constexpr std::uint32_t kBlack = 0xFF000000;

CorePath Rectangle(float left, float top, float right, float bottom, bool closed = true) {
  CorePath path;
  path.MoveTo(left, top);
  path.LineTo(right, top);
  path.LineTo(right, bottom);
  path.LineTo(left, bottom);
  if (closed) path.Close();
  return path;
}

CorePath Circle(float x, float y, float radius) {
  CorePath path;
  path.MoveTo(x - radius, y);
  path.ArcTo(radius, radius, 0, 0, 1, x + radius, y);
  path.ArcTo(radius, radius, 0, 0, 1, x - radius, y);
  path.Close();
  return path;
}

// A white page and what its pixels lose to the ink.
class Page {
 public:
  explicit Page(int side = 20, int bits = 32) {
    picture.Create(side, side, bits);
    device = std::make_unique<CoreBitmapDevice>(&picture);
    device->FillPage(0xFFFFFFFF);
  }

  double Ink(int x, int y) {
    device->Flush();
    return 1 - (picture.GetArgb(x, y) & 0xFF) / 255.0;
  }
  double AllInk() {
    double sum = 0;
    for (int y = 0; y < picture.GetHeight(); ++y) {
      for (int x = 0; x < picture.GetWidth(); ++x) sum += Ink(x, y);
    }
    return sum;
  }

  CoreDib picture;
  std::unique_ptr<CoreBitmapDevice> device;
};

CoreMatrix Moved(float dx, float dy) {
  CoreMatrix matrix;
  matrix.Translate(dx, dy);
  return matrix;
}

}  // namespace

TEST(PathDevice, FillCoversThePixelsOfARectangle) {
  for (const int bits : {32, 24, 8}) {
    Page page(20, bits);
    ASSERT_TRUE(page.device->FillPath(Rectangle(3, 4, 7, 6), kCoreFillWinding, CoreMatrix(), kBlack));
    for (int y = 0; y < 20; ++y) {
      for (int x = 0; x < 20; ++x) {
        ASSERT_EQ(page.Ink(x, y), x >= 3 && x < 7 && y >= 4 && y < 6 ? 1 : 0) << bits << " " << x << "," << y;
      }
    }
  }
}

TEST(PathDevice, PartsOfPixelsAreSmoothed) {
  Page page;
  page.device->FillPath(Rectangle(3.5f, 4.25f, 7, 6), kCoreFillWinding, CoreMatrix(), kBlack);
  EXPECT_NEAR(page.Ink(3, 5), 0.5, 0.01);
  EXPECT_NEAR(page.Ink(5, 4), 0.75, 0.01);
  EXPECT_NEAR(page.Ink(3, 4), 0.375, 0.01);
}

TEST(PathDevice, FillClosesOpenSubpaths) {
  Page open;
  open.device->FillPath(Rectangle(3, 4, 7, 6, false), kCoreFillWinding, CoreMatrix(), kBlack);
  EXPECT_NEAR(open.AllInk(), 8, 1e-9);
}

TEST(PathDevice, TheFillModeDecidesAboutTheInnerOfTwoRectangles) {
  CorePath path = Rectangle(2, 2, 12, 12);
  path.MoveTo(4, 4);
  path.LineTo(8, 4);
  path.LineTo(8, 8);
  path.LineTo(4, 8);
  path.Close();
  Page winding, evenOdd;
  winding.device->FillPath(path, kCoreFillWinding, CoreMatrix(), kBlack);
  evenOdd.device->FillPath(path, kCoreFillEvenOdd, CoreMatrix(), kBlack);
  EXPECT_NEAR(winding.AllInk(), 100, 1e-9);
  EXPECT_NEAR(evenOdd.AllInk(), 84, 1e-9);
}

TEST(PathDevice, CurvesAndArcsEncloseTheirArea) {
  Page circle(60), curves(60);
  circle.device->FillPath(Circle(30, 30, 25), kCoreFillWinding, CoreMatrix(), kBlack);
  EXPECT_NEAR(circle.AllInk(), M_PI * 25 * 25, 3);
  // With a base b and the control points at height h, the integral of 2 h t (1 - t) b is b h / 3, that of
  // 3 h t (1 - t) b is b h / 2.
  CorePath path;
  path.MoveTo(0, 50);
  path.QuadTo(15, 20, 30, 50);
  path.Close();
  path.MoveTo(30, 50);
  path.CubicTo(40, 20, 50, 20, 60, 50);
  path.Close();
  curves.device->FillPath(path, kCoreFillWinding, CoreMatrix(), kBlack);
  EXPECT_NEAR(curves.AllInk(), 30.0 * 30 / 3 + 30.0 * 30 / 2, 3);
}

TEST(PathDevice, StrokeIsAsWideAsThePen) {
  Page page;
  CorePath line;
  line.MoveTo(2, 5);
  line.LineTo(12, 5);
  ASSERT_TRUE(page.device->StrokePath(line, 4, CoreMatrix(), kBlack));
  for (int y = 0; y < 20; ++y) {
    for (int x = 0; x < 20; ++x) ASSERT_EQ(page.Ink(x, y), x >= 2 && x < 12 && y >= 3 && y < 7 ? 1 : 0);
  }
}

TEST(PathDevice, CornersAreMiteredAndClosedSubpathsHaveNoEnds) {
  Page closed, open, apart;
  closed.device->StrokePath(Rectangle(5, 5, 15, 15), 2, CoreMatrix(), kBlack);
  EXPECT_NEAR(closed.AllInk(), 12 * 12 - 8 * 8, 1e-9);
  EXPECT_EQ(closed.Ink(4, 4), 1);
  open.device->StrokePath(Rectangle(5, 5, 15, 15, false), 2, CoreMatrix(), kBlack);
  EXPECT_EQ(open.Ink(4, 4), 0);
  EXPECT_EQ(open.Ink(14, 4), 1) << "a joint";
  // A corner sharper than the limit of four times the width is cut off.
  CorePath sharp;
  sharp.MoveTo(0, 9);
  sharp.LineTo(15, 10);
  sharp.LineTo(0, 11);
  apart.device->StrokePath(sharp, 1, CoreMatrix(), kBlack);
  EXPECT_EQ(apart.Ink(17, 10), 0);
}

TEST(PathDevice, AStrokedCircleIsARing) {
  Page page(60);
  page.device->StrokePath(Circle(30, 30, 20), 4, CoreMatrix(), kBlack);
  EXPECT_NEAR(page.AllInk(), M_PI * (22 * 22 - 18 * 18), 3);
  EXPECT_EQ(page.Ink(10, 30), 1) << "where it is closed";
}

TEST(PathDevice, TheMatrixMapsPathAndPen) {
  Page page(40);
  CoreMatrix matrix;
  matrix.Scale(2, 3);
  matrix.Translate(4, 0);
  CorePath line;
  line.MoveTo(0, 5);
  line.LineTo(10, 5);
  page.device->StrokePath(line, 2, matrix, kBlack);
  for (int y = 0; y < 40; ++y) {
    for (int x = 0; x < 40; ++x) ASSERT_EQ(page.Ink(x, y), x >= 4 && x < 24 && y >= 12 && y < 18 ? 1 : 0);
  }
}

TEST(PathDevice, AResolutionScales) {
  CoreDib picture;
  picture.Create(20, 20, 32);
  CoreBitmapDevice device(&picture, 192);
  device.FillPath(Rectangle(1, 1, 3, 3), kCoreFillWinding, CoreMatrix(), kBlack);
  device.Flush();
  EXPECT_EQ(picture.GetArgb(2, 2), kBlack);
  EXPECT_EQ(picture.GetArgb(5, 5), kBlack);
  EXPECT_EQ(picture.GetArgb(6, 6), 0U);
}

TEST(PathDevice, TranslucentColorsBlend) {
  Page page;
  page.device->FillPath(Rectangle(3, 4, 7, 6), kCoreFillWinding, CoreMatrix(), 0x80FF0000);
  page.device->Flush();
  EXPECT_EQ(page.picture.GetArgb(4, 5), 0xFFFF7F7FU);
}

TEST(PathDevice, APathThatTouchesThePixelsBesideItIsStoredWhole) {
  // A transparent page is drawn through a copy, of which only what was painted is stored.
  CoreDib picture;
  picture.Create(40, 40, 32);
  CoreBitmapDevice device(&picture);
  CorePath corner;
  corner.MoveTo(10, 30);
  corner.LineTo(20, 10);
  corner.LineTo(30, 30);
  device.StrokePath(corner, 6, CoreMatrix(), kBlack);
  device.Flush();
  EXPECT_NE(picture.GetArgb(20, 4), 0U) << "the tip of the miter";
}

TEST(PathDevice, WhatCannotBeDrawnIsRefusedAndLeavesThePage) {
  const float nan = std::numeric_limits<float>::quiet_NaN(), inf = std::numeric_limits<float>::infinity();
  const CorePath good = Rectangle(3, 4, 7, 6);
  Page page;
  for (const float bad : {nan, inf, 1e30f, 5e6f}) {
    CorePath path = Rectangle(3, 4, bad, 6);
    EXPECT_FALSE(page.device->FillPath(path, kCoreFillWinding, CoreMatrix(), kBlack)) << bad;
    EXPECT_FALSE(page.device->StrokePath(path, 1, CoreMatrix(), kBlack)) << bad;
    EXPECT_FALSE(page.device->FillPath(good, kCoreFillWinding, Moved(bad, 0), kBlack)) << bad;
    EXPECT_FALSE(page.device->StrokePath(good, bad, CoreMatrix(), kBlack)) << bad;
  }
  CorePath curve;
  curve.MoveTo(0, 0);
  curve.QuadTo(nan, 0, 5, 5);
  EXPECT_FALSE(page.device->FillPath(curve, kCoreFillWinding, CoreMatrix(), kBlack));
  EXPECT_FALSE(page.device->StrokePath(good, 0, CoreMatrix(), kBlack));
  EXPECT_FALSE(page.device->StrokePath(good, -1, CoreMatrix(), kBlack));
  CoreMatrix broken;
  broken.c = nan;
  EXPECT_FALSE(page.device->FillPath(CorePath(), kCoreFillWinding, broken, kBlack));
  EXPECT_EQ(page.AllInk(), 0);
  EXPECT_TRUE(page.device->IsGood());
  EXPECT_TRUE(page.device->FillPath(good, kCoreFillWinding, CoreMatrix(), kBlack));
  EXPECT_NEAR(page.AllInk(), 8, 1e-9) << "nothing of the refused paths is left";
}

TEST(PathDevice, EmptyPathsAndFlatMatricesLeaveNoInk) {
  Page page;
  CoreMatrix flat;
  flat.Scale(1, 0);
  EXPECT_TRUE(page.device->FillPath(CorePath(), kCoreFillWinding, CoreMatrix(), kBlack));
  EXPECT_TRUE(page.device->StrokePath(Rectangle(3, 4, 7, 6), 2, flat, kBlack));
  EXPECT_TRUE(page.device->FillPath(Rectangle(3, 4, 7, 6), kCoreFillWinding, flat, kBlack));
  EXPECT_EQ(page.AllInk(), 0);
  EXPECT_TRUE(page.device->IsGood());
}

TEST(PathDevice, DegenerateArcsDrawNothing) {
  Page page;
  CorePath path;
  path.MoveTo(5, 5);
  path.ArcTo(0, 5, 0, 0, 1, 15, 5);
  EXPECT_TRUE(page.device->StrokePath(path, 2, CoreMatrix(), kBlack));
  EXPECT_EQ(page.AllInk(), 0);
  path.LineTo(15, 15);
  EXPECT_TRUE(page.device->StrokePath(path, 2, CoreMatrix(), kBlack));
  EXPECT_NEAR(page.AllInk(), 20, 1e-9) << "the line starts where the arc ends";
}

TEST(PathDevice, DocumentsHoldThePath) {
  for (const bool pdf : {false, true}) {
    CoreMemoryOutputStream out;
    std::unique_ptr<CoreDocumentDevice> device;
    if (pdf) {
      device = std::make_unique<CorePdfDevice>(&out, 100.0f, 100.0f);
    } else {
      device = std::make_unique<CoreSvgDevice>(&out, 100.0f, 100.0f);
    }
    auto* paths = dynamic_cast<CorePathDevice*>(device.get());
    ASSERT_NE(paths, nullptr);
    EXPECT_TRUE(paths->FillPath(Circle(50, 50, 25), kCoreFillEvenOdd, CoreMatrix(), 0xFF3366CC));
    EXPECT_TRUE(paths->StrokePath(Circle(50, 50, 25), 2, CoreMatrix(), 0xFF000000));
    ASSERT_TRUE(device->Finish());
    EXPECT_FALSE(paths->FillPath(Circle(50, 50, 25), kCoreFillEvenOdd, CoreMatrix(), 0xFF3366CC));
    const std::string text(reinterpret_cast<const char*>(out.GetData()), out.GetSize());
    if (pdf) {
      EXPECT_EQ(text.compare(0, 5, "%PDF-"), 0);
    } else {
      EXPECT_NE(text.find("evenodd"), std::string::npos) << text;
      EXPECT_NE(text.find("stroke-width"), std::string::npos) << text;
      EXPECT_NE(text.find(" C "), std::string::npos) << text;
    }
  }
}

namespace {

// As a client of an earlier header wrote it.
class ClientDevice : public CoreDevice {
 public:
  bool DrawText(const wchar_t*, int, const CoreFontLoader&, const CoreMatrix&, std::uint32_t,
                float) override {
    return true;
  }
  bool EndText() override { return true; }
  bool Flush() override { return true; }
};

}  // namespace

TEST(PathDevice, ADeviceOfAClientIsNone) {
  ClientDevice device;
  CoreDevice& base = device;
  EXPECT_EQ(dynamic_cast<CorePathDevice*>(&base), nullptr);
  EXPECT_EQ(sizeof(CoreDevice), sizeof(void*));
  EXPECT_EQ(sizeof(CoreBitmapDevice), 2 * sizeof(void*)) << "clients hold devices on their stacks";
}
