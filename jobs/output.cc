// SPDX-License-Identifier: MIT
// Files and memory behind one stream; only Commit differs.
#include "output.h"

#include "error.h"

namespace jobs {

namespace {

[[noreturn]] void FailToWrite(const Output& output) {
  throw Error::OfSystem(ErrorKind::kOutput, output.name(), "cannot write");
}

}  // namespace

OutputWriter::OutputWriter(const Output& output) : output_(output) {
  if (output.memory() != nullptr) return;
  target_.emplace(output.name());
  file_.emplace(target_->path().c_str());
  if (!file_->IsOpen()) FailToWrite(output);
}

CoreOutputStream& OutputWriter::stream() {
  return file_ ? static_cast<CoreOutputStream&>(*file_) : *output_.memory();
}

void OutputWriter::Close() {
  if (file_ && !file_->Close()) FailToWrite(output_);
}

void OutputWriter::Commit() {
  if (target_) target_->Commit();
}

}  // namespace jobs
