// SPDX-License-Identifier: MIT
// Each level of vector instructions that this machine has against the scalar loops.
#include "base64_kernels.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <random>
#include <string>
#include <vector>

using tovkit::Base64KernelsFor;

namespace {

using tovkit::Base64Kernels;

constexpr char kUntouched = '\x5A';

struct Level {
  base::SimdLevel level;
  const char* name;
};

std::vector<Level> LevelsOfThisMachine() {
  std::vector<Level> levels;
  for (const Level& row :
       {Level{base::SimdLevel::kAvx2, "avx2"}, Level{base::SimdLevel::kAvx512, "avx512"}}) {
    if (base::SupportsSimdLevel(row.level)) {
      levels.push_back(row);
    } else {
      std::printf("this machine has no %s: not compared\n", row.name);
    }
  }
  return levels;
}

// The input stands at the very end of its allocation, so that AddressSanitizer sees a read beyond it.
std::string EncodedWith(const Base64Kernels& kernels, const std::string& data) {
  const std::vector<unsigned char> exact(data.begin(), data.end());
  std::vector<char> out(data.size() / 3 * 4);
  out.push_back(kUntouched);
  kernels.encodeGroups(exact.data(), exact.size(), out.data());
  EXPECT_EQ(out.back(), kUntouched);
  return std::string(out.data(), out.size() - 1);
}

std::string DecodedWith(const Base64Kernels& kernels, const std::string& text) {
  const std::vector<char> exact(text.begin(), text.end());
  std::vector<char> out(text.size() - text.size() / 4);
  const std::size_t length = kernels.decode(exact.data(), exact.size(), out.data());
  EXPECT_LE(length, out.size());
  return std::string(out.data(), length);
}

std::string RandomOf(const std::string& characters, std::size_t length, std::mt19937& random) {
  std::string text(length, '\0');
  for (char& c : text) c = characters[random() % characters.size()];
  return text;
}

std::string EveryByte() {
  std::string bytes(256, '\0');
  for (int i = 0; i < 256; ++i) bytes[static_cast<std::size_t>(i)] = static_cast<char>(i);
  return bytes;
}

TEST(Base64Kernels, EncodeAsThePlainLoopAtEveryLength) {
  std::mt19937 random(1);
  for (const Level& row : LevelsOfThisMachine()) {
    for (std::size_t length = 0; length <= 1000; ++length) {
      const std::string data = RandomOf(EveryByte(), length, random);
      ASSERT_EQ(EncodedWith(Base64KernelsFor(row.level), data), EncodedWith(tovkit::kBase64Scalar, data))
          << row.name << ", " << length << " bytes";
    }
  }
}

TEST(Base64Kernels, DecodeAsThePlainLoopAtEveryLength) {
  std::mt19937 random(2);
  const std::string alphabet(tovkit::Base64Alphabet(), 64);
  for (const Level& row : LevelsOfThisMachine()) {
    for (std::size_t length = 0; length <= 1000; ++length) {
      const std::string text = RandomOf(alphabet, length, random);
      ASSERT_EQ(DecodedWith(Base64KernelsFor(row.level), text), DecodedWith(tovkit::kBase64Scalar, text))
          << row.name << ", " << length << " characters";
    }
  }
}

TEST(Base64Kernels, StopAtEveryForeignByteAtEveryPlaceAsThePlainLoop) {
  const std::string alphabet(tovkit::Base64Alphabet(), 64);
  const std::string whole = alphabet + alphabet + alphabet;
  for (const Level& row : LevelsOfThisMachine()) {
    for (const char byte : EveryByte()) {
      for (std::size_t place = 0; place < whole.size(); ++place) {
        std::string text = whole;
        text[place] = byte;
        ASSERT_EQ(DecodedWith(Base64KernelsFor(row.level), text), DecodedWith(tovkit::kBase64Scalar, text))
            << row.name << ", byte " << static_cast<int>(static_cast<unsigned char>(byte)) << " at " << place;
      }
    }
  }
}

TEST(Base64Kernels, RandomBytesDecodeAsByThePlainLoop) {
  std::mt19937 random(3);
  const std::string mixed = std::string(tovkit::Base64Alphabet(), 64) + "=\n";
  for (const Level& row : LevelsOfThisMachine()) {
    for (int round = 0; round < 20000; ++round) {
      const std::string text = RandomOf(round % 2 == 0 ? mixed : EveryByte(), random() % 300, random);
      ASSERT_EQ(DecodedWith(Base64KernelsFor(row.level), text), DecodedWith(tovkit::kBase64Scalar, text))
          << row.name << ", round " << round;
    }
  }
}

TEST(SimdLevel, AWishIsGrantedWhenTheMachineHasIt) {
  const base::SimdLevel best = base::SimdLevelFor(nullptr);
  EXPECT_TRUE(base::SupportsSimdLevel(best));
  EXPECT_EQ(base::SimdLevelFor("scalar"), base::SimdLevel::kScalar);
  for (const Level& row : LevelsOfThisMachine()) EXPECT_EQ(base::SimdLevelFor(row.name), row.level);
  EXPECT_EQ(base::SimdLevelFor(""), best);
  EXPECT_EQ(base::SimdLevelFor("mmx"), best);
}

}  // namespace
