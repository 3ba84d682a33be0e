// SPDX-License-Identifier: MIT
// A name for shared memory that nobody else uses, and what the system knows of its segment.
#pragma once

#include "service_faults.h"

#include <tovkit/system.h>

#include <gtest/gtest.h>
#include <sys/shm.h>

#include <cstdint>
#include <cstring>
#include <random>
#include <string>

using tovkit::SharedMemory;

inline constexpr unsigned kRead = 1;
inline constexpr unsigned kWrite = 2;

// The sum in 64-bit numbers, reduced at the end.
inline key_t ExpectedKey(const std::string& name) {
  const std::string text = (name.size() < 6 ? "vatrel" : "") + name;
  std::int64_t sum = 0;
  for (std::size_t i = 0; i < text.size(); ++i) {
    sum += static_cast<std::int64_t>(static_cast<signed char>(text[i])) * static_cast<std::int64_t>(i + 1);
  }
  return static_cast<key_t>(static_cast<std::uint64_t>(sum) & 0x7FFFFFFFu);
}

// Every test works on a name of its own; whatever it leaves is removed. Long random names keep the keys of
// tests that run at the same time apart.
class SharedMemoryTest : public testing::Test {
 protected:
  SharedMemoryTest() {
    std::random_device random;
    do {
      name_.clear();
      for (int i = 0; i < 2000; ++i) name_ += static_cast<char>('!' + random() % 90);
      key_ = ExpectedKey(name_);
    } while (shmget(key_, 0, 0) >= 0);
  }
  ~SharedMemoryTest() override {
    const int id = shmget(key_, 0, 0);
    if (id >= 0) shmctl(id, IPC_RMID, nullptr);
  }
  const char* name() const { return name_.c_str(); }
  bool Exists() const { return shmget(key_, 0, 0) >= 0; }
  shmid_ds Status() const {
    shmid_ds status = {};
    EXPECT_EQ(shmctl(shmget(key_, 0, 0), IPC_STAT, &status), 0);
    return status;
  }

  std::string name_;
  key_t key_ = 0;
};

inline std::string CallMessage(const char* action, int code) {
  return std::string(action) + " shared memory error, errno=" + std::to_string(code) +
         ", errmsg=" + std::strerror(code);
}
