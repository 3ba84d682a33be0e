// SPDX-License-Identifier: MIT
// Error: why a job failed. The one type that the functions of jobs/ throw.
#pragma once

#include <cerrno>
#include <cstddef>
#include <cstring>
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

// A place in a JSON text, for programs. Line and column count from 1, columns in code points.
struct JsonPlace {
  std::size_t line = 0;
  std::size_t column = 0;
  std::string pointer;  // RFC 6901: of the value that is meant, or that the parser was in
};

class Error : public std::runtime_error {
 public:
  // `place` is the name of the input or output, with the element or line where that is known: the bytes of a
  // file's name are those of the local codeset. `text` is UTF-8, since it quotes texts.
  Error(ErrorKind kind, std::string place, std::string text)
      : std::runtime_error(place + ": " + text),
        kind_(kind),
        place_(std::move(place)),
        text_(std::move(text)) {}

  Error(ErrorKind kind, std::string place, std::string text, Excerpt excerpt)
      : Error(kind, std::move(place), std::move(text)) {
    excerpt_ = std::move(excerpt);
  }

  // An operation of the system that has failed with this errno: "PLACE: WHAT: the error in words", or without
  // WHAT when that is empty.
  static Error OfSystem(ErrorKind kind, std::string place, const char* what, int error = errno) {
    const std::string words = std::strerror(error);
    Error made(kind, std::move(place), *what == '\0' ? words : std::string(what) + ": " + words);
    made.systemError_ = error;
    return made;
  }

  // The same error, of this place in a JSON text.
  Error At(JsonPlace place) && {
    jsonPlace_ = std::move(place);
    return std::move(*this);
  }

  // what() is "PLACE: TEXT".
  ErrorKind kind() const { return kind_; }
  const std::string& place() const { return place_; }
  const std::string& text() const { return text_; }
  const std::optional<Excerpt>& excerpt() const { return excerpt_; }
  const std::optional<JsonPlace>& jsonPlace() const { return jsonPlace_; }
  // The errno behind the error, 0 for none.
  int systemError() const { return systemError_; }

 private:
  ErrorKind kind_;
  std::string place_;
  std::string text_;
  std::optional<Excerpt> excerpt_;
  std::optional<JsonPlace> jsonPlace_;
  int systemError_ = 0;
};

}  // namespace jobs
