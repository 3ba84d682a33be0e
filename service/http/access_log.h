// SPDX-License-Identifier: MIT
// AccessLog: a line for each request, on standard error.
//
//   2026-11-22T12:00:00.123Z 127.0.0.1 "POST /v1/draw" 200 5123 0.0041 1f3a9c20-17
//
// It holds no query, no body and no field of the head.
#pragma once

#include "message.h"

#include <cstdint>
#include <string>

namespace service {

enum class LogFormat { kNone, kText, kJson };

class AccessLog {
 public:
  explicit AccessLog(LogFormat format) : format_(format) {}

  void Write(const Request& request, const Response& response, std::uint64_t bytes, double seconds) const;

 private:
  LogFormat format_;
};

}  // namespace service
