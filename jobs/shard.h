// SPDX-License-Identifier: MIT
// Shards: the share of one task of an array in the jobs of a file, chosen by their ids.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <stdexcept>
#include <string>

namespace jobs {

struct Shard {
  std::uint64_t index = 0;  // 0 to count - 1
  std::uint64_t count = 1;

  bool Holds(const std::string& id) const;
};

// The environment of a task does not tell its share. what() says why.
struct ShardError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// "I/N", I from 0 to N - 1, "auto", "auto/N" or "auto/FIRST-LAST:STEP", the array as the scheduler was given
// it, of which ":STEP" may be missing. Auto reads the variables of Slurm, SGE, LSF, Kubernetes and PBS; what
// they do not tell has to be said, and what they do is checked. `environment` returns the value of a
// variable, null without one, as std::getenv does. `note` gets what was taken for granted, empty for nothing.
// Throws ShardError.
[[nodiscard]] Shard ParseShard(const std::string& text,
                               const std::function<const char*(const char*)>& environment,
                               std::string* note = nullptr);

}  // namespace jobs
