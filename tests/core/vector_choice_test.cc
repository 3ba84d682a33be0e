// SPDX-License-Identifier: MIT
// The vector level that was asked for is the one that runs. The files that choose are compiled in with
// kernels that tell that they ran. The level is chosen once a process, so each wish has a process of its own.
#include "base64_kernels.h"
#include "codec/png_filter.h"
#include "curve_kernel.h"
#include "holds.h"
#include "simd_level.h"
#include "text/utf8.h"
#include "text/utf8_kernels.h"
#include "tovkit/util.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

namespace {

using base::SimdLevel;

int decoded = 0;
int encoded = 0;

// Take the first character.
tovmx::Utf8Progress DecodeOne(const char* text, std::size_t, wchar_t* out) {
  ++decoded;
  *out = static_cast<wchar_t>(*text);
  return {1, 1};
}

tovmx::Utf8Progress EncodeOne(const wchar_t* text, std::size_t, char* out) {
  ++encoded;
  *out = static_cast<char>(*text);
  return {1, 1};
}

template <char name>
void FillGroups(const unsigned char*, std::size_t size, char* out) {
  for (std::size_t i = 0; i < size / 3 * 4; ++i) out[i] = name;
}

template <char name>
std::size_t DecodeToName(const char*, std::size_t, char* out) {
  *out = name;
  return 1;
}

}  // namespace

namespace tovmx {
const Utf8Kernels kUtf8Avx2 = {DecodeOne, EncodeOne};
const PngFilterKernels kPngFilterAvx2 = {};
}  // namespace tovmx

namespace tovkit {
const Base64Kernels kBase64Avx2 = {FillGroups<'2'>, DecodeToName<'2'>};
const Base64Kernels kBase64Avx512 = {FillGroups<'5'>, DecodeToName<'5'>};
const CurveKernel kAvx2CurveKernel = {};
const CurveKernel kAvx512CurveKernel = {};
}  // namespace tovkit

namespace {

// What a process gets that wishes so; a level that the machine lacks is the best it has.
template <typename Check>
[[noreturn]] void CheckWith(const char* wish, Check check) {
  setenv("TOVKIT_SIMD", wish, 1);
  check(base::SimdLevelFor(wish));
  std::exit(0);
}

class VectorChoice : public testing::TestWithParam<const char*> {
 protected:
  void SetUp() override { GTEST_FLAG_SET(death_test_style, "threadsafe"); }
  void TearDown() override { GTEST_FLAG_SET(death_test_style, "fast"); }

  template <typename Check>
  static void ExpectInAProcess(Check check) {
    EXPECT_EXIT(CheckWith(GetParam(), check), testing::ExitedWithCode(0), "");
  }
};

TEST_P(VectorChoice, Utf8) {
  ExpectInAProcess([](SimdLevel level) {
    const bool vector = level >= SimdLevel::kAvx2;
    // Below sixteen characters no kernel is called.
    for (std::size_t length = 0; length <= 40; ++length) {
      const std::string text(length, 'x');
      std::wstring wide(length + 16, L'\0');
      std::string back(length + 16, '\0');
      decoded = encoded = 0;
      HOLDS(tovmx::DecodeUtf8(text.data(), length, wide.data()) == length);
      HOLDS(tovmx::EncodeUtf8(wide.data(), length, back.data()) == length);
      HOLDS(back.substr(0, length) == text);
      HOLDS((decoded > 0) == (vector && length >= 16));
      HOLDS((encoded > 0) == (vector && length >= 16));
    }
  });
}

TEST_P(VectorChoice, Base64) {
  ExpectInAProcess([](SimdLevel level) {
    const char* const encodings[] = {"AAAA", "2222", "5555"};
    const std::string plain(3, '\0');
    const char* const texts[] = {plain.c_str(), "2", "5"};
    const int index = static_cast<int>(level);
    HOLDS(std::string(tovkit::Base64Encode(reinterpret_cast<const unsigned char*>("\0\0\0"), 3).c_str()) ==
          encodings[index]);
    const CoreString text = tovkit::Base64Decode("AAAA", 4);
    HOLDS(text.GetLength() == (index == 0 ? 3 : 1) && *text.c_str() == *texts[index]);
  });
}

TEST_P(VectorChoice, Curves) {
  ExpectInAProcess([](SimdLevel level) {
    const tovkit::CurveKernel* const kernels[] = {&tovkit::kBaselineCurveKernel, &tovkit::kAvx2CurveKernel,
                                                  &tovkit::kAvx512CurveKernel};
    HOLDS(&tovkit::ActiveCurveKernel() == kernels[static_cast<int>(level)]);
  });
}

TEST_P(VectorChoice, PngFilters) {
  ExpectInAProcess([](SimdLevel level) {
    const bool vector = level >= SimdLevel::kAvx2;
    HOLDS(&tovmx::PngFilters() == (vector ? &tovmx::kPngFilterAvx2 : &tovmx::kPngFilterScalar));
  });
}

INSTANTIATE_TEST_SUITE_P(Wishes, VectorChoice, testing::Values("scalar", "avx2", "avx512", "none"),
                         [](const auto& wish) { return std::string(wish.param); });

}  // namespace
