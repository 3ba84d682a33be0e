// SPDX-License-Identifier: MIT
#include "font/line_text.h"

#include <tovmx/text_codec.h>

#include <gtest/gtest.h>

#include <string>

namespace {

std::string Drawable(const std::wstring& text) {
  return tovmx::DrawableText(text.data(), static_cast<int>(text.size()));
}

std::string Utf8(const std::wstring& text) {
  return CoreTextCodec::Utf8Encode(text.data(), static_cast<int>(text.size())).c_str();
}

// Text by default, but able to have a skin color.
const std::wstring kTextThatTakesSkin =
    L"\u261D\u26F9\u270C\u270D\U0001F3CB\U0001F3CC\U0001F574\U0001F575\U0001F590";

TEST(DrawableText, ItsFormIsWrittenOutUnlessTheNextCharacterDecides) {
  for (const wchar_t c : kTextThatTakesSkin) {
    const std::wstring one(1, c);
    EXPECT_EQ(Drawable(one), Utf8(one + L"\uFE0E"));
    EXPECT_EQ(Drawable(one + L"x" + one), Utf8(one + L"\uFE0Ex" + one + L"\uFE0E"));
    for (const wchar_t* next : {L"\uFE0E", L"\uFE0F", L"\u200D", L"\U0001F3FB", L"\U0001F3FF"}) {
      EXPECT_EQ(Drawable(one + next), Utf8(one + next));
    }
  }
}

TEST(DrawableText, EveryCharacterOfEveryPlaneIsWrittenAsUtf8) {
  // The last of each two are a lead and a trail byte further.
  for (std::uint32_t c = 0x20; c <= 0x10FFFF; c += c < 0x3000 ? 1 : 61) {
    const bool control = c >= 0x7F && c < 0xA0;
    const bool gap = c == 0x2028 || c == 0x2029;
    const bool none = (c >= 0xD800 && c <= 0xDFFF) || (c >= 0xFDD0 && c <= 0xFDEF) || (c & 0xFFFE) == 0xFFFE;
    if (control || gap || none) continue;
    std::wstring text(1, static_cast<wchar_t>(c));
    if (kTextThatTakesSkin.find(text) != std::wstring::npos) text += L'\uFE0E';
    ASSERT_EQ(Drawable(std::wstring(1, static_cast<wchar_t>(c))), Utf8(text)) << std::hex << c;
  }
  EXPECT_EQ(Drawable(L"\U00010000\U0010FFFD"), "\xF0\x90\x80\x80\xF4\x8F\xBF\xBD");
}

TEST(DrawableText, BreaksBecomeSpacesAndOtherControlsNothing) {
  EXPECT_EQ(Drawable(L"a\tb\nc\vd\fe\rf\x85g\x2028h\x2029i"), "a b c d e f g h i");
  EXPECT_EQ(Drawable(std::wstring(L"a\0b\x1b"
                                  L"c\x7f"
                                  L"d\x9f"
                                  L"e",
                                  9)),
            "abcde");
}

TEST(DrawableText, WhatIsNoCharacterBecomesTheReplacementCharacter) {
  for (const std::uint32_t c : {0xD800U, 0xDFFFU, 0xFDD0U, 0xFDEFU, 0xFFFEU, 0xFFFFU, 0x1FFFEU, 0x10FFFFU,
                                0x110000U, 0x7FFFFFFFU, 0xFFFFFFFFU}) {
    EXPECT_EQ(Drawable(std::wstring(1, static_cast<wchar_t>(c))), "\xEF\xBF\xBD") << std::hex << c;
  }
}

TEST(DrawableText, TheFirst1024DirectionsAreKept) {
  for (const wchar_t direction : {L'\x202A', L'\x202E', L'\x2066', L'\x2069'}) {
    std::wstring text, kept;
    for (int i = 0; i < 1030; ++i) {
      text += {direction, L'x'};
      if (i < 1024) kept += direction;
      kept += L'x';
    }
    EXPECT_EQ(Drawable(text), Utf8(kept)) << std::hex << static_cast<unsigned>(direction);
  }
}

TEST(DrawableText, TheFirst128MarksInARowAreKept) {
  for (const wchar_t mark : {L'\x301', L'\x93E', L'\x20DD', L'\xAD', L'\x200D'}) {
    const std::wstring text = L"a" + std::wstring(130, mark) + L"b" + std::wstring(3, mark);
    const std::wstring kept = L"a" + std::wstring(128, mark) + L"b" + std::wstring(3, mark);
    EXPECT_EQ(Drawable(text), Utf8(kept)) << std::hex << static_cast<unsigned>(mark);
  }
}

}  // namespace
