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

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <string>
#include <vector>

namespace {

using base::SimdLevel;

// The lengths that the kernels were given, and how many characters each call takes at most; the last holds
// for all further calls.
std::vector<std::size_t> decoded;
std::vector<std::size_t> encoded;
std::vector<std::size_t> most = {1};

std::size_t TakenBy(const std::vector<std::size_t>& calls) {
  return std::min(calls.back(), most[std::min(calls.size(), most.size()) - 1]);
}

tovmx::Utf8Progress DecodeSome(const char* text, std::size_t length, wchar_t* out) {
  decoded.push_back(length);
  const std::size_t count = TakenBy(decoded);
  std::copy_n(text, count, out);
  return {count, count};
}

// Makes bytes of the characters, whatever they are.
tovmx::Utf8Progress EncodeSome(const wchar_t* text, std::size_t length, char* out) {
  encoded.push_back(length);
  const std::size_t count = TakenBy(encoded);
  std::transform(text, text + count, out, [](wchar_t c) { return static_cast<char>(c); });
  return {count, count};
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
const Utf8Kernels kUtf8Avx2 = {DecodeSome, EncodeSome};
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
      decoded.clear();
      encoded.clear();
      HOLDS(tovmx::DecodeUtf8(text.data(), length, wide.data()) == length);
      HOLDS(tovmx::EncodeUtf8(wide.data(), length, back.data()) == length);
      HOLDS(back.substr(0, length) == text);
      HOLDS(decoded.empty() != (vector && length >= 16));
      HOLDS(encoded.empty() != (vector && length >= 16));
    }
  });
}

// The scalar loop takes a little behind a kernel that went far, twice as much behind one that did not, up to
// a bound, and the end of the text.
TEST_P(VectorChoice, Utf8TakesTurnsWithTheScalarLoop) {
  ExpectInAProcess([](SimdLevel level) {
    if (level < SimdLevel::kAvx2) return;
    const struct {
      std::vector<std::size_t> taken;    // by the calls of the kernel
      std::vector<std::size_t> lengths;  // that they are given, of a text of 200
    } rows[] = {{{0}, {200, 168, 104, 40}},
                {{15}, {200, 153, 74}},
                {{16}, {200, 168, 136, 104, 72, 40, 8}},
                {{0, 0, 16, 0}, {200, 168, 104, 72, 40}},
                {{184}, {200}},
                {{183}, {200, 1}}};
    for (const auto& row : rows) {
      const std::wstring text(200, L'\xE9');
      std::string out(4 * text.size(), '\0');
      most = row.taken;
      encoded.clear();
      HOLDS(tovmx::EncodeUtf8(text.data(), text.size(), out.data()) > 0);
      HOLDS(encoded == row.lengths);
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
