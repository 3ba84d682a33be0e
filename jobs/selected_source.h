// SPDX-License-Identifier: MIT
// SelectedSource: the jobs of a source that are this run's to do: those of its shard, each id and each output
// once, with what an earlier run left.
#pragma once

#include "id_index.h"
#include "job_source.h"
#include "output_names.h"
#include "shard.h"

#include <cstdint>
#include <exception>
#include <optional>
#include <string>

namespace jobs {

class SelectedSource final : public JobSource {
 public:
  // All stay the caller's; outputs go below the directory, and the index holds what earlier runs did.
  // `resumed` when there was one, which may have been killed. Throws Error when there is no room for
  // temporary files.
  SelectedSource(JobSource& source, Shard shard, IdIndex& index, const std::string& directory, bool resumed)
      : source_(source), shard_(shard), index_(index), names_(directory), resumed_(resumed) {}

  // A job whose id another line has had is refused by the name of its line. An output belongs to the first
  // line that names it, of any shard and whatever becomes of that job: others that name it, through links as
  // well, are refused.
  std::optional<QueuedJob> Next() override;
  bool IsReady() override;
  int descriptor() const override { return source_.descriptor(); }

 private:
  std::uint64_t OwnerOf(const QueuedJob& job);
  bool Advance();

  JobSource& source_;
  const Shard shard_;
  IdIndex& index_;
  OutputNames names_;
  const bool resumed_;
  IdIndex outputs_;  // the lines that named them
  // What Next is to answer, once it is known: a job of the shard, nothing at the end, or a failure.
  bool known_ = false;
  std::optional<QueuedJob> next_;
  std::uint64_t owner_ = 0;  // of its output
  std::exception_ptr failure_;
};

}  // namespace jobs
