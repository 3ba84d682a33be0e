// SPDX-License-Identifier: MIT
// The server: listens, answers until a signal ends it, and lets what runs finish.
//
//   ServerOptions options;
//   options.listen = "127.0.0.1:8017";
//   return RunServer(options, [](const std::string& url) { std::printf("Listening on %s\n", url.c_str()); });
#pragma once

#include "access_log.h"
#include "guard.h"

#include "jobs/executor.h"

#include <chrono>
#include <cstdint>
#include <functional>
#include <string>

namespace service {

struct ServerOptions {
  std::string listen = "127.0.0.1:8017";  // not looked at when a socket was passed
  GuardOptions guard = {};                // whether the address is a loopback one is found out here
  jobs::ExecutorOptions executor = {};
  std::uint64_t cache = std::uint64_t{256} << 20;   // bytes of answers that are kept
  std::uint64_t maxBody = std::uint64_t{16} << 20;  // bytes
  std::uint64_t maxPixels = 50'000'000;
  std::size_t queue = 64;             // jobs that wait
  std::size_t maxConnections = 1024;  // at a time
  std::chrono::milliseconds clientTime{30000};
  LogFormat log = LogFormat::kText;
};

// Serves until SIGTERM or SIGINT; a second one ends at once. Calls `listening` when clients can connect.
// Returns the exit status. Throws jobs::Error when it cannot listen, when others could reach it without a
// token, and when no worker can be started.
int RunServer(const ServerOptions& options, const std::function<void(const std::string& url)>& listening);

}  // namespace service
