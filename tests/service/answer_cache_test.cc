// SPDX-License-Identifier: MIT
// The answers that were asked for last stay, and their bytes never pass the bound.
#include "service/http/answer_cache.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>

namespace {

using service::Answer;
using service::AnswerCache;

std::shared_ptr<const Answer> Of(std::size_t bytes) {
  return std::make_shared<const Answer>(Answer{"", std::string(bytes, 'x')});
}

TEST(AnswerCacheTest, TheOldestGoesFirst) {
  AnswerCache cache(4 * 1512);
  for (const char* const key : {"a", "b", "c", "d"}) cache.Add(key, Of(1000));
  EXPECT_EQ(cache.entries(), 4u);
  EXPECT_EQ(cache.bytes(), 4u * 1512);
  EXPECT_NE(cache.Find("a"), nullptr);
  cache.Add("e", Of(1000));
  EXPECT_EQ(cache.Find("b"), nullptr);
  EXPECT_NE(cache.Find("a"), nullptr);
  EXPECT_NE(cache.Find("e"), nullptr);
  EXPECT_EQ(cache.bytes(), 4u * 1512);
}

TEST(AnswerCacheTest, WhatIsLargeIsNotKept) {
  AnswerCache cache(4000);
  cache.Add("a", Of(489));
  EXPECT_EQ(cache.Find("a"), nullptr);
  cache.Add("a", Of(488));
  EXPECT_EQ(cache.Find("a")->bytes.size(), 488u);
}

TEST(AnswerCacheTest, ASecondAnswerChangesNothing) {
  AnswerCache cache(10000);
  cache.Add("a", Of(10));
  cache.Add("a", Of(20));
  EXPECT_EQ(cache.Find("a")->bytes.size(), 10u);
  EXPECT_EQ(cache.entries(), 1u);
}

TEST(AnswerCacheTest, WithoutRoomNothingIsKept) {
  AnswerCache cache(0);
  cache.Add("a", Of(0));
  EXPECT_EQ(cache.Find("a"), nullptr);
  EXPECT_EQ(cache.entries(), 0u);
}

}  // namespace
