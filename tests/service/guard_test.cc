// SPDX-License-Identifier: MIT
// Who may ask, and what a file with a token may be like.
#include "service/http/guard.h"

#include "jobs/error.h"

#include "scratch_dir.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdlib>
#include <fstream>
#include <string>

namespace {

using service::EqualInConstantTime;
using service::Guard;
using service::GuardOptions;
using service::Request;

int StatusFor(const GuardOptions& options, const Request& request, bool needsToken = false) {
  const auto problem = Guard(options).Refuse(request, needsToken);
  return problem ? service::StatusOf(problem->type) : 200;
}

Request For(const std::string& host) {
  Request request;
  request.method = "POST";
  request.host = host;
  return request;
}

TEST(GuardTest, HostsOfALoopbackAddress) {
  for (const char* const host : {"localhost", "LocalHost:80", "127.0.0.1", "[::1]:8017"}) {
    EXPECT_EQ(StatusFor({}, For(host)), 200) << host;
  }
  for (const char* const host :
       {"", "example.org", "localhost.example.org", "127.0.0.2", "[::2]", "::1", "[::1]x"}) {
    EXPECT_EQ(StatusFor({}, For(host)), 421) << host;
  }
}

TEST(GuardTest, HostsOfAnotherAddress) {
  GuardOptions options;
  options.isLoopback = false;
  options.hosts = {"draw.example.org"};
  Request request = For("10.1.2.3:80");
  EXPECT_EQ(StatusFor(options, request), 421);
  request.local = "10.1.2.3";
  EXPECT_EQ(StatusFor(options, request), 200);
  EXPECT_EQ(StatusFor(options, For("127.0.0.1")), 421);
  EXPECT_EQ(StatusFor(options, For("Draw.Example.org:443")), 200);
}

// The page of the service itself and those that are named may change something; all may read.
TEST(GuardTest, OriginsOfPages) {
  GuardOptions options;
  options.allowedOrigins = {"https://app.example.org"};
  const auto status = [&options](const std::string& origin, const std::string& method) {
    Request request = For("localhost:8017");
    request.origin = origin;
    request.method = method;
    return StatusFor(options, request);
  };
  for (const char* const ours :
       {"", "http://localhost:8017", "https://localhost:8017", "HTTP://LocalHost:8017",
        "https://app.example.org", "HTTPS://APP.example.org"}) {
    EXPECT_EQ(status(ours, "POST"), 200) << ours;
  }
  for (const char* const other : {"null", "http://localhost", "http://localhost:80170", "https://example.org",
                                  "http://app.example.org", "https://app.example.org.evil.org"}) {
    for (const char* const method : {"POST", "PUT", "DELETE", "get"}) {
      EXPECT_EQ(status(other, method), 403) << other << ' ' << method;
    }
    for (const char* const method : {"GET", "HEAD", "OPTIONS"}) {
      EXPECT_EQ(status(other, method), 200) << other << ' ' << method;
    }
  }
}

TEST(GuardTest, NamesThatNoRequestHas) {
  for (const char* const name : {"draw.example.org", "LOCAL_1", "10.1.2.3", "::1", "fe80::a"}) {
    EXPECT_EQ(service::WhyNoHostName(name), "") << name;
  }
  for (const char* const name : {"", "a:80", "10.1.2.3:80", "[::1]", "[::1]:80", "http://a", "a/", "a/b", "*",
                                 "*.example.org", "a b", "\xc3\xa9.example", "::g"}) {
    EXPECT_NE(service::WhyNoHostName(name), "") << name;
  }
}

TEST(GuardTest, OriginsThatNoRequestHas) {
  for (const char* const origin :
       {"https://example.org", "http://example.org:8080", "HTTPS://Example.org", "http://127.0.0.1:443",
        "https://a:80", "http://[::1]", "http://[::1]:8080", "moz-extension://0a-1b"}) {
    EXPECT_EQ(service::WhyNoOrigin(origin), "") << origin;
  }
  for (const char* const origin : {"",
                                   "*",
                                   "null",
                                   "example.org",
                                   "https://",
                                   "https://*",
                                   "https://*.example.org",
                                   "https://example.org/",
                                   "https://example.org/a",
                                   "https://example.org?a",
                                   "https://u@example.org",
                                   "https://example.org:",
                                   "https://example.org:x",
                                   "https://example.org:123456",
                                   "https://[::1",
                                   "https://[::g]",
                                   "https://[::1]x",
                                   "://a",
                                   "ht tp://a",
                                   "https://example.org:443",
                                   "http://example.org:80",
                                   "https://\xc3\xa9.example"}) {
    EXPECT_NE(service::WhyNoOrigin(origin), "") << origin;
  }
}

TEST(GuardTest, Tokens) {
  GuardOptions options;
  options.token = "0123456789abcdef";
  Request request = For("localhost");
  EXPECT_EQ(StatusFor(options, request), 200);
  EXPECT_EQ(StatusFor(options, request, true), 401);
  for (const char* const wrong :
       {"Bearer", "Bearer ", "0123456789abcdef", "Basic 0123456789abcdef", "Bearer 0123456789abcde",
        "Bearer 0123456789abcdeg", "Bearer  0123456789abcdef", "Bearer 0123456789abcdef0123456789abcdef"}) {
    request.authorization = wrong;
    EXPECT_EQ(StatusFor(options, request, true), 401) << wrong;
  }
  for (const char* const right : {"Bearer 0123456789abcdef", "bearer 0123456789abcdef"}) {
    request.authorization = right;
    EXPECT_EQ(StatusFor(options, request, true), 200) << right;
  }
}

TEST(GuardTest, EqualTexts) {
  EXPECT_TRUE(EqualInConstantTime("", ""));
  EXPECT_TRUE(EqualInConstantTime("abc", "abc"));
  for (const char* const other : {"", "ab", "abd", "abcabc", "xbc"})
    EXPECT_FALSE(EqualInConstantTime(other, "abc"));
  EXPECT_FALSE(EqualInConstantTime("a", ""));
}

class TokenFileTest : public testing::Test {
 protected:
  std::string Failure(const std::string& text, mode_t mode = 0600) {
    const std::string file = scratch_.path() + "/token";
    std::ofstream(file) << text;
    chmod(file.c_str(), mode);
    try {
      token_ = service::ReadToken(file);
      return "";
    } catch (const jobs::Error& e) {
      return e.text();
    }
  }

  ScratchDir scratch_;
  std::string token_;
};

TEST_F(TokenFileTest, TheFirstLine) {
  EXPECT_EQ(Failure("0123456789abcdef\nnotes\n"), "");
  EXPECT_EQ(token_, "0123456789abcdef");
  EXPECT_EQ(Failure("0123456789abcdef", 0400), "");
}

TEST_F(TokenFileTest, CredentialsMayBeReadByTheirGroup) {
  setenv("CREDENTIALS_DIRECTORY", scratch_.path().c_str(), 1);
  EXPECT_EQ(Failure("0123456789abcdef", 0440), "");
  EXPECT_NE(Failure("0123456789abcdef", 0444), "");
  unsetenv("CREDENTIALS_DIRECTORY");
  EXPECT_NE(Failure("0123456789abcdef", 0440), "");
}

TEST_F(TokenFileTest, FilesThatAreRefused) {
  EXPECT_EQ(Failure("0123456789abcdef\n", 0640), "others may read the token; chmod 600 keeps it secret");
  EXPECT_NE(Failure("0123456789abcde\n"), "");
  EXPECT_NE(Failure("\n0123456789abcdef\n"), "");
  EXPECT_NE(Failure("0123456789 abcdef\n"), "");
  EXPECT_NE(Failure(std::string(5000, 'a')), "");
  EXPECT_THROW(service::ReadToken(scratch_.path() + "/none"), jobs::Error);
  EXPECT_THROW(service::ReadToken(scratch_.path()), jobs::Error);
}

}  // namespace
