// SPDX-License-Identifier: MIT
#include "routes.h"

#include <strings.h>

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <string_view>

namespace service {

namespace {

constexpr Route kRoutes[] = {
    {"/v1/draw", "draw", Route::kJson, true},
    {"/v1/describe", "describe", Route::kJson, true},
    {"/v1/hit", "hit", Route::kJson, true},
    {"/v1/image", "image", Route::kPicture, true},
    {"/v1/image/info", "info", Route::kPicture, true},
    {"/healthz", nullptr, Route::kNone, false},
    {"/readyz", nullptr, Route::kNone, false},
    {"/metrics", nullptr, Route::kNone, true},
    {"/openapi.json", nullptr, Route::kNone, false},
    {"/schemas/line.schema.json", nullptr, Route::kNone, false},
    {"/schemas/job.schema.json", nullptr, Route::kNone, false},
};

constexpr const char* kPictureTypes[] = {"image/png",  "image/jpeg", "image/gif", "image/tiff",
                                         "image/webp", "image/bmp",  "image/jp2"};

std::string_view Trimmed(std::string_view text) {
  const auto isSpace = [](char c) { return c == ' ' || c == '\t'; };
  while (!text.empty() && isSpace(text.front())) text.remove_prefix(1);
  while (!text.empty() && isSpace(text.back())) text.remove_suffix(1);
  return text;
}

bool IsSame(std::string_view a, std::string_view b) {
  return a.size() == b.size() && strncasecmp(a.data(), b.data(), a.size()) == 0;
}

// Calls visit(element) for the elements of a list, until it returns true.
template <typename Visit>
bool AnyElement(std::string_view list, Visit visit) {
  for (std::size_t from = 0; from <= list.size();) {
    const std::size_t to = std::min(list.find(',', from), list.size());
    if (visit(Trimmed(list.substr(from, to - from)))) return true;
    from = to + 1;
  }
  return false;
}

// A type that is given the weight 0 is not wanted.
bool IsWanted(std::string_view parameters) {
  for (std::size_t at = parameters.find(';'); at != std::string_view::npos;
       at = parameters.find(';', at + 1)) {
    const std::string_view parameter = Trimmed(parameters.substr(at + 1));
    if (parameter.size() > 2 && IsSame(parameter.substr(0, 2), "q=")) {
      return std::strtod(std::string(parameter.substr(2)).c_str(), nullptr) > 0;
    }
  }
  return true;
}

}  // namespace

const Route* FindRoute(const std::string& path) {
  const auto* const found =
      std::find_if(std::begin(kRoutes), std::end(kRoutes), [&](const Route& r) { return path == r.path; });
  return found == std::end(kRoutes) ? nullptr : found;
}

const char* AllowedMethods(const Route& route) {
  return route.body == Route::kNone ? "GET, HEAD, OPTIONS" : "POST, OPTIONS";
}

bool TakesType(const Route& route, const std::string& contentType) {
  const std::string_view type = Trimmed(std::string_view(contentType).substr(0, contentType.find(';')));
  if (route.body == Route::kJson) return IsSame(type, "application/json");
  return std::any_of(std::begin(kPictureTypes), std::end(kPictureTypes),
                     [type](const char* known) { return IsSame(type, known); });
}

bool Accepts(const std::string& accept, const std::string& mediaType) {
  if (Trimmed(accept).empty()) return true;
  const std::string family = mediaType.substr(0, mediaType.find('/')) + "/*";
  return AnyElement(accept, [&](std::string_view element) {
    const std::string_view range = Trimmed(element.substr(0, element.find(';')));
    return (range == "*/*" || IsSame(range, family) || IsSame(range, mediaType)) && IsWanted(element);
  });
}

bool NamesTag(const std::string& ifNoneMatch, const std::string& tag) {
  return AnyElement(ifNoneMatch, [&tag](std::string_view element) {
    if (element.substr(0, 2) == "W/") element.remove_prefix(2);
    return element == tag;
  });
}

}  // namespace service
