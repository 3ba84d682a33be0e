// SPDX-License-Identifier: MIT
// A message as a job.
#pragma once

#include "connection.h"

#include "jobs/result.h"

#include <cstdint>
#include <optional>
#include <string>

namespace queue {

struct MessageJob {
  // Of its result: the job's own id, else the message's, else its correlation id, else "message " and the
  // first digits of the digest, so that a message that is delivered again has the same.
  std::string id;
  std::string digest;  // SHA-256 of the body; of a body that was not kept, of what is known
  std::optional<jobs::JobResult> refused = {};  // why the message is no job
};

// Reads of a message what is needed before its job runs. A message that is no object of JSON, whose id
// is not one, or that is longer than `longest` bytes, is no job.
[[nodiscard]] MessageJob ReadMessage(const Message& message, std::uint64_t longest);

}  // namespace queue
