// SPDX-License-Identifier: MIT
// tovkit serve: draws over HTTP, and hands out a page to try it on.
#include "command.h"

#include "executor_options.h"
#include "limit_options.h"

#include "service/http/guard.h"
#include "service/http/listen_socket.h"
#include "service/http/server.h"

#include <fcntl.h>
#include <unistd.h>

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>

namespace cli {

namespace {

constexpr std::uint64_t kLargestBody = 1u << 30;

struct ServeOptions {
  service::ServerOptions server;
  std::string tokenFile;
  std::string log = "text";
};

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
      ->check(CLI::Validator(service::WhyNoHostName, ""))
      ->type_name("NAME");
  serve
      .add_option("--allow-origin", server.guard.allowedOrigins,
                  "A site whose pages may ask, such as https://example.org; others may not")
      ->allow_extra_args(false)
      ->check(CLI::Validator(service::WhyNoOrigin, ""))
      ->type_name("ORIGIN");
  serve
      .add_option(
          "--token-file", options.tokenFile,
          "Ask for the token in this file's first line: Authorization: Bearer TOKEN. An address that others "
          "can reach needs it")
      ->type_name("FILE");
}

void AddLimitOptions(CLI::App& serve, service::ServerOptions& server) {
  AddSizeOption(serve, "--max-body", {1, kLargestBody}, server.maxBody, "The largest body of a request")
      ->default_str("16M");
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
  const char* const clientTime =
      "How long a client may take to send a request, to take the answer, and be silent in between";
  AddTimeOption(serve, {"--client-time", clientTime}, server.clientTime)->default_str("30s");
  AddSizeOption(serve, "--cache", {}, server.cache, "Answers that are kept; 0 for none")->default_str("256M");
}

void AddWorkerOptions(CLI::App& serve, jobs::ExecutorOptions& executor) {
  executor.timeout = std::chrono::seconds(30);
  AddExecutorOptions(serve, executor);
  serve.get_option("--timeout")
      ->description("How long a job may take, the wait for a worker included; a bare number is seconds");
  serve.add_option("--font", executor.runner.fonts, "A font file to draw with, beside the installed ones")
      ->allow_extra_args(false)
      ->type_name("FILE");
}

[[noreturn]] void Serve(ServeOptions& options) {
  // Where one of them is closed, the next file opened would take its place, and what is printed would go
  // there.
  for (const int standard : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    if (fcntl(standard, F_GETFD) < 0) open("/dev/null", standard == STDIN_FILENO ? O_WRONLY : O_RDWR);
  }
  service::ServerOptions& server = options.server;
  if (!options.tokenFile.empty()) server.guard.token = service::ReadToken(options.tokenFile);
  server.log = options.log == "none"   ? service::LogFormat::kNone
               : options.log == "json" ? service::LogFormat::kJson
                                       : service::LogFormat::kText;
  try {
    throw ExitStatus{service::RunServer(server, [](const std::string& url) {
      std::printf("Listening on %s\n", url.c_str());
      std::fflush(stdout);
    })};
  } catch (const service::NoTokenError& e) {
    throw UsageError(e.what());
  }
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
