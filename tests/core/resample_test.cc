// SPDX-License-Identifier: MIT
// CoreResample, beside what Pillow makes of the same pixels.
#include "foreign_files.h"
#include "image_support.h"

#include <tovmx/dib.h>
#include <tovmx/geometry.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

namespace {

struct Case {
  CoreFilter filter;
  const char* pillow;
};
constexpr Case kCases[] = {{kCoreFilterNearest, "NEAREST"},
                           {kCoreFilterTriangle, "BILINEAR"},
                           {kCoreFilterCubic, "BICUBIC"},
                           {kCoreFilterLanczos, "LANCZOS"}};
constexpr CoreSize kSizes[] = {{37, 29}, {74, 58}, {100, 9}, {20, 15}, {5, 90}, {1, 1}, {36, 30}};

class Resample : public ForeignFiles {
 protected:
  // What Pillow makes of the file: each channel by itself in floating point, rounded once, colors weighed by
  // alpha.
  std::string ByPillow(const std::string& file, const char* filter, CoreSize size) {
    return Run(std::string("/usr/bin/python3 -W ignore '") + TOVKIT_SOURCE_DIR + "/tests/core/resample.py' " +
               file + " " + filter + " " + std::to_string(size.width) + " " + std::to_string(size.height));
  }

  void Save(const CoreDib& dib, const std::string& file) {
    std::ofstream(folder_ + "/" + file, std::ios::binary) << image::Encode(dib, kCoreImagePng);
  }

  // Compares every filter and size with Pillow. `prepare` is called for both pictures before that.
  template <typename Prepare>
  void ExpectLikePillow(int bits, int tolerance, const Prepare& prepare) {
    const CoreDib picture = image::MakePicture(37, 29, bits);
    Save(picture, "in.png");
    for (const Case& one : kCases) {
      for (const CoreSize& size : kSizes) {
        CoreDib ours;
        ASSERT_TRUE(CoreResample(picture, size.width, size.height, one.filter, ours));
        const auto theirs = image::Decode(ByPillow("in.png", one.pillow, size));
        ASSERT_NE(theirs, nullptr);
        prepare(ours);
        prepare(*theirs);
        EXPECT_EQ(image::Difference(*theirs, ours, tolerance), "")
            << one.pillow << " " << size.width << "x" << size.height << " of " << bits << " bits";
      }
    }
  }

  // One level is the error that is allowed: both round, at other places.
  void ExpectWithinALevelOfPillow(int bits) {
    ExpectLikePillow(bits, 1, [](CoreDib&) {});
  }
};

TEST_F(Resample, GrayIsWithinALevelOfPillow) { ExpectWithinALevelOfPillow(8); }
TEST_F(Resample, ColorIsWithinALevelOfPillow) { ExpectWithinALevelOfPillow(24); }

// What is nearly transparent has colors that nobody sees; they are compared as they show over white and
// black.
TEST_F(Resample, AlphaShowsAsWithPillow) {
  ExpectLikePillow(32, 2, [](CoreDib& dib) { dib.Premultiply(); });
}

// A row, or a column, of pixels that are their own numbers.
CoreDib Numbered(int count, bool isRow) {
  CoreDib dib;
  EXPECT_TRUE(dib.Create(isRow ? count : 1, isRow ? 1 : count, 8));
  for (int i = 0; i < count; ++i) dib.GetRow(isRow ? 0 : i)[isRow ? i : 0] = static_cast<std::uint8_t>(i);
  return dib;
}

// The numbers of the pixels that it is made of in another length.
std::vector<int> NearestOf(const CoreDib& line, int count, bool isRow) {
  CoreDib made;
  EXPECT_TRUE(CoreResample(line, isRow ? count : 1, isRow ? 1 : count, kCoreFilterNearest, made));
  std::vector<int> picks;
  for (int i = 0; i < count; ++i) picks.push_back(made.GetRow(isRow ? 0 : i)[isRow ? i : 0]);
  return picks;
}

// All lengths up to 80. Where a new pixel's center lies on the edge between two old ones, ours is the later
// one; Pillow adds up steps, and takes the one or the other as the sum is rounded.
TEST_F(Resample, TheNearestPixelIsPillowsUnlessTwoAreAsNear) {
  constexpr int kMost = 80;
  std::istringstream pillow(Run(std::string("/usr/bin/python3 -W ignore '") + TOVKIT_SOURCE_DIR +
                                "/tests/core/nearest.py' " + std::to_string(kMost)));
  int pairs = 0;
  for (int old = 0, now = 0; pillow >> old >> now; ++pairs) {
    const std::vector<int> across = NearestOf(Numbered(old, true), now, true);
    EXPECT_EQ(NearestOf(Numbered(old, false), now, false), across) << old << " " << now;
    for (int i = 0; i < now; ++i) {
      int pick = 0;
      pillow >> pick;
      const int ours = across[static_cast<std::size_t>(i)];
      const bool isBetween = (2 * i + 1) * old % (2 * now) == 0;
      ASSERT_TRUE(pick == ours || (isBetween && pick == ours - 1)) << old << " " << now << " " << i;
    }
  }
  EXPECT_EQ(pairs, kMost * kMost);
}

TEST_F(Resample, ABitmapOfFewBitsBecomesGrayOrColor) {
  CoreDib bilevel = image::MakePicture(64, 64, 1);
  CoreDib small;
  ASSERT_TRUE(CoreResample(bilevel, 8, 8, kCoreFilterLanczos, small));
  EXPECT_EQ(small.GetBitsPerPixel(), 8);
  CoreDib indexed = image::MakePicture(64, 64, 8);
  image::GivePalette(indexed, 256);
  ASSERT_TRUE(CoreResample(indexed, 8, 8, kCoreFilterCubic, small));
  EXPECT_EQ(small.GetBitsPerPixel(), 24);
  ASSERT_TRUE(CoreResample(indexed, 128, 64, kCoreFilterNearest, small));
  EXPECT_EQ(small.GetArgb(101, 33), indexed.GetArgb(50, 33));
}

TEST_F(Resample, OneColorStaysThatColor) {
  for (const Case& one : kCases) {
    for (const CoreSize& size : kSizes) {
      CoreDib picture, made;
      ASSERT_TRUE(picture.Create(23, 31, 24));
      std::memset(picture.GetBuffer(), 0xA5, picture.GetBufferSize());
      ASSERT_TRUE(CoreResample(picture, size.width, size.height, one.filter, made));
      for (int y = 0; y < size.height; ++y) {
        for (int x = 0; x < size.width; ++x) ASSERT_EQ(made.GetArgb(x, y), 0xFFA5A5A5u) << one.pillow;
      }
    }
  }
}

TEST_F(Resample, TheResolutionFollowsAndABitmapMayReplaceItself) {
  CoreDib picture = image::MakePicture(40, 30, 24);
  picture.SetDpi(100, 200);
  ASSERT_TRUE(CoreResample(picture, 80, 15, kCoreFilterLanczos, picture));
  EXPECT_EQ(picture.GetWidth(), 80);
  EXPECT_EQ(picture.GetHeight(), 15);
  EXPECT_FLOAT_EQ(picture.GetDpiX(), 200);
  EXPECT_FLOAT_EQ(picture.GetDpiY(), 100);
  CoreDib unknown = image::MakePicture(4, 4, 24);
  ASSERT_TRUE(CoreResample(unknown, 2, 2, kCoreFilterNearest, unknown));
  EXPECT_EQ(unknown.GetDpiX(), 0);
}

TEST_F(Resample, WhatCannotBeMadeLeavesTheTargetAlone) {
  const CoreDib picture = image::MakePicture(4, 4, 24);
  const CoreDib none;
  CoreDib made = image::MakePicture(3, 2, 8);
  EXPECT_FALSE(CoreResample(none, 2, 2, kCoreFilterLanczos, made));
  EXPECT_FALSE(CoreResample(picture, 0, 2, kCoreFilterLanczos, made));
  EXPECT_FALSE(CoreResample(picture, 2, -1, kCoreFilterNearest, made));
  EXPECT_FALSE(CoreResample(picture, 2, 2, static_cast<CoreFilter>(4), made));
  EXPECT_FALSE(CoreResample(picture, 2000000000, 2, kCoreFilterNearest, made));
  EXPECT_EQ(made.GetWidth(), 3);
}

// Tall to flat: the window of a new row is the whole picture, and is not held in memory.
TEST_F(Resample, AnExtremeShapeIsMade) {
  CoreDib tall, made;
  ASSERT_TRUE(tall.Create(3, 30000, 8));
  for (int y = 0; y < 30000; ++y) std::memset(tall.GetRow(y), y % 2 == 0 ? 0 : 200, 3);
  ASSERT_TRUE(CoreResample(tall, 3000, 1, kCoreFilterLanczos, made));
  EXPECT_NEAR(made.GetRow(0)[1500], 100, 1);
}

}  // namespace
