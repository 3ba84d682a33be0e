// SPDX-License-Identifier: MIT
#include <tovmx/font.h>
#include <tovmx/text_codec.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <functional>
#include <future>
#include <limits>
#include <string>
#include <thread>
#include <vector>

namespace {

std::string Narrow(const CoreWideString& text) {
  return CoreTextCodec::Utf8Encode(text.GetData(), text.GetLength()).c_str();
}

CoreFontLoader Loaded(const wchar_t* family, int source = kCoreFontAny, int weight = 400,
                      bool italic = false) {
  CoreFontLoader fonts(nullptr);
  fonts.LoadFont(family, family, source, weight, italic);
  return fonts;
}

// A font file of this machine; the package list has this family.
std::string SystemFontFile() {
  for (const auto& entry : std::filesystem::recursive_directory_iterator("/usr/share/fonts")) {
    if (entry.path().filename() == "DejaVuSansMono.ttf") return entry.path().string();
  }
  ADD_FAILURE() << "DejaVuSansMono.ttf is not installed";
  return {};
}

// Leaves no registered files behind.
class ApplicationFonts : public testing::Test {
 protected:
  void TearDown() override { CoreFontLoader::UnregisterFontFiles(); }
};

TEST(FontLoader, HoldsWhatItWasAskedFor) {
  CoreFontLoader fonts(nullptr);
  EXPECT_EQ(fonts.GetWeight(), 400);
  EXPECT_EQ(fonts.GetSource(), kCoreFontAny);
  EXPECT_FALSE(fonts.IsItalic());
  EXPECT_TRUE(fonts.GetFamily().IsEmpty());
  EXPECT_TRUE(fonts.LoadFont(L"A", L"B", kCoreFontSystem, 700, true));
  EXPECT_EQ(Narrow(fonts.GetFamily()), "A");
  EXPECT_EQ(Narrow(fonts.GetFace()), "B");
  EXPECT_EQ(fonts.GetSource(), 2);
  EXPECT_EQ(fonts.GetWeight(), 700);
  EXPECT_TRUE(fonts.IsItalic());
}

TEST(FontLoader, CopiesAreIndependent) {
  CoreFontLoader first = Loaded(L"DejaVu Sans");
  CoreFontLoader second(first);
  second.LoadFont(L"DejaVu Serif", L"", kCoreFontAny, 400, false);
  EXPECT_EQ(Narrow(first.GetFamily()), "DejaVu Sans");
  first = second;
  EXPECT_EQ(Narrow(first.GetFamily()), "DejaVu Serif");
}

TEST(FontLoader, InstalledFamiliesAreFoundWhateverTheCaseAndSpaces) {
  for (const wchar_t* name : {L"DejaVu Sans", L"dejavu sans", L"DEJAVUSANS", L"DejaVu-Sans"}) {
    const CoreFontLoader fonts = Loaded(name);
    EXPECT_EQ(Narrow(fonts.GetActualFamily()), "DejaVu Sans");
    EXPECT_FALSE(fonts.IsSubstituted());
  }
}

TEST(FontLoader, TheFaceIsLookedForWhenTheFamilyIsNotInstalled) {
  CoreFontLoader fonts(nullptr);
  fonts.LoadFont(L"No Such Family", L"DejaVu Serif Bold", kCoreFontAny, 400, false);
  EXPECT_EQ(Narrow(fonts.GetActualFamily()), "DejaVu Serif");
}

TEST(FontLoader, AnEmptyOrNullFamilyIsTheDefaultSansAndNoSubstitution) {
  for (const wchar_t* name : {static_cast<const wchar_t*>(nullptr), L""}) {
    const CoreFontLoader fonts = Loaded(name);
    EXPECT_NE(Narrow(fonts.GetActualFamily()).find("Sans"), std::string::npos);
    EXPECT_FALSE(fonts.IsSubstituted());
  }
}

// Whatever is installed, the packages the project asks for hold these kinds.
TEST(FontLoader, AMissingFamilyIsReplacedByTheClosestInKind) {
  struct Case {
    const wchar_t* missing;
    const char* part;  // of the name that takes its place
  };
  const Case cases[] = {
      {L"SimSun", "Ming"},
      {L"\u5B8B\u4F53", "Ming"},
      {L"NSimSun", "Ming"},
      {L"STSong", "Ming"},
      {L"MingLiU", "Ming"},
      {L"MS Mincho", "Ming"},
      {L"FangSong", "Ming"},
      {L"Batang", "Ming"},
      {L"Arial", "Sans"},
      {L"Helvetica", "Sans"},
      {L"Verdana", "Sans"},
      {L"Times New Roman", "Serif"},
      {L"Garamond", "Serif"},
      {L"Georgia", "Serif"},
      {L"Courier New", "Mono"},
      {L"Consolas", "Mono"},
      {L"No Such Sans", "Sans"},
      {L"No Such Serif", "Serif"},
      {L"No Such Typewriter", "Mono"},
  };
  for (const Case& c : cases) {
    const CoreFontLoader fonts = Loaded(c.missing);
    EXPECT_NE(Narrow(fonts.GetActualFamily()).find(c.part), std::string::npos)
        << Narrow(fonts.GetFamily()) << " became " << Narrow(fonts.GetActualFamily());
    EXPECT_TRUE(fonts.IsSubstituted()) << Narrow(fonts.GetFamily());
  }
}

TEST(FontLoader, TheRegionOfTheReplacementFollowsTheName) {
  EXPECT_EQ(Narrow(Loaded(L"SimSun").GetActualFamily()), "AR PL UMing CN");
  EXPECT_NE(Narrow(Loaded(L"PMingLiU").GetActualFamily()), "AR PL UMing CN");
}

TEST(FontLoader, NamesThatAreNoNamesAreReplaced) {
  const std::wstring longName(1'000'000, L'x');
  for (const wchar_t* name :
       {L"a,b,c", L",", L"\x01\x02", L"\xDC80\xD800", L"\x7FFFFFFF", longName.c_str()}) {
    const CoreFontLoader fonts = Loaded(name);
    EXPECT_FALSE(fonts.GetActualFamily().IsEmpty());
    CoreTextExtents extents;
    EXPECT_TRUE(fonts.MeasureText(L"x", 1, 20.0f, extents));
  }
}

TEST(FontLoader, WeightsOutsideTheRangeCountAsTheNearest) {
  for (const int weight : {std::numeric_limits<int>::min(), -1, 0, 1001, std::numeric_limits<int>::max()}) {
    CoreTextExtents extents;
    EXPECT_TRUE(Loaded(L"DejaVu Sans", kCoreFontAny, weight).MeasureText(L"x", 1, 20.0f, extents)) << weight;
  }
}

TEST(MeasureText, BoldIsWiderAndInkStandsOnTheBaseline) {
  CoreTextExtents regular;
  CoreTextExtents bold;
  ASSERT_TRUE(Loaded(L"DejaVu Sans").MeasureText(L"HHHH", -1, 40.0f, regular));
  ASSERT_TRUE(Loaded(L"DejaVu Sans", kCoreFontAny, 700).MeasureText(L"HHHH", 4, 40.0f, bold));
  EXPECT_GT(bold.logical.right, regular.logical.right);
  EXPECT_LT(regular.ink.top, -20.0f);
  EXPECT_NEAR(regular.ink.bottom, 0.0f, 0.5f);
  EXPECT_LT(regular.logical.top, regular.ink.top);
  EXPECT_GT(regular.logical.bottom, 0.0f);
  EXPECT_EQ(regular.logical.left, 0.0f);
}

TEST(MeasureText, GrowsInProportionToTheSize) {
  const CoreFontLoader fonts = Loaded(L"SimSun");
  CoreTextExtents small;
  CoreTextExtents large;
  ASSERT_TRUE(fonts.MeasureText(L"Size", -1, 10.0f, small));
  ASSERT_TRUE(fonts.MeasureText(L"Size", -1, 1000.0f, large));
  EXPECT_NEAR(large.logical.right, small.logical.right * 100.0f, 0.01f * large.logical.right);
  EXPECT_NEAR(large.ink.top, small.ink.top * 100.0f, 0.01f * std::fabs(large.ink.top));
}

TEST(MeasureText, BlankTextHasWidthButNoInkAndEmptyTextHasNeither) {
  CoreTextExtents extents;
  ASSERT_TRUE(Loaded(L"DejaVu Sans").MeasureText(L"   ", 3, 20.0f, extents));
  EXPECT_TRUE(extents.ink.IsEmpty());
  EXPECT_GT(extents.logical.right, 0.0f);
  ASSERT_TRUE(Loaded(L"DejaVu Sans").MeasureText(L"", 0, 20.0f, extents));
  EXPECT_TRUE(extents.ink.IsEmpty());
  EXPECT_EQ(extents.logical.right, 0.0f);
}

TEST(MeasureText, BreaksAndTabsCountAsSpacesAndOtherControlsAsNothing) {
  const CoreFontLoader fonts = Loaded(L"DejaVu Sans");
  CoreTextExtents spaces;
  CoreTextExtents breaks;
  CoreTextExtents controls;
  CoreTextExtents plain;
  ASSERT_TRUE(fonts.MeasureText(L"a       b", -1, 20.0f, spaces));
  ASSERT_TRUE(fonts.MeasureText(L"a\t\n\r\v\u0085\u2028\u2029b", -1, 20.0f, breaks));
  EXPECT_EQ(breaks.logical.right, spaces.logical.right);
  const wchar_t text[] = {L'a', 0, 1, 0x1B, 0x7F, 0x80, 0x9F, L'b'};
  ASSERT_TRUE(fonts.MeasureText(text, 8, 20.0f, controls));
  ASSERT_TRUE(fonts.MeasureText(L"ab", 2, 20.0f, plain));
  EXPECT_EQ(controls.logical.right, plain.logical.right);
}

TEST(MeasureText, WhatIsNoCharacterCountsAsTheReplacementCharacter) {
  const CoreFontLoader fonts = Loaded(L"DejaVu Sans");
  CoreTextExtents expected;
  ASSERT_TRUE(fonts.MeasureText(L"\uFFFD", 1, 20.0f, expected));
  for (const int value : {0xD800, 0xDC80, 0xDFFF, 0xFDD0, 0xFDEF, 0xFFFE, 0xFFFF, 0x1FFFE, 0x10FFFF, 0x110000,
                          0x7FFFFFFF, -1}) {
    const auto character = static_cast<wchar_t>(value);
    CoreTextExtents extents;
    ASSERT_TRUE(fonts.MeasureText(&character, 1, 20.0f, extents));
    EXPECT_EQ(extents.logical.right, expected.logical.right) << std::hex << value;
  }
}

// A font's rules look from each mark back to its letter, so that heaps of marks would take hours.
TEST(MeasureText, MarksInARowCountUpToThe128th) {
  const CoreFontLoader fonts = Loaded(L"DejaVu Sans");
  struct Case {
    std::wstring piece;
    int kept;  // characters, the letter with them
  };
  const Case cases[] = {{L"\u0300", 129},
                        {L"\u0301\u200D", 129},
                        {L"\u064B", 129},
                        {L"\u05B0\u2067", 129},
                        {L"\u20DD\x01", 257}};
  for (const Case& c : cases) {
    std::wstring heap = L"x";
    while (heap.size() + c.piece.size() <= 1 << 18) heap += c.piece;
    CoreTextExtents all;
    CoreTextExtents first;
    ASSERT_TRUE(fonts.MeasureText(heap.c_str(), -1, 20.0f, all));
    ASSERT_TRUE(fonts.MeasureText(heap.c_str(), c.kept, 20.0f, first));
    EXPECT_EQ(all.ink, first.ink);
    EXPECT_EQ(all.logical, first.logical);
  }
}

TEST(MeasureText, MarksOfEveryLetterAreKept) {
  const CoreFontLoader fonts = Loaded(L"DejaVu Sans");
  CoreTextExtents none;
  CoreTextExtents one;
  CoreTextExtents two;
  ASSERT_TRUE(fonts.MeasureText(L"xx", -1, 20.0f, none));
  ASSERT_TRUE(fonts.MeasureText(L"x\u0301x", -1, 20.0f, one));
  const std::wstring heap(200, L'\u0301');
  ASSERT_TRUE(fonts.MeasureText((L"x" + heap + L"x").c_str(), -1, 20.0f, two));
  EXPECT_LT(one.ink.top, none.ink.top);
  EXPECT_EQ(two.logical.right, none.logical.right);
}

TEST(MeasureText, CharactersThatTheFamilyLacksComeFromAnother) {
  CoreTextExtents extents;
  ASSERT_TRUE(Loaded(L"DejaVu Sans").MeasureText(L"\u5B8B", 1, 64.0f, extents));
  // A Chinese character fills its em; a box for a missing glyph does not.
  EXPECT_NEAR(extents.logical.right, 64.0f, 2.0f);
  EXPECT_FALSE(extents.ink.IsEmpty());
}

TEST(MeasureText, RefusalsLeaveTheResultUntouched) {
  const CoreFontLoader fonts = Loaded(L"DejaVu Sans");
  const CoreTextExtents before = {{1, 2, 3, 4}, {5, 6, 7, 8}};
  CoreTextExtents extents = before;
  EXPECT_FALSE(fonts.MeasureText(nullptr, 1, 20.0f, extents));
  for (const float size : {0.0f, -1.0f, std::nanf(""), std::numeric_limits<float>::infinity()}) {
    EXPECT_FALSE(fonts.MeasureText(L"x", 1, size, extents)) << size;
  }
  const std::wstring tooLong((1 << 18) + 1, L'x');
  EXPECT_FALSE(fonts.MeasureText(tooLong.c_str(), -1, 20.0f, extents));
  EXPECT_FALSE(fonts.MeasureText(tooLong.c_str(), static_cast<int>(tooLong.size()), 20.0f, extents));
  EXPECT_EQ(extents.ink, before.ink);
  EXPECT_EQ(extents.logical, before.logical);
}

// Shaped lines are kept for the next time; those that had to go are measured anew.
TEST(MeasureText, MoreLinesGlyphsAndFacesThanAreKeptMeasureTheSameAgain) {
  const auto widthOf = [](const std::wstring& text, int weight) {
    CoreTextExtents extents;
    EXPECT_TRUE(Loaded(L"DejaVu Sans", kCoreFontAny, weight)
                    .MeasureText(text.data(), static_cast<int>(text.size()), 20.0f, extents));
    return extents.logical.right;
  };
  std::vector<std::wstring> lines;
  for (int i = 0; i < 600; ++i) lines.push_back(L"line " + std::to_wstring(i));
  for (int i = 0; i < 40; ++i) lines.push_back(std::wstring(2000, L'a' + i % 20) + std::to_wstring(i));
  std::vector<float> widths;
  for (const std::wstring& line : lines) widths.push_back(widthOf(line, 400));
  for (int weight = 1; weight <= 80; ++weight) {
    const float width = widthOf(lines[0], weight);
    EXPECT_GE(width, widths[0] * 0.5f) << weight;
  }
  for (std::size_t i = 0; i < lines.size(); i += 7) EXPECT_EQ(widthOf(lines[i], 400), widths[i]) << i;
}

TEST(MeasureText, TheLongestLineIsMeasuredWhole) {
  const std::wstring line(1 << 18, L'x');
  const CoreFontLoader fonts = Loaded(L"DejaVu Sans Mono");
  CoreTextExtents one;
  CoreTextExtents all;
  ASSERT_TRUE(fonts.MeasureText(L"x", 1, 100.0f, one));
  ASSERT_TRUE(fonts.MeasureText(line.c_str(), -1, 100.0f, all));
  EXPECT_NEAR(all.logical.right / one.logical.right, double{1 << 18}, 10.0);
}

TEST_F(ApplicationFonts, TheApplicationsSourceHoldsOnlyRegisteredFiles) {
  CoreFontLoader fonts(nullptr);
  CoreTextExtents extents;
  EXPECT_FALSE(fonts.LoadFont(L"DejaVu Sans Mono", L"", kCoreFontApplication, 400, false));
  EXPECT_TRUE(fonts.GetActualFamily().IsEmpty());
  EXPECT_FALSE(fonts.IsSubstituted());
  EXPECT_FALSE(fonts.MeasureText(L"x", 1, 20.0f, extents));

  ASSERT_TRUE(CoreFontLoader::RegisterFontFile(SystemFontFile().c_str()));
  EXPECT_TRUE(fonts.LoadFont(L"DejaVu Sans Mono", L"", kCoreFontApplication, 400, false));
  EXPECT_EQ(Narrow(fonts.GetActualFamily()), "DejaVu Sans Mono");
  EXPECT_TRUE(fonts.MeasureText(L"x", 1, 20.0f, extents));
  EXPECT_TRUE(fonts.LoadFont(L"SimSun", L"", kCoreFontApplication, 400, false));
  EXPECT_EQ(Narrow(fonts.GetActualFamily()), "DejaVu Sans Mono") << "there is no other";

  CoreFontLoader::UnregisterFontFiles();
  EXPECT_FALSE(fonts.MeasureText(L"x", 1, 20.0f, extents)) << "caches must not outlive the files";
}

std::vector<std::string> FamiliesOf(int source) {
  std::vector<std::string> families;
  for (const CoreString& family : CoreListFontFamilies(source)) families.emplace_back(family.c_str());
  return families;
}

TEST_F(ApplicationFonts, TheFamiliesOfASourceAreListedSortedAndOnce) {
  EXPECT_EQ(FamiliesOf(0), std::vector<std::string>());
  EXPECT_EQ(FamiliesOf(kCoreFontApplication), std::vector<std::string>());
  ASSERT_TRUE(CoreFontLoader::RegisterFontFile(SystemFontFile().c_str()));
  EXPECT_EQ(FamiliesOf(kCoreFontApplication), std::vector<std::string>{"DejaVu Sans Mono"});
  const std::vector<std::string> all = FamiliesOf(kCoreFontAny);
  EXPECT_EQ(std::adjacent_find(all.begin(), all.end(), std::greater_equal<>()), all.end());
  EXPECT_TRUE(std::binary_search(all.begin(), all.end(), "AR PL UMing CN"));
  for (const std::string& family : all) {
    const CoreWideString name = CoreTextCodec::Utf8Decode(family.c_str(), static_cast<int>(family.size()));
    EXPECT_FALSE(Loaded(name.c_str(), kCoreFontAny).IsSubstituted()) << family;
  }
}

TEST_F(ApplicationFonts, ASourceWithoutBitsHasNoFonts) {
  CoreFontLoader fonts(nullptr);
  EXPECT_FALSE(fonts.LoadFont(L"DejaVu Sans", L"", 0, 400, false));
  EXPECT_FALSE(fonts.LoadFont(L"DejaVu Sans", L"", 4, 400, false));
}

TEST_F(ApplicationFonts, RegisteringTwiceIsFineAndFilesWithoutAFontAreRefused) {
  const std::string file = SystemFontFile();
  EXPECT_TRUE(CoreFontLoader::RegisterFontFile(file.c_str()));
  EXPECT_TRUE(CoreFontLoader::RegisterFontFile(file.c_str()));
  EXPECT_FALSE(CoreFontLoader::RegisterFontFile(nullptr));
  EXPECT_FALSE(CoreFontLoader::RegisterFontFile(""));
  EXPECT_FALSE(CoreFontLoader::RegisterFontFile("/"));
  EXPECT_FALSE(CoreFontLoader::RegisterFontFile("/dev/null"));
  EXPECT_FALSE(CoreFontLoader::RegisterFontFile("/no/such/file.ttf"));
  const std::string text = testing::TempDir() + "tovmx-no-font.ttf";
  std::ofstream(text) << "this is no font";
  EXPECT_FALSE(CoreFontLoader::RegisterFontFile(text.c_str()));
  std::remove(text.c_str());
}

// A collection, one of the package list: every face of it can be asked for.
TEST_F(ApplicationFonts, EveryFaceOfACollectionIsAdded) {
  ASSERT_TRUE(CoreFontLoader::RegisterFontFile("/usr/share/fonts/truetype/arphic/uming.ttc"));
  for (const wchar_t* family :
       {L"AR PL UMing CN", L"AR PL UMing HK", L"AR PL UMing TW", L"AR PL UMing TW MBE"}) {
    const CoreFontLoader fonts = Loaded(family, kCoreFontApplication);
    EXPECT_EQ(fonts.GetActualFamily(), CoreWideString(family)) << Narrow(fonts.GetActualFamily());
    EXPECT_FALSE(fonts.IsSubstituted());
    CoreTextExtents extents;
    ASSERT_TRUE(fonts.MeasureText(L"\u5B8B", 1, 64.0f, extents));
    EXPECT_NEAR(extents.logical.right, 64.0f, 1.0f);
    EXPECT_FALSE(extents.ink.IsEmpty());
  }
}

// The other thread has measured before, so it holds fonts and lines of the time before.
TEST_F(ApplicationFonts, ANewFontIsSeenByALoaderOfAnotherThread) {
  std::promise<void> measured;
  std::promise<void> registered;
  std::thread other([&] {
    const CoreFontLoader fonts = Loaded(L"DejaVu Sans Mono", kCoreFontApplication);
    const CoreFontLoader any = Loaded(L"Aliased Family");
    CoreTextExtents extents;
    EXPECT_FALSE(fonts.MeasureText(L"iiii", -1, 20.0f, extents));
    EXPECT_TRUE(any.MeasureText(L"iiii", -1, 20.0f, extents));
    measured.set_value();
    registered.get_future().wait();
    EXPECT_TRUE(fonts.MeasureText(L"iiii", -1, 20.0f, extents));
    EXPECT_EQ(Narrow(fonts.GetActualFamily()), "DejaVu Sans Mono");
    EXPECT_TRUE(any.MeasureText(L"iiii", -1, 20.0f, extents));
  });
  measured.get_future().wait();
  EXPECT_TRUE(CoreFontLoader::RegisterFontFile(SystemFontFile().c_str()));
  registered.set_value();
  other.join();
}

TEST_F(ApplicationFonts, ThreadsMeasureWhileFilesComeAndGo) {
  const std::string file = SystemFontFile();
  std::atomic<int> measured{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < 3; ++t) {
    threads.emplace_back([&measured] {
      for (int i = 0; i < 30; ++i) {
        CoreTextExtents extents;
        const std::wstring text = L"line " + std::to_wstring(i);
        if (Loaded(L"SimSun").MeasureText(text.c_str(), -1, 20.0f, extents)) ++measured;
      }
    });
  }
  for (int i = 0; i < 3; ++i) {
    EXPECT_TRUE(CoreFontLoader::RegisterFontFile(file.c_str()));
    CoreFontLoader::UnregisterFontFiles();
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(measured, 90);
}

TEST(FontLoader, DescribesTheLibrariesBehindIt) {
  const CoreStringList<CoreString> lines = CoreFontLoader::DescribeBackends();
  ASSERT_EQ(lines.GetCount(), 4);
  const char* const kStarts[] = {"Pango 1.", "HarfBuzz ", "FreeType 2.", "fontconfig 2."};
  for (int i = 0; i < 4; ++i) EXPECT_EQ(std::string(lines.GetAt(i).c_str()).rfind(kStarts[i], 0), 0U) << i;
}

}  // namespace
