// SPDX-License-Identifier: MIT
// Places of a template, which data fill.
#include "jobs/places.h"

#include <tovkit/json.h>

#include <gtest/gtest.h>

namespace {

TEST(Places, OnlyNamesInPairsOfBraces) {
  const char text[] = R"({"a": "1", "b c": "2", "t": true, "z": null, "n": -2.5})";
  const auto data = tovkit::Json::Parse(text, sizeof text - 1, nullptr);
  const struct {
    const char* text;
    const char* filled;
  } cases[] = {{"", ""},
               {"{{a}}", "1"},
               {"x{{a}}y{{b c}}z", "x1y2z"},
               {"{{t}}{{z}}{{n}}", "true-2.5"},
               {"{{}}", "{{}}"},
               {"{a}", "{a}"},
               {"{{a", "{{a"},
               {"{{a}", "{{a}"},
               {"{{{a}}}", "{1}"},
               {"{{ {{a}}", "{{ 1"},
               {"}}{{", "}}{{"}};
  for (const auto& [in, out] : cases) EXPECT_EQ(jobs::FillText(in, *data), out) << in;
}

TEST(Places, NamesOfMembersStay) {
  const char text[] = R"({"{{a}}": ["{{a}}", {"x": "{{a}}"}, 5]})";
  const char values[] = R"({"a": "\"], 1: {"})";
  const auto job = tovkit::Json::Parse(text, sizeof text - 1, nullptr);
  jobs::FillPlaces(job, *tovkit::Json::Parse(values, sizeof values - 1, nullptr));
  EXPECT_STREQ(job->ToString().c_str(), R"({"{{a}}":["\"], 1: {",{"x":"\"], 1: {"},5]})");
}

}  // namespace
