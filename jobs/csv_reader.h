// SPDX-License-Identifier: MIT
// CsvReader: the records of a CSV file (RFC 4180), whose first one names the fields, as JSON objects of
// texts.
#pragma once

#include "line_reader.h"

#include <string>
#include <vector>

namespace jobs {

class CsvReader {
 public:
  explicit CsvReader(LineReader& lines) : lines_(lines) {}

  // The next record as a JSON object on one line; false at the end. Blank lines are skipped. Throws Error for
  // a record with another number of fields than there are names, or with a quotation mark that is never
  // closed; the next call goes on behind it.
  [[nodiscard]] bool Next(std::string& json);

  // Where the last record begins.
  std::uint64_t line() const { return line_; }

  // Reads the names, before the first record. Throws Error when there are none, or one stands twice.
  void ReadHeader();

 private:
  [[nodiscard]] bool ReadRecord();
  [[noreturn]] void Refuse(const std::string& text) const;

  LineReader& lines_;
  std::vector<std::string> names_;
  std::vector<std::string> fields_;
  std::uint64_t line_ = 0;
};

}  // namespace jobs
