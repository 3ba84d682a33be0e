// SPDX-License-Identifier: MIT
// One parser for both numberings. Pages go straight into the caller's array, so that those before an error
// stay.
//
//     selection = "" | "all" | "odd" | "even" | segment { "," segment }
//     segment   = number | number "-" number                       numbers must rise from segment to segment
#include "tovkit/util.h"

#include <cassert>
#include <cstdlib>
#include <new>
#include <string>
#include <string_view>

namespace tovkit {

namespace {

constexpr int kAllPages = -1;

// Where the parser puts the pages of a document of `count` pages.
class PageSink {
 public:
  PageSink(int count, CoreArray<int>& out) : count_(count), out_(out) {}

  // Appends every page for a negative index, else the one page. False, and nothing appended, for an index
  // that the document does not have.
  bool AddPage(long index) {
    if (index >= count_) return false;
    if (index < 0) {
      AddEvery(1, 0, 0);
    } else {
      Append(static_cast<int>(index));
    }
    return true;
  }

  // Appends base + first, base + first + step, ... for the indices below the count. The sums wrap.
  void AddEvery(unsigned step, unsigned first, int base) {
    assert(count_ >= 1 && step >= 1);
    for (unsigned i = first; i < static_cast<unsigned>(count_); i += step) {
      Append(static_cast<int>(static_cast<unsigned>(base) + i));
    }
  }

 private:
  void Append(int index) {
    if (!out_.Add(index)) throw std::bad_alloc();
  }

  int count_;
  CoreArray<int>& out_;
};

// The number at the start of `text`; one that a long cannot hold is the nearest that it can.
long ReadNumber(const char* text) { return std::strtol(text, nullptr, 10); }

// Reads a list of numbers and ranges. `origin` is the number of the first page, 0 or 1.
class PageListParser {
 public:
  PageListParser(int origin, PageSink& sink) : origin_(origin), last_(origin - 1), sink_(sink) {}

  // Stops at the first segment that fails; the pages added before it stay. `list` is taken by value because
  // the segments are cut in it.
  void Parse(std::string list) {
    char* segment = list.data();
    char* dash = segment;  // the last '-' of the segment, its start when there is none
    for (char* at = segment; *at != '\0'; ++at) {
      if (*at == '-') dash = at;
      if (*at != ',') continue;
      *at = '\0';
      if (!AddSegment(segment, dash)) return;
      segment = dash = at + 1;
    }
    if (*segment != '\0') AddSegment(segment, dash);
  }

 private:
  bool AddSegment(char* segment, char* dash) {
    if (*segment == '\0') return false;
    if (dash == segment) return *segment != '-' && AddNumber(ReadNumber(segment));
    if (dash[1] == '\0') return false;
    *dash = '\0';
    return AddRange(ReadNumber(segment), ReadNumber(dash + 1));
  }

  bool AddNumber(long number) {
    if (number <= last_) return false;
    last_ = number;
    return sink_.AddPage(number - origin_);
  }

  // Stops at the first page outside the document, so the count bounds the time, not the width of the range.
  bool AddRange(long first, long last) {
    if (first >= last || first <= last_) return false;
    last_ = last;
    for (long index = first - origin_; index <= last - origin_; ++index) {
      if (!sink_.AddPage(index)) return false;
    }
    return true;
  }

  int origin_;
  long last_;  // the highest number accepted so far
  PageSink& sink_;
};

bool IsOneOf(std::string_view selection, std::string_view a, std::string_view b, std::string_view c) {
  return selection == a || selection == b || selection == c;
}

void ParsePages(const char* selection, int count, CoreArray<int>& out, int base, int origin) {
  if (count < 1) return;
  const std::string_view text = selection != nullptr ? selection : "";
  PageSink sink(count, out);
  if (text.empty() || IsOneOf(text, "all", "ALL", "All")) {
    sink.AddPage(kAllPages);  // Compatibility: the base is for odd and even alone
  } else if (IsOneOf(text, "even", "EVEN", "Even")) {
    sink.AddEvery(2, 1, base);
  } else if (IsOneOf(text, "odd", "ODD", "Odd")) {
    sink.AddEvery(2, 0, base);
  } else {
    PageListParser(origin, sink).Parse(std::string(text));
  }
}

}  // namespace

void ParsePageIndices(const char* selection, int count, CoreArray<int>& out, int base) {
  ParsePages(selection, count, out, base, 0);
}

void ParsePageNumbers(const char* selection, int count, CoreArray<int>& out, int base) {
  ParsePages(selection, count, out, base, 1);
}

}  // namespace tovkit
