// SPDX-License-Identifier: MIT
// The parser behind Json::Parse: which of its two readers reads a text, what the tree looks like to the bit,
// and where an error is.
#include "text_parser.h"

#include "fast_reader.h"
#include "guarded_text.h"
#include "plain_rapidjson.h"
#include "stack_thread.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <iterator>
#include <memory>
#include <random>
#include <string>
#include <string_view>
#include <vector>

namespace tovkit {
namespace {

std::unique_ptr<Document> NewDocument() {
  return std::make_unique<Document>(nullptr, kParseStackCapacity, &HeapAllocator::Shared());
}

std::string Start(std::string_view text) { return std::string(text.substr(0, 300)); }

// Parses `text` from the end of a page and compares everything with RapidJSON's own parser. A text that has a
// container as its root and no error must be read fast. Returns whether it was.
bool ExpectPlain(std::string_view text) {
  static GuardedText guarded(1 << 20);
  auto document = NewDocument();
  const ParseResult result = ParseText(guarded.Place(text), text.size(), *document);
  const PlainRead plain(text);
  EXPECT_EQ(result.code, plain.Code()) << Start(text);
  EXPECT_EQ(result.offset, plain.Offset()) << Start(text);
  EXPECT_EQ(result.readFast, plain.IsContainer()) << Start(text);
  if (!result.IsRead()) {
    EXPECT_TRUE(document->IsNull()) << Start(text);
  } else {
    EXPECT_TRUE(SameBits(*document, *plain.document)) << Start(text);
    EXPECT_EQ(document->GetAllocator().Size(), plain.document->GetAllocator().Size()) << Start(text);
    EXPECT_EQ(document->GetAllocator().Capacity(), plain.document->GetAllocator().Capacity()) << Start(text);
  }
  return result.readFast;
}

TEST(TextParser, ReadsEveryValidTextFast) {
  using namespace std::string_literals;
  for (const std::string& text : {
           "{}"s,
           "[]"s,
           "{\"a\":1,\"b\":[true,false,null,-0,0.5,\"s\"],\"c\":{\"d\":{}}}"s,
           " \t\r\n{ \"a\" :\n 1 , \"b\"\t:\r\n[ ] }\n"s,
           "\xEF\xBB\xBF{\"a\":1}"s,
           "\xBB[1]"s,
           "[\"\\u0041\\ud83d\\ude00\\udc00\\b\\f\\n\\r\\t\\/\\\\\\\"\\u0000\"]"s,
           "[\"\xFF\x80\xC0\", \"a text that is longer than thirteen bytes \xFF\x80\"]"s,
           "[18446744073709551615,-9223372036854775808,-9223372036854775809,123456789012345678901]"s,
           "[1e308,1.8e308,5e-324,1e-400,1e-99999999999,1.00000000001e-2147483638,0e5,1E+00000000000000002]"s,
           "[1]\0]"s,
           "{\"a\":1}\0garbage"s,
           std::string(3000, '[') + std::string(3000, ']'),
       }) {
    EXPECT_TRUE(ExpectPlain(text)) << Start(text);
  }
}

TEST(TextParser, LeavesErrorsAndScalarsToTheOtherReader) {
  for (const char* const text : {"",
                                 " ",
                                 "1",
                                 "\"a\"",
                                 "true",
                                 "null",
                                 "[",
                                 "{",
                                 "]",
                                 "[1",
                                 "[1,",
                                 "[1,]",
                                 "[1}",
                                 "{\"a\":1]",
                                 "[1]]",
                                 "[1] x",
                                 "[]{}",
                                 "{a:1}",
                                 "{\"a\"}",
                                 "{\"a\":}",
                                 "{\"a\":1,}",
                                 "{1:2}",
                                 "[01]",
                                 "[-]",
                                 "[-a]",
                                 "[1.]",
                                 "[1.e5]",
                                 "[1e]",
                                 "[1e+]",
                                 "[1e309]",
                                 "[.5]",
                                 "[+1]",
                                 "[tru]",
                                 "[trux]",
                                 "[nul",
                                 "[fals",
                                 "[NaN]",
                                 "[\"a]",
                                 "[\"\\x\"]",
                                 "[\"\\u12\"]",
                                 "[\"\\u12g4\"]",
                                 "[\"\\ud800\"]",
                                 "[\"\\ud800\\u0041\"]",
                                 "[\"\x01\"]",
                                 "[\"0123456789abcdef\x1f\"]",
                                 "[\"0123456789abcdef",
                                 "[/**/]",
                                 "[1 2]",
                                 "[\v1]",
                                 "[1,,2]",
                                 "[[]",
                                 "[1]]",
                                 "{\"a\":[}",
                                 "[\"a\" \"b\"]",
                                 "[\"\\",
                                 "[\"\\u",
                                 "[\"\\ud800\\u]"}) {
    EXPECT_FALSE(ExpectPlain(text)) << text;
  }
}

TEST(TextParser, CutsAndChangesOfAText) {
  const std::string text =
      "{\"Content\":\"a text of more than thirteen bytes "
      "\\u5b8b\\n\",\"Font\":{\"FontSize\":24.5,\"Bold\":true},"
      "\"DeltaX\":[-40,1e5,12345678901,0.000123456789012345678,null,false]}";
  for (std::size_t length = 0; length <= text.size(); ++length) {
    ExpectPlain(std::string_view(text).substr(0, length));
    if (length == text.size()) break;
    for (const char c : std::string("\"\\{}[]:,0eE.- \n\x01\x7f\xff\0u", 20)) {
      std::string changed = text;
      changed[length] = c;
      ExpectPlain(changed);
    }
  }
}

// Strings around the ends of the blocks that are looked at together, with what ends a plain run at each
// place.
TEST(TextParser, StringsAroundEveryBlockEdge) {
  for (std::size_t length = 0; length <= 70; ++length) {
    const std::string plain(length, 'p');
    ExpectPlain("[\"" + plain + "\"]");
    ExpectPlain("{\"" + plain + "\":1}");
    ExpectPlain("[\"" + plain + "\"" + std::string(70, ' ') + "]");
    for (std::size_t at = 0; at <= length; ++at) {
      for (const char* const piece : {"\\n", "\\u0041", "\\ud83d\\ude00", "\\\"", "\\\\", "\xff", "\x01",
                                      "\\x", "\\ud800", "\\udc00", "\\u00e9"}) {
        const std::string text = plain.substr(0, at) + piece + plain.substr(at);
        ExpectPlain("[\"" + text + "\"]");
        if (at % 8 == 7) ExpectPlain("{\"" + text + "\": \"" + text + "\"}" + std::string(length, ' '));
      }
    }
  }
}

TEST(TextParser, WhiteSpaceAroundEveryBlockEdge) {
  for (std::size_t length = 0; length <= 70; ++length) {
    for (const char* const piece : {" ", "\n", "\t", "\r", "\v", "\x01"}) {
      for (std::size_t at = 0; at <= length; at += 1 + at / 8) {
        const std::string space = std::string(at, ' ') + piece + std::string(length - at, ' ');
        ExpectPlain("[1," + space + "2]");
        ExpectPlain(space + "{" + space + "\"a\"" + space + ":" + space + "1" + space + "}" + space);
        ExpectPlain("[" + space + "]");
        ExpectPlain("[1," + space);
      }
    }
  }
}

std::string RandomDigits(std::size_t count, std::mt19937& random) {
  std::string digits(count, '0');
  for (char& c : digits) c = static_cast<char>('0' + random() % 10);
  return digits;
}

TEST(TextParser, NumbersOfOneTo400Digits) {
  std::mt19937 random(21);
  for (std::size_t whole = 1; whole <= 400; whole += 1 + whole / 24) {
    for (std::size_t fraction = 0; fraction <= 400; fraction += 1 + fraction / 24) {
      std::string number = (random() % 2 == 0 ? "-" : "") + RandomDigits(whole, random);
      if (number[0] == '0' || number[0] == '-')
        number[number[0] == '-'] = whole == 1 && random() % 2 == 0 ? '0' : '7';
      if (fraction != 0)
        number +=
            "." + std::string(random() % 2 == 0 ? 0 : random() % 20, '0') + RandomDigits(fraction, random);
      ExpectPlain("[" + number + "]");
      ExpectPlain("{\"a\":" + number + "e" + std::to_string(random() % 310) + " ,\"b\":0}");
      ExpectPlain("[" + number + "e-" + std::to_string(random() % 700) + ",1]");
    }
  }
}

TEST(TextParser, SignificandsAroundTheLimitsOfEachStep) {
  // 2^53 and its tenfolds, where the digits stop being taken exactly; 2^63 and 2^64; powers of ten.
  std::vector<std::uint64_t> centers = {9007199254740991, 90071992547409919,    900719925474099199,
                                        4294967295,       9223372036854775808U, 18446744073709551615U,
                                        2147483648};
  for (std::uint64_t power = 10; power < 10000000000000000000U; power *= 10) centers.push_back(power);
  for (const std::uint64_t center : centers) {
    for (std::uint64_t change = 0; change <= 24; ++change) {
      const std::string digits = std::to_string(center - 12 + change);
      for (const char* const sign : {"", "-"}) {
        ExpectPlain("[" + (sign + digits) + "]");
        ExpectPlain("[" + (sign + digits) + "e144]");
        for (std::size_t point = 0; point <= digits.size(); ++point) {
          const std::string whole = point == 0 ? "0" : digits.substr(0, point);
          const std::string number =
              sign + whole + "." + digits.substr(point) + (point == digits.size() ? "0" : "");
          ExpectPlain("[" + number + "]");
          ExpectPlain("[" + number + "5]");
          ExpectPlain("[" + number + "37E+3]");
          ExpectPlain("[" + number + "e-12]");
        }
      }
    }
  }
}

TEST(TextParser, ExponentsToBothLimits) {
  for (const char* const significand :
       {"0", "1", "9", "12345", "1.5", "0.1", "17976931348623157", "1.7976931348623157",
        "0.00000000000000000001", "12345678901234567890", "99999999999999999999.9"}) {
    for (int exponent = -350; exponent <= 350; ++exponent) {
      ExpectPlain("[" + std::string(significand) + "e" + std::to_string(exponent) + "]");
    }
    for (const char* const exponent : {"e+0",
                                       "e-0",
                                       "e00",
                                       "E+0005",
                                       "e00000000000000005",
                                       "e-00000000000000005",
                                       "e9999",
                                       "e-9999",
                                       "e10000",
                                       "e-10000",
                                       "e2147483647",
                                       "e-2147483647",
                                       "e-2147483648",
                                       "e4294967296",
                                       "e-4294967296",
                                       "e",
                                       "e+",
                                       "e-",
                                       "e--1",
                                       "e1.5"}) {
      ExpectPlain("[" + (significand + std::string(exponent)) + "]");
    }
  }
}

// Documents with all of it, of sizes that end anywhere in a block.
class RandomDocument {
 public:
  explicit RandomDocument(unsigned seed) : random_(seed) {}
  std::string Make() { return Space() + Container(1 + Below(5)) + Space(); }
  std::size_t Below(std::size_t limit) { return random_() % limit; }

 private:
  std::string Space() {
    if (Below(3) != 0) return "";
    return (Below(2) == 0 ? "\n" : "") +
           std::string(Below(4) == 0 ? Below(70) : Below(3), Below(9) == 0 ? '\t' : ' ');
  }
  std::string String() {
    std::string text = "\"";
    for (std::size_t left = Below(4) == 0 ? Below(80) : Below(16); left > 0; --left) {
      static const char* const kPieces[] = {"\\n",          "\\\"", "\\\\",   "\\u00e9", "\\ud83d\\ude00",
                                            "\xE5\xAE\x8B", "\\/",  "\\u0000"};
      text += Below(24) == 0 ? kPieces[Below(std::size(kPieces))]
                             : std::string(1, static_cast<char>('a' + Below(26)));
    }
    return text + "\"";
  }
  std::string Number() {
    std::string number = Below(3) == 0 ? "-" : "";
    number += Below(5) == 0 ? "0"
                            : std::to_string(1 + Below(9)) +
                                  RandomDigits(Below(8) == 0 ? Below(25) : Below(5), random_);
    if (Below(2) == 0) number += "." + RandomDigits(1 + Below(20), random_);
    if (Below(6) == 0) number += (Below(2) == 0 ? "e" : "E-") + std::to_string(Below(330));
    return number;
  }
  std::string Scalar() {
    static const char* const kWords[] = {"true", "false", "null"};
    return Below(3) == 0 ? String() : Below(4) == 0 ? kWords[Below(3)] : Number();
  }
  std::string Container(std::size_t depth) {
    const bool isObject = Below(2) == 0;
    std::string text(1, isObject ? '{' : '[');
    for (std::size_t left = Below(Below(20) == 0 ? 90 : 6); left > 0; --left) {
      text += Space();
      if (isObject) text += String() + Space() + ":" + Space();
      text += depth > 0 && Below(3) == 0 ? Container(depth - 1) : Scalar();
      text += Space() + (left > 1 ? "," : "");
    }
    return text + Space() + (isObject ? '}' : ']');
  }

  std::mt19937 random_;
};

TEST(TextParser, RandomDocumentsAndTheirMutations) {
  RandomDocument documents(22);
  std::size_t fast = 0;
  for (int round = 0; round < 20000; ++round) {
    std::string text = documents.Make();
    fast += ExpectPlain(text) ? 1 : 0;
    for (int change = 0; change < 2; ++change) {
      text[documents.Below(text.size())] = "\"\\{}[]:,0eE.- \n\x01\xff"[documents.Below(17)];
      ExpectPlain(text);
    }
  }
  EXPECT_GT(fast, 10000U);
}

TEST(TextParser, TakesDepthInOnePass) {
  RunOnStack(std::size_t{256} << 10, [] {
    std::string text;
    for (int i = 0; i < 200000; ++i) text += i % 3 == 0 ? "{\"k\": " : "[1, ";
    text += "\"deep\"";
    for (int i = 200000; i-- > 0;) text += i % 3 == 0 ? "}" : "]";
    auto document = NewDocument();
    EXPECT_TRUE(ParseText(text.data(), text.size(), *document).readFast);
    text.back() = ',';
    EXPECT_FALSE(ParseText(text.data(), text.size(), *NewDocument()).IsRead());
  });
}

TEST(TextParser, TheEndOfATextIsItsFirstNul) {
  // Nothing behind the NUL is there to be read, whatever the length says.
  static GuardedText guarded(1 << 12);
  for (const std::string text : {"[1]", "{\"a\":\"b\"}   ", "[\"0123456789abcdef0123456789abcdef\"]\n"}) {
    auto document = NewDocument();
    const char* const placed = guarded.Place(std::string_view(text.c_str(), text.size() + 1));
    EXPECT_TRUE(ParseText(placed, 4294967295U, *document).readFast) << text;
    EXPECT_TRUE(SameBits(*document, *PlainRead(text).document)) << text;
  }
}

}  // namespace
}  // namespace tovkit
