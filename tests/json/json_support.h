// SPDX-License-Identifier: MIT
// Short words for the tests of JSON documents.
#pragma once

#include <tovkit/json.h>

#include <gtest/gtest.h>

#include <unistd.h>
#include <cstdio>
#include <string>
#include <string_view>

using Handle = tovkit::SharedPtr<tovkit::JsonValue>;
using ConstHandle = tovkit::SharedPtr<const tovkit::JsonValue>;

inline Handle Parse(std::string_view text) {
  return tovkit::Json::Parse(text.data(), static_cast<unsigned int>(text.size()), nullptr);
}

inline std::string Bytes(const CoreString& text) {
  return std::string(text.c_str(), static_cast<std::size_t>(text.GetLength()));
}

// The compact text of a value.
inline std::string Text(const ConstHandle& value) {
  return value ? Bytes(value->ToString()) : "(null handle)";
}

// The only element of the array [`text`]. Its document lives as long as `root`.
struct Element {
  explicit Element(const std::string& text) : root(Parse("[" + text + "]")), value(root->GetAt(0)) {}
  tovkit::JsonValue* operator->() const { return value.Get(); }

  Handle root;
  Handle value;
};

// What the process prints on one of its streams while this lives.
class Captured {
 public:
  explicit Captured(std::FILE* stream) : stream_(stream), file_(std::tmpfile()) {
    std::fflush(stream_);
    saved_ = dup(fileno(stream_));
    dup2(fileno(file_), fileno(stream_));
  }
  ~Captured() { Text(); }
  Captured(const Captured&) = delete;
  Captured& operator=(const Captured&) = delete;

  // Ends the capture and returns what was printed.
  std::string Text() {
    if (file_ == nullptr) return text_;
    std::fflush(stream_);
    dup2(saved_, fileno(stream_));
    close(saved_);
    std::rewind(file_);
    for (int c = std::fgetc(file_); c != EOF; c = std::fgetc(file_)) text_ += static_cast<char>(c);
    std::fclose(file_);
    file_ = nullptr;
    return text_;
  }

 private:
  std::FILE* stream_;
  std::FILE* file_;
  int saved_ = -1;
  std::string text_;
};

// What one Parse gave and what it said.
struct ParseOutcome {
  Handle root;
  std::string out;
  std::string err;
};

inline ParseOutcome ParseCaptured(const char* text, unsigned int length) {
  Captured out(stdout);
  Captured err(stderr);
  Handle root = tovkit::Json::Parse(text, length, nullptr);
  return {root, out.Text(), err.Text()};
}
inline ParseOutcome ParseCaptured(std::string_view text) {
  return ParseCaptured(text.data(), static_cast<unsigned int>(text.size()));
}
