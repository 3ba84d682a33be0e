// SPDX-License-Identifier: MIT
// A browser names in Host what its user, or a name server that was turned round, has as the address, and in
// Origin the site of the page that asks. Ports are not looked at: a proxy may have another.
#include "guard.h"

#include "jobs/error.h"
#include "jobs/folder.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <strings.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <utility>

namespace service {

namespace {

constexpr std::size_t kLeastToken = 16;
constexpr std::size_t kMostToken = 4096;

// A host without its port; empty for what is no host.
std::string WithoutPort(const std::string& host) {
  const std::size_t end = !host.empty() && host.front() == '[' ? host.find(']') : host.find(':');
  if (!host.empty() && host.front() == '[') {
    if (end == std::string::npos) return "";
    const std::string rest = host.substr(end + 1);
    return rest.empty() || rest.front() == ':' ? host.substr(1, end - 1) : "";
  }
  return host.substr(0, end);
}

bool IsSame(const std::string& a, const std::string& b) { return strcasecmp(a.c_str(), b.c_str()) == 0; }

bool Contains(const std::vector<std::string>& names, const std::string& name) {
  return std::any_of(names.begin(), names.end(), [&](const std::string& each) { return IsSame(each, name); });
}

bool IsName(const std::string& text) {
  return !text.empty() && std::all_of(text.begin(), text.end(), [](unsigned char c) {
    return c < 0x80 && (std::isalnum(c) != 0 || c == '.' || c == '-' || c == '_');
  });
}

bool IsIp6(const std::string& text) {
  in6_addr address = {};
  return inet_pton(AF_INET6, text.c_str(), &address) == 1;
}

// "https" and what stands behind "://"; empty when that is not there.
std::pair<std::string, std::string> SchemeAndRest(const std::string& origin) {
  const std::size_t colon = std::min(origin.find("://"), origin.size());
  const std::string scheme = origin.substr(0, colon);
  const bool isScheme = !scheme.empty() && std::all_of(scheme.begin(), scheme.end(), [](unsigned char c) {
    return c < 0x80 && (std::isalnum(c) != 0 || c == '+' || c == '-' || c == '.');
  });
  if (!isScheme || colon == origin.size()) return {};
  return {scheme, origin.substr(colon + 3)};
}

bool IsPort(const std::string& text) {
  return !text.empty() && text.size() <= 5 && text.find_first_not_of("0123456789") == std::string::npos;
}

}  // namespace

std::string WhyNoHostName(const std::string& name) {
  if (IsName(name) || IsIp6(name)) return "";
  return "'" + name + "' is no name or address alone, such as draw.example.org: without a port, http:// or *";
}

std::string WhyNoOrigin(const std::string& origin) {
  const auto [scheme, host] = SchemeAndRest(origin);
  const std::string name = WithoutPort(host);
  const bool isBracketed = host.rfind('[', 0) == 0;
  const bool isHost = isBracketed ? IsIp6(name) : IsName(name);
  const std::string port = isHost ? host.substr(name.size() + (isBracketed ? 2 : 0)) : "";
  if (!isHost || (!port.empty() && !IsPort(port.substr(1)))) {
    return "'" + origin +
           "' is no site alone, such as https://example.org: without a slash, a path or * behind it";
  }
  if ((IsSame(scheme, "https") && port == ":443") || (IsSame(scheme, "http") && port == ":80"))
    return "'" + origin + "' has the port that browsers leave out";
  return "";
}

bool EqualInConstantTime(std::string_view given, std::string_view secret) {
  unsigned difference = given.size() == secret.size() ? 0 : 1;
  for (std::size_t i = 0; i < given.size(); ++i) {
    const char other = secret.empty() ? '\0' : secret[i % secret.size()];
    difference |= static_cast<unsigned char>(given[i]) ^ static_cast<unsigned char>(other);
  }
  return difference == 0;
}

bool Guard::IsOurHost(const Request& request) const {
  const std::string host = WithoutPort(request.host);
  if (host.empty()) return false;
  const bool isLoopbackName = host == "127.0.0.1" || host == "::1";
  return IsSame(host, "localhost") || (isLoopbackName && options_.isLoopback) ||
         (!request.local.empty() && host == request.local) || Contains(options_.hosts, host);
}

bool Guard::IsAllowedOrigin(const std::string& origin) const {
  return !origin.empty() && Contains(options_.allowedOrigins, origin);
}

std::optional<Problem> Guard::Refuse(const Request& request, bool needsToken) const {
  if (!IsOurHost(request)) {
    return Problem{Problem::kWrongHost, "the Host is neither the address nor localhost nor a name of --host"};
  }
  const bool isOurs = request.origin.empty() || IsSame(request.origin, "http://" + request.host) ||
                      IsSame(request.origin, "https://" + request.host);
  const bool reads = request.method == "GET" || request.method == "HEAD" || request.method == "OPTIONS";
  if (!reads && !isOurs && !IsAllowedOrigin(request.origin)) {
    return Problem{Problem::kForeignOrigin, "pages of " + request.origin + " are not allowed to use this"};
  }
  if (!needsToken || options_.token.empty()) return std::nullopt;
  constexpr std::string_view kScheme = "Bearer ";
  const std::string& given = request.authorization;
  const bool isBearer = strncasecmp(given.c_str(), kScheme.data(), kScheme.size()) == 0;
  const std::string_view token =
      isBearer ? std::string_view(given).substr(kScheme.size()) : std::string_view();
  if (EqualInConstantTime(token, options_.token)) return std::nullopt;
  return Problem{Problem::kUnauthorized, given.empty() ? "Authorization: Bearer TOKEN is missing"
                                                       : "the token is not the one that is expected"};
}

std::string ReadToken(const std::string& file) {
  using jobs::Error;
  using jobs::ErrorKind;
  const jobs::OpenDescriptor opened(open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY));
  struct stat status = {};
  if (opened.get() < 0 || fstat(opened.get(), &status) != 0)
    throw Error::OfSystem(ErrorKind::kInput, file, "");
  if (!S_ISREG(status.st_mode)) throw Error(ErrorKind::kInput, file, "no regular file");
  // A credential that systemd passes is its service's alone, whatever the bits of its group say.
  const char* const credentials = std::getenv("CREDENTIALS_DIRECTORY");
  const bool isCredential = credentials != nullptr && file.rfind(std::string(credentials) + "/", 0) == 0;
  if ((status.st_mode & (isCredential ? 037 : 077)) != 0) {
    throw Error(ErrorKind::kInput, file, "others may read the token; chmod 600 keeps it secret");
  }
  char bytes[kMostToken + 1];
  const ssize_t length = read(opened.get(), bytes, sizeof bytes);
  if (length < 0) throw Error::OfSystem(ErrorKind::kInput, file, "");
  std::string token(bytes, static_cast<std::size_t>(length));
  token.resize(std::min(token.find_first_of("\r\n"), token.size()));
  if (token.size() < kLeastToken || token.size() > kMostToken) {
    throw Error(ErrorKind::kInput, file,
                "the token in the first line has less than 16 characters, or too many");
  }
  const bool isPlain = std::all_of(token.begin(), token.end(), [](char c) { return c > ' ' && c < 0x7F; });
  if (!isPlain) throw Error(ErrorKind::kInput, file, "the token has other characters than visible ASCII");
  return token;
}

}  // namespace service
