// SPDX-License-Identifier: MIT
// The head of a request, without a socket: what the strict check takes, the parser of Boost.Beast reads as
// one who only splits lines does, method, target and length of the body alike. The query of its address is a
// job of valid JSON or refused with a reason.
#include "service/http/guard.h"
#include "service/http/head_check.h"
#include "service/http/parameters.h"
#include "service/http/query.h"
#include "service/http/routes.h"

#include <tovkit/json.h>

#include <boost/asio/buffer.hpp>
#include <boost/beast/http/parser.hpp>
#include <boost/beast/http/string_body.hpp>

#include <strings.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

namespace {

namespace http = boost::beast::http;
constexpr std::string_view kEnd = "\r\n\r\n";

void Require(bool holds) {
  if (!holds) std::abort();
}

bool IsSame(std::string_view a, std::string_view b) {
  return a.size() == b.size() && strncasecmp(a.data(), b.data(), a.size()) == 0;
}

std::string Text(boost::beast::string_view view) { return {view.data(), view.size()}; }

// The value of the first field of this name, without the spaces around it; empty without one.
std::string_view FieldOf(std::string_view head, std::string_view name) {
  for (std::size_t at = head.find("\r\n") + 2; at < head.size();) {
    const std::string_view line = head.substr(at, head.find("\r\n", at) - at);
    at += line.size() + 2;
    const std::size_t colon = line.find(':');
    if (colon == std::string_view::npos || !IsSame(line.substr(0, colon), name)) continue;
    const std::size_t from = line.find_first_not_of(" \t", colon + 1);
    if (from == std::string_view::npos) return {};
    return line.substr(from, line.find_last_not_of(" \t") + 1 - from);
  }
  return {};
}

void CheckQuery(std::string_view query) {
  const auto pairs = service::ParseQuery(query);
  if (!pairs) return;
  Require(pairs->size() <= static_cast<std::size_t>(std::count(query.begin(), query.end(), '&')) + 1);
  for (const char* const kind : {"draw", "describe", "image", "info", "hit", "map"}) {
    try {
      const service::JobOptions options = service::OptionsOf(kind, *pairs);
      const auto found = tovkit::Json::Diagnose(options.job.data(), options.job.size());
      Require(found.code == tovkit::kJsonAccepted && !options.mediaType.empty());
    } catch (const service::ParameterError& error) {
      Require(error.what()[0] != '\0');
    }
  }
}

// The decisions over fields: none depends on more than their text.
void CheckFields(const service::Request& request) {
  static const service::Guard guard({{"example.org"}, {"https://example.org"}, "0123456789abcdef", true});
  for (const bool needsToken : {false, true}) {
    const auto problem = guard.Refuse(request, needsToken);
    Require(!problem || !problem->detail.empty());
  }
  const service::Route* const route = service::FindRoute(request.path);
  if (route != nullptr) service::TakesType(*route, request.contentType);
  if (request.accept.empty()) Require(service::Accepts(request.accept, "image/png"));
  service::Accepts(request.accept, "image/png");
  service::NamesTag(request.ifNoneMatch, "\"tag\"");
}

void CheckHead(std::string_view head) {
  for (const std::size_t length : {std::size_t{1}, head.size() / 2, head.size()}) {
    Require(!service::CannotBeHead(head.substr(0, length)));
  }
  http::request_parser<http::string_body> parser;
  parser.eager(true);
  parser.header_limit(2 * service::kLargestHead);
  parser.body_limit(boost::none);
  boost::system::error_code error;
  parser.put(boost::asio::buffer(head.data(), head.size()), error);
  if (error && error != http::error::need_more) return;
  const auto& read = parser.get();
  const std::size_t first = head.find(' ');
  const std::string target(head.substr(first + 1, head.find(' ', first + 1) - first - 1));
  Require(Text(read.method_string()) == head.substr(0, first) && Text(read.target()) == target);
  const std::string_view length = FieldOf(head, "Content-Length");
  Require(parser.chunked() == IsSame(FieldOf(head, "Transfer-Encoding"), "chunked"));
  if (!parser.chunked()) {
    const std::uint64_t expected =
        length.empty() ? 0 : std::strtoull(std::string(length).c_str(), nullptr, 10);
    Require(parser.content_length().value_or(0) == expected && parser.is_done() == (expected == 0));
  }
  service::Request request;
  request.method = Text(read.method_string());
  request.path = target.substr(0, target.find('?'));
  request.host = Text(read[http::field::host]);
  Require(request.host == FieldOf(head, "Host"));
  request.contentType = FieldOf(head, "Content-Type");
  request.accept = FieldOf(head, "Accept");
  request.origin = FieldOf(head, "Origin");
  request.authorization = FieldOf(head, "Authorization");
  request.ifNoneMatch = FieldOf(head, "If-None-Match");
  CheckFields(request);
  if (request.path.size() < target.size()) CheckQuery(target.substr(request.path.size() + 1));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::string text(reinterpret_cast<const char*>(data), size);
  CheckQuery(text.substr(0, text.find(' ')));
  if (text.find(kEnd) == std::string::npos) text += kEnd;
  const std::string_view head = std::string_view(text).substr(0, text.find(kEnd) + kEnd.size());
  if (head.size() <= service::kLargestHead && service::WhyHeadIsRefused(head).empty()) CheckHead(head);
  return 0;
}
