// SPDX-License-Identifier: MIT
// tovkit serve: draws over HTTP, and hands out a page to try it on.
#include "command.h"

#include "byte_count.h"
#include "duration.h"

#include "service/http/guard.h"
#include "service/http/listen_socket.h"
#include "service/http/server.h"

#include <algorithm>
#include <climits>
#include <cstdint>
#include <cstdio>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <thread>

namespace cli {

namespace {

constexpr int kMostWorkers = 1024;
constexpr std::uint64_t kLeastMemory = 64u << 20;
constexpr std::uint64_t kLargestBody = 1u << 30;

struct ServeOptions {
  service::ServerOptions server;
  std::string tokenFile;
  std::string log = "text";
};

CLI::Option* AddBytes(CLI::App& app, const std::string& name, std::uint64_t least, std::uint64_t most,
                      std::uint64_t& bytes, const std::string& usual, const std::string& what) {
  return app
      .add_option(
          name,
          [&bytes, name, least, most](const CLI::results_t& texts) {
            const auto given = ParseByteCount(texts.front());
            if (!given || (*given != 0 && *given < least) ||
                (least != 0 && *given == 0 && name != "--memory") || *given > most) {
              throw CLI::ValidationError(name, "'" + texts.front() + "' is no size that is allowed here");
            }
            bytes = *given;
            return true;
          },
          what)
      ->type_name("SIZE")
      ->default_str(usual);
}

void AddTime(CLI::App& app, const std::string& name, std::chrono::milliseconds& time,
             const std::string& usual, const std::string& what) {
  app.add_option(
         name,
         [&time, name](const CLI::results_t& texts) {
           int milliseconds = 0;
           std::string error = ReadDuration(texts.front(), kSeconds, milliseconds);
           if (error.empty() && milliseconds == 0) error = "some time is needed";
           if (!error.empty()) throw CLI::ValidationError(name, error);
           time = std::chrono::milliseconds(milliseconds);
           return true;
         },
         what + "; a bare number is seconds")
      ->type_name("TIME")
      ->default_str(usual);
}

void AddAddressOptions(CLI::App& serve, ServeOptions& options) {
  service::ServerOptions& server = options.server;
  serve
      .add_option(
          "--listen", server.listen,
          "ADDRESS:PORT, [ADDRESS]:PORT or unix:PATH; port 0 is one that is free. A socket that systemd "
          "passes takes its place")
      ->type_name("ADDRESS")
      ->check(CLI::Validator(service::WhyNoAddress, ""))
      ->capture_default_str();
  serve
      .add_option("--host", server.guard.hosts,
                  "A name that requests may be for, beside localhost and the address")
      ->allow_extra_args(false)
      ->type_name("NAME");
  serve
      .add_option("--allow-origin", server.guard.allowedOrigins,
                  "A site whose pages may ask, such as https://example.org; others may not")
      ->allow_extra_args(false)
      ->type_name("ORIGIN");
  serve
      .add_option(
          "--token-file", options.tokenFile,
          "Ask for the token in this file's first line: Authorization: Bearer TOKEN. An address that others "
          "can reach needs it")
      ->type_name("FILE");
}

void AddLimitOptions(CLI::App& serve, service::ServerOptions& server) {
  AddBytes(serve, "--max-body", 1, kLargestBody, server.maxBody, "16M", "The largest body of a request");
  serve.add_option("--max-pixels", server.maxPixels, "The most pixels of a picture")
      ->type_name("N")
      ->check(CLI::Validator(CLI::Range(1, 500'000'000)))
      ->capture_default_str();
  serve.add_option("--max-connections", server.maxConnections, "The most connections at a time")
      ->type_name("N")
      ->check(CLI::Validator(CLI::Range(1, 100'000)))
      ->capture_default_str();
  serve.add_option("--queue", server.queue, "The most jobs that wait for a worker")
      ->type_name("N")
      ->check(CLI::Validator(CLI::Range(1, 100'000)))
      ->capture_default_str();
  AddTime(serve, "--timeout", server.executor.timeout, "30s", "How long a job may take");
  AddTime(serve, "--client-time", server.clientTime, "30s",
          "How long a client may take to send a request, to take the answer, and be silent in between");
  AddBytes(serve, "--cache", 0, UINT64_MAX, server.cache, "256M", "Answers that are kept; 0 for none");
}

void AddWorkerOptions(CLI::App& serve, jobs::ExecutorOptions& executor) {
  executor.workers = std::max(1, static_cast<int>(std::thread::hardware_concurrency()));
  executor.timeout = std::chrono::seconds(30);
  serve.add_option("-j,--jobs", executor.workers, "Worker processes (default: one for each processor)")
      ->type_name("N")
      ->check(CLI::Validator(CLI::Range(1, kMostWorkers)));
  AddBytes(serve, "--memory", kLeastMemory, UINT64_MAX, executor.memory, "1G",
           "Address space of a worker, from 64M on; 0 for no limit");
  serve.add_option("--recycle", executor.recycle, "Jobs after which a worker is replaced; 0 for never")
      ->type_name("N")
      ->check([](const std::string& text) {
        const bool isCount = !text.empty() && text.find_first_not_of("0123456789") == std::string::npos;
        return isCount ? std::string() : "'" + text + "' is no number of jobs";
      })
      ->capture_default_str();
  serve.add_option("--font", executor.runner.fonts, "A font file to draw with, beside the installed ones")
      ->allow_extra_args(false)
      ->type_name("FILE");
}

[[noreturn]] void Serve(ServeOptions& options) {
  service::ServerOptions& server = options.server;
  if (!options.tokenFile.empty()) server.guard.token = service::ReadToken(options.tokenFile);
  server.log = options.log == "none"   ? service::LogFormat::kNone
               : options.log == "json" ? service::LogFormat::kJson
                                       : service::LogFormat::kText;
  const int status = service::RunServer(server, [](const std::string& url) {
    std::printf("Listening on %s\n", url.c_str());
    std::fflush(stdout);
  });
  throw ExitStatus{status};
}

}  // namespace

void AddServeCommand(CLI::App& app) {
  const auto options = std::make_shared<ServeOptions>();
  CLI::App* const serve = app.add_subcommand("serve", "Draw over HTTP, and show a page to try it on");
  serve->footer(
      "Paths: POST /v1/draw, /v1/describe, /v1/image, /v1/image/info, /v1/hit; GET /, /openapi.json, "
      "/metrics,\n"
      "/healthz, /readyz. INT and TERM let what runs finish; a second one ends at once.");
  AddAddressOptions(*serve, *options);
  AddWorkerOptions(*serve, options->server.executor);
  AddLimitOptions(*serve, options->server);
  serve->add_option("--log", options->log, "A line for each request on standard error: text, json or none")
      ->type_name("FORM")
      ->check([](const std::string& text) {
        const bool isKnown = text == "text" || text == "json" || text == "none";
        return isKnown ? std::string() : "'" + text + "' is none of text, json and none";
      })
      ->capture_default_str();
  serve->callback([options] { Serve(*options); });
}

}  // namespace cli
