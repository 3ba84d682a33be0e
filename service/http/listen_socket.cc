// SPDX-License-Identifier: MIT
// Both protocols of systemd are small: passed sockets are counted in the environment and begin at descriptor
// 3, and a state is a datagram to a socket that the environment names.
#include "listen_socket.h"

#include "jobs/error.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <charconv>
#include <cstddef>
#include <cstdlib>
#include <cstring>

namespace service {

namespace {

using jobs::Error;
using jobs::ErrorKind;
using jobs::OpenDescriptor;

constexpr int kBacklog = 1024;
constexpr int kFirstPassed = 3;
constexpr std::string_view kUnix = "unix:";

union Address {
  sockaddr any;
  sockaddr_in v4;
  sockaddr_in6 v6;
  sockaddr_un local;
};

struct Wanted {
  Address address = {};
  socklen_t size = 0;
};

// Nothing for a text that is no address.
std::optional<Wanted> ReadAddress(const std::string& text) {
  Wanted wanted;
  if (text.compare(0, kUnix.size(), kUnix) == 0) {
    const std::string path = text.substr(kUnix.size());
    if (path.empty() || path.size() >= sizeof wanted.address.local.sun_path) return std::nullopt;
    wanted.address.local.sun_family = AF_UNIX;
    std::memcpy(wanted.address.local.sun_path, path.c_str(), path.size() + 1);
    wanted.size = sizeof wanted.address.local;
    return wanted;
  }
  const std::size_t colon = text.rfind(':');
  if (colon == std::string::npos) return std::nullopt;
  std::uint16_t port = 0;
  const char* const end = text.data() + text.size();
  const auto [at, error] = std::from_chars(text.data() + colon + 1, end, port);
  if (error != std::errc() || at != end) return std::nullopt;
  std::string host = text.substr(0, colon);
  if (host == "localhost") host = "127.0.0.1";
  if (host.size() > 2 && host.front() == '[' && host.back() == ']') {
    wanted.address.v6.sin6_family = AF_INET6;
    wanted.address.v6.sin6_port = htons(port);
    wanted.size = sizeof wanted.address.v6;
    const std::string inner = host.substr(1, host.size() - 2);
    return inet_pton(AF_INET6, inner.c_str(), &wanted.address.v6.sin6_addr) == 1 ? std::optional(wanted)
                                                                                 : std::nullopt;
  }
  wanted.address.v4.sin_family = AF_INET;
  wanted.address.v4.sin_port = htons(port);
  wanted.size = sizeof wanted.address.v4;
  return inet_pton(AF_INET, host.c_str(), &wanted.address.v4.sin_addr) == 1 ? std::optional(wanted)
                                                                            : std::nullopt;
}

std::string HostOf(const Address& address) {
  char text[INET6_ADDRSTRLEN] = "";
  if (address.any.sa_family == AF_INET) {
    inet_ntop(AF_INET, &address.v4.sin_addr, text, sizeof text);
    return text;
  }
  if (address.any.sa_family != AF_INET6) return "unix";
  if (IN6_IS_ADDR_V4MAPPED(&address.v6.sin6_addr)) {
    inet_ntop(AF_INET, address.v6.sin6_addr.s6_addr + 12, text, sizeof text);
  } else {
    inet_ntop(AF_INET6, &address.v6.sin6_addr, text, sizeof text);
  }
  return text;
}

bool IsLoopback(const Address& address) {
  switch (address.any.sa_family) {
    case AF_INET:
      return ntohl(address.v4.sin_addr.s_addr) >> 24 == 127;
    case AF_INET6:
      return IN6_IS_ADDR_LOOPBACK(&address.v6.sin6_addr);
    default:
      return true;
  }
}

// What is known of a socket that listens.
ListenSocket Described(OpenDescriptor&& opened, const std::string& place) {
  Address address = {};
  socklen_t size = sizeof address;
  if (getsockname(opened.get(), &address.any, &size) != 0)
    throw Error::OfSystem(ErrorKind::kInput, place, "");
  ListenSocket made;
  made.family = address.any.sa_family;
  made.isLoopback = IsLoopback(address);
  if (made.family == AF_UNIX) {
    const bool isNamed = size > offsetof(sockaddr_un, sun_path);
    made.url = std::string(kUnix) + (isNamed ? address.local.sun_path : "");
  } else {
    const std::string host = HostOf(address);
    const std::uint16_t port = ntohs(made.family == AF_INET ? address.v4.sin_port : address.v6.sin6_port);
    const bool needsBrackets = host.find(':') != std::string::npos;
    made.url = "http://" + (needsBrackets ? "[" + host + "]" : host) + ":" + std::to_string(port) + "/";
  }
  made.descriptor = std::move(opened);
  return made;
}

// Removes a Unix socket that nobody listens on any more.
void RemoveAbandoned(const Wanted& wanted) {
  const OpenDescriptor probe(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
  if (connect(probe.get(), &wanted.address.any, wanted.size) != 0 && errno == ECONNREFUSED) {
    unlink(wanted.address.local.sun_path);
  }
}

std::string AddressOf(int connection, int (*get)(int, sockaddr*, socklen_t*)) {
  Address address = {};
  socklen_t size = sizeof address;
  if (get(connection, &address.any, &size) != 0) return "unknown";
  return HostOf(address);
}

}  // namespace

std::string WhyNoAddress(const std::string& address) {
  if (ReadAddress(address)) return "";
  return "'" + address + "' is no address such as 127.0.0.1:8017, [::1]:8017 or unix:/run/tovkit.sock";
}

ListenSocket Listen(const std::string& address) {
  const auto wanted = ReadAddress(address);
  if (!wanted) throw Error(ErrorKind::kInput, "--listen", WhyNoAddress(address));
  const int family = wanted->address.any.sa_family;
  OpenDescriptor made(socket(family, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
  if (made.get() < 0) throw Error::OfSystem(ErrorKind::kInput, address, "cannot listen");
  const int one = 1;
  setsockopt(made.get(), SOL_SOCKET, SO_REUSEADDR, &one, sizeof one);
  if (family == AF_UNIX) RemoveAbandoned(*wanted);
  if (bind(made.get(), &wanted->address.any, wanted->size) != 0 || listen(made.get(), kBacklog) != 0) {
    throw Error::OfSystem(ErrorKind::kInput, address, "cannot listen");
  }
  ListenSocket described = Described(std::move(made), address);
  if (family == AF_UNIX) described.path = wanted->address.local.sun_path;
  return described;
}

std::optional<ListenSocket> TakePassedSocket() {
  const char* const process = std::getenv("LISTEN_PID");
  const char* const count = std::getenv("LISTEN_FDS");
  const bool isOurs =
      process != nullptr && count != nullptr && std::strtoll(process, nullptr, 10) == getpid();
  const std::string passed = isOurs ? count : "";
  for (const char* const name : {"LISTEN_PID", "LISTEN_FDS", "LISTEN_FDNAMES"}) unsetenv(name);
  if (!isOurs) return std::nullopt;
  if (passed != "1") throw Error(ErrorKind::kInput, "LISTEN_FDS", "one socket is expected, not " + passed);
  int listens = 0, type = 0;
  socklen_t size = sizeof listens;
  const bool isListening = getsockopt(kFirstPassed, SOL_SOCKET, SO_ACCEPTCONN, &listens, &size) == 0 &&
                           listens == 1 && getsockopt(kFirstPassed, SOL_SOCKET, SO_TYPE, &type, &size) == 0 &&
                           type == SOCK_STREAM;
  if (!isListening)
    throw Error(ErrorKind::kInput, "LISTEN_FDS", "the socket does not listen for connections");
  // Above the descriptors that workers get.
  OpenDescriptor moved(fcntl(kFirstPassed, F_DUPFD_CLOEXEC, 16));
  close(kFirstPassed);
  fcntl(moved.get(), F_SETFL, O_NONBLOCK);
  return Described(std::move(moved), "LISTEN_FDS");
}

std::string PeerOf(int connection) { return AddressOf(connection, getpeername); }

std::string LocalOf(int connection) {
  const std::string host = AddressOf(connection, getsockname);
  return host == "unix" ? "" : host;
}

void NotifyManager(const std::string& state) {
  const char* const name = std::getenv("NOTIFY_SOCKET");
  if (name == nullptr || (name[0] != '/' && name[0] != '@')) return;
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  const std::size_t length = std::strlen(name);
  if (length >= sizeof address.sun_path) return;
  std::memcpy(address.sun_path, name, length);
  if (name[0] == '@') address.sun_path[0] = '\0';  // an abstract name
  const OpenDescriptor made(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
  const auto size = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + length);
  [[maybe_unused]] const ssize_t sent = sendto(made.get(), state.data(), state.size(), MSG_NOSIGNAL,
                                               reinterpret_cast<const sockaddr*>(&address), size);
}

}  // namespace service
