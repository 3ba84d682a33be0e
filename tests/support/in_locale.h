// SPDX-License-Identifier: MIT
// Checks in the environment of another locale. The local codeset is read once a process, so each check runs
// in a child that sets its environment first.
//
//   TEST(Names, AreGbk) {
//     EXPECT_IN("zh_CN.GBK", [] { HOLDS(tovkit::Utf8ToLocal("\xE5\xAE\x8B", -1) == "\xCB\xCE"); });
//   }
//
// The test program links tovkit_test_locales.
#pragma once

#include <gtest/gtest.h>

#include <cstdlib>

#include "holds.h"

template <typename Check>
[[noreturn]] void CheckIn(const char* locale, Check check) {
  setenv("LOCPATH", TOVKIT_TEST_LOCALES, 1);
  setenv("LC_ALL", locale, 1);
  check();
  std::exit(0);
}

#define EXPECT_IN(locale, check) EXPECT_EXIT(CheckIn(locale, check), testing::ExitedWithCode(0), "")
