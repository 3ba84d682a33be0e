// SPDX-License-Identifier: MIT
// Addresses to listen on.
#include "service/http/listen_socket.h"

#include "jobs/error.h"
#include "jobs/folder.h"

#include "scratch_dir.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <fstream>
#include <string>

namespace {

using service::Listen;
using service::ListenSocket;
using service::WhyNoAddress;

TEST(ListenSocketTest, Addresses) {
  for (const char* const address :
       {"127.0.0.1:0", "0.0.0.0:65535", "localhost:80", "[::1]:8017", "[::]:1", "unix:/a/b"}) {
    EXPECT_EQ(WhyNoAddress(address), "") << address;
  }
  for (const char* const address :
       {"", "8017", ":8017", "127.0.0.1", "127.0.0.1:", "127.0.0.1:65536", "127.0.0.1:-1", "127.0.0.1:80x",
        "::1:80", "[::1]", "[::1:80", "example.org:80", "unix:", "1:2:3"}) {
    EXPECT_NE(WhyNoAddress(address), "") << address;
  }
  EXPECT_NE(WhyNoAddress("unix:/" + std::string(200, 'a')), "");
}

TEST(ListenSocketTest, WhoCanReachThem) {
  const ListenSocket loopback = Listen("127.0.0.1:0");
  EXPECT_TRUE(loopback.isLoopback);
  EXPECT_EQ(loopback.url.rfind("http://127.0.0.1:", 0), 0u) << loopback.url;
  EXPECT_NE(loopback.url, "http://127.0.0.1:0/");
  EXPECT_FALSE(Listen("0.0.0.0:0").isLoopback);
}

TEST(ListenSocketTest, AnAddressThatIsTaken) {
  const ListenSocket first = Listen("127.0.0.1:0");
  const std::string address = first.url.substr(7, first.url.size() - 8);
  EXPECT_THROW((void)Listen(address), jobs::Error);
}

TEST(ListenSocketTest, AnAbandonedUnixSocketIsReplacedAndALivingOneIsNot) {
  const ScratchDir scratch;
  const std::string address = "unix:" + scratch.path() + "/socket";
  { const ListenSocket abandoned = Listen(address); }
  const ListenSocket living = Listen(address);
  EXPECT_TRUE(living.isLoopback);
  EXPECT_EQ(living.url, address);
  EXPECT_THROW((void)Listen(address), jobs::Error);
}

// As a socket for both families sees a client of the older one.
TEST(ListenSocketTest, AnAddressOfTheOlderFamilyIsToldAsSuch) {
  const jobs::OpenDescriptor listening(socket(AF_INET6, SOCK_STREAM | SOCK_CLOEXEC, 0));
  sockaddr_in6 address = {};
  address.sin6_family = AF_INET6;
  ASSERT_EQ(inet_pton(AF_INET6, "::ffff:127.0.0.1", &address.sin6_addr), 1);
  auto* const any = reinterpret_cast<sockaddr*>(&address);
  socklen_t size = sizeof address;
  if (bind(listening.get(), any, size) != 0) GTEST_SKIP() << "no IPv6 here";
  ASSERT_EQ(listen(listening.get(), 1), 0);
  ASSERT_EQ(getsockname(listening.get(), any, &size), 0);
  const jobs::OpenDescriptor client(socket(AF_INET6, SOCK_STREAM | SOCK_CLOEXEC, 0));
  ASSERT_EQ(connect(client.get(), any, size), 0);
  const jobs::OpenDescriptor accepted(accept4(listening.get(), nullptr, nullptr, SOCK_CLOEXEC));
  EXPECT_EQ(service::PeerOf(accepted.get()), "127.0.0.1");
  EXPECT_EQ(service::PeerOf(client.get()), "127.0.0.1");
}

TEST(ListenSocketTest, AFileIsNotReplaced) {
  const ScratchDir scratch;
  const std::string file = scratch.path() + "/file";
  std::ofstream(file) << "text";
  EXPECT_THROW((void)Listen("unix:" + file), jobs::Error);
  EXPECT_EQ(access(file.c_str(), F_OK), 0);
}

}  // namespace
