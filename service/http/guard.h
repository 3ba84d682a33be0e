// SPDX-License-Identifier: MIT
// Guard: who may ask. A page elsewhere must not reach the service through a person's browser, and where
// others can reach its address they need a token.
#pragma once

#include "message.h"
#include "problem.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace service {

struct GuardOptions {
  std::vector<std::string> hosts = {};           // names that requests may be for, beside the address itself
  std::vector<std::string> allowedOrigins = {};  // of pages that may ask: "https://example.org"
  std::string token = {};                        // empty when none is needed
  bool isLoopback = true;                        // only this machine reaches the address
};

class Guard {
 public:
  explicit Guard(GuardOptions options) : options_(std::move(options)) {}

  // Why the request is refused, if it is. Its Host is looked at first, then its origin, then the token where
  // that is asked for.
  std::optional<Problem> Refuse(const Request& request, bool needsToken) const;

  // Whether pages of this origin may read answers, though they are not ours.
  bool IsAllowedOrigin(const std::string& origin) const;

  bool isLoopback() const { return options_.isLoopback; }

 private:
  bool IsOurHost(const Request& request) const;

  GuardOptions options_;
};

// What is wrong with a name for GuardOptions::hosts, with an origin for allowedOrigins: why no request would
// ever have it. Empty when nothing is.
std::string WhyNoHostName(const std::string& name);
std::string WhyNoOrigin(const std::string& origin);

// Whether the texts are equal, in a time that depends on the length of the first only.
bool EqualInConstantTime(std::string_view given, std::string_view secret);

// The token that a file holds in its first line. Throws jobs::Error for a file that others may read, and for
// a token of less than 16 characters or with other characters than a header can carry.
std::string ReadToken(const std::string& file);

}  // namespace service
