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

// "I/N", I from 0 to N - 1, "auto" or "auto/N". Auto reads the variables of Slurm, SGE, LSF and Kubernetes;
// N is needed where they do not tell it, and checked where they do. `environment` returns the value of a
// variable, null without one, as std::getenv does. Throws ShardError.
[[nodiscard]] Shard ParseShard(const std::string& text,
                               const std::function<const char*(const char*)>& environment);

}  // namespace jobs
