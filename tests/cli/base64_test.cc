// SPDX-License-Identifier: MIT
#include "printed.h"
#include "run_command.h"
#include "scratch_dir.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <random>
#include <string>

namespace {

std::string RandomBytes(std::size_t length) {
  std::mt19937 random(1);
  std::string data(length, '\0');
  for (char& c : data) c = static_cast<char>(random());
  return data;
}

TEST(Base64Command, EncodesStandardInputToOneLine) {
  const std::string rows[][2] = {
      {"", ""}, {"f", "Zg==\n"}, {"foobar", "Zm9vYmFy\n"}, {std::string(1, '\0'), "AA==\n"}};
  for (const auto& row : rows) {
    const CommandResult result = RunCommand({"base64"}, row[0]);
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.out, row[1]);
    EXPECT_EQ(result.err, "");
  }
  EXPECT_EQ(RunCommand({"base64", "-"}, "foo").out, "Zm9v\n");
}

TEST(Base64Command, DecodingPassesOverWhiteSpace) {
  const char* const rows[][2] = {{"Zm9vYmFy", "foobar"},
                                 {"Zm9v\nYmFy\n", "foobar"},
                                 {"Zm 9v\r\n\tYg = =\n", "foob"},
                                 {"Zg", "f"},
                                 {"Zg=", "f"},
                                 {"Zm9v==", "foo"},
                                 {"", ""},
                                 {"\n", ""},
                                 {"==", ""}};
  for (const auto& row : rows) {
    const CommandResult result = RunCommand({"base64", "-d"}, row[0]);
    EXPECT_EQ(result.status, 0) << row[0];
    EXPECT_EQ(result.out, row[1]) << row[0];
    EXPECT_EQ(result.err, "") << row[0];
  }
}

TEST(Base64Command, ForeignCharactersFailAfterWhatCameBefore) {
  const char* const rows[][3] = {{"Zm9v!YmFy", "foo", "5"}, {"Zm9vYg==Zg==", "foob", "7"},
                                 {"Zm9v===", "foo", "5"},   {"!", "", "1"},
                                 {"Zm-v", "f", "3"},        {"Zg=\n=x", "f", "3"}};
  for (const auto& row : rows) {
    const CommandResult result = RunCommand({"base64", "--decode"}, row[0]);
    EXPECT_EQ(result.status, 1) << row[0];
    EXPECT_EQ(result.out, row[1]) << row[0];
    EXPECT_EQ(result.err, std::string("tovkit: standard input: not Base64 from character ") + row[2] +
                              " on, white space not counted\n");
  }
}

// Decodes a byte between groups of which so many stand before it and behind.
void ExpectDecodedAround(char c, int before, int behind) {
  const std::string alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string text, foo, bar;
  for (int i = 0; i < before; ++i) text += "Zm9v", foo += "foo";
  text += c;
  for (int i = 0; i < behind; ++i) text += "YmFy", bar += "bar";
  const CommandResult result = RunCommand({"base64", "-d"}, text);
  const bool isWhite = c == ' ' || (c >= '\t' && c <= '\r');
  const bool isOurs = alphabet.find(c) != std::string::npos;
  EXPECT_EQ(result.status, isWhite ? 0 : 1) << int(c);
  EXPECT_EQ(result.out.substr(0, foo.size()), foo) << int(c);
  EXPECT_EQ(result.out.size() - foo.size(), isWhite || isOurs ? bar.size() : 0U) << int(c);
  EXPECT_EQ(result.err.empty(), isWhite) << int(c);
  EXPECT_EQ(result.err.find("cut short") != std::string::npos, isOurs) << int(c);
}

TEST(Base64Command, EveryByteIsWhiteSpaceOfTheAlphabetOrForeign) {
  for (int byte = 0; byte < 256; ++byte) ExpectDecodedAround(static_cast<char>(byte), 6, 5);
}

// Behind those that are looked at together.
TEST(Base64Command, AWhiteSpaceNearTheEndIsPassedOver) {
  for (const char c : {'\b', '\t', '\n', '\r', '\x0E', '\x1F', ' ', '!'}) ExpectDecodedAround(c, 10, 1);
}

TEST(Base64Command, ALoneCharacterAtTheEndFails) {
  const CommandResult result = RunCommand({"base64", "-d"}, "Zm9vZ");
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.out, "foo");
  EXPECT_EQ(result.err, "tovkit: standard input: the Base64 text is cut short\n");
}

TEST(Base64Command, LongInputsGoThroughInPiecesWithEachLevelOfInstructions) {
  const ScratchDir scratch;
  const std::string data = RandomBytes(1'000'001);
  const std::string path = scratch.path() + "/data";
  std::FILE* const file = std::fopen(path.c_str(), "wb");
  ASSERT_NE(file, nullptr);
  std::fwrite(data.data(), 1, data.size(), file);
  std::fclose(file);

  std::string text;
  for (const char* const level : {"scalar", "avx2", "avx512"}) {
    const CommandResult encoded = RunCommand({"base64", path}, "", {{"TOVKIT_SIMD", level}});
    ASSERT_EQ(encoded.status, 0);
    if (text.empty()) text = encoded.out;
    EXPECT_TRUE(encoded.out == text) << level;
    std::string wrapped;
    for (std::size_t i = 0; i < text.size(); i += 76) wrapped += text.substr(i, 76) + "\n";
    const CommandResult decoded = RunCommand({"base64", "-d"}, wrapped, {{"TOVKIT_SIMD", level}});
    EXPECT_EQ(decoded.status, 0);
    EXPECT_TRUE(decoded.out == data) << level;
  }
}

TEST(Base64Command, AFileThatCannotBeReadFails) {
  const ScratchDir scratch;
  const std::string missing = scratch.path() + "/missing";
  CommandResult result = RunCommand({"base64", missing});
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.err, "tovkit: " + missing + ": cannot open: No such file or directory\n");
  result = RunCommand({"base64", scratch.path()});
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.err, "tovkit: " + scratch.path() + ": cannot read: Is a directory\n");
}

TEST(Base64Command, WrapBreaksTheLines) {
  EXPECT_EQ(RunCommand({"base64", "--wrap", "4"}, "foobarx").out, "Zm9v\nYmFy\neA==\n");
  EXPECT_EQ(RunCommand({"base64", "--wrap", "4"}, "foobar").out, "Zm9v\nYmFy\n")
      << "no empty line at the end";
  EXPECT_EQ(RunCommand({"base64", "--wrap", "3"}, "foo").out, "Zm9\nv\n");
  EXPECT_EQ(RunCommand({"base64", "--wrap", "0"}, "foobar").out, "Zm9vYmFy\n");
  EXPECT_EQ(RunCommand({"base64", "--wrap", "76"}, "").out, "");
  EXPECT_EQ(RunCommand({"base64", "--wrap", "-1"}, "x").status, 2);
}

// In pieces of any size, as coreutils does it.
TEST(Base64Command, WrappedTextIsThatOfCoreutils) {
  const ScratchDir dir;
  const std::string file = dir.path() + "/bytes";
  const std::string bytes = RandomBytes(200'001);
  std::FILE* const out = std::fopen(file.c_str(), "w");
  std::fwrite(bytes.data(), 1, bytes.size(), out);
  std::fclose(out);
  for (const char* width : {"1", "7", "64", "76", "65536", "65537", "1000000"}) {
    std::string expected = Printed("base64 -w " + std::string(width) + " " + file);
    if (expected.empty() || expected.back() != '\n') expected += '\n';
    EXPECT_TRUE(RunCommand({"base64", "--wrap", width, file}).out == expected) << width;
  }
}

TEST(Base64Command, WrongUse) {
  EXPECT_EQ(RunCommand({"base64", "--wrap"}).status, 2);
  EXPECT_EQ(RunCommand({"base64", "a", "b"}).status, 2);
}

}  // namespace
