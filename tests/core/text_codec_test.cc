// SPDX-License-Identifier: MIT
#include <tovmx/text_codec.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <iterator>
#include <random>
#include <string>
#include <utility>

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

// Escapes of `bytes`, as another codeset may decode any bytes.
std::wstring Escapes(const std::string& bytes) {
  std::wstring text;
  for (const char c : bytes) text += static_cast<wchar_t>(0xDC00 + static_cast<unsigned char>(c));
  return text;
}

TEST(TextCodec, EscapesThatSpellACharacterDoNotBecomeIt) {
  EXPECT_EQ(Encode(Escapes("\xC3\xA9")), "\xED\xB3\x83\xED\xB2\xA9");
  EXPECT_EQ(Decode("\xED\xB3\x83\xED\xB2\xA9"), Escapes("\xC3\xA9"));
  const struct {
    const char* bytes;
    std::size_t spelling;  // of them, at the front
  } rows[] = {
      {"\xC3\xA9", 2},         {"\xE5\xAE\x8B", 3},     {"\xF0\x9F\x98\x80", 4},    {"\xC3\xA9\xA9", 2},
      {"\xC3\xC3", 0},         {"\xE5\xAE", 0},         {"\xED\xB2\x80", 0},        {"\xC0\x80", 0},
      {"\xF4\x90\x80\x80", 0}, {"\xE5\xC3\xA9\x80", 0}, {"\xF0\x9F\x98\x80\x80", 4}};
  for (const auto& row : rows) {
    for (const std::size_t before : {0, 5, 60, 200}) {
      const std::wstring text = std::wstring(before, L'x') + Escapes(row.bytes) + L"y" + Escapes(row.bytes);
      EXPECT_EQ(Decode(Encode(text)), text) << row.bytes << " behind " << before;
    }
    const std::size_t size = std::string(row.bytes).size();
    if (row.spelling != 0 || size < 4) {
      EXPECT_EQ(Encode(Escapes(row.bytes)).size(), size + 2 * row.spelling) << row.bytes;
    }
  }
}

// What stands behind the end of the text does not count, even where it would complete a spelling.
TEST(TextCodec, ARowOfFormsEndsWithTheText) {
  const std::string forms = Encode(Escapes("\xF0\x9F\x98\x80"));
  ASSERT_EQ(forms.size(), 12u);
  for (std::size_t size = 0; size <= forms.size(); ++size) {
    const CoreWideString all = CoreTextCodec::Utf8Decode(forms.data(), static_cast<int>(size));
    EXPECT_EQ(std::wstring(all.c_str(), static_cast<std::size_t>(all.GetLength())),
              Decode(forms.substr(0, size)))
        << size;
  }
}

TEST(TextCodec, EveryRowOfEscapesComesBackFromUtf8) {
  const unsigned edges[] = {0x80, 0x8F, 0x90, 0x9F, 0xA0, 0xBF, 0xC1, 0xC2, 0xDF,
                            0xE0, 0xE5, 0xED, 0xEF, 0xF0, 0xF4, 0xF5, 0xFF};
  std::wstring together;
  for (const unsigned a : edges) {
    for (const unsigned b : edges) {
      for (const unsigned c : edges) {
        for (const unsigned d : edges) {
          const std::wstring row = {static_cast<wchar_t>(0xDC00 + a), static_cast<wchar_t>(0xDC00 + b),
                                    static_cast<wchar_t>(0xDC00 + c), static_cast<wchar_t>(0xDC00 + d)};
          ASSERT_EQ(Decode(Encode(row)), row) << std::hex << a << ' ' << b << ' ' << c << ' ' << d;
          together += row;
        }
      }
    }
  }
  EXPECT_EQ(Decode(Encode(together)), together);
}

// A form that spells nothing with its neighbors is what a file name may hold, and stays three bytes.
TEST(TextCodec, EncodedSurrogatesAloneAreBytes) {
  for (const char* const bytes :
       {"\xED\xB2\x80", "\xED\xB3\x83", "\xED\xB3\x83-\xED\xB2\xA9", "\xED\xB3\x83\xED\xB2",
        "\xED\xB3\x83\xED\xB1\xBF", "\xED\xB2\xA9\xED\xB2\xA9", "\xED\xB3\x83\xA9"}) {
    EXPECT_EQ(Decode(bytes), [bytes] {
      std::wstring text;
      for (const char c : std::string(bytes)) text += c == '-' ? L'-' : Escapes(std::string(1, c))[0];
      return text;
    }()) << bytes;
    EXPECT_EQ(Encode(Decode(bytes)), bytes);
  }
}

TEST(TextCodec, TheCountedSizeHoldsForEscapesThatSpell) {
  std::wstring text;
  while (text.size() < (std::size_t{1} << 20)) text += Escapes("\xE5\xAE\x8B\xFF") + L"a";
  EXPECT_EQ(Encode(text).size(), text.size() / 5 * 11);
  EXPECT_EQ(Decode(Encode(text)), text);
}

TEST(TextCodec, ACharacterThatCannotBeWrittenBecomesAQuestionMark) {
  EXPECT_EQ(Encode({0xD800, L'-', 0xDC7F, L'-', 0xDD00, L'-', 0xDFFF, L'-', 0x110000, L'-', -1}),
            "?-?-?-?-?-?");
}

// The well-formed sequences as RFC 3629 lists them (UTF8-octets), byte range by byte range: a second decoder,
// as literal as can be.
struct Range {
  unsigned first;
  unsigned last;
};

constexpr struct {
  std::size_t length;
  Range bytes[4];
} kWellFormed[] = {
    {1, {{0x00, 0x7F}}},
    {2, {{0xC2, 0xDF}, {0x80, 0xBF}}},
    {3, {{0xE0, 0xE0}, {0xA0, 0xBF}, {0x80, 0xBF}}},
    {3, {{0xE1, 0xEC}, {0x80, 0xBF}, {0x80, 0xBF}}},
    {3, {{0xED, 0xED}, {0x80, 0x9F}, {0x80, 0xBF}}},
    {3, {{0xEE, 0xEF}, {0x80, 0xBF}, {0x80, 0xBF}}},
    {4, {{0xF0, 0xF0}, {0x90, 0xBF}, {0x80, 0xBF}, {0x80, 0xBF}}},
    {4, {{0xF1, 0xF3}, {0x80, 0xBF}, {0x80, 0xBF}, {0x80, 0xBF}}},
    {4, {{0xF4, 0xF4}, {0x80, 0x8F}, {0x80, 0xBF}, {0x80, 0xBF}}},
};

std::wstring DecodedLiterally(const std::string& text) {
  std::wstring wide;
  for (std::size_t i = 0; i < text.size();) {
    const auto byte = [&](std::size_t k) {
      return static_cast<unsigned>(static_cast<unsigned char>(text[i + k]));
    };
    std::size_t taken = 0;
    for (const auto& form : kWellFormed) {
      bool fits = i + form.length <= text.size();
      for (std::size_t k = 0; fits && k < form.length; ++k) {
        fits = byte(k) >= form.bytes[k].first && byte(k) <= form.bytes[k].last;
      }
      if (fits) taken = form.length;
    }
    switch (taken) {
      case 1:
        wide += static_cast<wchar_t>(byte(0));
        break;
      case 2:
        wide += static_cast<wchar_t>((byte(0) - 0xC0) * 64 + byte(1) - 0x80);
        break;
      case 3:
        wide += static_cast<wchar_t>(((byte(0) - 0xE0) * 64 + byte(1) - 0x80) * 64 + byte(2) - 0x80);
        break;
      case 4:
        wide += static_cast<wchar_t>((((byte(0) - 0xF0) * 64 + byte(1) - 0x80) * 64 + byte(2) - 0x80) * 64 +
                                     byte(3) - 0x80);
        break;
      default:
        wide += static_cast<wchar_t>(0xDC00 + byte(0));
        taken = 1;
        break;
    }
    i += taken;
  }
  return wide;
}

std::string Hex(const std::string& bytes) {
  std::string text;
  char digits[4];
  for (const char c : bytes) {
    std::snprintf(digits, sizeof(digits), "%02X ", static_cast<unsigned>(static_cast<unsigned char>(c)));
    text += digits;
  }
  return text;
}

void ExpectAsTheLiteralDecoder(const std::string& bytes) {
  const std::wstring wide = Decode(bytes);
  ASSERT_EQ(wide, DecodedLiterally(bytes)) << Hex(bytes);
  ASSERT_EQ(Encode(wide), bytes) << Hex(bytes);
}

// Vector code takes long texts only, so sequences also stand one behind the other, `joint` between them.
class SequenceBatch {
 public:
  explicit SequenceBatch(std::string joint) : joint_(std::move(joint)) {}
  ~SequenceBatch() { Flush(); }
  SequenceBatch(const SequenceBatch&) = delete;
  SequenceBatch& operator=(const SequenceBatch&) = delete;

  void Add(const std::string& sequence) {
    text_ += sequence + joint_;
    if (text_.size() > 5000) Flush();
  }

 private:
  void Flush() {
    ExpectAsTheLiteralDecoder(text_);
    text_.clear();
  }

  std::string joint_;
  std::string text_;
};

TEST(TextCodec, EverySequenceOfUpToThreeBytesDecodesAsTheTableSays) {
  for (unsigned a = 0; a < 0x100; ++a) {
    ExpectAsTheLiteralDecoder(std::string(1, static_cast<char>(a)));
    for (unsigned b = 0; b < 0x100; ++b) {
      ExpectAsTheLiteralDecoder({static_cast<char>(a), static_cast<char>(b)});
    }
  }
  SequenceBatch batch("abc");
  for (unsigned triple = 0; triple < 0x1000000; ++triple) {
    // Behind an ASCII byte nothing new begins; the two bytes are tried above.
    if (triple >> 16 < 0x80) continue;
    batch.Add({static_cast<char>(triple >> 16), static_cast<char>(triple >> 8), static_cast<char>(triple)});
    if (testing::Test::HasFatalFailure()) return;
  }
}

// The bytes at both ends of every range that any rule of UTF-8 knows.
TEST(TextCodec, EverySequenceOfFourBytesOfAllClassesDecodesAsTheTableSays) {
  const unsigned edges[] = {0x00, 0x41, 0x7F, 0x80, 0x81, 0x8F, 0x90, 0x9F, 0xA0, 0xAE,
                            0xBF, 0xC0, 0xC1, 0xC2, 0xDF, 0xE0, 0xE1, 0xE5, 0xEC, 0xED,
                            0xEE, 0xEF, 0xF0, 0xF1, 0xF3, 0xF4, 0xF5, 0xF8, 0xFE, 0xFF};
  for (const char* const joint : {"", "a", "\xE5\xAE\x8B", "abcdefghijklmnopqrstuvwxyz"}) {
    SequenceBatch batch(joint);
    for (const unsigned a : edges) {
      for (const unsigned b : edges) {
        for (const unsigned c : edges) {
          for (const unsigned d : edges) {
            batch.Add(
                {static_cast<char>(a), static_cast<char>(b), static_cast<char>(c), static_cast<char>(d)});
          }
        }
      }
    }
    if (testing::Test::HasFatalFailure()) return;
  }
}

TEST(TextCodec, EveryCharacterStandsInALongText) {
  for (const int others : {0, 1, 3}) {
    std::wstring text;
    std::string bytes;
    for (wchar_t c = 1; c <= 0x10FFFF; ++c) {
      if (c >= 0xD800 && c <= 0xDFFF) continue;
      text += c;
      text.append(static_cast<std::size_t>(others), L'x');
    }
    ASSERT_EQ(Decode(Encode(text)), text);
    ASSERT_EQ(DecodedLiterally(Encode(text)), text);
  }
}

TEST(TextCodec, TextsOfEveryLengthAndMixtureDecodeAsTheTableSays) {
  const char* const pieces[] = {"a",    "\xC3\xA9", "\xE5\xAE\x8B", "\xF0\x9F\x98\x80",
                                "\xFF", "\x80",     "\xE5\xAE",     "the quick brown fox jumps"};
  std::mt19937 random(1);
  for (int round = 0; round < 20000; ++round) {
    const std::size_t length = random() % 200;
    const std::size_t kinds = 1 + random() % std::size(pieces);
    const std::size_t first = random() % std::size(pieces);
    std::string text;
    while (text.size() < length) text += pieces[(first + random() % kinds) % std::size(pieces)];
    text.resize(length);
    ExpectAsTheLiteralDecoder(text);
    if (testing::Test::HasFatalFailure()) return;
  }
}

// Escapes of bytes that begin characters, end them and do neither, beside one another and beside characters:
// whatever spells a character on the way must come back as it was.
TEST(TextCodec, LongMixturesOfEscapesAndCharactersComeBack) {
  const wchar_t kinds[] = {0x41,   0xE9,   0x4E2D, 0x1F600, 0xDC80, 0xDC8F, 0xDC90, 0xDCBF,
                           0xDCC1, 0xDCC2, 0xDCE0, 0xDCE9,  0xDCED, 0xDCF0, 0xDCF4, 0xDCF5};
  std::mt19937 random(3);
  for (int round = 0; round < 20000; ++round) {
    const std::size_t some = 1 + random() % std::size(kinds);
    const std::size_t first = random() % std::size(kinds);
    std::wstring text;
    for (std::size_t length = random() % 200; text.size() < length;)
      text += kinds[(first + random() % some) % std::size(kinds)];
    ASSERT_EQ(Decode(Encode(text)), text) << Hex(Encode(text));
  }
}

// The room for a long text is counted to the byte, so that one too few would be noticed.
TEST(TextCodec, TextsThatAreCountedFirstEncodeAsTheirParts) {
  const wchar_t kinds[] = {0x41,   0x7F,    0x80,     0x7FF,    0x800,      0xD7FF, 0xD800, 0xDC80,
                           0xDCFF, 0x10000, 0x10FFFF, 0x110000, 0x7FFFFFFF, -1,     0xE000, 0xFFFF};
  std::mt19937 random(4);
  for (std::size_t round = 0; round < 3; ++round) {
    std::wstring text;
    std::string expected;
    while (text.size() < (std::size_t{1} << 20) + round) {
      const wchar_t c = kinds[random() % std::size(kinds)];
      text += c;
      expected += Encode(std::wstring(1, c));
    }
    ASSERT_EQ(Encode(text), expected);
  }
}

// Texts of a million characters have exactly the room that they take: a sanitizer sees what goes beyond.
TEST(TextCodec, NothingIsWrittenBehindALargeText) {
  for (std::size_t left = 0; left < 33; ++left) {
    std::wstring text((std::size_t{1} << 20) + left, L'a');
    text[text.size() - 24] = L'\xE4';
    std::string expected(text.size() + 1, 'a');
    expected.replace(text.size() - 24, 2, "\xC3\xA4");
    ASSERT_TRUE(Encode(text) == expected) << left;
  }
}

TEST(TextCodec, CharactersOfEveryKindEncodeAloneAsTogether) {
  const std::uint32_t kinds[] = {0x41,    0x7F,     0x80,     0x7FF,      0x800,     0xD7FF, 0xD800,
                                 0xDC7F,  0xDC80,   0xDCFF,   0xDD00,     0xDFFF,    0xE000, 0xFFFF,
                                 0x10000, 0x10FFFF, 0x110000, 0x7FFFFFFF, 0xFFFFFFFF};
  std::mt19937 random(2);
  for (int round = 0; round < 20000; ++round) {
    std::wstring text;
    std::string expected;
    const std::size_t length = random() % 100;
    for (std::size_t i = 0; i < length; ++i) {
      const auto c = static_cast<wchar_t>(round % 3 == 0 ? kinds[0] : kinds[random() % std::size(kinds)]);
      text += c;
      expected += Encode(std::wstring(1, c));
    }
    ASSERT_EQ(Encode(text), expected);
  }
}

}  // namespace
