// SPDX-License-Identifier: MIT
// Service: what every path of the server answers, over jobs and apart from the transport.
//
//   if (std::optional<Response> refusal = service.Refuse(head)) return Send(*refusal);   // before the body
//   ticket = service.Handle(std::move(request), [](Response&& response) { ... });
//
// One thread uses it.
#pragma once

#include "answer_cache.h"
#include "guard.h"
#include "job_desk.h"
#include "message.h"
#include "metrics.h"
#include "problem.h"

#include <optional>
#include <string>

namespace service {

struct ServiceOptions {
  GuardOptions guard = {};
  std::uint64_t cache = std::uint64_t{256} << 20;  // bytes of answers, 0 for none
  std::size_t queue = 64;                          // jobs that wait
  std::size_t workers = 1;
  std::string fingerprint = {};  // of all that answers depend on beside the question
};

struct Route;

class Service {
 public:
  Service(ServiceOptions options, JobDesk& desk, Metrics& metrics);

  // Why the request is answered without its body, if it is.
  std::optional<Response> Refuse(const Request& head) const;

  // Answers a request that was not refused: calls `reply` once, now or later. The ticket takes back what is
  // not answered yet, 0 when there is nothing.
  JobDesk::Ticket Handle(Request&& request, const Reply& reply);
  void TakeBack(JobDesk::Ticket ticket) { desk_.TakeBack(ticket); }

  // From now on it is not ready, and takes no jobs.
  void Drain() { isDraining_ = true; }

  std::size_t connections = 0;  // for the metrics

  // The response with what every response has, for requests that never came so far too.
  Response Finished(Response&& response, const Request& request, const std::string& endpoint) const;

 private:
  std::optional<Response> RefuseRoute(const Request& head, const Route* route) const;
  Response AnswerNow(const Request& request, const Route& route);
  JobDesk::Ticket AnswerJob(Request&& request, const Route& route, const Reply& reply);
  Response ResponseOfAnswer(const std::shared_ptr<const Answer>& answer, const std::string& tag,
                            bool isKept) const;
  Response ResponseOfFailure(const jobs::JobResult& result, const std::string& id) const;
  Response Page(const Request& request) const;
  std::string MetricsText();

  ServiceOptions options_;
  Guard guard_;
  AnswerCache cache_;
  JobDesk& desk_;
  Metrics& metrics_;
  bool isDraining_ = false;
};

}  // namespace service
