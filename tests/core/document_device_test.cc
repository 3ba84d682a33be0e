// SPDX-License-Identifier: MIT
#include "device_support.h"
#include "document_facts.h"
#include "printed.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <memory>
#include <string>
#include <utility>

namespace {

using namespace device;

template <typename Device>
std::string Document(const wchar_t* text, std::uint32_t fill = 0) {
  CoreMemoryOutputStream stream;
  Device device(&stream, 300, 100);
  if (fill != 0) {
    EXPECT_TRUE(device.FillPage(fill));
  }
  EXPECT_TRUE(DrawLine(device, text, At(10, 50)));
  EXPECT_EQ(stream.GetSize(), 0u);
  EXPECT_TRUE(device.Finish());
  EXPECT_FALSE(device.Finish());
  EXPECT_FALSE(DrawLine(device, text, At(10, 50)));
  return TextOf(stream);
}

TEST(SvgDevice, WritesADocumentOfTheGivenSizeTheSameTwice) {
  const std::string first = Document<CoreSvgDevice>(L"Hello \u5B8B", 0xFF336699);
  CoreDib between;
  ASSERT_TRUE(between.Create(10, 10, 24));
  CoreBitmapDevice device(&between);  // makes surfaces of its own
  EXPECT_EQ(first, Document<CoreSvgDevice>(L"Hello \u5B8B", 0xFF336699));
  EXPECT_EQ(first.rfind("<?xml", 0), 0u);
  EXPECT_NE(first.find("width=\"300px\" height=\"100px\" viewBox=\"0 0 300 100\""), std::string::npos);
  EXPECT_NE(first.find("</svg>"), std::string::npos);
  EXPECT_TRUE(document::SvgHasColor(first, 0x33, 0x66, 0x99));
  EXPECT_FALSE(document::SvgHasColor(first, 0x33, 0x66, 0x98));
}

TEST(PdfDevice, WritesADocumentWithoutTheClock) {
  ASSERT_EQ(setenv("SOURCE_DATE_EPOCH", "86400", 1), 0);
  const std::string first = Document<CorePdfDevice>(L"Hello \u5B8B");
  const std::string second = Document<CorePdfDevice>(L"Hello \u5B8B");
  unsetenv("SOURCE_DATE_EPOCH");
  EXPECT_EQ(first, second);
  EXPECT_EQ(first.rfind("%PDF-", 0), 0u);
  EXPECT_EQ(document::PdfDate(first), "19700102000000Z");
  EXPECT_NE(first.find("%%EOF"), std::string::npos);
}

TEST(PdfDevice, ASourceDateOfAnyYearWithFourDigitsIsWritten) {
  const std::pair<const char*, const char*> cases[] = {{"0", "19700101000000Z"},
                                                       {"-1", "19691231235959Z"},
                                                       {"-30610224000", "10000101000000Z"},
                                                       {"951782400", "20000229000000Z"},
                                                       {"253402300799", "99991231235959Z"}};
  for (const auto& [date, written] : cases) {
    ASSERT_EQ(setenv("SOURCE_DATE_EPOCH", date, 1), 0);
    EXPECT_EQ(document::PdfDate(Document<CorePdfDevice>(L"Hello")), written) << date;
  }
  unsetenv("SOURCE_DATE_EPOCH");
}

TEST(PdfDevice, ASourceDateThatIsNoneIsIgnored) {
  unsetenv("SOURCE_DATE_EPOCH");
  const std::string year = document::PdfDate(Document<CorePdfDevice>(L"Hello")).substr(0, 4);
  for (const char* date : {"", "soon", "12x", "99999999999999999999", "253402300800", "67767976233532799",
                           "67767976233532800", "-30610224001"}) {
    ASSERT_EQ(setenv("SOURCE_DATE_EPOCH", date, 1), 0);
    const std::string written = document::PdfDate(Document<CorePdfDevice>(L"Hello"));
    EXPECT_LE(std::stoi(written.substr(0, 4)) - std::stoi(year), 1) << date << " " << written;
    EXPECT_GE(std::stoi(written.substr(0, 4)), std::stoi(year)) << date << " " << written;
  }
  unsetenv("SOURCE_DATE_EPOCH");
}

template <typename Device>
void RefusesBadTargets() {
  CoreMemoryOutputStream stream;
  constexpr float kTooLong = CoreDocumentDevice::kMaxSide * 1.01f;
  for (const float side : {0.0f, -1.0f, std::nanf(""), std::numeric_limits<float>::infinity(), kTooLong}) {
    EXPECT_FALSE(Device(&stream, side, 10).IsGood()) << side;
    EXPECT_FALSE(Device(&stream, 10, side).IsGood()) << side;
    EXPECT_FALSE(Device(&stream, 10, side).Finish()) << side;
  }
  EXPECT_FALSE(Device(nullptr, 10, 10).IsGood());
  EXPECT_EQ(stream.GetSize(), 0u);
  RefusingStream refusing;
  Device device(&refusing, 100, 100);
  EXPECT_TRUE(DrawLine(device, L"x", At(5, 50)));
  EXPECT_FALSE(device.Finish());
}

template <typename Device>
void TakesTheLongestSide() {
  constexpr float kLongest = CoreDocumentDevice::kMaxSide;
  EXPECT_EQ(kLongest, 200.0f * 96.0f);
  const std::pair<float, float> sizes[] = {{kLongest, 10}, {10, kLongest}, {kLongest, kLongest}};
  for (const auto& [width, height] : sizes) {
    CoreMemoryOutputStream stream;
    Device device(&stream, width, height);
    EXPECT_TRUE(device.IsGood());
    EXPECT_TRUE(DrawLine(device, L"x", At(5, 5)));
    EXPECT_TRUE(device.Finish());
    EXPECT_GT(stream.GetSize(), 0u);
  }
  CoreMemoryOutputStream stream;
  EXPECT_FALSE(Device(&stream, std::nextafter(kLongest, 1e9f), 10).IsGood());
  EXPECT_FALSE(Device(&stream, 10, std::nextafter(kLongest, 1e9f)).IsGood());
}

// A PDF in a file of its own, as a program of poppler tells of it.
std::string AsPopplerSees(const CoreMemoryOutputStream& pdf, const std::string& command) {
  std::string name = testing::TempDir() + "tovmx_pages_XXXXXX";
  const int fd = mkstemp(name.data());
  EXPECT_EQ(write(fd, pdf.GetData(), pdf.GetSize()), static_cast<ssize_t>(pdf.GetSize()));
  close(fd);
  const std::string text = Printed("f=" + name + "; " + command);
  unlink(name.c_str());
  return text;
}

TEST(PdfPagesDevice, EachPageHasItsSizeAndItsText) {
  CoreMemoryOutputStream stream;
  CorePdfPagesDevice device(&stream, 300, 100);
  EXPECT_TRUE(DrawLine(device, L"first", At(10, 50)));
  EXPECT_FALSE(device.NextPage(0, 100));
  EXPECT_FALSE(device.NextPage(100, CoreDocumentDevice::kMaxSide * 1.01f));
  EXPECT_TRUE(DrawLine(device, L"goes on", At(100, 50))) << "a page that cannot be begun ends none";
  ASSERT_TRUE(device.NextPage(96, 192));
  EXPECT_TRUE(device.FillPage(0xFFEEEEEE));
  EXPECT_TRUE(DrawLine(device, L"two", At(5, 150)));
  ASSERT_TRUE(device.NextPage(500, 400));
  EXPECT_TRUE(DrawLine(device, L"third", At(350, 350))) << "beyond the pages before";
  EXPECT_EQ(stream.GetSize(), 0u);
  EXPECT_TRUE(device.Finish());
  EXPECT_FALSE(device.NextPage(10, 10));
  EXPECT_EQ(AsPopplerSees(stream, "pdftotext -layout $f - | tr -s ' \\n\\f' '|'"),
            "first|goes|on|two|third|");
  EXPECT_EQ(AsPopplerSees(stream, "pdfinfo -l 9 $f | grep '^Page.*size:' | tr -s ' '"),
            "Page 1 size: 225 x 75 pts\nPage 2 size: 72 x 144 pts\nPage 3 size: 375 x 300 pts\n");
}

TEST(PdfPagesDevice, APageWithoutAnythingIsAPage) {
  CoreMemoryOutputStream stream;
  CorePdfPagesDevice device(&stream, 300, 100);
  EXPECT_TRUE(DrawLine(device, L"first", At(10, 50)));
  ASSERT_TRUE(device.NextPage(96, 192));
  ASSERT_TRUE(device.NextPage(192, 96));
  EXPECT_TRUE(device.Finish());
  EXPECT_EQ(AsPopplerSees(stream, "pdfinfo -l 9 $f | grep '^Page.*size:' | tr -s ' '"),
            "Page 1 size: 225 x 75 pts\nPage 2 size: 72 x 144 pts\nPage 3 size: 144 x 72 pts\n");
}

TEST(PdfPagesDevice, OnePageIsThatOfThePdfDevice) {
  ASSERT_EQ(setenv("SOURCE_DATE_EPOCH", "86400", 1), 0);
  EXPECT_EQ(Document<CorePdfPagesDevice>(L"Hello \u5B8B"), Document<CorePdfDevice>(L"Hello \u5B8B"));
  unsetenv("SOURCE_DATE_EPOCH");
}

TEST(PdfDevice, ASideMayBeExactlyTheLongest) { TakesTheLongestSide<CorePdfDevice>(); }
TEST(SvgDevice, ASideMayBeExactlyTheLongest) { TakesTheLongestSide<CoreSvgDevice>(); }

class CountingStream final : public CoreOutputStream {
 public:
  bool Write(const void*, std::size_t size) override {
    ++writes;
    bytes += size;
    return true;
  }
  int writes = 0;
  std::size_t bytes = 0;
};

template <typename Device>
void LeavesTheStreamAloneBeforeFinish() {
  CountingStream stream;
  {
    Device device(&stream, 300, 100);
    EXPECT_TRUE(device.FillPage(kWhite));
    for (int i = 0; i < 50; ++i) {
      EXPECT_TRUE(DrawLine(device, L"Given up \u5B8B\U0001F600", At(10, static_cast<float>(i))));
      EXPECT_TRUE(device.Flush());
    }
    EXPECT_EQ(stream.writes, 0);
  }
  EXPECT_EQ(stream.writes, 0) << "given up";

  auto gone = std::make_unique<CountingStream>();
  {
    Device device(gone.get(), 300, 100);
    EXPECT_TRUE(DrawLine(device, L"x", At(10, 50)));
    gone.reset();  // only Finish needs it
  }
  Device device(&stream, 300, 100);
  EXPECT_TRUE(DrawLine(device, L"x", At(10, 50)));
  EXPECT_TRUE(device.Finish());
  EXPECT_GT(stream.bytes, 500u);
  const std::size_t bytes = stream.bytes;
  EXPECT_FALSE(device.Flush());
  EXPECT_EQ(stream.bytes, bytes);
}

TEST(PdfDevice, NothingReachesTheStreamBeforeFinish) { LeavesTheStreamAloneBeforeFinish<CorePdfDevice>(); }
TEST(SvgDevice, NothingReachesTheStreamBeforeFinish) { LeavesTheStreamAloneBeforeFinish<CoreSvgDevice>(); }

template <typename Device>
void TakesTheLinesOfOnePiece() {
  ASSERT_EQ(setenv("SOURCE_DATE_EPOCH", "86400", 1), 0);
  std::string texts[2];
  for (const bool together : {false, true}) {
    CoreMemoryOutputStream stream;
    Device device(&stream, 300, 100);
    for (const float y : {20.0f, 60.0f, 90.0f}) {
      EXPECT_TRUE(device.DrawText(L"line", -1, Fonts(), At(10, y), kBlack, 20.0f));
      if (!together) {
        EXPECT_TRUE(device.EndText() && device.Flush());
      }
    }
    EXPECT_TRUE(device.EndText() && device.Flush());
    EXPECT_FALSE(device.DrawText(L"line", -1, CoreFontLoader(Fonts()), At(10, std::nanf("")), kBlack, 20.0f));
    EXPECT_TRUE(device.Finish());
    texts[together ? 1 : 0] = TextOf(stream);
  }
  unsetenv("SOURCE_DATE_EPOCH");
  EXPECT_EQ(texts[0], texts[1]);
}

TEST(PdfDevice, LinesOfOnePieceAreAllThere) { TakesTheLinesOfOnePiece<CorePdfDevice>(); }
TEST(SvgDevice, LinesOfOnePieceAreAllThere) { TakesTheLinesOfOnePiece<CoreSvgDevice>(); }

TEST(PdfDevice, BadTargetsMakeADeviceThatFails) { RefusesBadTargets<CorePdfDevice>(); }
TEST(SvgDevice, BadTargetsMakeADeviceThatFails) { RefusesBadTargets<CoreSvgDevice>(); }

template <typename Device>
void SurvivesOddNumbers() {
  CoreMemoryOutputStream stream;
  Device device(&stream, 100, 100);
  for (const float size : {0.001f, 500.0f, 5000.0f, 99999.0f, 1e9f}) {
    for (const float place : {0.0f, -90000.0f, 1e7f, 1e30f}) {
      EXPECT_TRUE(DrawLine(device, L"Wide \u5B8B", At(place, 50), kBlack, size)) << size << " " << place;
    }
  }
  const std::wstring line(200'000, L'H');
  EXPECT_TRUE(DrawLine(device, line.c_str(), At(0, 50)));
  EXPECT_TRUE(DrawLine(device, L"   ", At(0, 50)));
  EXPECT_TRUE(device.Finish());
  EXPECT_LT(stream.GetSize(), 4'000'000u);
}

// One of these in a text once cost the whole page.
const wchar_t kNoCharacters[] = L"a\uFFFE\uFFFF\uFDD0\uFDEF\U0001FFFF\U0010FFFFb";

TEST(PdfDevice, WhatIsNoCharacterLeavesThePageWhole) { Document<CorePdfDevice>(kNoCharacters); }
TEST(SvgDevice, WhatIsNoCharacterLeavesThePageWhole) { Document<CoreSvgDevice>(kNoCharacters); }

TEST(PdfDevice, OddNumbersAreHarmless) { SurvivesOddNumbers<CorePdfDevice>(); }
TEST(SvgDevice, OddNumbersAreHarmless) { SurvivesOddNumbers<CoreSvgDevice>(); }

}  // namespace
