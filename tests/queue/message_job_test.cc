// SPDX-License-Identifier: MIT
// What a message is called, and which one is no job.
#include "queue/message_job.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using jobs::FailureKind;
using queue::Message;
using queue::MessageJob;
using queue::ReadMessage;

constexpr std::uint64_t kLongest = 1000;

Message Of(const std::string& body, const std::string& messageId = "", const std::string& correlation = "") {
  Message message;
  message.body = body;
  message.size = body.size();
  message.names = {messageId, correlation};
  return message;
}

TEST(MessageJob, IsCalledByTheFirstNameThatItHas) {
  struct {
    Message message;
    const char* id;
  } const cases[] = {
      {Of(R"({"id": "a"})", "m", "c"), "a"},
      {Of(R"({"draw": {}})", "m", "c"), "m"},
      {Of(R"({"draw": {}})", "", "c"), "c"},
      {Of(R"({"id": 5})", "m", "c"), "m"},
      {Of("no JSON", "m", "c"), "m"},
      {Of(R"({"draw": {}})", "line 7"), "line 7"},
      {Of(R"({"draw": {}})", "\xFF", "c"), "c"},
      {Of("{\n  \"id\": \"two lines\"\n}"), "two lines"},
  };
  for (const auto& [message, id] : cases) EXPECT_EQ(ReadMessage(message, kLongest).id, id) << message.body;
}

TEST(MessageJob, WithoutANameIsCalledByItsBytes) {
  const std::string id = ReadMessage(Of("{}"), kLongest).id;
  EXPECT_EQ(id, "message 44136fa355b3678a");  // of printf '{}' | sha256sum
  EXPECT_EQ(ReadMessage(Of("{}"), kLongest).id, id);
  EXPECT_NE(ReadMessage(Of("{ }"), kLongest).id, id);
}

TEST(MessageJob, AnObjectIsAJobWhateverIsInIt) {
  for (const char* const body : {"{}", R"({"id": "a", "unknown": 1})", R"({"id": null})", "\t{}\r\n"}) {
    EXPECT_FALSE(ReadMessage(Of(body), kLongest).refused) << body;
  }
}

TEST(MessageJob, WhatIsNoneIsRefusedWithItsPlace) {
  struct {
    std::string body;
    const char* begin;
  } const cases[] = {
      {"", "message: empty"},
      {"[]", "message:1:1: an object is expected"},
      {"5", "message:1:1: "},
      {"{", "message:1:2: "},
      {"{\n\"a\": x}", "message:2:6: "},
      {"\xFF\xFE{}", "message:1:1: "},
      {std::string("\0{}", 3), "message: it holds a NUL"},
      {R"({"id": ""})", "message: id: empty"},
      {R"({"id": "line 3"})", "message: id: 'line 3' is the name of a job without an id"},
      {R"({"id": "a\u0000b"})", "message: id: "},
  };
  for (const auto& [body, begin] : cases) {
    const MessageJob job = ReadMessage(Of(body, "m"), kLongest);
    ASSERT_TRUE(job.refused) << body;
    EXPECT_EQ(job.refused->message.rfind(begin, 0), 0U) << job.refused->message;
    EXPECT_EQ(job.refused->kind, FailureKind::kInput) << body;
    EXPECT_EQ(job.id, "m") << body;
  }
}

TEST(MessageJob, OneThatWasNotKeptIsRefusedForItsLength) {
  Message message = Of("", "m");
  message.size = kLongest + 1;
  const MessageJob job = ReadMessage(message, kLongest);
  ASSERT_TRUE(job.refused);
  EXPECT_EQ(job.refused->kind, FailureKind::kLimit);
  EXPECT_EQ(job.refused->message, "message: 1001 bytes, of which 1000 are taken at most");
}

}  // namespace
