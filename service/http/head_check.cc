// SPDX-License-Identifier: MIT
// RFC 9112, with every choice that it leaves to a server made for "refuse".
#include "head_check.h"

#include <strings.h>

#include <algorithm>

namespace service {

namespace {

bool IsTokenCharacter(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
         (c != '\0' && std::string_view("!#$%&'*+-.^_`|~").find(c) != std::string_view::npos);
}

bool IsToken(std::string_view text) {
  return !text.empty() && std::all_of(text.begin(), text.end(), IsTokenCharacter);
}

bool IsDigits(std::string_view text) {
  return !text.empty() && std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; });
}

bool IsSame(std::string_view a, std::string_view b) {
  return a.size() == b.size() && strncasecmp(a.data(), b.data(), a.size()) == 0;
}

std::string_view Trimmed(std::string_view text) {
  const auto isSpace = [](char c) { return c == ' ' || c == '\t'; };
  while (!text.empty() && isSpace(text.front())) text.remove_prefix(1);
  while (!text.empty() && isSpace(text.back())) text.remove_suffix(1);
  return text;
}

// "example.org", "127.0.0.1:80", "[::1]:80".
bool IsHost(std::string_view host) {
  std::size_t end = 0;
  if (!host.empty() && host.front() == '[') {
    end = std::min(host.find(']'), host.size());
    const std::string_view inner = host.substr(1, end - 1);
    if (end == host.size() || inner.find_first_not_of("0123456789abcdefABCDEF:.") != std::string_view::npos) {
      return false;
    }
    ++end;
  } else {
    end = std::min(host.find(':'), host.size());
    const auto isName = [](char c) {
      return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-' ||
             c == '.' || c == '_';
    };
    const std::string_view name = host.substr(0, end);
    if (name.empty() || !std::all_of(name.begin(), name.end(), isName)) return false;
  }
  const std::string_view port = host.substr(end);
  return port.empty() ||
         (port.front() == ':' && port.size() <= 6 && (port.size() == 1 || IsDigits(port.substr(1))));
}

std::string WhyLineIsRefused(std::string_view line, bool& isOld) {
  const std::size_t first = line.find(' ');
  const std::size_t last = line.rfind(' ');
  if (first == std::string_view::npos || first == last || !IsToken(line.substr(0, first))) {
    return "the first line is no METHOD TARGET VERSION";
  }
  const std::string_view target = line.substr(first + 1, last - first - 1);
  const bool isPlain = std::all_of(target.begin(), target.end(), [](char c) { return c > ' ' && c < 0x7F; });
  const bool isStar = target == "*" && line.substr(0, first) == "OPTIONS";
  if (!isPlain || (!isStar && (target.empty() || target.front() != '/'))) {
    return "the target has to begin with a slash and hold no other than visible ASCII characters";
  }
  const std::string_view version = line.substr(last + 1);
  isOld = version == "HTTP/1.0";
  return isOld || version == "HTTP/1.1" ? "" : "the version is neither HTTP/1.1 nor HTTP/1.0";
}

// What the fields so far say of the body and the host.
struct Fields {
  int hosts = 0, lengths = 0, encodings = 0;

  std::string WhyRefused(std::string_view name, std::string_view value) {
    if (IsSame(name, "Host")) {
      if (++hosts > 1) return "Host stands twice";
      if (!IsHost(value)) return "Host is no host";
    } else if (IsSame(name, "Content-Length")) {
      if (++lengths > 1) return "Content-Length stands twice";
      if (!IsDigits(value) || value.size() > 18) return "Content-Length is no number";
    } else if (IsSame(name, "Transfer-Encoding")) {
      if (++encodings > 1) return "Transfer-Encoding stands twice";
      if (!IsSame(value, "chunked")) return "the only Transfer-Encoding is chunked";
    }
    return "";
  }
};

}  // namespace

bool HasControl(std::string_view text) {
  return std::any_of(text.begin(), text.end(),
                     [](char c) { return (static_cast<unsigned char>(c) < 0x20 && c != '\t') || c == 0x7F; });
}

std::string WhyHeadIsRefused(std::string_view head) {
  Fields fields;
  bool isOld = false;
  int count = -1;
  for (std::size_t from = 0; from < head.size() - 2; ++count) {
    const std::size_t to = head.find("\r\n", from);
    const std::string_view line = head.substr(from, to - from);
    from = to + 2;
    if (HasControl(line)) return "a control character stands in the head";
    if (count < 0) {
      std::string why = WhyLineIsRefused(line, isOld);
      if (!why.empty()) return why;
      continue;
    }
    const std::size_t colon = line.find(':');
    if (colon == std::string_view::npos || !IsToken(line.substr(0, colon)))
      return "a line of the head is no NAME: VALUE";
    std::string why = fields.WhyRefused(line.substr(0, colon), Trimmed(line.substr(colon + 1)));
    if (!why.empty()) return why;
  }
  if (fields.hosts == 0) return "Host is missing";
  if (fields.lengths != 0 && fields.encodings != 0)
    return "Content-Length and Transfer-Encoding exclude each other";
  if (fields.encodings != 0 && isOld) return "HTTP/1.0 has no Transfer-Encoding";
  return "";
}

bool CannotBeHead(std::string_view bytes) {
  if (!bytes.empty() && !IsTokenCharacter(bytes.front())) return true;
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    if (bytes[i] == '\n' && (i == 0 || bytes[i - 1] != '\r')) return true;
    if (bytes[i] == '\r' && i + 1 < bytes.size() && bytes[i + 1] != '\n') return true;
    if (bytes[i] == '\0') return true;
  }
  return false;
}

}  // namespace service
