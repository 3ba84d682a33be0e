// SPDX-License-Identifier: MIT
// Messages where local text is GBK: file names are bytes of that codeset already, what stands in a
// description becomes it, and what it does not hold is escaped.
#include <string>
#include <vector>

#include "report_support.h"

namespace {

using report::Has;
using report::Report;

// "画" in both.
constexpr char kGbk[] = "\xBB\xAD";
constexpr char kUtf8[] = "\u753B";

class LocalMessages : public Report {
 protected:
  static CommandResult RunInGbk(const std::vector<std::string>& arguments, const std::string& input = "") {
    return RunCommand(arguments, input, {{"LOCPATH", TOVKIT_TEST_LOCALES}, {"LC_ALL", "zh_CN.GBK"}});
  }
  // Draws the description, whose file has a name in GBK, to a.png.
  CommandResult DrawInGbk(const std::string& json, std::vector<std::string> more = {}) const {
    more.insert(more.begin(), {"draw", Write(std::string(kGbk) + ".json", json), "-o", Path("a.png")});
    return RunInGbk(more);
  }
  std::string Place(const std::string& place) const { return Path(std::string(kGbk) + ".json" + place); }
};

TEST_F(LocalMessages, OfKeysAndTheLineBelowThem) {
  const std::string json = "{\"Content\": \"x\", \"" + std::string(kUtf8) + "\u200B\": 1}";
  const std::string key = "\"" + std::string(kGbk) + "\\u200b\"";
  const std::string place = "tovkit: " + Place(":1:18: ") + key + " is no key of a line; there are ";
  const CommandResult noted = DrawInGbk(json);
  EXPECT_EQ(noted.status, 0);
  EXPECT_EQ(noted.err.rfind(place, 0), 0u) << noted.err;
  EXPECT_FALSE(Has(noted.err, kUtf8)) << noted.err;
  const CommandResult refused = DrawInGbk(json, {"--strict=keys"});
  EXPECT_EQ(refused.status, 1);
  EXPECT_EQ(refused.err.rfind(place, 0), 0u) << refused.err;
  EXPECT_TRUE(Has(refused.err, "\n  {\"Content\": \"x\", " + key + ": 1}\n  " + std::string(17, ' ') + "^\n"))
      << refused.err;
}

TEST_F(LocalMessages, EscapeWhatTheCodesetLacks) {
  const std::string json = "{\"Content\": \"x\", \"\U0001F389\u00E5?\": 1}";
  const std::string key = "\"\\U0001f389\\u00e5?\"";
  const CommandResult noted = DrawInGbk(json);
  EXPECT_TRUE(Has(noted.err, Place(":1:18: ") + key + " is no key")) << noted.err;
  const CommandResult refused = DrawInGbk(json, {"--strict=keys"});
  EXPECT_TRUE(Has(refused.err, "  {\"Content\": \"x\", " + key + ": 1}\n")) << refused.err;
  const CommandResult inUtf8 =
      RunCommand({"draw", Write("a.json", json), "-o", Path("a.png")}, "", {{"LC_ALL", "C.UTF-8"}});
  EXPECT_TRUE(Has(inUtf8.err, "\"\U0001F389\u00E5?\" is no key")) << inUtf8.err;
}

TEST_F(LocalMessages, OfFontsAndPaths) {
  const CommandResult font =
      DrawInGbk("{\"Content\": \"x\", \"Font\": {\"FontName\": \"" + std::string(kUtf8) + "\"}}");
  EXPECT_TRUE(Has(font.err, "the font \"" + std::string(kGbk) + "\" is not installed")) << font.err;
  const std::string svg = Write("a.svg", "<svg xmlns=\"http://www.w3.org/2000/svg\"><path id=\"" +
                                             std::string(kUtf8) + "\" d=\"M 0 0 H 9 V 9 Z\"/></svg>");
  const CommandResult hit = RunInGbk({"hit", svg, "--id", kGbk, "--point", "5,3", "--fill"});
  EXPECT_EQ(hit.status, 0) << hit.err;
  EXPECT_EQ(hit.out, "hit\n");
  const CommandResult miss =
      RunInGbk({"hit", svg, "--id", std::string(kGbk) + kGbk, "--point", "5,3", "--fill"});
  EXPECT_TRUE(Has(miss.err, "id '" + std::string(kGbk) + kGbk + "'")) << miss.err;
}

TEST_F(LocalMessages, OfJobs) {
  const std::string jobs = Write(std::string(kGbk) + ".jsonl", "{\"" + std::string(kUtf8) + "\": }\n");
  const CommandResult result = RunInGbk({"batch", jobs, "--directory", Path("out")});
  EXPECT_EQ(result.status, 1);
  EXPECT_TRUE(Has(result.err, "tovkit: " + jobs + ":1:7: ")) << result.err;
  EXPECT_TRUE(Has(result.err, "\n  {\"" + std::string(kGbk) + "\": }\n         ^\n")) << result.err;
}

}  // namespace
