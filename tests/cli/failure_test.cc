// SPDX-License-Identifier: MIT
// The line of a failure and the caret below the place that is meant.
#include "byte_count.h"
#include "local_text.h"
#include "run_command.h"
#include "text_output.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>

namespace {

// What is said of an array that holds a text and then a letter: `shown` is how the text is printed.
std::string SaidOf(const std::string& shown, int characters, int columns) {
  const std::string place = "standard input:1:" + std::to_string(characters + 5);
  return "tovkit: " + place + ": a comma or ] is expected\n  [\"" + shown + "\" x]\n  " +
         std::string(static_cast<std::size_t>(columns) + 4, ' ') + "^\n";
}

void ExpectColumns(const std::string& text, int characters, int columnsEach) {
  if (!LocalTextIsUtf8()) GTEST_SKIP() << "local text is no UTF-8 here";
  EXPECT_EQ(RunCommand({"json"}, "[\"" + text + "\" x]").err,
            SaidOf(text, characters, characters * columnsEach))
      << text;
}

// The first and the last character of every block that terminals show two columns wide.
TEST(Failure, TheCaretStandsBehindWideCharacters) {
  ExpectColumns("\u1100\u115f\u2e80\ua4cf\uac00\ud7a3\uf900\ufaff", 8, 2);
  ExpectColumns("\ufe30\ufe6f\uff00\uff60\uffe0\uffe6", 6, 2);
  ExpectColumns("\U0001f300\U0001f64f\U00020000\U0003fffd", 4, 2);
  ExpectColumns("\U0001f680\U0001f923\u2705\u2b50\u2615", 5, 2);
}

TEST(Failure, MarksTakeNoColumn) { ExpectColumns("\u0301\u094d\u0e31\u05b4\u200d", 5, 0); }

TEST(Failure, TheCaretStandsBehindNarrowCharacters) {
  ExpectColumns("\u10ff\ua4d0\ufb00\ufe70\uff61\uffed\U0001d400", 7, 1);
}

TEST(Failure, WhatSteersATerminalIsEscapedInTheLine) {
  if (!LocalTextIsUtf8()) GTEST_SKIP() << "local text is no UTF-8 here";
  EXPECT_EQ(RunCommand({"json"}, "[1 x\x01\x1f ~\x7f\u0080\u009f\u00a0\t]").err,
            "tovkit: standard input:1:4: a comma or ] is expected\n"
            "  [1 x\\x01\\x1f ~\\x7f\\u0080\\u009f\u00a0 ]\n     ^\n");
  EXPECT_EQ(RunCommand({"json"}, "[\"\u202e\xff\u2028\" x]").err,
            "tovkit: standard input:1:8: a comma or ] is expected\n"
            "  [\"\\u202e\\xff\\u2028\" x]\n" +
                std::string(22, ' ') + "^\n");
}

// Every character that is escaped, and its neighbors that are not.
TEST(TextOutput, WhatCannotBeSeenIsEscaped) {
  if (!LocalTextIsUtf8()) GTEST_SKIP() << "local text is no UTF-8 here";
  const struct {
    const wchar_t* text;
    const wchar_t* printable;
  } rows[] = {
      {L"\t\n\r\x01\x1b ", L"\\t\\n\\r\\x01\\x1b "},
      {L"~\x7f\x80\x9f\xa0", L"~\\x7f\\u0080\\u009f\xa0"},
      {L"\xac\xad\xae", L"\xac\\u00ad\xae"},
      {L"\x61b\x61c\x61d", L"\x61b\\u061c\x61d"},
      {L"\x180d\x180e\x180f", L"\x180d\\u180e\x180f"},
      {L"\x200a\x200b\x200c\x200d\x200e\x200f\x2010", L"\x200a\\u200b\x200c\x200d\\u200e\\u200f\x2010"},
      {L"\x2027\x2028\x202e\x202f", L"\x2027\\u2028\\u202e\x202f"},
      {L"\x205f\x2060\x2066\x206f\x2070", L"\x205f\\u2060\\u2066\\u206f\x2070"},
      {L"\xdc9b\xdcff\xd800\xdfff", L"\\x9b\\xff\\ud800\\udfff"},
      {L"\xfefe\xfeff\xff00", L"\xfefe\\ufeff\xff00"},
      {L"\xfff8\xfff9\xfffb\xfffc", L"\xfff8\\ufff9\\ufffb\xfffc"},
      {L"\U0010ffff\U0001f600", L"\U0010ffff\U0001f600"},
  };
  for (const auto& [text, printable] : rows) EXPECT_EQ(cli::Printable(std::wstring_view(text)), printable);
  EXPECT_EQ(cli::Printable(std::wstring(1, wchar_t{0x110000})), L"\\U00110000");
  EXPECT_EQ(cli::Printable(std::string("a\x1b[31m\xE5\xAE\x8B\xff")), "a\\x1b[31m\xE5\xAE\x8B\\xff");
  EXPECT_EQ(cli::PrintableUtf8("\u202ea\u0301"), "\\u202ea\u0301");
}

TEST(Failure, ALineThatIsShownWholeAndOneThatIsCut) {
  const std::string x(60, 'x');
  for (const int before : {57, 58, 59, 60, 61, 62}) {
    for (const int behind : {57, 58, 59, 60, 61, 62}) {
      const std::string front = "[\"" + std::string(static_cast<std::size_t>(before) - 2, 'a') + "\" ";
      const std::string back = "x" + std::string(static_cast<std::size_t>(behind), 'b');
      const std::string line = front + back;
      // Two more than 60 are left on either side: what is cut takes three.
      const bool cutFront = front.size() > 63;
      const bool cutBack = back.size() > 63;
      const std::string shownFront = cutFront ? "..." + front.substr(front.size() - 60) : front;
      const std::string shownBack = cutBack ? back.substr(0, 60) + "..." : back;
      EXPECT_EQ(RunCommand({"json"}, line).err,
                "tovkit: standard input:1:" + std::to_string(front.size() + 1) +
                    ": a comma or ] is expected\n  " + shownFront + shownBack + "\n  " +
                    std::string(shownFront.size(), ' ') + "^\n");
    }
  }
}

TEST(TextOutput, LongRowsOfDigitsLoseTheirMiddle) {
  const std::string hundred = std::string(50, '1') + std::string(50, '2');
  EXPECT_EQ(cli::Shortened(""), "");
  EXPECT_EQ(cli::Shortened("a" + hundred + "b" + hundred), "a" + hundred + "b" + hundred);
  EXPECT_EQ(cli::Shortened("a" + hundred + "3b7"), "a1111111111...2222222223b7");
  EXPECT_EQ(cli::Shortened("0" + hundred), "0111111111...2222222222");
  EXPECT_EQ(cli::Shortened(hundred + "3" + "-" + hundred + "4"),
            "1111111111...2222222223-1111111111...2222222224");
}

TEST(ByteCount, NumbersWithAndWithoutAUnit) {
  constexpr std::uint64_t kMost = UINT64_MAX;
  const struct {
    const char* text;
    std::uint64_t count;
  } rows[] = {{"0", 0},
              {"4096", 4096},
              {"18446744073709551615", kMost},
              {"1K", 1024},
              {"3k", 3072},
              {"2M", 2097152},
              {"2m", 2097152},
              {"1G", 1073741824},
              {"5g", 5368709120},
              {"18014398509481983K", kMost << 10},
              {"17592186044415M", kMost << 20},
              {"17179869183G", kMost << 30}};
  for (const auto& row : rows) EXPECT_EQ(cli::ParseByteCount(row.text), row.count) << row.text;
  for (const char* text : {"", "K", "-1", "+1", " 1", "1 ", "1KB", "1T", "1Kk", "1.5K", "0x10",
                           "18446744073709551616", "18014398509481984K", "17592186044416M", "17179869184G"}) {
    EXPECT_EQ(cli::ParseByteCount(text), std::nullopt) << text;
  }
}

TEST(ByteCount, ASizeOfARange) {
  const auto read = [](const std::string& text, const cli::ByteRange& range) {
    std::uint64_t bytes = 7;
    const std::string error = cli::ReadByteCount(text, range, bytes);
    EXPECT_TRUE(error.empty() || bytes == 7) << text;
    return error.empty() ? std::to_string(bytes) : error;
  };
  const cli::ByteRange closed = {2, 2049};
  EXPECT_EQ(read("2", closed), "2");
  EXPECT_EQ(read("2K", closed), "2048");
  for (const char* const text : {"0", "1", "2050", "3K"}) {
    EXPECT_EQ(read(text, closed), "'" + std::string(text) + "' is not from 2 to 2049 bytes");
  }
  EXPECT_EQ(read("x", closed), "'x' is no size such as 4096, 64K, 64M or 1G");
  const cli::ByteRange open = {64u << 20, UINT64_MAX, true};
  EXPECT_EQ(read("0", open), "0");
  EXPECT_EQ(read("64M", open), "67108864");
  EXPECT_EQ(read("63M", open), "'63M' is not from 64M bytes on, and not 0");
  EXPECT_EQ(read("1G", {1, 1u << 20}), "'1G' is not from 1 to 1M bytes");
  EXPECT_EQ(read("1", {3u << 10, 5ull << 40}), "'1' is not from 3K to 5120G bytes");
}

}  // namespace
