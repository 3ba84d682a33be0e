// SPDX-License-Identifier: MIT
// The head of a request, read strictly. Two programs that read one request differently, a proxy and a server,
// let a client hide a second request in the first; so whatever can be read in two ways is refused.
#pragma once

#include <string>
#include <string_view>

namespace service {

inline constexpr std::size_t kLargestHead = 16384;  // bytes
inline constexpr int kMostFields = 100;

// Why the head, with its empty line at the end, is refused; empty when it is not. Refused are
//
//   a line end or a control character that stands alone, a field that goes on in the next line, spaces before
//   a colon, a method or field name that is none a target that does not begin with a slash, but for "*" with
//   OPTIONS; any version but HTTP/1.0 and HTTP/1.1 no Host, several, and one that is no host with an optional
//   port Content-Length twice, with Transfer-Encoding, or not of digits; Transfer-Encoding other than
//   "chunked", twice, or with HTTP/1.0
std::string WhyHeadIsRefused(std::string_view head);

// Whether one of the bytes controls something: tabs do not.
bool HasControl(std::string_view text);

// Whether bytes that have come cannot begin a head any more, so that nobody has to wait for its end.
bool CannotBeHead(std::string_view bytes);

}  // namespace service
