// SPDX-License-Identifier: MIT
// The table that people get of a report.
#include "report_table.h"

#include <tovkit/json.h>

#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <vector>

namespace {

std::string Printed(const std::vector<std::string>& reports,
                    const std::vector<std::string>* counts = nullptr) {
  testing::internal::CaptureStdout();
  cli::ReportTable table;
  for (const std::string& report : reports) {
    table.Print(*tovkit::Json::Parse(report.data(), static_cast<unsigned>(report.size()), nullptr));
  }
  if (counts != nullptr) table.End(*counts);
  std::fflush(stdout);
  return testing::internal::GetCapturedStdout();
}

TEST(ReportTable, ARowForEverythingThatIsTold) {
  EXPECT_EQ(
      Printed({R"({"file": "a.json", "line": 3, "column": 14, "content": "text\u0007", "color": "#102030",
               "ink": {"left": 1.25, "top": -2.06, "right": 30, "bottom": 4.96},
               "runCount": 5,
               "runs": [{"text": "te", "family": "One", "style": "Bold", "script": "Latn", "file": "/f/one"},
                        {"text": "xt", "family": "Two", "style": "Book", "script": "Hani", "file": "/f/two",
                         "standsInFor": "One"}],
               "missing": [{"character": "U+E123", "name": "PRIVATE", "count": 2, "positions": [0, 7]},
                           {"character": "U+E124", "name": "OTHER", "count": 9,
                            "positions": [1, 2, 3, 4, 5, 6, 8, 9, 10]},
                           {"character": "U+E125", "name": "LAST", "count": 8,
                            "positions": [11, 12, 13, 14, 15, 16, 17, 18]}],
               "clipped": {"left": 2.5},
               "warningCount": 3,
               "warnings": [{"line": 4, "column": 5, "message": "first"}, {"line": 6, "column": 7, "message": "second"}]})"}),
      "a.json:3:14  \"text\\x07\"\n"
      "  ink       1.2,-2.1 to 30.0,5.0, color #102030\n"
      "  font      \"te\" One Bold, Latn, /f/one\n"
      "            \"xt\" Two Book, for One, Hani, /f/two\n"
      "            ... 5 in all\n"
      "  no glyph  U+E123 PRIVATE, at 0, 7\n"
      "            U+E124 OTHER, at 1, 2, 3, 4, 5, 6, 8, 9, ... 9 times\n"
      "            U+E125 LAST, at 11, 12, 13, 14, 15, 16, 17, 18\n"
      "  clipped   outside the page: 2.5 beyond the left edge\n"
      "  check     a.json:4:5: first\n"
      "  check     a.json:6:7: second\n"
      "            ... 3 in all\n");
}

TEST(ReportTable, WhatIsNotToldHasNoRowAndNoPlace) {
  EXPECT_EQ(
      Printed({"{}", R"({"file": "b", "ink": {}, "runs": [], "missing": [], "warnings": [], "clipped": {}})",
               R"({"runs": [{}], "runCount": 1, "missing": [{"positions": [4]}], "warnings": [{}]})"}),
      "  \"\"\n"
      "\n"
      "b  \"\"\n"
      "  ink       0.0,0.0 to 0.0,0.0, color \n"
      "  clipped   outside the page: \n"
      "\n"
      "  \"\"\n"
      "  font      \"\"  , , \n"
      "  no glyph   , at 4\n"
      "  check     : \n");
}

TEST(ReportTable, TheEndTellsWhatLooksWrong) {
  const std::vector<std::string> none, two = {"2 fonts", "1 key"};
  EXPECT_EQ(Printed({}, &none), "\nNothing looks wrong.\n");
  EXPECT_EQ(Printed({}, &two), "\nWhat looks wrong:\n  2 fonts\n  1 key\n");
}

}  // namespace
