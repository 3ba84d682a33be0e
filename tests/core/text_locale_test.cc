// SPDX-License-Identifier: MIT
// The local encoding in environments of several locales.
#include <tovkit/util.h>
#include <tovmx/text_codec.h>

#include <gtest/gtest.h>

#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <string>

#include "in_locale.h"

namespace {

std::wstring Decode(const std::string& bytes) {
  const CoreWideString wide = CoreTextCodec::LocalDecode(bytes.data(), static_cast<int>(bytes.size()));
  return std::wstring(wide.c_str(), static_cast<std::size_t>(wide.GetLength()));
}

std::string Encode(const std::wstring& text) {
  const CoreString bytes = CoreTextCodec::LocalEncode(text.data(), static_cast<int>(text.size()));
  return std::string(bytes.c_str(), static_cast<std::size_t>(bytes.GetLength()));
}

void ExpectCodeset(const char* name) { HOLDS(std::string(CoreTextCodec::LocalCodeset()) == name); }

void ExpectSame(const char* way, const std::string& back, const std::string& bytes) {
  if (back == bytes) return;
  std::fprintf(stderr, "bytes lost %s:", way);
  for (const char c : bytes)
    std::fprintf(stderr, " %02X", static_cast<unsigned>(static_cast<unsigned char>(c)));
  std::fprintf(stderr, "\n");
  std::exit(1);
}

void ComesBack(const std::string& bytes) { ExpectSame("through wide text", Encode(Decode(bytes)), bytes); }

// For bytes without a NUL.
void ComesBackThroughUtf8(const std::string& bytes) {
  const std::string utf8 = tovkit::LocalToUtf8(bytes.data(), static_cast<int>(bytes.size()));
  ExpectSame("through UTF-8", tovkit::Utf8ToLocal(utf8.data(), static_cast<int>(utf8.size())), bytes);
}

// Every byte and every pair, alone and between others, and random mixtures of all lengths.
void EveryByteComesBack() {
  for (unsigned a = 0; a < 0x100; ++a) {
    ComesBack(std::string(1, static_cast<char>(a)));
    for (unsigned b = 0; b < 0x100; ++b) {
      const std::string pair = {static_cast<char>(a), static_cast<char>(b)};
      ComesBack(pair);
      if (b % 16 == a % 16) ComesBack("x" + pair + "\xB0" + pair + "y");
    }
  }
  std::mt19937 random(1);
  for (int round = 0; round < 3000; ++round) {
    std::string bytes(random() % 1500 / (1 + round % 50), '\0');
    for (char& c : bytes)
      c = static_cast<char>(round % 2 == 0 ? random() : random() % 4 == 0 ? 'a' : 0x80 | random());
    ComesBack(bytes);
  }
}

TEST(LocalCodeset, CAndPosixCountAsUtf8) {
  for (const char* const locale : {"C", "POSIX"}) {
    EXPECT_IN(locale, [] {
      ExpectCodeset("UTF-8");
      HOLDS(Decode("\xE5\xAE\x8B\xFF") == (std::wstring{0x5B8B, 0xDCFF}));
      EveryByteComesBack();
    }) << locale;
  }
}

TEST(LocalCodeset, AnUnknownLocaleCountsAsUtf8) {
  EXPECT_IN("xx_YY.NONE", [] { ExpectCodeset("UTF-8"); });
}

TEST(LocalCodeset, TheFirstVariableThatIsSetDecides) {
  EXPECT_IN("", [] {
    setenv("LC_CTYPE", "zh_CN.GBK", 1);
    setenv("LANG", "de_DE.ISO-8859-1", 1);
    ExpectCodeset("GBK");
  });
  EXPECT_IN("", [] {
    unsetenv("LC_CTYPE");
    setenv("LANG", "de_DE.ISO-8859-1", 1);
    ExpectCodeset("ISO-8859-1");
  });
}

TEST(LocalCodeset, IsReadOnceAndLeavesTheLocaleOfTheProcessAlone) {
  EXPECT_IN("zh_CN.GBK", [] {
    ExpectCodeset("GBK");
    HOLDS(std::string(std::setlocale(LC_ALL, nullptr)) == "C");
    setenv("LC_ALL", "C", 1);
    ExpectCodeset("GBK");
    HOLDS(Decode("\xCB\xCE") == L"\u5B8B");
  });
}

TEST(LocalCodeset, GbkDecodesAndEncodesItsCharacters) {
  EXPECT_IN("zh_CN.GBK", [] {
    HOLDS(Decode("a\xCB\xCE-\xD6\xD0") == L"a\u5B8B-\u4E2D");
    HOLDS(Encode(L"a\u5B8B-\u4E2D") == "a\xCB\xCE-\xD6\xD0");
    HOLDS(tovkit::LocalToUtf8("\xCB\xCE/x", -1) == "\xE5\xAE\x8B/x");
    HOLDS(tovkit::Utf8ToLocal("\xE5\xAE\x8B/x", -1) == "\xCB\xCE/x");
    HOLDS(tovkit::LocalToWide("\xCB\xCE", -1) == L"\u5B8B");
    HOLDS(tovkit::WideToLocal(L"\u5B8B", -1) == "\xCB\xCE");
    HOLDS(tovkit::LocalToUtf8("", -1).empty() && tovkit::Utf8ToLocal("", -1).empty());
    HOLDS(CoreTextCodec::LocalDecode(nullptr, 3).IsEmpty() &&
          CoreTextCodec::LocalEncode(nullptr, -1).IsEmpty());
    HOLDS(CoreTextCodec::LocalEncode(L"\u5B8B\u5B8B", 1).GetLength() == 2);
  });
}

TEST(LocalCodeset, WhatGbkLacksBecomesAQuestionMark) {
  EXPECT_IN("zh_CN.GBK", [] {
    HOLDS(Encode(L"a\U0001F600\u5B8B") == "a?\xCB\xCE");
    HOLDS(Encode(L"\u5B8B\U0001F600\U0001F600") == "\xCB\xCE??");
    HOLDS(Encode({0xD800, 0x5B8B, 0xDC7F, 0x110000, -1}) == "?\xCB\xCE???");
    HOLDS(Encode({0x5B8B, 0xE0041, 0xE0042, L'z'}) == "\xCB\xCE??z");  // language tags
  });
}

// ASCII and escapes are bytes whatever the codeset makes of them; the rest is its own.
void WritesEachCharacterAsAlone() {
  const std::wstring kinds = {L'a',   L'\\',  L'~',    L'\x7F', L'\0',   0x4E2D,  0xFF71,
                              0xDC80, 0xDCFF, 0x1F600, 0xD800,  0xE0041, 0x110000};
  for (const wchar_t a : kinds) {
    for (const wchar_t b : kinds) {
      for (const wchar_t c : kinds) HOLDS(Encode({a, b, c}) == Encode({a}) + Encode({b}) + Encode({c}));
    }
  }
}

TEST(LocalCodeset, EveryKindOfCharacterIsWrittenBehindAnyOtherAsAlone) {
  for (const char* const locale : {"zh_CN.GBK", "ja_JP.SHIFT_JIS", "vi_VN.TCVN5712-1"}) {
    EXPECT_IN(locale, [] { WritesEachCharacterAsAlone(); }) << locale;
  }
}

TEST(LocalCodeset, BytesThatAreNoGbkBecomeEscapes) {
  EXPECT_IN("zh_CN.GBK", [] {
    HOLDS(Decode("a\xCB") == (std::wstring{L'a', 0xDCCB}));         // cut short at the end
    HOLDS(Decode("\xCB/b") == (std::wstring{0xDCCB, L'/', L'b'}));  // no second byte
    HOLDS(Decode("\xFF\xCB\xCE") == (std::wstring{0xDCFF, 0x5B8B}));
    HOLDS(Encode({0xDCCB, L'/', 0xDCFF}) == "\xCB/\xFF");
  });
}

TEST(LocalCodeset, NoByteIsLostInAnyCodeset) {
  const char* const rows[][2] = {{"zh_CN.GBK", "GBK"},
                                 {"zh_HK.BIG5-HKSCS", "BIG5-HKSCS"},
                                 {"ja_JP.SHIFT_JIS", "SHIFT_JIS"},
                                 {"vi_VN.TCVN5712-1", "TCVN5712-1"},
                                 {"de_DE.ISO-8859-1", "ISO-8859-1"}};
  for (const auto& row : rows) {
    EXPECT_IN(row[0], [&row] {
      ExpectCodeset(row[1]);
      EveryByteComesBack();
    }) << row[0];
  }
}

TEST(LocalCodeset, EveryPairOfGbkBytesSurvivesUtf8) {
  EXPECT_IN("zh_CN.GBK", [] {
    for (unsigned pair = 0x101; pair < 0x10000; ++pair) {
      if (pair % 0x100 == 0) continue;  // results end at a NUL
      ComesBackThroughUtf8({static_cast<char>(pair >> 8), static_cast<char>(pair)});
      ComesBackThroughUtf8({static_cast<char>(pair >> 8), static_cast<char>(pair), '\xA9', '\x81'});
    }
  });
}

// What these codesets escape may look like UTF-8: E5 90 8D is no GB 2312, each byte by itself, and the name
// of many a file.
TEST(LocalCodeset, NoByteOfAFileNameIsLostThroughUtf8InAnyCodeset) {
  for (const char* const locale : {"zh_CN.GBK", "zh_CN.GB2312", "zh_HK.BIG5-HKSCS", "ja_JP.SHIFT_JIS",
                                   "ko_KR.EUC-KR", "vi_VN.TCVN5712-1", "de_DE.ISO-8859-1", "C"}) {
    EXPECT_IN(locale, [] {
      ComesBackThroughUtf8("\xE5\x90\x8D\xE5\xAD\x97.txt");
      ComesBackThroughUtf8("\xC9\xA9");
      std::mt19937 random(2);
      for (int round = 0; round < 20000; ++round) {
        std::string bytes(1 + random() % 12, '\0');
        for (char& c : bytes) c = random() % 8 == 0 ? 'a' : static_cast<char>(0x80 | random());
        ComesBackThroughUtf8(bytes);
      }
    }) << locale;
  }
}

TEST(LocalCodeset, ABackslashOfShiftJisIsOne) {
  EXPECT_IN("ja_JP.SHIFT_JIS", [] {
    HOLDS(Decode("c:\\\x83\x5C") == L"c:\\\u30BD");  // its second byte looks like a backslash
    HOLDS(Encode(L"c:\\\u30BD") == "c:\\\x83\x5C");
  });
}

}  // namespace
