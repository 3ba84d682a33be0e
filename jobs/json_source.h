// SPDX-License-Identifier: MIT
// JsonSource: a JSON text with its values, which knows where in the text each of them stands.
//
//   JsonSource source(input);
//   throw source.ErrorAt("/3/Font", "no font");   // page.json:7:12: no font, and the line with a caret
#pragma once

#include "error.h"
#include "input.h"

#include <tovkit/json.h>

#include <cstddef>
#include <map>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace jobs {

// Lines and columns count from 1, columns in code points.
struct TextPosition {
  std::size_t line = 1;
  std::size_t column = 1;
};

class JsonSource {
 public:
  // Reads and parses the input. Throws Error with the place and the reason when it is not JSON.
  explicit JsonSource(const Input& input);

  const std::string& name() const { return name_; }
  // As UTF-8, whatever bytes a file's path has.
  std::string printableName() const;
  const tovkit::SharedPtr<tovkit::JsonValue>& root() const { return root_; }

  // The offset of the value at an RFC 6901 pointer, or of the last value on the way to it that exists; with
  // `atName`, of the member's name. Asking for many values in the order of the text takes as long as reading
  // it a few times.
  std::size_t OffsetOf(std::string_view pointer, bool atName = false);
  TextPosition PositionOf(std::size_t offset);

  // Of the kind kInput: "NAME:LINE:COLUMN: TEXT" with the line of the text.
  Error ErrorAt(std::string_view pointer, const std::string& text, bool atName = false);

 private:
  struct Member {
    std::size_t name;
    std::size_t value;
  };
  using Members = std::unordered_map<std::string, Member>;

  const std::vector<std::size_t>& ElementsAt(std::size_t array);
  const Members& MembersAt(std::size_t object);

  std::string name_;
  std::string text_;
  tovkit::SharedPtr<tovkit::JsonValue> root_;
  std::size_t start_ = 0;  // behind a byte-order mark
  std::map<std::size_t, std::vector<std::size_t>> arrays_;
  std::map<std::size_t, Members> objects_;  // a few, the last that were asked for
  // The last place that was asked for.
  std::size_t lastOffset_ = 0;
  TextPosition last_;
};

}  // namespace jobs
