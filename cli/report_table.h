// SPDX-License-Identifier: MIT
// ReportTable: reports of lines of text as a person reads them on a terminal.
#pragma once

#include <tovkit/json.h>

namespace cli {

class ReportTable {
 public:
  // Prints what the report of one line tells on standard output.
  void Print(const tovkit::JsonValue& report);

 private:
  bool isFirst_ = true;
};

}  // namespace cli
