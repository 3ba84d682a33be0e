// SPDX-License-Identifier: MIT
// tovkit draw: a line without a file, several pages, papers, drawing on a picture.
#include "image_support.h"
#include "printed.h"
#include "run_command.h"
#include "scratch_dir.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

namespace {

constexpr std::uint32_t kWhite = 0xFFFFFFFF;

// Where the picture differs from `background`; nothing where it does not.
struct Ink {
  int left = 1 << 30, top = 1 << 30, right = 0, bottom = 0;
  bool some = false;
};
Ink InkOf(const CoreDib& dib, std::uint32_t background = kWhite) {
  Ink ink;
  for (int y = 0; y < dib.GetHeight(); ++y) {
    for (int x = 0; x < dib.GetWidth(); ++x) {
      if (dib.GetArgb(x, y) == background) continue;
      ink = {std::min(ink.left, x), std::min(ink.top, y), std::max(ink.right, x + 1),
             std::max(ink.bottom, y + 1), true};
    }
  }
  return ink;
}

class DrawForms : public testing::Test {
 protected:
  std::string Path(const std::string& name) const { return scratch_.path() + "/" + name; }
  std::string Save(const std::string& name, const std::string& bytes) const {
    std::ofstream(Path(name), std::ios::binary) << bytes;
    return Path(name);
  }
  std::unique_ptr<CoreDib> Picture(const std::string& name, int frame = 0) const {
    return image::Decode(image::ReadFile(Path(name)), frame);
  }
  static CommandResult Draw(std::vector<std::string> arguments, const std::string& input = "") {
    arguments.insert(arguments.begin(), {"draw", "--quiet"});
    return RunCommand(arguments, input, {{"SOURCE_DATE_EPOCH", "0"}, {"LC_ALL", "C.UTF-8"}});
  }
  static void ExpectDrawn(const std::vector<std::string>& arguments, const std::string& input = "") {
    const CommandResult result = Draw(arguments, input);
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(result.out + result.err, "");
  }
  static void ExpectRefused(const std::vector<std::string>& arguments, int status, const std::string& part,
                            const std::string& input = "") {
    const CommandResult result = Draw(arguments, input);
    EXPECT_EQ(result.status, status) << result.err;
    EXPECT_NE(result.err.find(part), std::string::npos) << result.err;
  }
  std::size_t FilesLeft() const {
    return static_cast<std::size_t>(std::distance(std::filesystem::directory_iterator(scratch_.path()), {}));
  }

  ScratchDir scratch_;
};

// A line by options is the line by a file, to the byte.
TEST_F(DrawForms, TextIsWhatADescriptionDraws) {
  ExpectDrawn({"--text", "Draft \u5B8B \"quoted\"", "--font-name", "DejaVu Sans", "--font-size", "40",
               "--color", "#C00000", "--bold", "--italic", "--at", "5,-2.5", "-o", Path("a.png")});
  ExpectDrawn({"-o", Path("b.png")},
              R"({"Content": "Draft \u5B8B \"quoted\"", "DeltaX": 5, "DeltaY": -2.5, "Font": {"FontName":
              "DejaVu Sans", "FontSize": 40, "Color": "#C00000", "Bold": true, "Italic": true}})");
  EXPECT_EQ(image::ReadFile(Path("a.png")), image::ReadFile(Path("b.png")));
  ExpectDrawn({"--text", "x", "-o", Path("c.png")});
  ExpectDrawn({"-o", Path("d.png")}, R"({"Content": "x"})");
  EXPECT_EQ(image::ReadFile(Path("c.png")), image::ReadFile(Path("d.png"))) << "the same defaults";
}

TEST_F(DrawForms, TextTakesEveryFormOfAColor) {
  for (const auto& [color, ink] :
       std::vector<std::pair<std::string, std::uint32_t>>{{"#00FF00", 0xFF00FF00},
                                                          {"255 0 0", 0xFFFF0000},
                                                          {"#80", 0xFF808080},
                                                          {"#FF000000", 0xFF00FFFF}}) {
    ExpectDrawn({"--text", "\u2588", "--font-size", "60", "--color", color, "-o", Path("a.png")});
    const auto picture = Picture("a.png");
    EXPECT_EQ(picture->GetArgb(picture->GetWidth() / 2, picture->GetHeight() / 2), ink) << color;
  }
}

TEST_F(DrawForms, TheOptionsOfALineNeedItAndAreChecked) {
  const std::string out = Path("a.png");
  ExpectRefused({"--bold", "-o", out}, 2, "--bold requires --text");
  ExpectRefused({"--text", "x", "file.json", "-o", out}, 2, "FILE excludes --text");
  ExpectRefused({"--text", "", "-o", out}, 2, "the text is empty");
  const std::string forms = "#gg, #rgb, #rrggbb, #ccmmyykk, or 1, 3 or 4 numbers from 0 to 255";
  ExpectRefused({"--text", "x", "--color", "red", "-o", out}, 2, "'red' is no color: " + forms);
  ExpectRefused({"--text", "x", "--color", "none", "-o", out}, 2, "'none' is no color: " + forms);
  ExpectRefused({"--text", "x", "--background", "red", "-o", out}, 2, "'red' is no color: none, " + forms);
  ExpectRefused({"--text", "x", "--font-size", "0", "-o", out}, 2, "--font-size");
  ExpectRefused({"--text", "x", "--font-size", "10001", "-o", out}, 2, "--font-size");
  for (const std::string at : {"5", "5,", ",5", "x,5", "5,x", "5,5,5", "5 ,5"}) {
    ExpectRefused({"--text", "x", "--at=" + at, "-o", out}, 2, "'" + at + "' is no place such as 20,35.5");
  }
  EXPECT_EQ(FilesLeft(), 0u);
}

TEST_F(DrawForms, APaperHasItsSizeOnPdf) {
  const struct {
    const char* size;
    double width, height;  // points
  } cases[] = {{"A4", 595.276, 841.89},          {"a4-landscape", 841.89, 595.276},
               {"A4-portrait", 595.276, 841.89}, {"Letter", 612, 792},
               {"LETTER-Landscape", 792, 612},   {"Ledger", 1224, 792},
               {"Ledger-portrait", 792, 1224},   {"A0", 2383.94, 3370.39},
               {"A10", 73.70, 104.88},           {"B5", 498.90, 708.66},
               {"210x297mm", 595.276, 841.89},   {"21X29.7cm", 595.276, 841.89},
               {"8.5x11in", 612, 792},           {"100x50pt", 100, 50},
               {"100x50px", 75, 37.5},           {"100x50", 75, 37.5}};
  for (const auto& one : cases) {
    ExpectDrawn({"--text", "x", "--size", one.size, "-o", Path("a.pdf")});
    double width = 0, height = 0;
    const std::string said = Printed("pdfinfo " + Path("a.pdf") + " | grep 'Page size'");
    ASSERT_EQ(std::sscanf(said.c_str(), "Page size: %lf x %lf", &width, &height), 2) << said;
    EXPECT_NEAR(width, one.width, 0.01) << one.size;
    EXPECT_NEAR(height, one.height, 0.01) << one.size;
  }
}

TEST_F(DrawForms, WhatIsNoSizeIsNamedWithThePapers) {
  for (const char* size : {"A11", "A", "C4", "A04", "A4-", "A4-sideways", "A4 landscape", "letterhead",
                           "10x20km", "10x", "x10", "10x20x30", "-landscape", "A-1", "nanx5"}) {
    ExpectRefused(
        {"--text", "x", std::string("--size=") + size, "-o", Path("a.pdf")}, 2,
        "'" + std::string(size) + "' is no size such as 800x600 or 210x297mm, and no paper of A0 to A10");
  }
}

constexpr const char* kThreePages =
    R"([[{"Content": "one"}, {"Content": "more", "DeltaY": 50}], [{"Content": "two"}], [{"Content": "three"}]])";

TEST_F(DrawForms, AnArrayOfArraysIsAPdfOfPages) {
  ExpectDrawn({"-o", Path("a.pdf"), "--size", "300x200"}, kThreePages);
  EXPECT_EQ(Printed("pdftotext " + Path("a.pdf") + " - | tr '\\n\\f' ' |' | tr -s ' '"),
            "one more |two |three |");
}

TEST_F(DrawForms, AnArrayOfArraysIsATiffOfPages) {
  ExpectDrawn({"-o", Path("a.tif"), "--size", "300x200", "--dpi", "48"}, kThreePages);
  EXPECT_EQ(Printed("tiffinfo " + Path("a.tif") + " | grep -c 'Image Width: 150 Image Length: 100'"), "3\n");
  const auto first = Picture("a.tif", 0);
  const auto second = Picture("a.tif", 1);
  ASSERT_TRUE(first != nullptr && second != nullptr);
  EXPECT_GT(InkOf(*first).bottom, 30);
  EXPECT_LT(InkOf(*second).bottom, 25);
}

TEST_F(DrawForms, OtherFormatsNumberTheirFiles) {
  for (const char* extension : {"png", "svg", "jpg"}) {
    ExpectDrawn({"-o", Path(std::string("out.") + extension)}, kThreePages);
    EXPECT_FALSE(std::filesystem::exists(Path(std::string("out.") + extension)));
    for (const char* number : {"1", "2", "3"}) {
      EXPECT_TRUE(std::filesystem::exists(Path("out-" + std::string(number) + "." + extension))) << extension;
    }
  }
  EXPECT_EQ(FilesLeft(), 9u);
  ExpectDrawn({"-o", Path("one.png")}, R"([[{"Content": "alone"}]])");
  EXPECT_TRUE(std::filesystem::exists(Path("one.png"))) << "a single page has no number";
}

TEST_F(DrawForms, NumbersArePaddedToTheCount) {
  std::string pages = "[";
  for (int i = 0; i < 12; ++i) pages += std::string(i == 0 ? "" : ",") + "[{\"Content\": \"p\"}]";
  ExpectDrawn({"-o", Path("p.bmp"), "--size", "20x20"}, pages + "]");
  EXPECT_TRUE(std::filesystem::exists(Path("p-01.bmp")));
  EXPECT_TRUE(std::filesystem::exists(Path("p-12.bmp")));
  EXPECT_FALSE(std::filesystem::exists(Path("p-1.bmp")));
  ExpectDrawn({"-o", Path("none"), "--format", "png", "--size", "20x20"},
              "[[{\"Content\": \"p\"}],[{\"Content\": \"p\"}]]");
  EXPECT_TRUE(std::filesystem::exists(Path("none-2"))) << "a name without an extension";
}

TEST_F(DrawForms, SeveralFilesFollowEachOther) {
  const std::string one = Save("one.json", R"({"Content": "one"})");
  const std::string two = Save("two.json", R"([[{"Content": "two"}], [{"Content": "three"}]])");
  ExpectDrawn({one, two, "-", "-o", Path("a.pdf")}, R"([{"Content": "four"}])");
  EXPECT_EQ(Printed("pdftotext " + Path("a.pdf") + " - | tr '\\n\\f' ' |' | tr -s ' '"),
            "one |two |three |four |");
}

TEST_F(DrawForms, OnePageTakesTheLinesOfAllFiles) {
  const std::string one = Save("one.json", R"({"Content": "one"})");
  ExpectDrawn({one, "-", "--one-page", "-o", Path("a.pdf")}, R"([{"Content": "two", "DeltaY": 60}])");
  EXPECT_EQ(Printed("pdftotext " + Path("a.pdf") + " - | tr '\\n\\f' ' |' | tr -s ' '"), "one two |");
}

TEST_F(DrawForms, MixedArraysAndEmptyPagesAreErrors) {
  const std::string out = Path("a.pdf");
  ExpectRefused({"-o", out}, 1, "standard input:1:20: element 1 is a page among lines",
                R"([{"Content": "x"}, []])");
  ExpectRefused({"-o", out}, 1, "standard input:1:22: element 1 is no page as those before it are",
                R"([[{"Content": "x"}], {"Content": "y"}])");
  ExpectRefused({"-o", out}, 1, "standard input:1:22: the array holds no line",
                R"([[{"Content": "x"}], []])");
  ExpectRefused({"-o", out}, 1, "standard input:1:3: element 0 is no object", "[[7]]");
  ExpectRefused({"-o", out}, 1, "standard input:1:23: no text to draw", R"([[{"Content": "x"}], [{}]])");
  EXPECT_EQ(FilesLeft(), 0u);
}

TEST_F(DrawForms, StandardOutputTakesSeveralPagesOfPdfOnly) {
  ExpectRefused({"-o", "-", "--format", "png"}, 1, "standard output: takes one page, and there are 3",
                kThreePages);
  const CommandResult pdf = Draw({"-o", "-", "--format", "pdf"}, kThreePages);
  EXPECT_EQ(pdf.status, 0) << pdf.err;
  EXPECT_EQ(pdf.out.substr(0, 5), "%PDF-");
}

// What cannot be drawn is told before a file is written.
TEST_F(DrawForms, ABadLastPageLeavesNoFirstOne) {
  ExpectRefused({"-o", Path("a.png")}, 1, "standard input:1:35: no text",
                R"([[{"Content": "x"}], [{"Content": ""}]])");
  EXPECT_EQ(FilesLeft(), 0u);
}

TEST_F(DrawForms, OverAPictureKeepsItsSizeAndItsPixels) {
  CoreDib under = image::MakePicture(200, 90, 24);
  under.SetDpi(254, 254);
  Save("under.png", image::Encode(under, kCoreImagePng));
  ExpectDrawn({"--text", "HH", "--color", "#FF0000", "--at", "20,10", "--over", Path("under.png"), "-o",
               Path("over.png")});
  const auto over = Picture("over.png");
  ASSERT_NE(over, nullptr);
  EXPECT_EQ(over->GetWidth(), 200);
  EXPECT_EQ(over->GetHeight(), 90);
  EXPECT_NEAR(over->GetDpiX(), 254, 0.1);
  int changed = 0;
  for (int y = 0; y < 90; ++y) {
    for (int x = 0; x < 200; ++x) {
      if (over->GetArgb(x, y) == under.GetArgb(x, y)) continue;
      ++changed;
      EXPECT_TRUE(x >= 20 && x < 80 && y >= 8 && y < 40) << x << " " << y;
    }
  }
  EXPECT_GT(changed, 200);
}

// Red on a gray scan is red, and what was transparent stays so.
TEST_F(DrawForms, OverAPictureOfAnyDepthColorsAreKept) {
  for (const int bits : {1, 4, 8, 24, 32}) {
    CoreDib under;
    ASSERT_TRUE(under.Create(120, 60, bits));
    Save("under.png", image::Encode(under, kCoreImagePng));
    ExpectDrawn(
        {"--text", "\u2588", "--color", "#FF0000", "--over", Path("under.png"), "-o", Path("over.png")});
    const auto over = Picture("over.png");
    bool red = false;
    for (int x = 0; x < 40; ++x) red |= over->GetArgb(x, 20) == 0xFFFF0000;
    EXPECT_TRUE(red) << bits;
    EXPECT_EQ(over->GetArgb(119, 59), bits == 32 ? 0u : 0xFF000000u) << bits;
  }
}

TEST_F(DrawForms, OverAPictureEveryPageStartsFromIt) {
  Save("under.png", image::Encode(image::MakePicture(80, 50, 24), kCoreImagePng));
  ExpectDrawn({"--over", Path("under.png"), "-o", Path("badge.png")},
              R"([[{"Content": "A"}], [{"Content": "B"}], [{"Content": "A"}]])");
  EXPECT_EQ(image::ReadFile(Path("badge-1.png")), image::ReadFile(Path("badge-3.png")));
  EXPECT_NE(image::ReadFile(Path("badge-1.png")), image::ReadFile(Path("badge-2.png")));
}

TEST_F(DrawForms, OverAPictureItMayBeTheOutput) {
  Save("a.png", image::Encode(image::MakePicture(80, 50, 24), kCoreImagePng));
  const std::string before = image::ReadFile(Path("a.png"));
  ExpectDrawn({"--text", "x", "--over", Path("a.png"), "-o", Path("a.png")});
  EXPECT_NE(image::ReadFile(Path("a.png")), before);
  EXPECT_EQ(Picture("a.png")->GetWidth(), 80);
}

TEST_F(DrawForms, OverAPictureWhatMakesNoSenseIsRefused) {
  Save("a.png", image::Encode(image::MakePicture(80, 50, 24), kCoreImagePng));
  const std::vector<std::string> base = {"--text", "x", "--over", Path("a.png"), "-o"};
  const auto with = [&base](std::vector<std::string> more) {
    more.insert(more.begin(), base.begin(), base.end());
    return more;
  };
  ExpectRefused(with({Path("a.pdf")}), 2, "--over draws on a picture");
  ExpectRefused(with({Path("b.png"), "--size", "A4"}), 2, "excludes");
  ExpectRefused(with({Path("b.png"), "--background", "none"}), 2, "excludes");
  Save("no.png", "no picture");
  ExpectRefused({"--text", "x", "--over", Path("no.png"), "-o", Path("b.png")}, 1,
                "not a picture of a known format");
  ExpectRefused({"--text", "x", "--over", Path("missing.png"), "-o", Path("b.png")}, 1, "No such file");
  EXPECT_EQ(FilesLeft(), 2u);
}

}  // namespace
