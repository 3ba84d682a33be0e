// SPDX-License-Identifier: MIT
// Error: why a job failed. The one type that the functions of jobs/ throw.
#pragma once

#include <cstddef>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>

namespace jobs {

enum class ErrorKind {
  kInput,   // an input cannot be read, or does not hold what it should
  kLimit,   // more memory, or a larger page, than is allowed
  kOutput,  // the result cannot be written
};

// The line of a text where something is wrong.
struct Excerpt {
  std::string line;    // UTF-8, as it stands in the text; a long line is cut around the place
  std::size_t at = 0;  // the byte of `line` that is meant, its size for the end
};

class Error : public std::runtime_error {
 public:
  // `place` is the name of the input or output, with the element or line where that is known.
  Error(ErrorKind kind, std::string place, std::string text)
      : std::runtime_error(place + ": " + text),
        kind_(kind),
        place_(std::move(place)),
        text_(std::move(text)) {}

  Error(ErrorKind kind, std::string place, std::string text, Excerpt excerpt)
      : Error(kind, std::move(place), std::move(text)) {
    excerpt_ = std::move(excerpt);
  }

  // what() is "PLACE: TEXT".
  ErrorKind kind() const { return kind_; }
  const std::string& place() const { return place_; }
  const std::string& text() const { return text_; }
  const std::optional<Excerpt>& excerpt() const { return excerpt_; }

 private:
  ErrorKind kind_;
  std::string place_;
  std::string text_;
  std::optional<Excerpt> excerpt_;
};

}  // namespace jobs
