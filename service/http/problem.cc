// SPDX-License-Identifier: MIT
// One table has every problem; its types are names that programs compare.
#include "problem.h"

#include "jobs/json_text.h"

#include <iterator>

namespace service {

namespace {

struct Kind {
  const char* name;
  const char* title;
  int status;
  bool close;  // the connection is of no use any more
};

// In the order of Problem::Type.
constexpr Kind kKinds[] = {
    {"bad-request", "The request is broken", 400, true},
    {"bad-parameter", "A parameter of the query cannot be used", 400, false},
    {"unauthorized", "A token is needed", 401, false},
    {"foreign-origin", "Pages of other sites may not use this service", 403, false},
    {"not-found", "There is nothing here", 404, false},
    {"method-not-allowed", "The method is not for this", 405, false},
    {"not-acceptable", "The answer is of a type that was not asked for", 406, false},
    {"slow-request", "The request took too long to arrive", 408, true},
    {"body-too-large", "The body is too large", 413, true},
    {"too-many-pixels", "The job needs more than it may have", 413, false},
    {"unsupported-type", "The body is of another type", 415, false},
    {"wrong-host", "The request is for another host", 421, false},
    {"invalid-body", "The body cannot be used", 422, false},
    {"queue-full", "Too many jobs wait", 429, false},
    {"head-too-large", "The head of the request is too large", 431, true},
    {"crash", "The job ended its worker", 500, false},
    {"internal", "Something went wrong here", 500, false},
    {"too-many-connections", "Too many connections", 503, true},
    {"busy", "Too much is asked at the moment", 503, true},
    {"draining", "The service is about to end", 503, true},
    {"no-worker", "No worker can be started", 503, false},
    {"late", "The job took too long", 504, false},
};
static_assert(std::size(kKinds) == Problem::kLate + 1);

std::string JsonOf(const Problem& problem, const Kind& kind) {
  std::string json = "{\"type\":\"urn:tovkit:problem:" + std::string(kind.name) + "\",\"title\":\"" +
                     kind.title + "\",\"status\":" + std::to_string(kind.status) + ",\"detail\":";
  jobs::AppendJsonString(json, problem.detail);
  if (!problem.parameter.empty()) {
    json += ",\"parameter\":";
    jobs::AppendJsonString(json, problem.parameter);
  }
  if (problem.place) {
    if (problem.place->line != 0) {
      json += ",\"line\":" + std::to_string(problem.place->line) +
              ",\"column\":" + std::to_string(problem.place->column);
    }
    json += ",\"pointer\":";
    jobs::AppendJsonString(json, problem.place->pointer);
  }
  if (!problem.id.empty()) json += ",\"id\":\"" + problem.id + "\"";
  return json + "}\n";
}

}  // namespace

int StatusOf(Problem::Type type) { return kKinds[type].status; }

const char* PhraseOf(int status) {
  constexpr struct {
    int status;
    const char* phrase;
  } kPhrases[] = {{200, "OK"},
                  {204, "No Content"},
                  {304, "Not Modified"},
                  {400, "Bad Request"},
                  {401, "Unauthorized"},
                  {403, "Forbidden"},
                  {404, "Not Found"},
                  {405, "Method Not Allowed"},
                  {406, "Not Acceptable"},
                  {408, "Request Timeout"},
                  {413, "Content Too Large"},
                  {415, "Unsupported Media Type"},
                  {421, "Misdirected Request"},
                  {422, "Unprocessable Content"},
                  {429, "Too Many Requests"},
                  {431, "Request Header Fields Too Large"},
                  {500, "Internal Server Error"},
                  {503, "Service Unavailable"},
                  {504, "Gateway Timeout"}};
  for (const auto& known : kPhrases) {
    if (known.status == status) return known.phrase;
  }
  return "Unknown";
}

Response ResponseOf(const Problem& problem) {
  const Kind& kind = kKinds[problem.type];
  Response response;
  response.status = kind.status;
  response.headers.emplace_back("Content-Type", "application/problem+json");
  response.headers.emplace_back("Cache-Control", "no-store");
  if (kind.status == 429 || kind.status == 503) response.headers.emplace_back("Retry-After", "1");
  if (kind.status == 401) response.headers.emplace_back("WWW-Authenticate", "Bearer");
  response.body = std::make_shared<const std::string>(JsonOf(problem, kind));
  response.close = kind.close;
  response.note = problem.detail;
  return response;
}

}  // namespace service
