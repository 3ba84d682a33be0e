// SPDX-License-Identifier: MIT
#include "jobs/number_text.h"

#include <gtest/gtest.h>

#include <limits>
#include <optional>
#include <string>
#include <system_error>

namespace {

constexpr float kMost = std::numeric_limits<float>::max();

TEST(NumberText, DecimalNumbersThatAFloatHolds) {
  const struct {
    const char* text;
    std::optional<float> number;
  } rows[] = {{"0", 0.0f},
              {"5", 5.0f},
              {"-5", -5.0f},
              {".5", 0.5f},
              {"-.5", -0.5f},
              {"5.", 5.0f},
              {"9", 9.0f},
              {"1e3", 1000.0f},
              {"-1E-3", -0.001f},
              {"1e-400", 0.0f},
              {"-1e-400", 0.0f},
              {"340282346638528859811704183484516925440", kMost},
              {"-340282346638528859811704183484516925440", -kMost},
              {"340282346638528859811704183484516925441", kMost},  // the same double
              {"3.4028235e38", std::nullopt},
              {"-3.4028235e38", std::nullopt},
              {"1e39", std::nullopt},
              {"1e400", std::nullopt},
              {"-1e400", std::nullopt},
              {"", std::nullopt},
              {"-", std::nullopt},
              {".", std::nullopt},
              {"-.", std::nullopt},
              {"+1", std::nullopt},
              {"--1", std::nullopt},
              {" 1", std::nullopt},
              {"1 ", std::nullopt},
              {"1x", std::nullopt},
              {"0x10", std::nullopt},
              {"/", std::nullopt},
              {":", std::nullopt},
              {"nan", std::nullopt},
              {"-nan", std::nullopt},
              {"inf", std::nullopt},
              {"-inf", std::nullopt}};
  for (const auto& row : rows) EXPECT_EQ(jobs::ParseNumber(row.text), row.number) << row.text;
}

TEST(NumberText, WhatFollowsIsLeftAndAFailureChangesNothing) {
  const struct {
    const char* text;
    std::errc error;
    double value;
    const char* rest;
  } rows[] = {{"1.5,2", std::errc(), 1.5, ",2"},
              {"-3-4", std::errc(), -3, "-4"},
              {"1.5.5", std::errc(), 1.5, ".5"},
              {"2e", std::errc(), 2, "e"},
              {"x", std::errc::invalid_argument, 7, "x"},
              {"-x", std::errc::invalid_argument, 7, "-x"},
              {"1e39 2", std::errc::result_out_of_range, 7, "1e39 2"},
              {"1e999 2", std::errc::result_out_of_range, 7, "1e999 2"},
              {"1e-999 2", std::errc(), 0, " 2"}};
  for (const auto& row : rows) {
    const std::string text = row.text;
    const char* from = text.data();
    double value = 7;
    EXPECT_EQ(jobs::TakeNumber(from, text.data() + text.size(), value), row.error) << text;
    EXPECT_EQ(value, row.value) << text;
    EXPECT_EQ(std::string(from), row.rest) << text;
  }
}

}  // namespace
