// SPDX-License-Identifier: MIT
// The parameters of a query as the options of a job.
#pragma once

#include "query.h"

#include <stdexcept>
#include <string>

namespace service {

// What is wrong with which parameter.
class ParameterError final : public std::runtime_error {
 public:
  ParameterError(std::string name, const std::string& text)
      : std::runtime_error(text), name_(std::move(name)) {}
  const std::string& name() const { return name_; }

 private:
  std::string name_;
};

struct JobOptions {
  std::string job;        // JSON of a job of jobs::InlineKinds: {"draw":{"format":"png"}}
  std::string mediaType;  // of its answer
};

// The options of a job of this kind. Throws ParameterError for a parameter that the kind does not have, that
// stands twice, or that has a wrong value.
[[nodiscard]] JobOptions OptionsOf(const std::string& kind, const QueryPairs& pairs);

}  // namespace service
