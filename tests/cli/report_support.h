// SPDX-License-Identifier: MIT
// What the tests of reports and findings share.
#pragma once

#include "run_command.h"
#include "scratch_dir.h"

#include <tovkit/json.h>

#include <gtest/gtest.h>

#include <cstddef>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace report {

inline constexpr char kFont[] = R"("Font": {"FontName": "DejaVu Sans", "FontSize": 20})";

inline bool Has(const std::string& text, const std::string& part) {
  return text.find(part) != std::string::npos;
}

class Report : public testing::Test {
 protected:
  std::string Path(const std::string& name) const { return dir_.path() + "/" + name; }
  std::string Write(const std::string& name, const std::string& text) const {
    std::ofstream(Path(name), std::ios::binary) << text;
    return Path(name);
  }
  std::string Read(const std::string& name) const {
    std::ifstream file(Path(name), std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
  }
  // Draws the description to a.png.
  CommandResult Draw(const std::string& json, std::vector<std::string> more = {}) const {
    more.insert(more.begin(), {"draw", Write("a.json", json), "-o", Path("a.png")});
    return RunCommand(more);
  }
  bool IsDrawn() const { return std::filesystem::exists(Path("a.png")); }

 private:
  ScratchDir dir_;
};

inline tovkit::SharedPtr<tovkit::JsonValue> Line(const std::string& lines, int index = 0) {
  std::size_t from = 0;
  for (; index > 0; --index) from = lines.find('\n', from) + 1;
  const std::string line = lines.substr(from, lines.find('\n', from) - from);
  tovkit::SharedPtr<tovkit::JsonValue> value =
      tovkit::Json::Parse(line.data(), static_cast<unsigned>(line.size()), nullptr);
  EXPECT_TRUE(value) << line;
  return value;
}

inline std::string WithFont(const std::string& members) { return "{" + members + ", " + kFont + "}"; }

}  // namespace report
