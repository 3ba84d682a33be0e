// SPDX-License-Identifier: MIT
// Output: where a job's result goes: a file, which appears whole or not at all, or memory.
//
//   OutputWriter writer(Output::File("page.png"));
//   encoder->Encode(&picture, &writer.stream());
//   writer.Close();
//   writer.Commit();
#pragma once

#include "output_file.h"

#include <tovmx/stream.h>

#include <optional>
#include <string>
#include <utility>

namespace jobs {

class Output {
 public:
  static Output File(std::string path) { return Output(nullptr, std::move(path)); }
  // The bytes stay the caller's and must live until the job is done; of a job that failed they hold anything.
  // `name` is for messages.
  static Output Memory(CoreMemoryOutputStream* bytes, std::string name) {
    return Output(bytes, std::move(name));
  }

  // What messages call it: a file's path.
  const std::string& name() const { return name_; }
  // Null for a file.
  CoreMemoryOutputStream* memory() const { return memory_; }

 private:
  Output(CoreMemoryOutputStream* memory, std::string name) : memory_(memory), name_(std::move(name)) {}

  CoreMemoryOutputStream* memory_;
  std::string name_;
};

// An output that is being written.
class OutputWriter {
 public:
  // Throws Error when the file cannot be created.
  explicit OutputWriter(const Output& output);

  CoreOutputStream& stream();

  // Ends the writing. Throws Error with the system's reason when it did not take every byte.
  void Close();

  // Puts what was written in its place. Throws Error. Precondition: Close returned.
  void Commit();

 private:
  Output output_;
  std::optional<OutputFile> target_;
  std::optional<CoreFileOutputStream> file_;
};

}  // namespace jobs
