#include <tovmx/text_codec.h>

#include <gtest/gtest.h>

#include <string>

namespace {

std::wstring Decode(const std::string& text) {
  const CoreWideString wide = CoreTextCodec::Utf8Decode(text.data(), static_cast<int>(text.size()));
  return std::wstring(wide.c_str(), static_cast<std::size_t>(wide.GetLength()));
}

std::string Encode(const std::wstring& text) {
  const CoreString bytes = CoreTextCodec::Utf8Encode(text.data(), static_cast<int>(text.size()));
  return std::string(bytes.c_str(), static_cast<std::size_t>(bytes.GetLength()));
}

TEST(TextCodec, NullAndEmptyTextsGiveTheEmptyText) {
  EXPECT_TRUE(CoreTextCodec::Utf8Decode(nullptr, -1).IsEmpty());
  EXPECT_TRUE(CoreTextCodec::LocalDecode(nullptr, 5).IsEmpty());
  EXPECT_TRUE(CoreTextCodec::Utf8Encode(nullptr, -1).IsEmpty());
  EXPECT_TRUE(CoreTextCodec::LocalEncode(nullptr, 5).IsEmpty());
  EXPECT_TRUE(CoreTextCodec::Utf8Decode("abc", 0).IsEmpty());
  EXPECT_TRUE(CoreTextCodec::Utf8Encode(L"abc", 0).IsEmpty());
  EXPECT_TRUE(CoreTextCodec::LocalDecode("", -1).IsEmpty());
  EXPECT_TRUE(CoreTextCodec::LocalEncode(L"", -1).IsEmpty());
}

TEST(TextCodec, NegativeLengthMeansUpToTheTerminator) {
  EXPECT_STREQ(CoreTextCodec::Utf8Decode("\xE5\xAE\x8B", -1).c_str(), L"\u5B8B");
  EXPECT_STREQ(CoreTextCodec::Utf8Encode(L"\u5B8B", -7).c_str(), "\xE5\xAE\x8B");
}

TEST(TextCodec, AGivenLengthKeepsNulCharacters) {
  EXPECT_EQ(Decode(std::string("a\0b", 3)), std::wstring(L"a\0b", 3));
  EXPECT_EQ(Encode(std::wstring(L"a\0b", 3)), std::string("a\0b", 3));
}

TEST(TextCodec, EveryCharacterOfUnicodeSurvivesThereAndBack) {
  for (wchar_t c = 1; c <= 0x10FFFF; ++c) {
    if (c >= 0xD800 && c <= 0xDFFF) continue;
    const std::wstring text(1, c);
    ASSERT_EQ(Decode(Encode(text)), text) << std::hex << static_cast<unsigned>(c);
  }
}

TEST(TextCodec, AByteThatDoesNotDecodeBecomesAnEscapeAndComesBack) {
  EXPECT_EQ(Decode("a\xFF\xE5\xAE"), (std::wstring{L'a', 0xDCFF, 0xDCE5, 0xDCAE}));
  EXPECT_EQ(Encode(Decode("a\xFF\xE5\xAE")), "a\xFF\xE5\xAE");
}

TEST(TextCodec, ACharacterThatCannotBeWrittenBecomesAQuestionMark) {
  EXPECT_EQ(Encode({0xD800, L'-', 0xDC7F, L'-', 0xDD00, L'-', 0xDFFF, L'-', 0x110000, L'-', -1}),
            "?-?-?-?-?-?");
}

}  // namespace
