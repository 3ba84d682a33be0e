// SPDX-License-Identifier: MIT
// Where the library stops reading a page selection, and why. The library itself reports neither.
#pragma once

#include <optional>
#include <string>

namespace jobs {

struct SelectionStop {
  std::string selected;     // the part of the selection whose pages count
  bool hasSelected = true;  // false when there is none; an empty selection would be every page
  std::string why;          // names the segment and the reason, in one line
};

// Reads a selection of a document of `count` pages by the rules of ParsePageIndices (`origin` 0) and
// ParsePageNumbers (`origin` 1). Nothing when every segment is understood. Text that the library ignores,
// such as everything behind the 1 of "1 to 3", counts as a reason too.
[[nodiscard]] std::optional<SelectionStop> FindSelectionStop(const std::string& selection, int count,
                                                             int origin);

}  // namespace jobs
