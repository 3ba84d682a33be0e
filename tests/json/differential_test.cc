// SPDX-License-Identifier: MIT
// Every text is read as RapidJSON's own recursive parser reads it: the same values, the same error code.
#include "json_support.h"
#include "stack_thread.h"

#include "../support/every_text.h"

#include <rapidjson/document.h>
#include <rapidjson/encodedstream.h>
#include <rapidjson/memorystream.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <cctype>
#include <random>
#include <sstream>
#include <string>
#include <vector>

namespace {

// The outcome of one text: a line that is printed, or the document's text.
struct Outcome {
  std::string line;
  std::string written;
  bool operator==(const Outcome&) const = default;
};

std::ostream& operator<<(std::ostream& out, const Outcome& outcome) {
  return out << (outcome.line.empty() ? outcome.written : outcome.line);
}

Outcome Reference(const std::string& text) {
  rapidjson::MemoryStream bytes(text.data(), text.size());
  rapidjson::EncodedInputStream<rapidjson::UTF8<>, rapidjson::MemoryStream> input(bytes);
  rapidjson::Document document;
  document.ParseStream<rapidjson::kParseDefaultFlags>(input);
  if (document.HasParseError()) {
    return {"Parse json error. code=" + std::to_string(document.GetParseError()), ""};
  }
  if (!document.IsArray() && !document.IsObject()) return {"Only allow array and object", ""};
  rapidjson::StringBuffer buffer;
  rapidjson::Writer<rapidjson::StringBuffer> writer(buffer);
  document.Accept(writer);
  return {"", std::string(buffer.GetString(), buffer.GetSize())};
}

// The packaged parser reads outside a table for some exponents of nine digits and more.
bool ReferenceSurvives(const std::string& text) {
  for (std::size_t i = 0; i + 1 < text.size(); ++i) {
    if ((text[i] != 'e' && text[i] != 'E') || text[i + 1] != '-') continue;
    std::size_t digits = 0;
    while (i + 2 + digits < text.size() && std::isdigit(static_cast<unsigned char>(text[i + 2 + digits])))
      ++digits;
    if (digits > 8) return false;
  }
  return true;
}

// Compares many texts in one go, with one capture of what is printed.
class Comparison {
 public:
  void Add(std::string text) {
    // A text that is empty for Parse is an empty object by rule, and an error for the reference.
    if (text.empty() || text[0] == '\0' || !ReferenceSurvives(text)) return;
    texts_.push_back(std::move(text));
    if (texts_.size() == 10000) Run();
  }

  ~Comparison() {
    Run();
    EXPECT_GT(read_, 0U);
    EXPECT_GT(refused_, 0U);
  }

  void Run() {
    std::vector<Outcome> outcomes;
    Captured out(stdout);
    for (const std::string& text : texts_) {
      const Handle root = Parse(text);
      outcomes.push_back(root ? Outcome{"", Text(root)} : Outcome{"?", ""});
    }
    std::istringstream lines(out.Text());
    for (std::size_t i = 0; i < texts_.size(); ++i) {
      if (!outcomes[i].line.empty()) std::getline(lines, outcomes[i].line);
      const Outcome reference = Reference(texts_[i]);
      ++(reference.line.empty() ? read_ : refused_);
      if (!(outcomes[i] == reference) && ++wrong_ < 10) {
        ADD_FAILURE() << texts_[i].substr(0, 1000) << "\ngives " << outcomes[i] << "\ninstead of "
                      << reference;
      }
    }
    std::string rest;
    EXPECT_FALSE(std::getline(lines, rest)) << rest;
    texts_.clear();
  }

 private:
  std::vector<std::string> texts_;
  std::size_t read_ = 0;
  std::size_t refused_ = 0;
  int wrong_ = 0;
};

// The reference recurses: its deepest texts need some megabytes, more under a sanitizer.
constexpr std::size_t kRoomyStack = std::size_t{512} << 20;

const std::vector<std::string>& ValidTexts() {
  static const std::vector<std::string> texts = {
      "{}",
      "[]",
      "[[],[[]],{\"a\":[]},{}]",
      "[0,-0,1,-1,12,2147483647,2147483648,-2147483648,-2147483649,4294967295,4294967296]",
      "[9223372036854775807,-9223372036854775808,18446744073709551615,18446744073709551616,"
      "123456789012345678901]",
      "[0.0,-0.5,1.25,1e5,1E-5,1.5e+10,1e308,1.7976931348623157e308,5e-324,0.1,123456789.123456789e-30]",
      "{\"Content\":\"Hello "
      "\u5B8B\u4F53\",\"Font\":{\"FontSize\":24.5,\"Bold\":true,\"Italic\":false},\"DeltaX\":null}",
      " { \"a\" : [ 1 , 2 ] ,\n\t\"b\" : { } } \r\n",
      "\xEF\xBB\xBF[\"\\u0041\\ud83d\\ude00\\b\\f\\n\\r\\t\\/\\\\\\\"\"]",
      "[\"a text that is longer than sixteen bytes, with \\u00e9 and \xFF inside\",true,false,null]",
      "{\"\":{\"\":{\"\":[{\"x\":[{}]}]}},\"\":1}",
      std::string("[1]\0[2]", 7),
  };
  return texts;
}

TEST(JsonDifferential, ValidTextsAndEachOfTheirTruncations) {
  RunOnStack(kRoomyStack, [] {
    Comparison comparison;
    for (const std::string& text : ValidTexts()) {
      for (std::size_t length = 1; length <= text.size(); ++length) comparison.Add(text.substr(0, length));
      for (std::size_t first = 1; first < text.size(); ++first) comparison.Add(text.substr(first));
    }
  });
}

constexpr char kTokens[] = "[]{}:,\"\\/ \t\n0123456789-+.eEtrufalsn\x01\x1F\x7F\x80\xFF";

TEST(JsonDifferential, EachByteReplacedAndEachByteAdded) {
  RunOnStack(kRoomyStack, [] {
    Comparison comparison;
    for (const std::string& text : ValidTexts()) {
      for (std::size_t i = 0; i < text.size(); ++i) {
        for (const char c : std::string(kTokens, sizeof kTokens)) {
          std::string changed = text;
          changed[i] = c;
          comparison.Add(changed);
          comparison.Add(text.substr(0, i) + c + text.substr(i));
        }
        comparison.Add(text.substr(0, i) + text.substr(i + 1));
      }
    }
  });
}

TEST(JsonDifferential, EveryShortText) {
  RunOnStack(kRoomyStack, [] {
    Comparison comparison;
    ForEveryText("[]{},:\"1", 5, [&](const std::string& text) { comparison.Add(text); });
    ForEveryText("10.e-+", 5, [&](const std::string& text) { comparison.Add("[" + text + "]"); });
    ForEveryText("\\u\"d8c0n", 5, [&](const std::string& text) { comparison.Add("[\"" + text); });
  });
}

TEST(JsonDifferential, RandomMutations) {
  RunOnStack(kRoomyStack, [] {
    Comparison comparison;
    std::mt19937 random(11);
    const auto below = [&random](std::size_t limit) { return random() % limit; };
    for (int round = 0; round < 60000; ++round) {
      std::string text = ValidTexts()[below(ValidTexts().size())];
      for (std::size_t change = 0; change <= below(4); ++change) {
        const std::size_t at = below(text.size() + 1);
        const std::string& other = ValidTexts()[below(ValidTexts().size())];
        switch (below(4)) {
          case 0:
            text.insert(at, 1, kTokens[below(sizeof kTokens)]);
            break;
          case 1:
            text.erase(at, below(5));
            break;
          case 2:
            text.insert(at, other, below(other.size()), below(20));
            break;
          default:
            if (at < text.size()) text[at] = static_cast<char>(random());
        }
      }
      comparison.Add(text);
    }
  });
}

TEST(JsonDifferential, RandomBytesAndRandomTokens) {
  RunOnStack(kRoomyStack, [] {
    Comparison comparison;
    comparison.Add("[]");
    std::mt19937 random(12);
    for (int round = 0; round < 60000; ++round) {
      std::string text(1 + random() % 40, '[');
      for (char& c : text) {
        c = round % 2 == 0 ? static_cast<char>(random()) : kTokens[random() % sizeof kTokens];
      }
      if (round % 3 == 0) text[0] = '[';
      comparison.Add(text);
    }
  });
}

TEST(JsonDifferential, RandomNumbers) {
  RunOnStack(kRoomyStack, [] {
    Comparison comparison;
    std::mt19937 random(13);
    const auto digits = [&random](std::size_t most) {
      std::string text(1 + random() % most, '0');
      for (char& c : text) c = static_cast<char>('0' + random() % 10);
      return text;
    };
    for (int round = 0; round < 60000; ++round) {
      std::string text = "[";
      if (random() % 2 == 0) text += "-";
      text += digits(random() % 8 == 0 ? 400 : 22);
      if (random() % 2 == 0) text += "." + digits(random() % 8 == 0 ? 400 : 22);
      if (random() % 2 == 0) text += std::string(random() % 2 == 0 ? "e" : "E-") + digits(4);
      comparison.Add(text + "]");
    }
  });
}

// Containers opened at random, closed in order or not, cut anywhere.
std::string RandomNest(std::size_t depth, std::mt19937& random) {
  std::string text;
  std::string closers;
  for (std::size_t level = 0; level < depth; ++level) {
    const bool object = random() % 2 == 0;
    text += object ? "{\"k\":" : "[";
    if (random() % 16 == 0) text += object ? "1,\"l\":" : "1,";
    closers += object ? '}' : ']';
  }
  text += random() % 2 == 0 ? "5" : "[]";
  for (std::size_t level = depth; level-- > 0;) {
    if (random() % 64 == 0) text += closers[level] == '}' ? ",\"m\":true" : ",true";
    text += closers[level];
  }
  return text;
}

TEST(JsonDifferential, RandomNestsOfAnyDepth) {
  RunOnStack(kRoomyStack, [] {
    Comparison comparison;
    std::mt19937 random(14);
    for (const std::size_t depth : {1U, 3U, 10U, 100U, 500U, 1000U, 1500U, 4000U, 10000U}) {
      for (int round = 0; round < (depth < 1000 ? 400 : 40); ++round) {
        std::string text = RandomNest(depth, random);
        comparison.Add(text);
        comparison.Add(text.substr(0, random() % text.size()));
        text[random() % text.size()] = kTokens[random() % sizeof kTokens];
        comparison.Add(text);
        comparison.Add(text + "]");
      }
      comparison.Run();
    }
  });
}

TEST(JsonDifferential, EveryDepthAroundAThousand) {
  RunOnStack(kRoomyStack, [] {
    Comparison comparison;
    for (std::size_t depth = 1; depth <= 1200; ++depth) {
      std::string text;
      for (std::size_t i = 0; i < depth; ++i) text += i % 3 == 2 ? "{\"k\":" : "[";
      comparison.Add(text);
      text += "1.5";
      comparison.Add(text);
      for (std::size_t i = depth; i-- > 0;) text += i % 3 == 2 ? '}' : ']';
      comparison.Add(text);
      comparison.Add(text + ",");
      text.pop_back();
      comparison.Add(text + "x");
      if (depth % 100 == 0) comparison.Run();
    }
  });
}

}  // namespace
