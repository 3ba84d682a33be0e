// SPDX-License-Identifier: MIT
#include "duration.h"

#include <gtest/gtest.h>

#include <climits>

namespace {

using cli::kMilliseconds;
using cli::kSeconds;
using cli::ReadDuration;

TEST(Duration, ANumberAndAUnit) {
  const struct {
    const char* text;
    int unit;
    int milliseconds;
  } rows[] = {{"0", kMilliseconds, 0},
              {"5000", kMilliseconds, 5000},
              {"5", kSeconds, 5000},
              {"500ms", kSeconds, 500},
              {"2s", kMilliseconds, 2000},
              {"1m", kMilliseconds, 60000},
              {"1h", kMilliseconds, 3600000},
              {"596h", kMilliseconds, 596 * 3600000},
              {"0.5s", kMilliseconds, 500},
              {".5", kSeconds, 500},
              {"2.", kSeconds, 2000},
              {"4.35s", kMilliseconds, 4350},
              {"0.57s", kMilliseconds, 570},
              {"1.5m", kMilliseconds, 90000},
              {"0.1ms", kSeconds, 1},
              {"0.0001", kSeconds, 1},
              {"0.10000000000000000001s", kSeconds, 100},
              {"0000000000000000000001s", kSeconds, 1000},
              {"2147483647", kMilliseconds, INT_MAX},
              {"2147483.647", kSeconds, INT_MAX}};
  for (const auto& row : rows) {
    int milliseconds = -7;
    EXPECT_EQ(ReadDuration(row.text, row.unit, milliseconds), "") << row.text;
    EXPECT_EQ(milliseconds, row.milliseconds) << row.text;
  }
}

TEST(Duration, AnythingElseIsToldAndChangesNothing) {
  for (const char* text : {"", "s", ".", ".s", "-1", "+1", "1d", "1 s", " 1", "1s ", "1ms2", "1e3", "0x10",
                           "1,5s", "nan", "inf", "1S", "1..5", "1.5.s"}) {
    int milliseconds = -7;
    EXPECT_EQ(ReadDuration(text, kSeconds, milliseconds),
              "'" + std::string(text) + "' is not a length of time, such as 500ms, 2s, 1m or 1h");
    EXPECT_EQ(milliseconds, -7);
  }
  const std::string length(40, 'x');
  int kept = -7;
  EXPECT_EQ(ReadDuration(length + "yz", kSeconds, kept),
            "'" + length + "' is not a length of time, such as 500ms, 2s, 1m or 1h");
  EXPECT_EQ(ReadDuration(std::string(40, '9') + "99", kSeconds, kept),
            "'" + std::string(40, '9') + "' is longer than 24 days");
  EXPECT_EQ(kept, -7);
  for (const char* text : {"2147483648ms", "597h", "4294967296", "99999999999999999999", "2147483.6471s",
                           "2147483647.1ms", "18446744073709551617ms"}) {
    int milliseconds = -7;
    EXPECT_EQ(ReadDuration(text, kSeconds, milliseconds),
              "'" + std::string(text) + "' is longer than 24 days");
    EXPECT_EQ(milliseconds, -7);
  }
}

}  // namespace
