// SPDX-License-Identifier: MIT
// Documents nested a million levels deep, on a stack that no recursion of such a depth fits into.
#include "json_support.h"
#include "stack_thread.h"

#include <functional>
#include <string>

namespace {

constexpr int kDepth = 1000000;
constexpr std::size_t kSmallStack = 256 << 10;

std::string Repeated(const std::string& piece, int count) {
  std::string text;
  text.reserve(piece.size() * static_cast<std::size_t>(count));
  for (int i = 0; i < count; ++i) text += piece;
  return text;
}

struct Shape {
  const char* name;
  std::string text;
};

const Shape kShapes[] = {
    {"Arrays", Repeated("[", kDepth) + Repeated("]", kDepth)},
    {"Objects", Repeated("{\"a\":", kDepth - 1) + "{}" + Repeated("}", kDepth - 1)},
    {"Both", Repeated("[{\"a\":", kDepth / 2) + "0" + Repeated("}]", kDepth / 2)},
    {"ArraysWithNeighbors", Repeated("[1,", kDepth - 1) + "[]" + Repeated(",2]", kDepth - 1)},
    {"ObjectsWithNeighbors",
     Repeated("{\"a\":1,\"b\":", kDepth - 1) + "[]" + Repeated(",\"c\":2}", kDepth - 1)},
};

// One shape a test, so that each is short under a sanitizer too.
class JsonDeepShape : public testing::TestWithParam<std::size_t> {
 protected:
  static void Check(const std::function<void(const Handle&, const std::string&)>& check) {
    RunOnStack(kSmallStack, [&check] {
      const Shape& shape = kShapes[GetParam()];
      const Handle root = Parse(shape.text);
      ASSERT_TRUE(root);
      check(root, shape.text);
    });
  }
};

INSTANTIATE_TEST_SUITE_P(OfEveryShape, JsonDeepShape, testing::Range(std::size_t{0}, std::size(kShapes)),
                         [](const auto& shape) { return std::string(kShapes[shape.param].name); });

TEST_P(JsonDeepShape, IsParsedWrittenAndFreed) {
  Check([](const Handle& root, const std::string& text) { EXPECT_TRUE(Text(root) == text); });
}

TEST_P(JsonDeepShape, IsClonedAndWorksOn) {
  Check([](const Handle& root, const std::string& text) {
    const Handle clone = root->Clone();
    EXPECT_TRUE(Text(clone) == text);
    const Handle again = clone->Clone();
    EXPECT_EQ(again->GetType(), root->GetType());
  });
}

TEST_P(JsonDeepShape, IsAssigned) {
  Check([](const Handle& root, const std::string& text) {
    Handle target = Parse("[0]");
    EXPECT_TRUE(target->GetAt(0)->Assign(root));
    EXPECT_TRUE(Text(target->GetAt(0)) == text);
    EXPECT_TRUE(target->Assign(root));
    EXPECT_TRUE(Text(target) == text);
    EXPECT_TRUE(root->Assign(root));
    EXPECT_TRUE(Text(root) == text);
  });
}

TEST_P(JsonDeepShape, IsSetAsMemberAndElement) {
  Check([](const Handle& root, const std::string& text) {
    Handle object = Parse("{\"a\": 1}");
    object->SetMember("a", root);
    object->SetMember("b", root);
    EXPECT_TRUE(Text(object) == "{\"a\":" + text + ",\"b\":" + text + "}");
    Handle array = Parse("[1]");
    EXPECT_TRUE(array->SetAt(0, root));
    EXPECT_TRUE(array->Insert(0, root));
    EXPECT_TRUE(Text(array) == "[" + text + "," + text + "]");
    object->RemoveMember("a");
    EXPECT_TRUE(array->RemoveAt(0));
  });
}

TEST(JsonDeep, WhiteSpaceIsSkippedEverywhere) {
  RunOnStack(kSmallStack, [] {
    for (const int depth : {1000, 100000}) {
      const std::string text =
          Repeated(" \t[ \r\n{ \"a\" \n: ", depth / 2) + " 0 " + Repeated(" }\n ]\t", depth / 2);
      for (const char* const behind : {"", " ", "\n", "\t", "\r", " \r\n\t "}) {
        const Handle root = Parse(text + behind);
        ASSERT_TRUE(root) << depth << " levels, then '" << behind << "'";
        EXPECT_TRUE(Text(root) == Repeated("[{\"a\":", depth / 2) + "0" + Repeated("}]", depth / 2));
      }
    }
  });
}

TEST(JsonDeep, StopsAtANumberThatCannotBeWritten) {
  RunOnStack(kSmallStack, [] {
    Handle root = Parse(Repeated("[", kDepth) + Repeated("]", kDepth));
    ASSERT_TRUE(root);
    Handle value = root;
    for (int level = 1; level < kDepth; ++level) value = value->GetAt(0);
    EXPECT_TRUE(value->InsertDouble(-1, 1e308 * 10));
    EXPECT_TRUE(Text(root) == Repeated("[", kDepth));
  });
}

TEST(JsonDeep, GrowsByOperationsToo) {
  RunOnStack(kSmallStack, [] {
    Handle root = Parse("[]");
    Handle value = root;
    for (int level = 1; level < kDepth; ++level) {
      value = level % 2 == 1 ? value->InsertObject(0) : value->AddArrayMember("a");
    }
    EXPECT_EQ(Text(root).size(),
              static_cast<std::size_t>(kDepth) * 2 + static_cast<std::size_t>(kDepth - 1) / 2 * 4);
    EXPECT_TRUE(Text(root->Clone()) == Text(root));
  });
}

TEST(JsonDeep, ErrorsHaveTheirCodes) {
  const struct {
    const char* name;
    std::string text;
    int code;
  } kTable[] = {
      {"arrays left open", Repeated("[", kDepth), 3},
      {"objects left open", Repeated("{\"a\":", kDepth), 3},
      {"both left open", Repeated("[{\"a\":", kDepth / 2), 3},
      {"objects without a name", Repeated("{\"a\":", kDepth) + "{", 4},
      {"objects without a colon", Repeated("{\"a\":", kDepth) + "{\"a\"", 5},
      {"one bracket missing", Repeated("[", kDepth) + Repeated("]", kDepth - 1), 7},
      {"one brace missing", Repeated("{\"a\":", kDepth - 1) + "{}" + Repeated("}", kDepth - 2), 6},
      {"one bracket too many", Repeated("[", kDepth) + Repeated("]", kDepth + 1), 2},
      {"wrong bracket", Repeated("[", kDepth) + "1}", 7},
      {"wrong brace", Repeated("{\"a\":", kDepth) + "1]", 6},
      {"wrong escape", Repeated("[", kDepth) + "\"\\x\"", 10},
      {"number too big", Repeated("[", kDepth) + "1e309", 13},
      {"only closed", Repeated("]", kDepth), 3},
  };
  RunOnStack(kSmallStack, [&kTable] {
    for (const auto& row : kTable) {
      const ParseOutcome outcome = ParseCaptured(row.text);
      EXPECT_FALSE(outcome.root) << row.name;
      EXPECT_EQ(outcome.out, "Parse json error. code=" + std::to_string(row.code) + "\n") << row.name;
      EXPECT_EQ(outcome.err, "") << row.name;
    }
  });
}

TEST(JsonDeep, TakesAnyNumbersBetweenTheLevels) {
  RunOnStack(kSmallStack, [] {
    const std::string text = Repeated("[1.00000000001e-2147483638,", 5000) + "[]" + Repeated("]", 5000);
    const Handle root = Parse(text);
    ASSERT_TRUE(root);
    EXPECT_TRUE(Text(root) == Repeated("[0.0,", 5000) + "[]" + Repeated("]", 5000));
  });
}

}  // namespace
