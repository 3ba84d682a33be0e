// SPDX-License-Identifier: MIT
// Queries, the options of jobs that they become, and the lists of headers.
#include "service/http/query.h"
#include "service/http/parameters.h"
#include "service/http/routes.h"

#include <gtest/gtest.h>

#include <string>

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
