// SPDX-License-Identifier: MIT
// Pages at the limits of what can be drawn, and where the lines of a drawing stand on them.
#include "jobs/page.h"

#include "jobs/draw_job.h"
#include "jobs/error.h"
#include "jobs/picture_reader.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

namespace {

// Of a page without anything on it: its pixels, or what was thrown.
std::string Rendered(float width, float height, float dpi, std::uint32_t background = 0xFF123456) {
  CoreDib bitmap;
  try {
    jobs::RenderPage(
        {{width, height}, dpi, background}, [](CoreDevice&) {}, "place", bitmap);
  } catch (const jobs::Error& e) {
    return std::string(e.kind() == jobs::ErrorKind::kLimit ? "limit: " : "other: ") + e.what();
  }
  EXPECT_EQ(bitmap.GetBitsPerPixel(), 32);
  EXPECT_FLOAT_EQ(bitmap.GetDpiX(), dpi);
  EXPECT_FLOAT_EQ(bitmap.GetDpiY(), dpi);
  for (const auto& [x, y] : {std::pair(0, 0), std::pair(bitmap.GetWidth() - 1, bitmap.GetHeight() - 1)}) {
    EXPECT_EQ(bitmap.GetArgb(x, y), background >> 24 == 255 ? background : 0u);
  }
  return std::to_string(bitmap.GetWidth()) + " x " + std::to_string(bitmap.GetHeight());
}

TEST(Page, ItsPixelsAreRoundedUp) {
  EXPECT_EQ(Rendered(100, 50, 96), "100 x 50");
  EXPECT_EQ(Rendered(100, 50, 192), "200 x 100");
  EXPECT_EQ(Rendered(100.25f, 50.75f, 96), "101 x 51");
  EXPECT_EQ(Rendered(0.01f, 0.01f, 96), "1 x 1");
  EXPECT_EQ(Rendered(10, 3, 96, 0), "10 x 3");
  EXPECT_EQ(Rendered(10, 3, 96, 0xFE112233), "10 x 3");
}

TEST(Page, WhatIsTooLargeIsToldInPixels) {
  EXPECT_EQ(Rendered(32767, 1, 96), "32767 x 1");
  EXPECT_EQ(Rendered(1, 32767, 96), "1 x 32767");
  EXPECT_EQ(Rendered(32767.5f, 1, 96),
            "limit: place: a page of 32768 x 1 is too large; sides go up to 32767");
  EXPECT_EQ(Rendered(2, 65536, 48), "limit: place: a page of 1 x 32768 is too large; sides go up to 32767");
  EXPECT_EQ(Rendered(32767, 32767, 96),
            "limit: place: the picture needs 4294705156 bytes, which is too much");
}

std::unique_ptr<CoreDib> Drawn(const std::string& json) {
  CoreMemoryOutputStream out;
  jobs::DrawJob job{{jobs::Input::Memory(json, "lines")},
                    {},
                    jobs::Output::Memory(&out, "page"),
                    *jobs::FindOutputFormat("bmp", jobs::OutputKind::kPage)};
  jobs::Observer silent;
  jobs::Run(job, silent);
  const std::string_view bytes(reinterpret_cast<const char*>(out.GetData()), out.GetSize());
  return jobs::PictureReader(jobs::Input::Memory(bytes, "page")).ReadFrame(1);
}

struct Edges {
  int left, top, right, bottom;
};

// How many rows and columns without ink are on each side.
Edges BlankEdges(const CoreDib& dib) {
  Edges edges = {dib.GetWidth(), dib.GetHeight(), dib.GetWidth(), dib.GetHeight()};
  for (int y = 0; y < dib.GetHeight(); ++y) {
    for (int x = 0; x < dib.GetWidth(); ++x) {
      if ((dib.GetArgb(x, y) & 0xFFFFFF) == 0xFFFFFF) continue;
      edges.left = std::min(edges.left, x);
      edges.top = std::min(edges.top, y);
      edges.right = std::min(edges.right, dib.GetWidth() - 1 - x);
      edges.bottom = std::min(edges.bottom, dib.GetHeight() - 1 - y);
    }
  }
  return edges;
}

// Of a block, whose ink is as wide as its box and reaches nearly as high and low.
TEST(Page, WithoutASizeTheMarginIsSixteenPixelsOnEachSide) {
  for (const char* offset : {"0", "-7", "1000"}) {
    const auto picture =
        Drawn(std::string(R"({"Content": "\u2588\u2588", "DeltaX": )") + offset + R"(, "DeltaY": )" + offset +
              R"(, "Font": {"FontName": "DejaVu Sans Mono", "FontSize": 48}})");
    const Edges edges = BlankEdges(*picture);
    EXPECT_NEAR(edges.left, 16, 1) << offset;
    EXPECT_NEAR(edges.right, 16, 1) << offset;
    EXPECT_GE(edges.top, 15) << offset;
    EXPECT_LE(edges.top, 36) << offset;
    EXPECT_GE(edges.bottom, 15) << offset;
    EXPECT_LE(edges.bottom, 36) << offset;
  }
}

TEST(Page, WithoutASizeLinesStandAsFarFromEachOtherAsTheirOffsets) {
  const auto one = Drawn(R"({"Content": "\u2588"})");
  const auto two = Drawn(R"([{"Content": "\u2588", "DeltaX": 5, "DeltaY": 7},
                             {"Content": "\u2588", "DeltaX": 205, "DeltaY": 107}])");
  const auto back = Drawn(R"([{"Content": "\u2588", "DeltaX": 205, "DeltaY": 107},
                              {"Content": "\u2588", "DeltaX": 5, "DeltaY": 7}])");
  EXPECT_EQ(two->GetWidth(), one->GetWidth() + 200);
  EXPECT_EQ(two->GetHeight(), one->GetHeight() + 100);
  ASSERT_EQ(back->GetWidth(), two->GetWidth());
  ASSERT_EQ(back->GetHeight(), two->GetHeight());
  for (int y = 0; y < two->GetHeight(); ++y) {
    for (int x = 0; x < two->GetWidth(); ++x) ASSERT_EQ(back->GetArgb(x, y), two->GetArgb(x, y));
  }
}

}  // namespace
