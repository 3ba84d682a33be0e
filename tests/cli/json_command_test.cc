// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <vector>

#include "run_command.h"
#include "scratch_dir.h"

namespace {

CommandResult Json(const std::vector<std::string>& arguments, const std::string& input) {
  std::vector<std::string> all{"json", "-"};
  all.insert(all.end(), arguments.begin(), arguments.end());
  return RunCommand(all, input, {{"LC_ALL", "C.UTF-8"}});
}

std::string Repeated(const std::string& piece, int count) {
  std::string text;
  for (int i = 0; i < count; ++i) text += piece;
  return text;
}

TEST(JsonCommand, PrintsTheTextCompact) {
  const char* const kTable[][2] = {
      {" { \"a\" : [ 1 , 2.50 , \"\\u5B8B/\" ] } ", "{\"a\":[1,2.5,\"\u5B8B/\"]}\n"},
      {"[]", "[]\n"},
      {"\xEF\xBB\xBF[null]\n", "[null]\n"},
      {"[\"%s %n\"]", "[\"%s %n\"]\n"},
  };
  for (const auto& row : kTable) {
    const CommandResult result = Json({}, row[0]);
    EXPECT_EQ(result.status, 0) << row[0];
    EXPECT_EQ(result.out, row[1]) << row[0];
    EXPECT_EQ(result.err, "") << row[0];
  }
}

TEST(JsonCommand, AnEmptyInputIsNoText) {
  const CommandResult result = Json({}, "");
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.out, "");
  EXPECT_EQ(result.err, "tovkit: standard input: empty, where JSON is expected\n");
  EXPECT_EQ(RunCommand({"json", "/dev/null", "--get", ""}).err,
            "tovkit: /dev/null: empty, where JSON is expected\n");
}

TEST(JsonCommand, GetPrintsTheKindAndTheValue) {
  const std::string text =
      "{\"n\":null,\"i\":-5,\"u\":5,\"l\":-3000000000,\"v\":10000000000,\"d\":1.0,\"s\":\"a\\tb\",\"b\":true,"
      "\"a\":[[7],{\"k\":[]}],\"dotted.name\":1,\"back\\\\slash\":2,\"0\":3,\" \":4}";
  const char* const kTable[][2] = {
      {"n", "null null\n"},
      {"i", "int -5\n"},
      {"u", "uint 5\n"},
      {"l", "int64 -3000000000\n"},
      {"v", "uint64 10000000000\n"},
      {"d", "double 1.0\n"},
      {"s", "string \"a\\tb\"\n"},
      {"b", "boolean true\n"},
      {"a", "array [[7],{\"k\":[]}]\n"},
      {"a.0", "array [7]\n"},
      {"a.0.0", "uint 7\n"},
      {"a.1", "object {\"k\":[]}\n"},
      {"a.1.k", "array []\n"},
      {"dotted\\.name", "uint 1\n"},
      {"back\\\\slash", "uint 2\n"},
      {"0", "uint 3\n"},
      {" ", "uint 4\n"},
  };
  for (const auto& row : kTable) {
    const CommandResult result = Json({"--get", row[0]}, text);
    EXPECT_EQ(result.status, 0) << row[0] << result.err;
    EXPECT_EQ(result.out, row[1]) << row[0];
    EXPECT_EQ(result.err, "") << row[0];
  }
  EXPECT_EQ(Json({"--get", ""}, "[1]").out, "array [1]\n");
}

TEST(JsonCommand, PathThatLeadsNowhereFails) {
  const std::string text = "{\"a\":[1,{\"b\":2}],\"\":3,\"dotted.name\":4}";
  const char* const kTable[][2] = {{"x", "x"},
                                   {"a.2", "2"},
                                   {"a.-1", "-1"},
                                   {"a.x", "x"},
                                   {"a.0x", "0x"},
                                   {"a.", ""},
                                   {".", ""},
                                   {"a.1.c", "c"},
                                   {"a.0.0", "0"},
                                   {"dotted.name", "dotted"},
                                   {"a.99999999999", "99999999999"}};
  for (const auto& row : kTable) {
    const CommandResult result = Json({"--get", row[0]}, text);
    EXPECT_EQ(result.status, 1) << row[0];
    EXPECT_EQ(result.out, "") << row[0];
    EXPECT_EQ(result.err, std::string("tovkit: standard input: nothing at '") + row[0] + "': no '" + row[1] +
                              "' there\n");
  }
}

TEST(JsonCommand, AnErrorInTheTextIsShownInItsLine) {
  const char* const kTable[][2] = {
      {"[1,", ":1:4: the text ends inside an array: a value is expected\n  [1,\n     ^"},
      {"[1,\n\t\"\u5B8B\" x,\n2]", ":2:6: a comma or ] is expected\n   \"\u5B8B\" x,\n        ^"},
      {" ", ":1:2: nothing but white space, where JSON is expected\n   \n   ^"},
      {"{}{}", ":1:3: the text goes on behind the end of its value\n  {}{}\n    ^"},
      {"[1e309]", ":1:2: the number is too big\n  [1e309]\n   ^"},
      {"[\"\x1b[31m\" 1]",
       ":1:3: an unknown escape, or a control character in a string\n  [\"\\x1b[31m\" 1]\n    ^"},
      {"42", ":1:1: neither an array nor an object\n  42\n  ^"},
      {"[1.8e308]", ": holds a number that is too big to be written"},
      {"{\"a\":[[{\"b\":1.8e308}]]}", ": holds a number that is too big to be written"},
  };
  for (const auto& row : kTable) {
    const CommandResult result = Json({}, row[0]);
    EXPECT_EQ(result.status, 1) << row[0];
    EXPECT_EQ(result.out, "") << row[0];
    EXPECT_EQ(result.err, std::string("tovkit: standard input") + row[1] + "\n");
  }
  EXPECT_EQ(Json({"--get", "0"}, "[1.8e308]").status, 1);
}

TEST(JsonCommand, NamesTheFile) {
  const ScratchDir scratch;
  const std::string path = scratch.path() + "/broken.json";
  std::FILE* const file = std::fopen(path.c_str(), "wb");
  std::fputs("[", file);
  std::fclose(file);
  const CommandResult result = RunCommand({"json", path});
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.err,
            "tovkit: " + path + ":1:2: the text ends inside an array: a value is expected\n  [\n   ^\n");
  const CommandResult missing = RunCommand({"json", scratch.path() + "/none"});
  EXPECT_EQ(missing.status, 1);
  EXPECT_EQ(missing.err, "tovkit: " + scratch.path() + "/none: No such file or directory\n");
  EXPECT_EQ(RunCommand({"json", scratch.path()}).status, 1);
}

TEST(JsonCommand, LargeAndDeepTexts) {
  std::string wide = "[0";
  for (int i = 1; i < 300000; ++i) wide += "," + std::to_string(i);
  EXPECT_TRUE(Json({}, wide + "]").out == wide + "]\n");
  EXPECT_EQ(Json({"--get", "299999"}, wide + "]").out, "uint 299999\n");
  constexpr int kDepth = 1000000;
  const std::string deep = Repeated("[", kDepth) + Repeated("]", kDepth);
  const CommandResult whole = Json({}, deep);
  EXPECT_EQ(whole.status, 0) << whole.err;
  EXPECT_TRUE(whole.out == deep + "\n");
  EXPECT_TRUE(Json({"--get", "0"}, deep).out == "array " + deep.substr(1, deep.size() - 2) + "\n");
  EXPECT_EQ(Json({}, Repeated("[", kDepth)).err,
            "tovkit: standard input:1:1000001: the text ends inside an array: a value is expected\n  ..." +
                Repeated("[", 60) + "\n  " + std::string(63, ' ') + "^\n");
  EXPECT_EQ(Json({"--get", Repeated("0.", 2000) + "0"}, deep).status, 0);
}

TEST(JsonCommand, WrongUse) {
  const std::vector<std::vector<std::string>> kTable = {{"json", "-", "--indent", "-1"},
                                                        {"json", "-", "--indent", "17"},
                                                        {"json", "-", "--get"},
                                                        {"json", "-", "--put", "x"}};
  for (const auto& arguments : kTable) {
    const CommandResult result = RunCommand(arguments, "[]");
    EXPECT_EQ(result.status, 2) << arguments.back();
    EXPECT_EQ(result.out, "") << arguments.back();
    EXPECT_EQ(result.err.rfind("tovkit: ", 0), 0U) << result.err;
  }
}

TEST(JsonCommand, IndentSpreadsTheTextOverLines) {
  EXPECT_EQ(Json({"--indent", "2"}, R"({"a":[1,{"b":"x,{}:[\"]"}],"c":{},"d":[]})").out,
            "{\n  \"a\": [\n    1,\n    {\n      \"b\": \"x,{}:[\\\"]\"\n    }\n  ],\n  \"c\": {},\n  \"d\": "
            "[]\n}\n");
  EXPECT_EQ(Json({"--indent", "0"}, "[1,2]").out, "[\n1,\n2\n]\n");
  EXPECT_EQ(Json({"--indent", "1", "--get", "a"}, R"({"a":[1]})").out, "array [\n 1\n]\n");
  EXPECT_EQ(Json({"--indent", "3"}, "[]").out, "[]\n");
}

// What was indented is the same document, and a deep one does not grow without bounds.
TEST(JsonCommand, IndentedTextIsTheSameDocument) {
  const std::string text = R"({"a b":[1.5,"\\\" \u0001\n",[[]],{"":{}}],"c":[{"d":null},[true,[false]]]})";
  const std::string compact = Json({}, text).out;
  for (const char* spaces : {"0", "1", "4", "16"}) {
    EXPECT_EQ(Json({}, Json({"--indent", spaces}, text).out).out, compact) << spaces;
  }
  const std::string deep = std::string(20000, '[') + std::string(20000, ']');
  const CommandResult result = Json({"--indent", "16"}, deep);
  EXPECT_EQ(result.status, 0);
  EXPECT_LT(result.out.size(), 20000u * 2 * 1700);
  EXPECT_EQ(Json({}, result.out).out, deep + "\n");
}

TEST(JsonCommand, RawStringsHaveNoQuotesAndValuesNoKind) {
  EXPECT_EQ(Json({"--raw", "--get", "a"}, R"({"a":"x \"y\"\n\t\\ \u5B8B\u0001"})").out,
            "x \"y\"\n\t\\ \u5B8B\x01\n");
  EXPECT_EQ(Json({"--raw", "--get", "a"}, R"({"a":"x\u0000y"})").out, std::string("x\0y\n", 4));
  EXPECT_EQ(Json({"--raw", "--get", "a"}, R"({"a":[ "x" ]})").out, "[\"x\"]\n");
  EXPECT_EQ(Json({"--raw", "--get", "a"}, R"({"a":12})").out, "12\n");
  EXPECT_EQ(Json({"--raw"}, "[1]").out, "[1]\n");
}

// The examples of RFC 6901, section 5, and what it forbids.
TEST(JsonCommand, ALeadingSlashIsAPointer) {
  const std::string text =
      R"({"foo": ["bar", "baz"], "": 0, "a/b": 1, "c%d": 2, "e^f": 3, "g|h": 4, "i\\j": 5,
      "k\"l": 6, " ": 7, "m~n": 8, "/foo": 9, "a.b": 10, "x": {"": {"y": 11}}})";
  const char* const kTable[][2] = {{"", "object"},
                                   {"/foo", "array [\"bar\",\"baz\"]"},
                                   {"/foo/0", "string \"bar\""},
                                   {"/", "uint 0"},
                                   {"/a~1b", "uint 1"},
                                   {"/c%d", "uint 2"},
                                   {"/e^f", "uint 3"},
                                   {"/g|h", "uint 4"},
                                   {"/i\\j", "uint 5"},
                                   {"/k\"l", "uint 6"},
                                   {"/ ", "uint 7"},
                                   {"/m~0n", "uint 8"},
                                   {"\\/foo", "uint 9"},
                                   {"/~1foo", "uint 9"},
                                   {"/a.b", "uint 10"},
                                   {"/x//y", "uint 11"}};
  for (const auto& row : kTable) {
    const CommandResult result = Json({"--get", row[0]}, text);
    EXPECT_EQ(result.status, 0) << row[0] << result.err;
    EXPECT_EQ(result.out.rfind(row[1], 0), 0u) << row[0] << " " << result.out;
  }
  for (const char* pointer :
       {"/foo/2", "/foo/-", "/foo/00", "/foo/01", "/foo/-0", "/foo/0x0", "/fo", "/foo/0/0"}) {
    EXPECT_EQ(Json({"--get", pointer}, text).status, 1) << pointer;
  }
  for (const char* pointer : {"/m~n", "/~", "/a~2"}) {
    const CommandResult result = Json({"--get", pointer}, text);
    EXPECT_EQ(result.status, 2) << pointer;
    EXPECT_NE(result.err.find("is no JSON pointer"), std::string::npos) << result.err;
  }
  EXPECT_EQ(Json({"--get", "foo.01"}, text).out, "string \"baz\"\n") << "dots are as they were";
}

TEST(JsonCommand, OtherEncodingsAreNamed) {
  const auto said = [](const std::string& text) { return RunCommand({"json"}, text).err; };
  EXPECT_EQ(said(std::string("{\0}\0", 4)),
            "tovkit: standard input:1:2: this looks like UTF-16, and JSON is UTF-8\n  {\\x00}\\x00\n   ^\n");
  EXPECT_EQ(
      said(std::string("\0{\0}", 4)),
      "tovkit: standard input:1:1: a NUL character, with which UTF-16 and UTF-32 may begin; JSON is UTF-8\n"
      "  \\x00{\\x00}\n  ^\n");
  EXPECT_EQ(said("[1, {\"a\": \"bc"),
            "tovkit: standard input:1:14: the text ends inside a string\n  [1, {\"a\": \"bc\n" +
                std::string(15, ' ') + "^\n");
}

TEST(JsonCommand, TextBehindANulIsNotPassedOver) {
  const CommandResult result = RunCommand({"json"}, std::string("{}\n\0, 5", 7));
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(
      result.err,
      "tovkit: standard input:2:1: text stands behind a NUL character, which is no JSON\n  \\x00, 5\n  ^\n");
  EXPECT_EQ(RunCommand({"json"}, std::string("{}\0\0", 4)).out, "{}\n") << "a buffer that was filled up";
}

TEST(JsonCommand, CheckPrintsNothingAndGoesOverEveryFile) {
  const ScratchDir dir;
  const auto file = [&dir](const char* name, const char* text) {
    std::FILE* const out = std::fopen((dir.path() + "/" + name).c_str(), "w");
    std::fputs(text, out);
    std::fclose(out);
    return dir.path() + "/" + name;
  };
  const std::string good = file("good.json", "{\"a\": 1}");
  const std::string bad = file("bad.json", "[1,\n");
  const CommandResult all = RunCommand({"json", "--check", good, bad, dir.path() + "/none.json", good});
  EXPECT_EQ(all.status, 1);
  EXPECT_EQ(all.out, "");
  EXPECT_NE(all.err.find("tovkit: " + bad + ":2:1: "), std::string::npos) << all.err;
  EXPECT_NE(all.err.find("none.json: No such file"), std::string::npos) << all.err;
  const CommandResult fine = RunCommand({"json", "--check", good, good});
  EXPECT_EQ(fine.status, 0);
  EXPECT_EQ(fine.out + fine.err, "");
  EXPECT_EQ(RunCommand({"json", "--check", "--get", "a", good}).status, 0);
  EXPECT_EQ(RunCommand({"json", "--check", "--get", "b", good}).status, 1);
  // What would be printed is none of a check's business.
  for (const char* how : {"--raw", "--indent=2"}) {
    const CommandResult refused = RunCommand({"json", "--check", how, good});
    EXPECT_EQ(refused.status, 2) << how;
    EXPECT_NE(refused.err.find("excludes --check"), std::string::npos) << refused.err;
  }
  EXPECT_EQ(RunCommand({"json", good, good}).out, "{\"a\":1}\n{\"a\":1}\n") << "a line each";
}

}  // namespace
