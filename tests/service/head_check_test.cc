// SPDX-License-Identifier: MIT
// Heads that can be read in two ways are refused, and no others.
#include "service/http/head_check.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using service::CannotBeHead;
using service::WhyHeadIsRefused;

std::string Why(const std::string& fields, const std::string& line = "POST /v1/draw HTTP/1.1") {
  return WhyHeadIsRefused(line + "\r\n" + fields + "\r\n");
}

TEST(HeadCheckTest, PlainHeads) {
  for (const char* const fields :
       {"Host: localhost\r\n", "host:127.0.0.1:8017\r\n", "Host: [::1]:80 \r\nX:\r\n",
        "A: b\tc\r\nHOST: a_b.c-d:\r\n", "Host: a\r\nContent-Length: 0\r\n",
        "Host: a\r\nTransfer-Encoding: Chunked\r\n", "Host: a\r\nX: \xc3\xa9\r\n",
        "Host: a\r\nContent-Length:\t 12 \r\n"}) {
    EXPECT_EQ(Why(fields), "") << fields;
  }
  EXPECT_EQ(Why("Host: a\r\n", "OPTIONS * HTTP/1.1"), "");
  EXPECT_EQ(Why("Host: a\r\n", "GET /?a=%20 HTTP/1.0"), "");
}

TEST(HeadCheckTest, FieldsThatCanBeReadInTwoWays) {
  for (const char* const fields : {"",
                                   "X: y\r\n",
                                   "Host: a\r\nHost: a\r\n",
                                   "Host: a\r\nhost: b\r\n",
                                   "Host:\r\n",
                                   "Host: a b\r\n",
                                   "Host: a/b\r\n",
                                   "Host: u@a\r\n",
                                   "Host: a:b\r\n",
                                   "Host: a:123456\r\n",
                                   "Host: [::1\r\n",
                                   "Host: [::g]\r\n",
                                   "Host: [::1]x\r\n",
                                   "Host: :80\r\n",
                                   "Host: a,b\r\n",
                                   "Host : a\r\n",
                                   " Host: a\r\n",
                                   "Host: a\r\n folded: b\r\n",
                                   "Host: a\r\nX: y\r\n\tz\r\n",
                                   "Host: a\r\nX\r\n",
                                   "Host: a\r\n: x\r\n",
                                   "Host: a\r\nX Y: z\r\n",
                                   "Host: a\r\nX: a\nb\r\n",
                                   "Host: a\r\nX: a\rb\r\n",
                                   "Host: a\r\nX: a\x01"
                                   "b\r\n",
                                   "Host: a\r\nX: a\x7f\r\n",
                                   "Host: a\r\nContent-Length: 1\r\nContent-Length: 1\r\n",
                                   "Host: a\r\nContent-Length: 1, 1\r\n",
                                   "Host: a\r\nContent-Length: +1\r\n",
                                   "Host: a\r\nContent-Length: -1\r\n",
                                   "Host: a\r\nContent-Length: 0x1\r\n",
                                   "Host: a\r\nContent-Length:\r\n",
                                   "Host: a\r\nContent-Length: 9999999999999999999\r\n",
                                   "Host: a\r\nContent-Length: 1\r\nTransfer-Encoding: chunked\r\n",
                                   "Host: a\r\nTransfer-Encoding: xchunked\r\n",
                                   "Host: a\r\nTransfer-Encoding: chunked, identity\r\n",
                                   "Host: a\r\nTransfer-Encoding: gzip, chunked\r\n",
                                   "Host: a\r\nTransfer-Encoding: chunked\r\nTransfer-Encoding: chunked\r\n",
                                   "Host: a\r\nTransfer-Encoding : chunked\r\n",
                                   "Host: a\r\nTransfer-Encoding:\x0b"
                                   "chunked\r\n",
                                   "Host: a\r\nTransfer-Encoding:\r\n"}) {
    EXPECT_NE(Why(fields), "") << fields;
  }
}

TEST(HeadCheckTest, FirstLines) {
  for (const char* const line : {"",
                                 "GET",
                                 "GET /",
                                 "GET  /",
                                 " GET / HTTP/1.1",
                                 "GET / HTTP/1.1 ",
                                 "GET / HTTP/2.0",
                                 "GET / http/1.1",
                                 "GET / HTTP/1.2",
                                 "GET  / HTTP/1.1",
                                 "GET /  HTTP/1.1",
                                 "GET / x HTTP/1.1",
                                 "GET\t/ HTTP/1.1",
                                 "G(T / HTTP/1.1",
                                 "GET http://a/ HTTP/1.1",
                                 "GET a HTTP/1.1",
                                 "GET * HTTP/1.1",
                                 "CONNECT a:80 HTTP/1.1",
                                 "GET /\x80 HTTP/1.1",
                                 "PRI * HTTP/2.0"}) {
    EXPECT_NE(Why("Host: a\r\n", line), "") << line;
  }
  EXPECT_NE(Why("Host: a\r\nTransfer-Encoding: chunked\r\n", "POST / HTTP/1.0"), "");
}

bool IsIn(const std::string& set, char c) { return set.find(c) != std::string::npos; }

// RFC 9110 and 9112 say which bytes may stand where.
TEST(HeadCheckTest, EveryByteHasItsPlaces) {
  const std::string alphanumeric = "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz";
  const std::string token = alphanumeric + "!#$%&'*+-.^_`|~";
  for (int byte = 1; byte < 256; ++byte) {
    const char c = static_cast<char>(byte);
    const std::string one(1, c);
    const auto isGood = [](const std::string& why) { return why.empty(); };
    EXPECT_EQ(isGood(Why("Host: a\r\n", "G" + one + "T / HTTP/1.1")), IsIn(token, c)) << byte;
    EXPECT_EQ(isGood(Why("Host: a\r\nX" + one + "Y: z\r\n")), IsIn(token + ":", c)) << byte;
    EXPECT_EQ(isGood(Why("Host: a" + one + "b\r\n")), IsIn(alphanumeric + "-._", c)) << byte;
    EXPECT_EQ(isGood(Why("Host: [1" + one + "2]\r\n")), IsIn("0123456789abcdefABCDEF:.", c)) << byte;
    EXPECT_EQ(isGood(Why("Host: a:1" + one + "\r\n")), IsIn("0123456789 \t", c)) << byte;
    EXPECT_EQ(isGood(Why("Host: a\r\n", "GET /" + one + " HTTP/1.1")), byte > 0x20 && byte < 0x7F) << byte;
    EXPECT_EQ(isGood(Why("Host: a\r\nX: a" + one + "b\r\n")), c == '\t' || (byte >= 0x20 && byte != 0x7F))
        << byte;
    EXPECT_EQ(CannotBeHead(one), !IsIn(token, c)) << byte;
  }
}

TEST(HeadCheckTest, NumbersHaveTheirLongest) {
  EXPECT_EQ(Why("Host: a:12345\r\n"), "");
  EXPECT_NE(Why("Host: a:123456\r\n"), "");
  EXPECT_EQ(Why("Host: a\r\nContent-Length: 123456789012345678\r\n"), "");
  EXPECT_EQ(Why("Host: a\r\nContent-Length: 1234567890123456789\r\n"), "Content-Length is no number");
}

TEST(HeadCheckTest, NobodyWaitsForTheEndOfWhatIsNoHead) {
  for (const char* const bytes :
       {"\r\n", "\n", " GET", "\x16\x03\x01", "GET / HTTP/1.1\n", "GET / HTTP/1.1\r\nA: b\rc"}) {
    EXPECT_TRUE(CannotBeHead(bytes)) << bytes;
  }
  EXPECT_TRUE(CannotBeHead(std::string_view("GE\0", 3)));
  for (const char* const bytes : {"", "G", "GET / HTTP/1.1\r", "GET / HTTP/1.1\r\nHost: a\r\n"}) {
    EXPECT_FALSE(CannotBeHead(bytes)) << bytes;
  }
}

}  // namespace
