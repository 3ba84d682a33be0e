// SPDX-License-Identifier: MIT
// Queries, the options of jobs that they become, and the lists of headers.
#include "service/http/query.h"
#include "service/http/parameters.h"
#include "service/http/routes.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

namespace {

using service::OptionsOf;
using service::ParseQuery;
using service::QueryPairs;

TEST(QueryTest, PairsInTheirOrder) {
  EXPECT_EQ(ParseQuery("b=2&a=%311&flag&=x&a=+%2B&&c=d=e"),
            (QueryPairs{{"b", "2"}, {"a", "11"}, {"flag", ""}, {"", "x"}, {"a", " +"}, {"c", "d=e"}}));
  EXPECT_EQ(ParseQuery(""), QueryPairs());
  EXPECT_EQ(ParseQuery("a=%C3%A9"), (QueryPairs{{"a", "\u00e9"}}));
}

TEST(QueryTest, BrokenOnes) {
  for (const char* const query :
       {"%", "a=%", "a=%4", "a=%4g", "%zz=1", "a=%00", "a=%0d", "a=%7f", "a=%ff", "a=%C3"}) {
    EXPECT_FALSE(ParseQuery(query)) << query;
  }
}

TEST(QueryTest, EscapesHaveTwoHexadecimalDigits) {
  EXPECT_EQ(ParseQuery("a=%09"), std::nullopt) << "below the space";
  EXPECT_EQ(ParseQuery("a=%1F"), std::nullopt);
  EXPECT_EQ(ParseQuery("a=%20%7E%7e%4a%4A%4f%4F%39"), (QueryPairs{{"a", " ~~JJOO9"}}));
  EXPECT_EQ(ParseQuery("a=%5Fb"), (QueryPairs{{"a", "_b"}}));
  for (const char* const digit : {"/", ":", "@", "G", "`", "g", " ", "-"}) {
    EXPECT_FALSE(ParseQuery(std::string("a=%4") + digit)) << digit;
    EXPECT_FALSE(ParseQuery(std::string("a=%") + digit + "4")) << digit;
  }
  EXPECT_EQ(ParseQuery("a&b="), (QueryPairs{{"a", ""}, {"b", ""}}));
}

std::string JobOf(const std::string& kind, const std::string& query) {
  return OptionsOf(kind, *ParseQuery(query)).job;
}

std::string WrongIn(const std::string& kind, const std::string& query) {
  try {
    return JobOf(kind, query);
  } catch (const service::ParameterError& e) {
    return e.name() + ": " + e.what();
  }
}

TEST(ParametersTest, BecomeTheOptionsOfAJob) {
  EXPECT_EQ(JobOf("draw", ""), R"({"draw":{"format":"png"}})");
  EXPECT_EQ(JobOf("draw", "dpi=72.50&size=A4&format=pdf&one-page"),
            R"({"draw":{"dpi":72.5,"size":"A4","one-page":true,"format":"pdf"}})");
  EXPECT_EQ(JobOf("describe", ""), R"({"describe":{}})");
  EXPECT_EQ(JobOf("hit", ""), R"({"hit":{}})");
  EXPECT_EQ(JobOf("map", "format=jpg&size=7"), R"({"map":{"size":7,"format":"jpg"}})");
  EXPECT_EQ(
      JobOf("image", "upright&crop=0,-1,2,3&filter=cubic&resize=50%25&upright=0"),
      R"({"image":{"format":"png","steps":[{"upright":true},{"crop":[0,-1,2,3]},{"resize":"50%","filter":"cubic"}]}})");
}

TEST(ParametersTest, NothingOfAValueLeavesItsString) {
  EXPECT_EQ(WrongIn("draw", "size=%22%2C%22over%22%3A%22x"),
            R"(size: '","over":"x' is no size such as 800x600, 210x297mm or A4)");
  EXPECT_EQ(WrongIn("draw", "dpi=1%2C%22over%22%3A%22x%22"),
            R"(dpi: '1,"over":"x"' is no number from 1 to 4800)");
}

TEST(ParametersTest, NumbersHaveTheirRanges) {
  const struct {
    const char* kind;
    const char* name;
    std::vector<const char*> good, wrong;
  } rows[] = {
      {"draw", "dpi", {"1", "4800", "96.5"}, {"0.99", "4800.01", "nan", "inf", "1e2", "-5", "", "9x"}},
      {"draw", "effort", {"1", "9"}, {"0", "10", "", "5.0", "+5", " 5"}},
      {"map", "size", {"1", "2048"}, {"0", "2049", "-1"}},
      {"image", "frame", {"1", "1073741824"}, {"0", "1073741825", "99999999999"}},
      {"image", "quality", {"1", "100"}, {"0", "101"}}};
  for (const auto& row : rows) {
    for (const std::string value : row.good) {
      const std::string job = JobOf(row.kind, std::string(row.name) + "=" + value);
      EXPECT_NE(job.find("\"" + std::string(row.name) + "\":" + value), std::string::npos) << job;
    }
    for (const std::string value : row.wrong) {
      const std::string wrong = WrongIn(row.kind, std::string(row.name) + "=" + value);
      EXPECT_EQ(wrong.rfind(row.name + std::string(": '"), 0), 0U) << value << " of " << wrong;
    }
  }
}

TEST(ParametersTest, FlagsAndRectanglesHaveTheirForms) {
  for (const char* const yes : {"", "=", "=1", "=true"}) {
    EXPECT_EQ(JobOf("describe", std::string("one-page") + yes), R"({"describe":{"one-page":true}})") << yes;
  }
  for (const char* const no : {"=0", "=false"}) {
    EXPECT_EQ(JobOf("describe", std::string("one-page") + no), R"({"describe":{"one-page":false}})") << no;
  }
  EXPECT_EQ(WrongIn("describe", "one-page=yes"), "one-page: 'yes' is no flag: true or false");
  EXPECT_EQ(JobOf("image", "erase=-2147483648,0,2147483647,7"),
            R"({"image":{"format":"png","steps":[{"erase":[-2147483648,0,2147483647,7]}]}})");
  for (const char* const wrong : {"", "1", "1,2,3", "1,2,3,4,5", "1,2,,4", "1,2,3,2147483648", "1, 2,3,4"}) {
    EXPECT_EQ(WrongIn("image", std::string("crop=") + wrong),
              std::string("crop: '") + wrong + "' is no rectangle LEFT,TOP,RIGHT,BOTTOM in pixels");
  }
}

TEST(ParametersTest, StepsMayStandTwiceAndEveryResizeHasTheFilter) {
  EXPECT_EQ(
      JobOf("image", "resize=5x&filter=nearest&resize=x6"),
      R"({"image":{"format":"png","steps":[{"resize":"5x","filter":"nearest"},{"resize":"x6","filter":"nearest"}]}})");
  EXPECT_EQ(JobOf("image", "resize=5x&quality=3"),
            R"({"image":{"quality":3,"format":"png","steps":[{"resize":"5x"}]}})");
  EXPECT_EQ(WrongIn("image", "filter=linear&filter=linear"), "filter: stands twice");
  EXPECT_EQ(WrongIn("image", "format=png&format=png"), "format: stands twice");
  EXPECT_EQ(WrongIn("map", "effort=5&format=jpg"), "effort: there is no choice of it for jpg");
}

TEST(ParametersTest, AnswersHaveAMediaType) {
  EXPECT_EQ(OptionsOf("draw", {}).mediaType, "image/png");
  EXPECT_EQ(OptionsOf("draw", {{"format", "PDF"}}).mediaType, "application/pdf");
  EXPECT_EQ(OptionsOf("image", {{"format", "jp2"}}).mediaType, "image/jp2");
  EXPECT_EQ(OptionsOf("info", {}).mediaType, "application/json");
}

TEST(ParametersTest, WhatIsWrongIsTold) {
  EXPECT_EQ(WrongIn("info", "x=1"), "x: unknown parameter; there are none");
  EXPECT_EQ(WrongIn("hit", "size=1"), "size: unknown parameter; there are none");
  EXPECT_EQ(WrongIn("describe", "dpi=1"), "dpi: unknown parameter; there are size, one-page");
  EXPECT_EQ(WrongIn("draw", "dpi=96&dpi=96"), "dpi: stands twice");
  EXPECT_EQ(WrongIn("draw", "effort=5&format=svg"), "effort: there is no choice of it for svg");
  EXPECT_EQ(WrongIn("image", "filter=cubic&crop=1,2,3,4"), "filter: needs resize");
}

TEST(RoutesTest, WhatIsAccepted) {
  using service::Accepts;
  for (const char* const accept :
       {"", " ", "*/*", "image/*", "IMAGE/PNG", "text/html, */*;q=0.1", "a/b,image/png ; q=1"}) {
    EXPECT_TRUE(Accepts(accept, "image/png")) << accept;
  }
  for (const char* const accept :
       {"text/*", "image/png;q=0", "image/pngx", "image", "image/png;q=0.0, */*;q=0"}) {
    EXPECT_FALSE(Accepts(accept, "image/png")) << accept;
  }
}

TEST(RoutesTest, TagsInAList) {
  using service::NamesTag;
  for (const char* const list : {"\"a\"", " \"b\" , W/\"a\" ", "\"b\",\"a\""})
    EXPECT_TRUE(NamesTag(list, "\"a\""));
  for (const char* const list : {"", "*", "a", "\"b\"", "\"a", "\"aa\"", "w/\"a\""})
    EXPECT_FALSE(NamesTag(list, "\"a\""));
}

}  // namespace
