// SPDX-License-Identifier: MIT
#include "local_text.h"

#include <tovkit/util.h>

#include <gtest/gtest.h>

#include <limits>
#include <string>

namespace {

using namespace tovkit;

TEST(TextConversion, NullTextGivesAnEmptyResult) {
  for (const int length : {-1, 0, 5}) {
    EXPECT_EQ(LocalToWide(nullptr, length), L"");
    EXPECT_EQ(Utf8ToWide(nullptr, length), L"");
    EXPECT_EQ(WideToLocal(nullptr, length), "");
    EXPECT_EQ(WideToUtf8(nullptr, length), "");
    EXPECT_EQ(LocalToUtf8(nullptr, length), "");
    EXPECT_EQ(Utf8ToLocal(nullptr, length), "");
  }
}

TEST(TextConversion, EmptyTextGivesAnEmptyResult) {
  EXPECT_EQ(LocalToUtf8("", -1), "");
  EXPECT_EQ(Utf8ToLocal("", -1), "");
  EXPECT_EQ(LocalToUtf8("abc", 0), "");
  EXPECT_EQ(Utf8ToLocal("abc", 0), "");
  EXPECT_EQ(Utf8ToWide("", -1), L"");
  EXPECT_EQ(WideToUtf8(L"", -1), "");
}

TEST(TextConversion, Utf8AndWideAreTheSameCharacters) {
  EXPECT_EQ(Utf8ToWide("a\xC3\xA9\xE5\xAE\x8B\xF0\x9F\x98\x80", -1), L"a\u00E9\u5B8B\U0001F600");
  EXPECT_EQ(WideToUtf8(L"a\u00E9\u5B8B\U0001F600", -1), "a\xC3\xA9\xE5\xAE\x8B\xF0\x9F\x98\x80");
}

TEST(TextConversion, TheSixConversionsTakeAsManyUnitsAsTheLengthSays) {
  if (!LocalTextIsUtf8()) GTEST_SKIP() << "local text is no UTF-8 here";
  EXPECT_EQ(Utf8ToWide("\xC3\xA9\xC3\xA8", 2), L"\u00E9") << "bytes";
  EXPECT_EQ(LocalToWide("\xC3\xA9\xC3\xA8", 2), L"\u00E9");
  EXPECT_EQ(LocalToUtf8("\xC3\xA9\xC3\xA8", 2), "\xC3\xA9");
  EXPECT_EQ(Utf8ToLocal("\xC3\xA9\xC3\xA8", 2), "\xC3\xA9");
  EXPECT_EQ(WideToUtf8(L"\u00E9\u00E8", 1), "\xC3\xA9") << "characters";
  EXPECT_EQ(WideToLocal(L"\u00E9\u00E8", 1), "\xC3\xA9");
  EXPECT_EQ(Utf8ToWide("abc", 2), L"ab");
  EXPECT_EQ(WideToUtf8(L"abc", 2), "ab");
  EXPECT_EQ(LocalToUtf8("abc", 2), "ab");
  EXPECT_EQ(Utf8ToLocal("abc", 2), "ab");
  EXPECT_EQ(LocalToWide("abc", 2), L"ab");
  EXPECT_EQ(WideToLocal(L"abc", 2), "ab");
}

TEST(TextConversion, AResultEndsBeforeTheFirstNul) {
  EXPECT_EQ(Utf8ToWide("ab\0c", 4), L"ab");
  EXPECT_EQ(WideToUtf8(L"ab\0c", 4), "ab");
  EXPECT_EQ(LocalToUtf8("ab\0c", 4), "ab");
  EXPECT_EQ(Utf8ToLocal("\0c", 2), "");
  EXPECT_EQ(LocalToWide("ab\0c", 4), L"ab");
  EXPECT_EQ(WideToLocal(L"ab\0c", 4), "ab");
}

TEST(TextConversion, AnyNegativeLengthMeansUpToTheTerminator) {
  for (const int length : {-1, -2, std::numeric_limits<int>::min()}) {
    EXPECT_EQ(Utf8ToWide("abc", length), L"abc");
    EXPECT_EQ(LocalToWide("abc", length), L"abc");
    EXPECT_EQ(WideToUtf8(L"abc", length), "abc");
    EXPECT_EQ(WideToLocal(L"abc", length), "abc");
    EXPECT_EQ(LocalToUtf8("abc", length), "abc");
    EXPECT_EQ(Utf8ToLocal("abc", length), "abc");
  }
}

TEST(TextConversion, BytesThatDoNotDecodeTravelAsLoneSurrogates) {
  EXPECT_EQ(Utf8ToWide("a\x80\xFFz", -1), L"a\xDC80\xDCFFz");
  EXPECT_EQ(WideToUtf8(L"a\xDC80\xDCFFz", -1), "a\x80\xFFz");
  if (!LocalTextIsUtf8()) GTEST_SKIP() << "local text is no UTF-8 here";
  EXPECT_EQ(LocalToWide("a\x80\xFFz", -1), L"a\xDC80\xDCFFz");
  EXPECT_EQ(WideToLocal(L"a\xDC80\xDCFFz", -1), "a\x80\xFFz");
}

TEST(TextConversion, NoByteOfAFileNameIsLost) {
  std::string name;
  for (int byte = 0xFF; byte > 0; --byte) name += static_cast<char>(byte);
  EXPECT_EQ(WideToUtf8(Utf8ToWide(name.c_str(), -1).c_str(), -1), name);
  EXPECT_EQ(WideToLocal(LocalToWide(name.c_str(), -1).c_str(), -1), name);
  EXPECT_EQ(Utf8ToLocal(LocalToUtf8(name.c_str(), -1).c_str(), -1), name);
}

}  // namespace
