// SPDX-License-Identifier: MIT
// StandardOutput: standard output written without waiting for its reader, so that a request to stop is met
// while nobody reads it.
//
//   StandardOutput out;
//   out.Write(text);                   // as much as it takes, the rest later
//   while (out.held() != 0) {
//     out.Await(stop.descriptor());    // until it takes more, or somebody asks
//     out.Write("");
//   }
#pragma once

#include <cstddef>
#include <string>

namespace cli {

class StandardOutput {
 public:
  StandardOutput();

  // Writes what is held and then the text, as far as they are taken at once, and holds the rest. Throws
  // CommandError when writing fails.
  void Write(const std::string& text);

  // Bytes that are held.
  std::size_t held() const { return held_.size(); }

  // Waits until more is taken, for a fifth of a second at most, or until `descriptor` can be read; -1 for
  // none.
  static void Await(int descriptor);

 private:
  const bool regular_;  // takes everything at once
  std::string held_;
};

// Waits until all of the text is written. Throws CommandError when writing fails.
void WriteToStandardOutput(const std::string& text);

// From here on a signal that interrupts a write of printf and its like is no failure of these. Before
// anything is printed.
void PrintRetried();

}  // namespace cli
