// OutputStream: where a picture or a page goes. A file appears whole or not at all; standard output, for "-",
// gets the bytes when they are complete.
//
//   OutputStream out("page.png");
//   encoder->Encode(&picture, &out.bytes());
//   out.Close();
//   out.Commit();
#pragma once

#include "output_file.h"

#include <tovmx/stream.h>

#include <optional>
#include <string>

namespace cli {

class OutputStream {
 public:
  // Throws JobError naming the file when it cannot be created.
  explicit OutputStream(const std::string& file);

  CoreOutputStream& bytes();

  // Ends the writing. Throws JobError with the system's reason when it did not take every byte.
  void Close();

  // Puts what was written in its place. Precondition: Close returned.
  void Commit();

 private:
  std::string name_;
  CoreMemoryOutputStream memory_;  // for standard output
  std::optional<OutputFile> target_;
  std::optional<CoreFileOutputStream> file_;
};

}  // namespace cli
