// SPDX-License-Identifier: MIT
// ReportTable: reports of lines of text as a person reads them on a terminal.
#pragma once

#include <tovkit/json.h>

#include <string>
#include <vector>

namespace cli {

class ReportTable {
 public:
  // Prints what the report of one line tells on standard output.
  void Print(const tovkit::JsonValue& report);

  // Prints what there is of each kind of finding in all the lines.
  void End(const std::vector<std::string>& counts);

 private:
  bool isFirst_ = true;
};

}  // namespace cli
