// SPDX-License-Identifier: MIT
// The paths of the server.
#pragma once

#include <string>

namespace service {

struct Route {
  enum Body { kNone, kJson, kPicture };

  const char* path;
  const char* kind;  // of the job; null for what is answered at once
  Body body;
  bool needsToken;
};

// The route of a path; null for what is no path of the service, such as the files of its page.
const Route* FindRoute(const std::string& path);

// "POST, OPTIONS"
const char* AllowedMethods(const Route& route);

// Whether a media type, with its parameters, is one that the route takes.
bool TakesType(const Route& route, const std::string& contentType);

// Whether an Accept header, empty when there is none, leaves the media type in.
bool Accepts(const std::string& accept, const std::string& mediaType);

// Whether an If-None-Match header names the tag.
bool NamesTag(const std::string& ifNoneMatch, const std::string& tag);

}  // namespace service
