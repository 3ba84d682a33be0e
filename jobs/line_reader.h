// SPDX-License-Identifier: MIT
// LineReader: the lines of a file or pipe of any length, one at a time, in bounded memory.
//
//   LineReader reader(fd, "jobs.jsonl", kLongestLine);
//   std::string line;
//   while (reader.Next(line) != LineReader::kEnd) Use(line);
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace jobs {

inline constexpr std::size_t kLongestLine = 16u << 20;

class LineReader {
 public:
  enum Outcome { kLine, kTooLong, kEnd };

  // Reads from where the descriptor stands. It stays the caller's. `name` is for messages.
  LineReader(int fd, std::string name, std::size_t longest)
      : fd_(fd), name_(std::move(name)), longest_(longest) {}

  // The next line without its line feed, or the beginning of one that is too long. The last line needs no
  // line feed. Throws Error when reading fails.
  [[nodiscard]] Outcome Next(std::string& line);

  // Whether Next need not wait: a whole line is at hand, the end was met, or the line is too long anyway.
  // Reads what there is. A failure to read is left to Next.
  [[nodiscard]] bool IsReady();
  // Passes over lines without a character at the front of those at hand. Precondition: IsReady().
  void SkipBlank();
  int descriptor() const { return fd_; }

  // The number of the line that Next returned last, from 1.
  std::uint64_t number() const { return number_; }
  // The bytes up to the end of that line, and whether a line feed ended it.
  std::uint64_t offset() const { return offset_; }
  bool complete() const { return complete_; }
  const std::string& name() const { return name_; }

 private:
  [[nodiscard]] bool Fill();

  int fd_;
  std::string name_;
  std::size_t longest_;
  std::string buffer_;
  std::size_t at_ = 0;
  std::size_t searched_ = 0;  // of the buffer, from at_ on: there is no line feed
  std::uint64_t number_ = 0;
  std::uint64_t offset_ = 0;
  bool complete_ = false;
};

}  // namespace jobs
