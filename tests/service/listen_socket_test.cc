// SPDX-License-Identifier: MIT
// Addresses to listen on.
#include "service/http/listen_socket.h"

#include "jobs/error.h"

#include "scratch_dir.h"

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

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

}  // namespace
