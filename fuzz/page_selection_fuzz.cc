// SPDX-License-Identifier: MIT
// Page selections of any bytes. The first three bytes choose the page count and the base, the rest is the
// text.
#include <tovkit/util.h>

#include <climits>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

namespace {

void Require(bool holds) {
  if (!holds) std::abort();
}

using Parse = void (*)(const char*, int, CoreArray<int>&, int);

// With base 0 every page is one of the document's, and they rise.
void CheckPages(const CoreArray<int>& pages, int count) {
  for (int i = 0; i < pages.GetSize(); ++i) {
    Require(pages[i] >= 0 && pages[i] < count);
    Require(i == 0 || pages[i - 1] < pages[i]);
  }
}

// The pages of a list up to one of its commas are the first pages of the whole list.
void CheckPrefix(Parse parse, const std::string& text, int count, const CoreArray<int>& whole) {
  const std::size_t comma = text.find_last_of(',');
  if (comma == std::string::npos || comma == 0) return;
  const std::string front = text.substr(0, comma + 1);  // with its comma, so that no keyword is left
  CoreArray<int> pages;
  parse(front.c_str(), count, pages, 0);
  Require(pages.GetSize() <= whole.GetSize());
  for (int i = 0; i < pages.GetSize(); ++i) Require(pages[i] == whole[i]);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 3) return 0;
  const int count = data[0] - 2;
  const int base = data[1] == 0 ? INT_MAX : data[1] == 1 ? INT_MIN : data[2] - 128;
  std::string text(reinterpret_cast<const char*>(data) + 3, size - 3);
  text.resize(text.find('\0') == std::string::npos ? text.size() : text.find('\0'));

  for (const Parse parse : {tovkit::ParsePageIndices, tovkit::ParsePageNumbers}) {
    CoreArray<int> pages;
    parse(text.c_str(), count, pages, 0);
    CheckPages(pages, count);
    CheckPrefix(parse, text, count, pages);

    CoreArray<int> moved;
    parse(text.c_str(), count, moved, base);
    Require(moved.GetSize() == pages.GetSize());
  }
  return 0;
}
