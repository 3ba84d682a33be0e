// SPDX-License-Identifier: MIT
// SelectedSource: the jobs of a source that are this run's to do: those of its shard, each id once, with what
// an earlier run left.
#pragma once

#include "id_index.h"
#include "job_source.h"
#include "shard.h"

#include <cstdint>
#include <optional>

namespace jobs {

class SelectedSource final : public JobSource {
 public:
  // All stay the caller's; the index holds what earlier runs did.
  SelectedSource(JobSource& source, Shard shard, IdIndex& index)
      : source_(source), shard_(shard), index_(index) {}

  // A job whose id another line has had is refused by the name of its line.
  std::optional<QueuedJob> Next() override;
  bool IsReady() override { return source_.IsReady(); }
  int descriptor() const override { return source_.descriptor(); }

 private:
  JobSource& source_;
  const Shard shard_;
  IdIndex& index_;
};

}  // namespace jobs
