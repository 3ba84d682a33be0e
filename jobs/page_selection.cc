// SPDX-License-Identifier: MIT
// Reads a selection by the library's rules a second time, because the library stops in silence and only
// returns the pages before that place. A test compares both over generated selections.
#include "page_selection.h"

#include "number_text.h"

#include <algorithm>
#include <cstdlib>
#include <set>
#include <string_view>

namespace jobs {

namespace {

// A number at the start of a text, its length, and what follows it.
struct Reading {
  explicit Reading(const std::string& text) {
    char* end = nullptr;
    number = std::strtol(text.c_str(), &end, 10);
    length = static_cast<std::size_t>(end - text.c_str());
    const std::size_t other = text.find_first_not_of(" \t\n\v\f\r", length);
    rest = other == std::string::npos ? "" : text.substr(other);
  }

  bool IsNumber() const { return length != 0; }

  long number = 0;
  std::size_t length = 0;
  std::string rest;  // what follows, from its first character that is no blank
};

std::string Quoted(const std::string& text) { return "\"" + Shortened(text) + "\""; }

// Checks one segment after the other against the highest number so far.
class SelectionReader {
 public:
  SelectionReader(int count, int origin) : count_(count), origin_(origin), last_(origin - 1) {}

  // Why the library stops in this segment; empty when it goes on. `read` is the length of the part that
  // counts.
  std::string Read(const std::string& segment, std::size_t& read) {
    read = segment.size();
    if (segment.empty()) return "it is empty";
    const std::size_t dash = segment.rfind('-');
    if (dash == std::string::npos) return ReadPage(segment, read);
    if (dash == 0) return "it begins with a dash";
    if (dash + 1 == segment.size()) return "nothing stands behind its dash";
    return ReadRange(segment, dash, read);
  }

 private:
  std::string ReadPage(const std::string& segment, std::size_t& read) {
    const Reading page(segment);
    read = page.length;
    if (!page.IsNumber()) return NoNumber(segment);
    return page.number <= last_ ? DoesNotRise(page.number) : Accept(page);
  }

  std::string ReadRange(const std::string& segment, std::size_t dash, std::size_t& read) {
    const Reading first(segment.substr(0, dash)), last(segment.substr(dash + 1));
    read = 0;
    if (!first.IsNumber()) return NoNumber(segment.substr(0, dash));
    if (!first.rest.empty()) return NotUnderstood(first.rest);
    if (!last.IsNumber()) return NoNumber(segment.substr(dash + 1));
    read = dash + 1 + last.length;
    if (first.number >= last.number) return "the range does not rise";
    return first.number <= last_ ? DoesNotRise(first.number) : Accept(last);
  }

  // Makes a page, or the last one of a range, the highest so far.
  std::string Accept(const Reading& page) {
    last_ = page.number;
    if (last_ - origin_ >= count_) {
      return count_ < 1 ? "there are no pages" : "the last page is " + std::to_string(count_ - 1 + origin_);
    }
    return page.rest.empty() ? "" : NotUnderstood(page.rest);
  }

  std::string DoesNotRise(long number) const {
    if (number < origin_) return "pages count from " + std::to_string(origin_);
    return std::to_string(number) + " is not above the " + std::to_string(last_) + " before it";
  }
  static std::string NoNumber(const std::string& text) {
    return Quoted(text) + " is no number; all, odd and even stand alone";
  }
  static std::string NotUnderstood(const std::string& text) {
    return Quoted(text) + " is not understood; ranges are written as 3-5";
  }

  long count_;
  long origin_;
  long last_;  // the highest number so far
};

bool IsKeyword(const std::string& selection) {
  static const std::set<std::string_view> kKeywords = {"",    "all", "ALL",  "All",  "odd",
                                                       "ODD", "Odd", "even", "EVEN", "Even"};
  return kKeywords.count(selection) != 0;
}

}  // namespace

std::optional<SelectionStop> FindSelectionStop(const std::string& selection, int count, int origin) {
  if (IsKeyword(selection)) return std::nullopt;
  SelectionReader reader(count, origin);
  int number = 0;
  // A comma at the very end opens no segment.
  for (std::size_t from = 0; from < selection.size();) {
    const std::size_t comma = std::min(selection.find(',', from), selection.size());
    const std::string segment = selection.substr(from, comma - from);
    std::size_t read = 0;
    const std::string why = reader.Read(segment, read);
    ++number;
    if (!why.empty()) {
      const std::string place = "segment " + std::to_string(number) + ", " + Quoted(segment) + ": ";
      return SelectionStop{selection.substr(0, from + read), from + read != 0, place + why};
    }
    from = comma + 1;
  }
  return std::nullopt;
}

}  // namespace jobs
