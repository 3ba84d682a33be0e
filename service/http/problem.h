// SPDX-License-Identifier: MIT
// Problem: why a request fails, as RFC 9457 has it.
//
//   return ResponseOf({Problem::kBadParameter, "'x' is no size"}.Of("size"));
#pragma once

#include "message.h"

#include "jobs/error.h"

#include <optional>
#include <string>

namespace service {

struct Problem {
  enum Type {
    kBadRequest,
    kBadParameter,
    kUnauthorized,
    kForeignOrigin,
    kNotFound,
    kMethodNotAllowed,
    kNotAcceptable,
    kSlowRequest,
    kBodyTooLarge,
    kTooManyPixels,
    kUnsupportedType,
    kWrongHost,
    kInvalidBody,
    kQueueFull,
    kHeadTooLarge,
    kCrash,
    kInternal,
    kTooManyConnections,
    kBusy,
    kDraining,
    kNoWorker,
    kLate,
  };

  Type type;
  std::string detail;                                   // one line
  std::string parameter = {};                           // of the query
  std::optional<jobs::JsonPlace> place = std::nullopt;  // in the body; line 0 when only the pointer is known
  std::string id = {};                                  // of the request, which the log has
};

int StatusOf(Problem::Type type);

// The phrase of a status line: "Not Found".
const char* PhraseOf(int status);

// The response that tells it. Those of the transport and of overload close the connection or ask to come
// back.
[[nodiscard]] Response ResponseOf(const Problem& problem);

}  // namespace service
