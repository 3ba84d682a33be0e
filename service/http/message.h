// SPDX-License-Identifier: MIT
// What a client asks, and what it is answered, without the transport.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace service {

struct Request {
  std::string id;      // of the request, for the log
  std::string client;  // where it comes from: "127.0.0.1", "unix"
  std::string local;   // the address that it came to, without the port; empty for a Unix socket
  std::string method;
  std::string path;   // as it stands in the request, without the query
  std::string query;  // behind the question mark
  std::string host;
  std::string contentType;
  std::string accept;
  std::string origin;
  std::string authorization;
  std::string ifNoneMatch;
  bool isPreflight = false;  // Access-Control-Request-Method is there
  std::string body;
};

struct Response {
  int status = 200;
  std::vector<std::pair<std::string, std::string>> headers;  // those of the transport are not among them
  std::shared_ptr<const std::string> body;                   // null for none
  bool close = false;                                        // the connection, behind the response
  std::string endpoint = {};                                 // for metrics
  std::string note = {};                                     // for the log: why it failed
};

using Reply = std::function<void(Response&& response)>;

}  // namespace service
