// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>
#include <tovmx/codec.h>

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include "document_facts.h"
#include "printed.h"
#include "run_command.h"
#include "scratch_dir.h"

namespace {

constexpr std::uint32_t kWhite = 0xFFFFFFFF;

std::string ReadAll(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

std::string WriteAll(const std::string& path, const std::string& text) {
  std::ofstream(path, std::ios::binary) << text;
  return path;
}

std::unique_ptr<CoreDib> Picture(const std::string& path) {
  CoreFileInputStream stream(path.c_str());
  const auto decoder = CoreCodecRegistry::Get().GetFactory().CreateDecoder(CoreDetectImageFormat(&stream));
  if (decoder == nullptr || decoder->Open(&stream, kCoreOpenReadAhead) == 0) return nullptr;
  return decoder->GetBitmap(0, 0, 0);
}

bool HasInk(const CoreDib& dib, int left, int top, int right, int bottom, std::uint32_t background = kWhite) {
  for (int y = top; y < bottom; ++y) {
    for (int x = left; x < right; ++x) {
      if (dib.GetArgb(x, y) != background) return true;
    }
  }
  return false;
}

// Formats that lose detail leave shadows beside the ink.
bool IsDarkSomewhere(const CoreDib& dib, int left, int top, int right, int bottom) {
  for (int y = top; y < bottom; ++y) {
    for (int x = left; x < right; ++x) {
      if ((dib.GetArgb(x, y) & 0xFF) < 160) return true;
    }
  }
  return false;
}

// What pdftotext reads, without the page break and line ends.
std::string TextOfPdf(const std::string& path) {
  std::string text = Printed("pdftotext -enc UTF-8 '" + path + "' -");
  while (!text.empty() && (text.back() == '\n' || text.back() == '\f')) text.pop_back();
  return text;
}

void ExpectFailure(const CommandResult& result, const std::string& part) {
  EXPECT_EQ(result.status, 1) << result.err;
  EXPECT_EQ(result.out, "");
  EXPECT_EQ(result.err.rfind("tovkit: ", 0), 0u) << result.err;
  const std::size_t firstLine = result.err.find('\n');
  // An error in JSON shows the line and a caret below.
  EXPECT_TRUE(firstLine == result.err.size() - 1 ||
              result.err.find("^\n", firstLine) == result.err.size() - 2)
      << result.err;
  EXPECT_NE(result.err.find(part), std::string::npos) << result.err;
}

class Draw : public testing::Test {
 protected:
  std::string Path(const std::string& name) const { return scratch_.path() + "/" + name; }

  CommandResult Run(const std::string& json, const std::string& output, std::vector<std::string> more = {}) {
    std::vector<std::string> arguments = {"draw", "-", "-o", Path(output), "--quiet"};
    arguments.insert(arguments.end(), more.begin(), more.end());
    return RunCommand(arguments, json, {{"SOURCE_DATE_EPOCH", "0"}});
  }

  void ExpectDrawn(const std::string& json, const std::string& output, std::vector<std::string> more = {}) {
    const CommandResult result = Run(json, output, std::move(more));
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.err, "");
  }

 private:
  ScratchDir scratch_;
};

TEST_F(Draw, TheExampleBecomesEveryFormat) {
  const std::string example = std::string(TOVKIT_SOURCE_DIR) + "/examples/hello.json";
  for (const char* name : {"hello.png", "hello.PDF", "hello.svg"}) {
    const CommandResult result = RunCommand({"draw", example, "-o", Path(name)});
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_GT(ReadAll(Path(name)).size(), 1000u) << name;
  }
  EXPECT_EQ(ReadAll(Path("hello.png")).substr(1, 3), "PNG");
  EXPECT_EQ(ReadAll(Path("hello.PDF")).substr(0, 5), "%PDF-");
  EXPECT_EQ(ReadAll(Path("hello.svg")).substr(0, 5), "<?xml");
  EXPECT_EQ(TextOfPdf(Path("hello.PDF")), "Hello, \u4E16\u754C! \u7528\u6587\u5B57\u753B\u4E00\u884C");
}

TEST_F(Draw, EveryPictureFormatOfTheRegistryIsWritten) {
  for (const char* name : {"a.png", "a.jpg", "a.tif", "a.webp", "a.jp2", "a.bmp"}) {
    ExpectDrawn(R"({"Content": "HHH"})", name, {"--size", "120x60"});
    const auto picture = Picture(Path(name));
    ASSERT_NE(picture, nullptr) << name;
    EXPECT_EQ(picture->GetWidth(), 120) << name;
    EXPECT_EQ(picture->GetHeight(), 60) << name;
    EXPECT_TRUE(IsDarkSomewhere(*picture, 0, 0, 60, 40)) << name;
    EXPECT_FALSE(IsDarkSomewhere(*picture, 0, 40, 120, 60)) << name;
  }
}

TEST_F(Draw, APageOnAnOpaqueBackgroundHasNoAlpha) {
  for (const char* name : {"a.png", "a.tif", "a.webp", "a.jp2", "a.bmp"}) {
    ExpectDrawn(R"({"Content": "HHH"})", name, {"--size", "121x60", "--background", "#fffde7"});
    const auto opaque = Picture(Path(name));
    ASSERT_NE(opaque, nullptr) << name;
    EXPECT_EQ(opaque->GetBitsPerPixel(), 24) << name;
    EXPECT_EQ(opaque->GetArgb(120, 59), 0xFFFFFDE7) << name;
    EXPECT_TRUE(IsDarkSomewhere(*opaque, 0, 0, 60, 40)) << name;
    ExpectDrawn(R"({"Content": "HHH"})", name, {"--size", "121x60", "--background", "none"});
    const auto clear = Picture(Path(name));
    ASSERT_NE(clear, nullptr) << name;
    EXPECT_EQ(clear->GetBitsPerPixel(), 32) << name;
    EXPECT_EQ(clear->GetArgb(120, 59) >> 24, 0U) << name;
  }
}

TEST_F(Draw, EffortIsForPngAlone) {
  ExpectDrawn(R"({"Content": "HHH"})", "least.png", {"--effort", "1"});
  ExpectDrawn(R"({"Content": "HHH"})", "most.png", {"--effort", "9"});
  EXPECT_LT(ReadAll(Path("most.png")).size(), ReadAll(Path("least.png")).size());
  for (const char* name : {"a.jpg", "a.pdf", "a.svg"}) {
    const CommandResult result = Run(R"({"Content": "HHH"})", name, {"--effort", "5"});
    EXPECT_EQ(result.status, 2) << name;
    EXPECT_NE(result.err.find("--effort: there is no choice of it for "), std::string::npos) << result.err;
    EXPECT_FALSE(std::filesystem::exists(Path(name)));
  }
  EXPECT_EQ(Run(R"({"Content": "HHH"})", "a.png", {"--effort", "10"}).status, 2);
}

TEST_F(Draw, TheTextOfAPdfIsTheContent) {
  for (const char* content :
       {"Plain words and 123", "\u5B8B\u4F53 \u4E2D\u6587", "fi ffi fl \u00E9\u00FC\u00DF",
        "mixed \u4E2D\u6587 text", "\u041F\u0440\u0438\u0432\u0435\u0442"}) {
    ExpectDrawn(std::string(R"({"Content": ")") + content + "\"}", "text.pdf");
    EXPECT_EQ(TextOfPdf(Path("text.pdf")), content);
    ExpectDrawn(std::string(R"({"Font": {"FontName": "Arial", "Bold": true, "Italic": true}, "Content": ")") +
                    content + "\"}",
                "bold.pdf");
    EXPECT_EQ(TextOfPdf(Path("bold.pdf")), content);
  }
}

TEST_F(Draw, TheSameInputGivesTheSameBytes) {
  for (const char* format : {".png", ".pdf", ".svg"}) {
    ExpectDrawn(R"({"Content": "Same \u5b8b"})", std::string("one") + format);
    ExpectDrawn(R"({"Content": "Same \u5b8b"})", std::string("two") + format);
    EXPECT_EQ(ReadAll(Path(std::string("one") + format)), ReadAll(Path(std::string("two") + format)))
        << format;
  }
}

TEST_F(Draw, WithoutASizeThePageHoldsTheTextAndAMargin) {
  ExpectDrawn(R"({"Content": "HHHH", "DeltaX": -500, "DeltaY": 4000})", "fit.png");
  const auto picture = Picture(Path("fit.png"));
  ASSERT_NE(picture, nullptr);
  const int width = picture->GetWidth();
  const int height = picture->GetHeight();
  EXPECT_LT(width, 200);
  EXPECT_LT(height, 100);
  EXPECT_TRUE(HasInk(*picture, 16, 16, width - 16, height - 16));
  EXPECT_FALSE(HasInk(*picture, 0, 0, width, 15));
  EXPECT_FALSE(HasInk(*picture, 0, 0, 15, height));
  EXPECT_FALSE(HasInk(*picture, width - 15, 0, width, height));
  EXPECT_FALSE(HasInk(*picture, 0, height - 15, width, height));
}

TEST_F(Draw, WithoutASizeOffsetsOnlyCountAgainstEachOther) {
  ExpectDrawn(R"({"Content": "HHHH"})", "near.png");
  for (const char* offset : {"-7", "100000000", "-3e9", "1e30"}) {
    ExpectDrawn(std::string(R"({"Content": "HHHH", "DeltaX": )") + offset + R"(, "DeltaY": )" + offset + "}",
                "far.png");
    EXPECT_EQ(ReadAll(Path("far.png")), ReadAll(Path("near.png"))) << offset;
  }
  ExpectFailure(Run(R"([{"Content": "H", "DeltaX": 1e30}, {"Content": "H"}])", "far.png"), "too large");
}

// A space without width has the height of its line, which is none to keep room for.
TEST_F(Draw, TextWithoutAnyExtentLeavesTheMargins) {
  for (const char* const content : {"\\u0001", "\\u200B"}) {
    ExpectDrawn(std::string(R"({"Content": ")") + content + R"(", "DeltaX": 500})", "nothing.png");
    const auto picture = Picture(Path("nothing.png"));
    ASSERT_NE(picture, nullptr);
    EXPECT_EQ(picture->GetWidth(), 32) << content;
    EXPECT_EQ(picture->GetHeight(), 32) << content;
    EXPECT_FALSE(HasInk(*picture, 0, 0, 32, 32)) << content;
  }
}

TEST_F(Draw, TextWithoutAnyExtentTakesNoRoomBesideOther) {
  ExpectDrawn(R"([{"Content": "x"}])", "alone.png");
  ExpectDrawn(R"([{"Content": "x"}, {"Content": "\u200B", "DeltaX": 500}])", "beside.png");
  EXPECT_EQ(ReadAll(Path("beside.png")), ReadAll(Path("alone.png")));
}

TEST_F(Draw, WithASizeLinesStandAtTheirOffsets) {
  const char* lines = R"([{"Content": "HH", "DeltaX": 10, "DeltaY": 0},
                          {"Content": "HH", "DeltaX": 200, "DeltaY": 100}])";
  ExpectDrawn(lines, "page.png", {"--size", "300x200"});
  const auto picture = Picture(Path("page.png"));
  ASSERT_NE(picture, nullptr);
  EXPECT_TRUE(HasInk(*picture, 10, 0, 60, 27));
  EXPECT_FALSE(HasInk(*picture, 0, 35, 300, 95));
  EXPECT_TRUE(HasInk(*picture, 200, 100, 250, 127));
  EXPECT_FALSE(HasInk(*picture, 0, 96, 199, 200));
}

TEST_F(Draw, SeveralFilesGoOnOnePageWhenAsked) {
  const std::string first = WriteAll(Path("first.json"), R"({"Content": "HH", "DeltaX": 10})");
  const CommandResult result =
      RunCommand({"draw", first, "-", "--one-page", "-o", Path("both.png"), "--size", "200x60"},
                 R"([{"Content": "HH", "DeltaX": 120}])");
  EXPECT_EQ(result.status, 0) << result.err;
  const auto picture = Picture(Path("both.png"));
  ASSERT_NE(picture, nullptr);
  EXPECT_TRUE(HasInk(*picture, 10, 0, 60, 60));
  EXPECT_TRUE(HasInk(*picture, 120, 0, 170, 60));
}

TEST_F(Draw, DpiMakesAPictureFinerAndIsWrittenIntoIt) {
  ExpectDrawn(R"({"Content": "HH"})", "fine.png", {"--size", "100x50", "--dpi", "192"});
  const auto picture = Picture(Path("fine.png"));
  ASSERT_NE(picture, nullptr);
  EXPECT_EQ(picture->GetWidth(), 200);
  EXPECT_EQ(picture->GetHeight(), 100);
  EXPECT_NEAR(picture->GetDpiX(), 192, 0.1);
  EXPECT_TRUE(HasInk(*picture, 0, 30, 70, 53));
}

TEST_F(Draw, TheBackgroundIsAnyColorTextOrNone) {
  struct Case {
    const char* text;
    std::uint32_t argb;
  };
  const Case cases[] = {{"#336699", 0xFF336699}, {"#80", 0xFF808080},       {"255 0 0", 0xFFFF0000},
                        {"none", 0x00000000},    {"#00000080", 0xFF7F7F7F}, {"#FF000000", 0xFF00FFFF}};
  for (const Case& c : cases) {
    ExpectDrawn(R"({"Content": "HH"})", "back.png", {"--background", c.text});
    const auto picture = Picture(Path("back.png"));
    ASSERT_NE(picture, nullptr);
    EXPECT_EQ(picture->GetArgb(1, 1), c.argb) << c.text;
    EXPECT_TRUE(HasInk(*picture, 0, 0, picture->GetWidth(), picture->GetHeight(), c.argb)) << c.text;
  }
  // Of documents too, whichever of its bytes are 0.
  for (const std::uint32_t color : {0x336699U, 0xFFFF00U, 0x00FF00U, 0x000080U, 0xFF0000U}) {
    char text[8];
    std::snprintf(text, sizeof text, "#%06X", color);
    ExpectDrawn(R"({"Content": "HH"})", "back.svg", {"--background", text});
    EXPECT_TRUE(document::SvgHasColor(ReadAll(Path("back.svg")), static_cast<int>(color >> 16),
                                      static_cast<int>(color >> 8 & 255), static_cast<int>(color & 255)))
        << text;
  }
}

TEST_F(Draw, SubstitutionsAreToldWhenAskedFor) {
  const CommandResult result =
      Run(R"({"Content": "x", "Font": {"FontName": "No Such Serif"}})", "v.png", {"-v"});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.err.rfind("font: No Such Serif -> ", 0), 0u) << result.err;
}

TEST_F(Draw, BadInputGivesOneLineAndLeavesTheOutputAsItWas) {
  struct Case {
    const char* json;
    const char* error;
  };
  const Case cases[] = {
      {R"({"Content": "x")", "standard input:1:16: the text ends inside an object: a comma or } is expected"},
      {"5", "standard input:1:1: neither an array nor an object"},
      {"", "standard input: empty, where JSON is expected"},
      {"{}", "standard input:1:1: no text to draw"},
      {R"({"Content": ""})", "standard input:1:13: no text to draw"},
      {"[]", "standard input:1:1: the array holds no line"},
      {R"([{"Content": "x"}, 7])", "standard input:1:20: element 1 is no object"},
      {R"([{"Content": "x"}, {}])", "standard input:1:20: no text to draw"},
      {R"({"Content": "x", "Font": {"FontSize": 2147483647}})", "too large"},
  };
  WriteAll(Path("kept.png"), "kept");
  for (const Case& c : cases) {
    ExpectFailure(Run(c.json, "kept.png"), c.error);
    EXPECT_EQ(ReadAll(Path("kept.png")), "kept") << c.json;
  }
  const std::string longLine = "{\"Content\": \"" + std::string(300'000, 'x') + "\"}";
  ExpectFailure(Run(longLine, "kept.png"), "the text is longer than 262144 characters");
  EXPECT_EQ(ReadAll(Path("kept.png")), "kept");
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(Path("")), {}), 1)
      << "nothing is left beside it";
}

TEST_F(Draw, FilesThatCannotBeReadOrWrittenAreNamed) {
  ExpectFailure(RunCommand({"draw", Path("none.json"), "-o", Path("a.png")}), "none.json: No such file");
  ExpectFailure(RunCommand({"draw", Path(""), "-o", Path("a.png")}), "Is a directory");
  ExpectFailure(Run(R"({"Content": "x"})", "no/such/a.png"), "no/such/a.png: ");
  ExpectFailure(Run(R"({"Content": "x"})", "a.png", {"--font", Path("none.ttf")}),
                "none.ttf: No such file or directory");
  ExpectFailure(Run(R"({"Content": "x"})", "a.png", {"--font", Path("")}), "/: Is a directory");
  ExpectFailure(Run(R"({"Content": "x"})", "a.png", {"--font", WriteAll(Path("no.ttf"), "no font")}),
                "no.ttf: holds no font");
}

TEST_F(Draw, AnOutputWithoutAFormatIsAUsageErrorThatSaysWhichThereAre) {
  const char* const kThere = "; the formats are png, jpg, tif, webp, jp2, bmp, pdf, svg\n";
  const char* const kTable[][2] = {{"a.xyz", "a.xyz: 'xyz' is no format that can be written"},
                                   {"a.gif", "a.gif: GIF can be read but not written"},
                                   {"noextension", "noextension: no extension names its format"}};
  for (const auto& row : kTable) {
    const CommandResult result = Run(R"({"Content": "x"})", row[0]);
    EXPECT_EQ(result.status, 2) << row[0];
    EXPECT_NE(result.err.find(std::string(row[1]) + kThere), std::string::npos) << result.err;
    EXPECT_FALSE(std::filesystem::exists(Path(row[0])));
  }
}

TEST_F(Draw, ALinkStaysAndTheFileBehindItIsReplaced) {
  WriteAll(Path("real.png"), "old");
  std::filesystem::create_symlink("real.png", Path("link.png"));
  std::filesystem::create_symlink("nowhere.png", Path("dangling.png"));
  ExpectDrawn(R"({"Content": "x"})", "link.png");
  EXPECT_TRUE(std::filesystem::is_symlink(Path("link.png")));
  EXPECT_NE(Picture(Path("real.png")), nullptr);
  ExpectDrawn(R"({"Content": "x"})", "dangling.png");
  EXPECT_NE(Picture(Path("dangling.png")), nullptr);
}

TEST_F(Draw, TheLongestFileNameIsWritten) {
  const std::string name = std::string(251, 'n') + ".png";
  ExpectDrawn(R"({"Content": "x"})", name);
  EXPECT_NE(Picture(Path(name)), nullptr);
}

TEST_F(Draw, AFullDiskIsReported) {
  for (const char* name :
       {"full.png", "full.pdf", "full.svg", "full.jpg", "full.tif", "full.webp", "full.jp2", "full.bmp"}) {
    std::filesystem::create_symlink("/dev/full", Path(name));
    ExpectFailure(Run(R"({"Content": "x"})", name), std::string(name) + ": cannot write: No space left");
  }
}

TEST_F(Draw, SizesThatNoFormatHoldsAreRefused) {
  const char* json = R"({"Content": "x"})";
  ExpectFailure(Run(json, "a.png", {"--size", "40000x10"}), "too large");
  ExpectFailure(Run(json, "a.png", {"--size", "10x1e30"}), "too large");
  ExpectFailure(Run(json, "a.png", {"--size", "32767x32767"}), "bytes");
  ExpectFailure(Run(json, "a.pdf", {"--size", "20000x10"}), "too large");
  ExpectFailure(Run(json, "a.svg", {"--size", "10x20000"}), "too large");
}

TEST_F(Draw, MisuseIsAUsageError) {
  const char* json = R"({"Content": "x"})";
  const std::vector<std::vector<std::string>> misuses = {
      {"--size", "10"},        {"--size", "0x10"},         {"--size", "10x-1"},  {"--size", "10x10x"},
      {"--size", "nanx1"},     {"--size", "0x10x20"},      {"--size", " 10x10"}, {"--size", "10 x10"},
      {"--size", ""},          {"--size", "10x"},          {"--size", "1e99x1"}, {"--dpi", "0"},
      {"--dpi", "nan"},        {"--dpi", "4801"},          {"--dpi", "0.9"},     {"--dpi", "96x"},
      {"--background", "1 2"}, {"--background", "#12345"}, {"--background", ""}, {"--background", "red"},
      {"--background", "#0g"}, {"--background", "255,0,0"}};
  for (const auto& misuse : misuses) EXPECT_EQ(Run(json, "a.png", misuse).status, 2) << misuse[1];
  EXPECT_EQ(RunCommand({"draw", "-"}).status, 2);
  EXPECT_EQ(RunCommand({"draw", "--help"}).status, 0);
}

TEST_F(Draw, OddTextPrintsNothing) {
  for (const char* content :
       {"\\u0001\\n\\u2028\\t", "\xFF\xFE", "\xED\xA0\x80", "\\u202e\\u2067 x", "\U000F0000"}) {
    ExpectDrawn(std::string(R"({"Content": "x)") + content + "\"}", "odd.png");
    ExpectDrawn(std::string(R"({"Content": "x)") + content + "\"}", "odd.pdf");
  }
}

}  // namespace
