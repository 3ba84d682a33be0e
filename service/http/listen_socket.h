// SPDX-License-Identifier: MIT
// The sockets that the server listens on.
#pragma once

#include "jobs/folder.h"

#include <optional>
#include <string>

namespace service {

struct ListenSocket {
  jobs::OpenDescriptor descriptor;
  int family = 0;
  bool isLoopback = true;  // only this machine reaches it; a Unix socket counts as such
  std::string url;         // "http://127.0.0.1:8017/" or "unix:/run/tovkit.sock"
  std::string path = {};   // of a Unix socket that was made here, and is removed at the end
};

// A listening socket for "ADDRESS:PORT" with a numeric address or localhost, "[ADDRESS]:PORT", or
// "unix:PATH". Port 0 is one that is free. Throws jobs::Error.
[[nodiscard]] ListenSocket Listen(const std::string& address);

// The address of Listen in words why it is none; empty when it is one.
[[nodiscard]] std::string WhyNoAddress(const std::string& address);

// The socket that systemd passed to this process, if it did. Throws jobs::Error for several, and for what is
// no listening stream socket.
[[nodiscard]] std::optional<ListenSocket> TakePassedSocket();

// The address that the other end of a connection has, or this one: "127.0.0.1", "::1"; "unix" for a Unix
// socket.
std::string PeerOf(int connection);
std::string LocalOf(int connection);

// Tells systemd of a state such as "READY=1", where it asked for that.
void NotifyManager(const std::string& state);

}  // namespace service
