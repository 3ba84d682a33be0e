// SPDX-License-Identifier: MIT
// The kernels of UTF-8 are asked directly: whatever they leave, the scalar loops convert to the same result,
// so that only their own progress shows that they did their work.
#include "simd_level.h"
#include "text/utf8.h"
#include "text/utf8_kernels.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <iterator>
#include <random>
#include <string>
#include <vector>

namespace {

using tovmx::kUtf8Avx2;
using tovmx::Utf8Progress;

class TextKernels : public testing::Test {
 protected:
  void SetUp() override {
    if (base::SimdLevelFor("avx2") != base::SimdLevel::kAvx2) GTEST_SKIP() << "the machine has no AVX2";
  }
};

// Of a text without what kernels leave to the scalar loops: fewer bytes than a block and its margin.
constexpr std::size_t kMostLeft = 79;

std::string Utf8Of(const std::wstring& text) {
  std::string bytes(4 * text.size(), '\0');
  bytes.resize(tovmx::EncodeUtf8(text.data(), text.size(), bytes.data()));
  return bytes;
}

struct Decoded {
  Utf8Progress progress;
  std::wstring text;
};

Decoded DecodeByKernel(const std::string& bytes) {
  std::vector<wchar_t> room(bytes.size() + 1, L'\0');
  const Utf8Progress progress = kUtf8Avx2.decode(bytes.data(), bytes.size(), room.data());
  return {progress, {room.data(), progress.written}};
}

struct Encoded {
  Utf8Progress progress;
  std::string bytes;
};

Encoded EncodeByKernel(const std::wstring& text) {
  std::vector<char> room(Utf8Of(text).size() + 1, '\0');
  const Utf8Progress progress = kUtf8Avx2.encode(text.data(), text.size(), room.data());
  return {progress, {room.data(), progress.written}};
}

// What the kernel took is converted as by all levels together, and ends between two characters.
void ExpectDecodedFront(const std::string& bytes, const Decoded& decoded) {
  std::wstring front(decoded.progress.taken, L'\0');
  front.resize(tovmx::DecodeUtf8(bytes.data(), decoded.progress.taken, front.data()));
  ASSERT_EQ(decoded.text, front);
  std::wstring whole(bytes.size(), L'\0');
  whole.resize(tovmx::DecodeUtf8(bytes.data(), bytes.size(), whole.data()));
  ASSERT_EQ(whole.substr(0, front.size()), front);
}

std::string Repeated(const std::string& piece, std::size_t size) {
  std::string text;
  while (text.size() < size) text += piece;
  return text;
}

TEST_F(TextKernels, AsciiIsDecodedUpToTheLastWholeBlock) {
  for (std::size_t length = 0; length <= 400; ++length) {
    const std::string text = Repeated("the quick brown fox ", length).substr(0, length);
    const Decoded decoded = DecodeByKernel(text);
    const std::size_t blocks = length < 80 ? 0 : (length - 80) / 64 + 1;
    EXPECT_EQ(decoded.progress.taken, 64 * blocks) << length;
    EXPECT_EQ(decoded.progress.written, 64 * blocks) << length;
    ExpectDecodedFront(text, decoded);
  }
}

TEST_F(TextKernels, CharactersOfEverySizeAreDecodedToTheMarginOfTheText) {
  const char* const pieces[] = {"a",
                                "\xC2\x80",
                                "\xDF\xBF",
                                "\xE0\xA0\x80",
                                "\xE5\xAE\x8B",
                                "\xED\x9F\xBF",
                                "\xEF\xBF\xBF",
                                "\xF0\x90\x80\x80",
                                "\xF0\x9F\x98\x80",
                                "\xF4\x8F\xBF\xBF",
                                "\xC3\xA9\xE5\xAE\x8B",
                                "a\xC3\xA9",
                                "a\xE5\xAE\x8B",
                                "a\xF0\x9F\x98\x80",
                                "\xE5\xAE\x8B\xF0\x9F\x98\x80",
                                "a\xC3\xA9\xF0\x9F\x98\x80\xE5\xAE\x8B"};
  for (const char* const piece : pieces) {
    for (std::size_t shift = 0; shift < 64; ++shift) {
      const std::string text = std::string(shift, 'x') + Repeated(piece, 500);
      const Decoded decoded = DecodeByKernel(text);
      ASSERT_LE(text.size() - decoded.progress.taken, kMostLeft) << piece << " behind " << shift;
      ExpectDecodedFront(text, decoded);
    }
  }
}

// Bytes that stand in no character, each among others that do.
TEST_F(TextKernels, BytesThatAreNoUtf8AreDecodedAmongCharacters) {
  const char* const wrong[] = {"\x80",         "\xBF",         "\xC0",         "\xC1",         "\xF5",
                               "\xFF",         "\xC3",         "\xE5",         "\xE5\xAE",     "\xF0",
                               "\xF0\x9F",     "\xF0\x9F\x98", "\xE0\x9F\xBF", "\xF0\x8F\xBF", "\xF4\x90\x80",
                               "\xC0\x80\x80", "\xED\x9F"};
  for (const char* const bytes : wrong) {
    for (const char* const others :
         {"abc", "\xC3\xA9", "\xE5\xAE\x8B", "\xF0\x9F\x98\x80", "a\xE5\xAE\x8B"}) {
      const std::string text = Repeated(std::string(bytes) + others, 500);
      const Decoded decoded = DecodeByKernel(text);
      ASSERT_LE(text.size() - decoded.progress.taken, kMostLeft) << others;
      ExpectDecodedFront(text, decoded);
    }
  }
}

TEST_F(TextKernels, MixturesAreDecodedToTheMarginOfTheText) {
  const char* const pieces[] = {"a",    "\xC3\xA9", "\xE5\xAE\x8B", "\xF0\x9F\x98\x80",
                                "\xFF", "\x80",     "\xE5\xAE"};
  std::mt19937 random(11);
  for (int round = 0; round < 3000; ++round) {
    std::string text;
    while (text.size() < 300) {
      text += pieces[random() % std::size(pieces)];
      // Never a whole block of bytes that begin nothing.
      if (random() % 8 == 0) text += "x";
    }
    const Decoded decoded = DecodeByKernel(text);
    ASSERT_LE(text.size() - decoded.progress.taken, kMostLeft) << round;
    ExpectDecodedFront(text, decoded);
  }
}

TEST_F(TextKernels, ARowOfSurrogatesEndsWhatIsDecodedWhereItBegins) {
  for (const char* const others : {"a", "\xC3\xA9", "\xE5\xAE\x8B", "\xF0\x9F\x98\x80"}) {
    const std::string front = Repeated(others, 100);
    const std::string text = front + "\xED\xB2\x80" + Repeated("a", 200);
    const Decoded decoded = DecodeByKernel(text);
    // Of fewer than 24 bytes in front of it the scalar loop takes care.
    EXPECT_LE(decoded.progress.taken, front.size()) << others;
    EXPECT_GT(decoded.progress.taken + 24, front.size()) << others;
    ExpectDecodedFront(text, decoded);
  }
}

// In front of the row, at the beginning of a block, 24 bytes are worth a vector and 23 are not.
TEST_F(TextKernels, FewBytesInFrontOfARowOfSurrogatesAreLeft) {
  for (std::size_t front = 0; front < 64; ++front) {
    const std::string text = std::string(front, 'a') + "\xED\xB2\x80" + Repeated("a", 200);
    EXPECT_EQ(DecodeByKernel(text).progress.taken, front < 24 ? 0 : front) << front;
  }
}

TEST_F(TextKernels, ABlockOfBytesThatBeginNothingIsLeft) {
  for (const char* const lone : {"\x80", "\xC1", "\xF5", "\xFF"}) {
    EXPECT_EQ(DecodeByKernel(Repeated(lone, 300)).progress.taken, 0U);
    const Decoded decoded = DecodeByKernel(Repeated(std::string(32, *lone) + "a", 300));
    EXPECT_GT(decoded.progress.taken, 200U) << "one other byte in each block is enough";
  }
}

TEST_F(TextKernels, AsciiIsEncodedUpToTheMarginOfTheText) {
  for (std::size_t length = 0; length <= 200; ++length) {
    const std::wstring text(length, L'x');
    const Encoded encoded = EncodeByKernel(text);
    const std::size_t blocks = length < 28 ? 0 : (length - 28) / 16 + 1;
    EXPECT_EQ(encoded.progress.taken, 16 * blocks) << length;
    EXPECT_EQ(encoded.bytes, std::string(16 * blocks, 'x')) << length;
  }
}

void ExpectEncodedFront(const std::wstring& text, const Encoded& encoded) {
  ASSERT_EQ(encoded.bytes, Utf8Of(text.substr(0, encoded.progress.taken)));
}

TEST_F(TextKernels, CharactersOfEverySizeAreEncodedToTheMarginOfTheText) {
  const std::wstring pieces[] = {L"\x80",
                                 L"\x7FF",
                                 L"\x800",
                                 L"\xD7FF",
                                 L"\xE000",
                                 L"\xFFFF",
                                 L"\U00010000",
                                 L"\U0010FFFF",
                                 L"a\xE9",
                                 L"\xE9\x5B8B",
                                 L"a\xE9\x5B8B",
                                 L"\x5B8B\U0001F600",
                                 L"a\xE9\x5B8B\U0001F600"};
  for (const std::wstring& piece : pieces) {
    for (std::size_t shift = 0; shift < 32; shift += 8) {
      std::wstring text(shift, L'x');
      while (text.size() < 200) text += piece;
      const Encoded encoded = EncodeByKernel(text);
      ASSERT_LT(text.size() - encoded.progress.taken, 28U) << shift;
      ExpectEncodedFront(text, encoded);
    }
  }
}

// Escapes of bytes that begin no character, alone and among characters, and of bytes that begin one, where no
// escape follows.
TEST_F(TextKernels, EscapesAreEncodedAmongCharacters) {
  const std::vector<std::wstring> pieces = {{0xDC80},
                                            {0xDCC1},
                                            {0xDCF5},
                                            {0xDCFF},
                                            {0xDCBF, L'a'},
                                            {0xDCC2, L'a'},
                                            {0xDCF4, L'a', L'b'},
                                            {0xDCC2, 0x5B8B, 0xE9, 0x1F600}};
  for (const std::wstring& piece : pieces) {
    std::wstring text;
    while (text.size() < 200) text += piece;
    const Encoded encoded = EncodeByKernel(text);
    EXPECT_LT(text.size() - encoded.progress.taken, 28U) << std::hex << static_cast<unsigned>(piece[0]);
    ExpectEncodedFront(text, encoded);
  }
}

TEST_F(TextKernels, WhatIsNoCharacterEndsWhatIsEncodedWithinEight) {
  for (const std::uint32_t c : {0xD800U, 0xDC7FU, 0xDD00U, 0xDFFFU, 0x110000U, 0x7FFFFFFFU, 0xFFFFFFFFU}) {
    for (const std::size_t front : {0, 7, 8, 40}) {
      std::wstring text(front, L'\x5B8B');
      text += static_cast<wchar_t>(c);
      text += std::wstring(100, L'\x5B8B');
      const Encoded encoded = EncodeByKernel(text);
      EXPECT_EQ(encoded.progress.taken, front / 8 * 8) << std::hex << c << " behind " << front;
      ExpectEncodedFront(text, encoded);
    }
  }
}

TEST_F(TextKernels, EscapesThatMaySpellACharacterAreLeft) {
  for (const std::uint32_t lead : {0xDCC2U, 0xDCE5U, 0xDCF4U}) {
    std::wstring text(16, L'a');
    text += {static_cast<wchar_t>(lead), 0xDCA9};
    text += std::wstring(100, L'a');
    EXPECT_EQ(EncodeByKernel(text).progress.taken, 16U) << std::hex << lead;
  }
  // The second escape stands behind the eight.
  std::wstring text(7, 0x5B8B);
  text += {0xDCC3, 0xDCA9};
  text += std::wstring(100, 0x5B8B);
  EXPECT_EQ(EncodeByKernel(text).progress.taken, 0U);
}

// Beside long characters one or two others than ASCII among eight are left to the scalar loop, three are not.
TEST_F(TextKernels, FewCharactersBeyondAsciiAmongEightAreLeft) {
  for (std::size_t count = 1; count <= 8; ++count) {
    std::wstring eight(8, L'a');
    for (std::size_t i = 0; i < count; ++i) eight[i] = i == 0 ? 0x1F600 : 0xE9;
    std::wstring text;
    while (text.size() < 200) text += eight;
    const std::size_t taken = EncodeByKernel(text).progress.taken;
    EXPECT_EQ(taken, count <= 2 ? 0 : 176) << count;
  }
}

// Every level, and the room that is counted, for texts of all lengths around a vector's.
TEST_F(TextKernels, TheCountedSizeIsWhatIsWritten) {
  const std::uint32_t kinds[] = {0x41,    0x7F,     0x80,     0x7FF,      0x800,     0xD7FF, 0xD800,
                                 0xDC7F,  0xDC80,   0xDCA9,   0xDCC1,     0xDCC2,    0xDCC3, 0xDCE5,
                                 0xDCF4,  0xDCF5,   0xDCFF,   0xDD00,     0xDFFF,    0xE000, 0xFFFF,
                                 0x10000, 0x10FFFF, 0x110000, 0x7FFFFFFF, 0xFFFFFFFF};
  std::mt19937 random(12);
  for (int round = 0; round < 20000; ++round) {
    const std::size_t some = 1 + random() % std::size(kinds);
    const std::size_t first = random() % std::size(kinds);
    std::wstring text(random() % 40, L'\0');
    for (wchar_t& c : text) c = static_cast<wchar_t>(kinds[(first + random() % some) % std::size(kinds)]);
    ASSERT_EQ(tovmx::Utf8Size(text.data(), text.size()), Utf8Of(text).size()) << round;
  }
}

}  // namespace
