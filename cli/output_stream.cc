#include "output_stream.h"

#include "job_error.h"
#include "output_format.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

namespace cli {

OutputStream::OutputStream(const std::string& file) : name_(OutputName(file)) {
  if (file == "-") return;
  target_.emplace(file);
  file_.emplace(target_->path().c_str());
  if (!file_->IsOpen()) throw JobError(name_ + ": cannot write: " + std::strerror(errno));
}

CoreOutputStream& OutputStream::bytes() { return file_ ? static_cast<CoreOutputStream&>(*file_) : memory_; }

void OutputStream::Close() {
  if (file_ && !file_->Close()) throw JobError(name_ + ": cannot write: " + std::strerror(errno));
}

void OutputStream::Commit() {
  if (target_) return target_->Commit();
  // main looks after standard output's failures.
  if (memory_.GetSize() != 0) std::fwrite(memory_.GetData(), 1, memory_.GetSize(), stdout);
}

}  // namespace cli
