// SPDX-License-Identifier: MIT
// A request is refused by its head where that is possible, so that no body is read in vain. The tag of an
// answer is a digest of what it depends on, so it is known before anything is drawn.
#include "service.h"

#include "documents.h"
#include "page_files.h"
#include "parameters.h"
#include "routes.h"

#include "jobs/sha256.h"

#include <utility>

namespace service {

namespace {

// Styles and scripts come from here and nowhere else; pictures may also be made by the page.
constexpr char kContentPolicy[] =
    "default-src 'none'; script-src 'self'; style-src 'self'; img-src 'self' blob: data:; font-src 'self'; "
    "connect-src 'self'; form-action 'none'; base-uri 'none'; frame-ancestors 'none'";

Response TextResponse(int status, std::string text, const char* mediaType) {
  Response response;
  response.status = status;
  response.headers.emplace_back("Content-Type", mediaType);
  response.headers.emplace_back("Cache-Control", "no-store");
  response.body = std::make_shared<const std::string>(std::move(text));
  return response;
}

std::string Quoted(const std::string& digest) { return "\"" + digest.substr(0, 32) + "\""; }

// What a client may keep, told by a tag; without its body when the client has it.
Response TaggedResponse(const Request& request, const std::string& tag, const char* cacheControl) {
  Response response;
  response.headers.emplace_back("ETag", tag);
  response.headers.emplace_back("Cache-Control", cacheControl);
  if (request.ifNoneMatch == "*" || NamesTag(request.ifNoneMatch, tag)) response.status = 304;
  return response;
}

// A failure's text without its place, which has members of its own.
std::string DetailOf(const jobs::JobResult& result) {
  const std::string& text = result.message;
  const std::size_t end = text.find(": ");
  const bool hasPlace = text.compare(0, 4, "body") == 0 || text.compare(0, 6, "answer") == 0;
  return hasPlace && end != std::string::npos ? text.substr(end + 2) : text;
}

// Why is for the log alone: it may name files.
Response NoWorkerResponse(const std::string& why) {
  Response response = ResponseOf({Problem::kNoWorker, "no worker can be started at the moment"});
  response.note = why;
  return response;
}

// The kind of job that a request is for: hits are a list or a picture.
std::string KindOf(const Route& route, const QueryPairs& pairs) {
  if (std::string(route.kind) != "hit") return route.kind;
  for (const auto& [name, value] : pairs) {
    if (name == "format") return "map";
  }
  return "hit";
}

}  // namespace

Service::Service(ServiceOptions options, JobDesk& desk, Metrics& metrics)
    : options_(std::move(options)),
      guard_(options_.guard),
      cache_(options_.cache),
      desk_(desk),
      metrics_(metrics) {}

Response Service::Finished(Response&& response, const Request& request, const std::string& endpoint) const {
  auto& headers = response.headers;
  headers.emplace_back("Request-Id", request.id);
  headers.emplace_back("X-Content-Type-Options", "nosniff");
  headers.emplace_back("Referrer-Policy", "no-referrer");
  headers.emplace_back("Content-Security-Policy", kContentPolicy);
  const bool isAllowed = guard_.IsAllowedOrigin(request.origin);
  headers.emplace_back("Cross-Origin-Resource-Policy", isAllowed ? "cross-origin" : "same-origin");
  if (!options_.guard.allowedOrigins.empty()) headers.emplace_back("Vary", "Origin");
  if (isAllowed) {
    headers.emplace_back("Access-Control-Allow-Origin", request.origin);
    headers.emplace_back("Access-Control-Expose-Headers", "ETag, Request-Id, Retry-After, X-Cache");
    if (request.isPreflight) {
      headers.emplace_back("Access-Control-Allow-Methods", "GET, HEAD, POST");
      headers.emplace_back("Access-Control-Allow-Headers", "Authorization, Content-Type, If-None-Match");
      headers.emplace_back("Access-Control-Max-Age", "600");
    }
  }
  response.endpoint = endpoint;
  return std::move(response);
}

std::optional<Response> Service::Refuse(const Request& head) const {
  const Route* const route = FindRoute(head.path);
  std::optional<Response> refusal = RefuseRoute(head, route);
  if (!refusal) return std::nullopt;
  const bool isPage = route == nullptr && page::FindFile(head.path) != nullptr;
  return Finished(std::move(*refusal), head, route != nullptr ? route->path : isPage ? "page" : "other");
}

std::optional<Response> Service::RefuseRoute(const Request& head, const Route* route) const {
  // Others may read what is counted only where they cannot come.
  const bool isMetrics = head.path == "/metrics";
  const bool needsToken = route != nullptr && route->needsToken && head.method != "OPTIONS" &&
                          !(isMetrics && guard_.isLoopback());
  if (const auto problem = guard_.Refuse(head, needsToken)) return ResponseOf(*problem);
  const bool isPage = route == nullptr && page::FindFile(head.path) != nullptr;
  const char* const allowed = route != nullptr ? AllowedMethods(*route) : "GET, HEAD, OPTIONS";
  if (route == nullptr && !isPage && !(head.path == "*" && head.method == "OPTIONS")) {
    return ResponseOf({Problem::kNotFound, "there is nothing at " + head.path});
  }
  if (head.method == "OPTIONS") {
    Response response;
    response.status = 204;
    response.headers.emplace_back("Allow", allowed);
    return response;
  }
  const bool takesBody = route != nullptr && route->body != Route::kNone;
  const bool fits = takesBody ? head.method == "POST" : head.method == "GET" || head.method == "HEAD";
  if (!fits) {
    Response response = ResponseOf({Problem::kMethodNotAllowed, head.method + " is not for " + head.path});
    response.headers.emplace_back("Allow", allowed);
    return response;
  }
  if (!takesBody) return std::nullopt;
  if (!TakesType(*route, head.contentType)) {
    const char* const types =
        route->body == Route::kJson ? "application/json" : "a picture type such as image/png";
    return ResponseOf({Problem::kUnsupportedType, std::string("the Content-Type has to be ") + types});
  }
  if (isDraining_) return ResponseOf({Problem::kDraining, "no further jobs are taken"});
  return std::nullopt;
}

JobDesk::Ticket Service::Handle(Request&& request, const Reply& reply) {
  const Route* const route = FindRoute(request.path);
  if (route != nullptr && route->kind != nullptr) return AnswerJob(std::move(request), *route, reply);
  Response response = route != nullptr ? AnswerNow(request, *route) : Page(request);
  reply(Finished(std::move(response), request, route != nullptr ? route->path : "page"));
  return 0;
}

Response Service::AnswerNow(const Request& request, const Route& route) {
  const std::string path = route.path;
  if (path == "/healthz") return TextResponse(200, "ok\n", "text/plain; charset=utf-8");
  if (path == "/readyz") {
    if (isDraining_) return ResponseOf({Problem::kDraining, "the service is about to end"});
    if (!desk_.whyDown().empty()) return NoWorkerResponse(desk_.whyDown());
    return TextResponse(200, "ready\n", "text/plain; charset=utf-8");
  }
  if (path == "/metrics") return TextResponse(200, MetricsText(), "text/plain; version=0.0.4; charset=utf-8");
  const Document& document = *FindDocument(path);
  Response response = TaggedResponse(request, Quoted(jobs::Sha256(document.text)), "no-cache");
  if (response.status == 304) return response;
  response.headers.emplace_back("Content-Type", document.mediaType);
  response.body = std::make_shared<const std::string>(document.text);
  return response;
}

Response Service::Page(const Request& request) const {
  const page::File& file = *page::FindFile(request.path);
  Response response = TaggedResponse(request, std::string(file.etag), std::string(file.cacheControl).c_str());
  if (response.status == 304) return response;
  response.headers.emplace_back("Content-Type", file.mediaType);
  response.body = std::make_shared<const std::string>(file.bytes);
  return response;
}

std::string Service::MetricsText() {
  Gauges gauges;
  gauges.queued = desk_.queued();
  gauges.queueLimit = options_.queue;
  gauges.running = desk_.running();
  gauges.workers = desk_.whyDown().empty() ? options_.workers : 0;
  gauges.connections = connections;
  gauges.cacheEntries = cache_.entries();
  gauges.cacheBytes = cache_.bytes();
  return metrics_.Text(gauges);
}

JobDesk::Ticket Service::AnswerJob(Request&& request, const Route& route, const Reply& reply) {
  const auto refuse = [&](const Problem& problem) {
    reply(Finished(ResponseOf(problem), request, route.path));
    return JobDesk::Ticket{0};
  };
  const auto pairs = ParseQuery(request.query);
  if (!pairs) return refuse({Problem::kBadParameter, "the query is broken"});
  const std::string kind = KindOf(route, *pairs);
  JobOptions options;
  try {
    options = OptionsOf(kind, *pairs);
  } catch (const ParameterError& e) {
    return refuse({Problem::kBadParameter, e.name() + ": " + e.what(), e.name()});
  }
  if (!Accepts(request.accept, options.mediaType)) {
    return refuse({Problem::kNotAcceptable, "the answer is " + options.mediaType});
  }
  const std::string digest =
      jobs::Sha256(options_.fingerprint + "\n" + options.job + "\n" + jobs::Sha256(request.body));
  const std::string tag = Quoted(digest);
  if (const auto kept = cache_.Find(digest)) {
    ++metrics_.cacheHits;
    const bool has = NamesTag(request.ifNoneMatch, tag);
    Response response =
        has ? TaggedResponse(request, tag, "private, no-cache") : ResponseOfAnswer(kept, tag, true);
    reply(Finished(std::move(response), request, route.path));
    return 0;
  }
  // The tag tells a body that was answered once, by this build: a client has it of nobody else.
  if (NamesTag(request.ifNoneMatch, tag)) {
    reply(Finished(TaggedResponse(request, tag, "private, no-cache"), request, route.path));
    return 0;
  }
  if (!desk_.whyDown().empty()) {
    reply(Finished(NoWorkerResponse(desk_.whyDown()), request, route.path));
    return 0;
  }
  ++metrics_.cacheMisses;
  JobDesk::Job job{options_.cache == 0 ? request.id : digest, kind, std::move(options.job),
                   std::move(request.body)};
  request.body.clear();
  const auto told = [this, request, path = route.path, digest, tag, reply](const JobDesk::Outcome& outcome) {
    if (outcome.answer) cache_.Add(digest, outcome.answer);
    Response response = outcome.answer                ? ResponseOfAnswer(outcome.answer, tag, false)
                        : outcome.whyNoWorker.empty() ? ResponseOfFailure(outcome.result, request.id)
                                                      : NoWorkerResponse(outcome.whyNoWorker);
    reply(Finished(std::move(response), request, path));
  };
  const auto ticket = desk_.Ask(std::move(job), told);
  if (ticket) return *ticket;
  return refuse(isDraining_ ? Problem{Problem::kDraining, "no further jobs are taken"}
                            : Problem{Problem::kQueueFull, std::to_string(options_.queue) + " jobs wait"});
}

Response Service::ResponseOfAnswer(const std::shared_ptr<const Answer>& answer, const std::string& tag,
                                   bool isKept) const {
  Response response;
  response.headers.emplace_back("Content-Type", answer->mediaType);
  response.headers.emplace_back("ETag", tag);
  response.headers.emplace_back("Cache-Control", "private, no-cache");
  response.headers.emplace_back("X-Cache", isKept ? "hit" : "miss");
  response.body = std::shared_ptr<const std::string>(answer, &answer->bytes);
  return response;
}

Response Service::ResponseOfFailure(const jobs::JobResult& result, const std::string& id) const {
  switch (result.kind) {
    case jobs::FailureKind::kInput:
    case jobs::FailureKind::kOutput:  // the format does not hold what is asked for, as several pages
      return ResponseOf({Problem::kInvalidBody, DetailOf(result), {}, result.place});
    case jobs::FailureKind::kLimit:
      return ResponseOf({Problem::kTooManyPixels, DetailOf(result), {}, result.place});
    case jobs::FailureKind::kDeadline:
      return ResponseOf({Problem::kLate, DetailOf(result), {}, std::nullopt, id});
    case jobs::FailureKind::kCrash:
      return ResponseOf({Problem::kCrash, DetailOf(result), {}, std::nullopt, id});
    default:
      return ResponseOf({Problem::kInternal, DetailOf(result), {}, std::nullopt, id});
  }
}

}  // namespace service
