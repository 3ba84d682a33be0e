// SPDX-License-Identifier: MIT
// Lines are collected until none of their quotation marks is open: that is a record, and only then is it
// split.
#include "csv_reader.h"

#include "error.h"
#include "json_text.h"

#include <set>

namespace jobs {

namespace {

// Splits what was read so far of a record. False when it ends within quotation marks.
bool Split(const std::string& record, std::vector<std::string>& fields) {
  fields.assign(1, "");
  bool quoted = false;
  bool fresh = true;  // nothing of the field was read
  for (std::size_t i = 0; i < record.size(); ++i) {
    const char c = record[i];
    if (quoted) {
      if (c != '"') {
        fields.back() += c;
      } else if (i + 1 < record.size() && record[i + 1] == '"') {
        fields.back() += record[++i];
      } else {
        quoted = false;
      }
    } else if (c == '"' && fresh) {
      quoted = true;
    } else if (c == ',') {
      fields.emplace_back();
      fresh = true;
      continue;
    } else {
      fields.back() += c;
    }
    fresh = false;
  }
  return !quoted;
}

// Where a record stands between two of its lines.
class Marks {
 public:
  // Whether the record goes on behind the line, which stands within quotation marks at its end. Only a mark
  // at the beginning of a field opens, as in Split.
  bool StayOpenAfter(const std::string& line) {
    for (const char c : line) Take(c);
    return quoted_;
  }

 private:
  void Take(char c) {
    if (quoted_) {
      quoted_ = c != '"';
      closed_ = !quoted_;
      return;
    }
    quoted_ = c == '"' && (fresh_ || closed_);
    closed_ = false;
    fresh_ = c == ',';
  }

  bool quoted_ = false;
  bool closed_ = false;  // by the mark just taken, unless another one follows
  bool fresh_ = true;    // nothing of the field was taken
};

}  // namespace

void CsvReader::Refuse(const std::string& text) const {
  throw Error(ErrorKind::kInput, lines_.name() + ", line " + std::to_string(line_), text);
}

// Reads a record into the fields; false at the end.
bool CsvReader::ReadRecord() {
  std::string record, piece;
  Marks marks;
  bool open = false;
  for (;;) {
    const LineReader::Outcome outcome = lines_.Next(piece);
    if (outcome == LineReader::kEnd) {
      if (open) Refuse("a quotation mark is never closed");
      return false;
    }
    if (!open) line_ = lines_.number();
    if (outcome == LineReader::kTooLong || record.size() + piece.size() > kLongestLine) {
      throw Error(ErrorKind::kLimit, lines_.name() + ", line " + std::to_string(line_),
                  "the record is longer than 16 MiB");
    }
    if (lines_.number() == 1 && piece.compare(0, 3, "\xEF\xBB\xBF") == 0) piece.erase(0, 3);
    if (!open && piece.find_first_not_of(" \t\r") == std::string::npos) continue;
    open = marks.StayOpenAfter(piece);
    if (!open && piece.back() == '\r') piece.pop_back();
    record += piece;
    if (!open) break;
    record += '\n';
  }
  if (!Split(record, fields_)) Refuse("a quotation mark is never closed");
  return true;
}

void CsvReader::ReadHeader() {
  if (!ReadRecord()) throw Error(ErrorKind::kInput, lines_.name(), "no line with the names of the fields");
  names_ = fields_;
  std::set<std::string> seen;
  for (const std::string& name : names_) {
    if (!seen.insert(name).second) Refuse("two fields have the name '" + name + "'");
  }
}

bool CsvReader::Next(std::string& json) {
  if (!ReadRecord()) return false;
  if (fields_.size() != names_.size()) {
    Refuse(std::to_string(fields_.size()) + " fields, where the first line names " +
           std::to_string(names_.size()));
  }
  json = "{";
  for (std::size_t i = 0; i < names_.size(); ++i) {
    if (i != 0) json += ',';
    AppendJsonString(json, names_[i]);
    json += ':';
    AppendJsonString(json, fields_[i]);
  }
  json += '}';
  return true;
}

}  // namespace jobs
