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

  // A value that was read already, where it stands in the text that it was read from. The text and the
  // value's document must live as long as the source. Without a text, for what no person has written, errors
  // tell the name alone. Throws Error when the value is neither an array nor an object.
  JsonSource(std::string name, std::string_view text, std::string pointer,
             tovkit::SharedPtr<tovkit::JsonValue> value);
  JsonSource(const JsonSource&) = delete;
  JsonSource& operator=(const JsonSource&) = delete;

  const std::string& name() const { return name_; }
  bool hasText() const { return !text_.empty(); }
  // As UTF-8, whatever bytes a file's path has.
  std::string printableName() const;
  const tovkit::SharedPtr<tovkit::JsonValue>& root() const { return root_; }

  // The offset of the value at an RFC 6901 pointer, or of the last value on the way to it that exists. Asking
  // for many values in the order of the text takes as long as reading it a few times.
  std::size_t OffsetOf(std::string_view pointer);
  // The offset of the name of a member, counted from 0, of the object at the pointer; of the object when it
  // has no such. A pointer cannot tell members of the same name apart, nor name bytes that are no UTF-8.
  std::size_t OffsetOfName(std::string_view object, std::size_t member);
  TextPosition PositionOf(std::size_t offset);

  // Of the kind kInput: "NAME:LINE:COLUMN: TEXT" with the line of the text.
  Error ErrorAt(std::string_view pointer, const std::string& text);
  // The same where the value at the pointer, or its name, is known to stand.
  Error ErrorAtOffset(std::size_t offset, std::string_view pointer, const std::string& text);

 private:
  struct Members {
    std::vector<std::size_t> names;                       // all of them
    std::unordered_map<std::string, std::size_t> values;  // the first of each name
  };

  void Begin(std::string_view text);
  const std::vector<std::size_t>& ElementsAt(std::size_t array);
  const Members& MembersAt(std::size_t object);

  std::string name_;
  std::string read_;
  std::string_view text_;
  std::string base_;  // the pointer of the root in the text
  tovkit::SharedPtr<tovkit::JsonValue> root_;
  std::size_t start_ = 0;  // behind a byte-order mark
  std::map<std::size_t, std::vector<std::size_t>> arrays_;
  std::map<std::size_t, Members> objects_;  // a few, the last that were asked for
  // The last place that was asked for.
  std::size_t lastOffset_ = 0;
  TextPosition last_;
};

}  // namespace jobs
