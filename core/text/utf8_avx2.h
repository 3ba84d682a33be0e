// SPDX-License-Identifier: MIT
// What both ways between UTF-8 and wide text share with AVX2. Included only by sources that are compiled for
// it; everything has internal linkage, so that none of it runs elsewhere.
#pragma once

#include "text/utf8_kernels.h"

#include <immintrin.h>

#include <cstdint>

namespace tovmx {

Utf8Progress EncodeUtf8Avx2(const wchar_t* text, std::size_t length, char* out);

namespace {

constexpr std::size_t kLanes = 8;     // characters of a vector
constexpr std::size_t kLongSize = 4;  // bytes of a character from 0x10000 on

__m256i Load(const void* from) { return _mm256_loadu_si256(static_cast<const __m256i*>(from)); }
void Store(void* to, __m256i vector) { _mm256_storeu_si256(static_cast<__m256i*>(to), vector); }
__m256i All(std::uint32_t value) { return _mm256_set1_epi32(static_cast<int>(value)); }

__m256i Field(__m256i shifted, std::uint32_t keep) { return _mm256_and_si256(shifted, All(keep)); }

bool AreAll(__m256i mask) { return _mm256_movemask_epi8(mask) == -1; }

}  // namespace

}  // namespace tovmx
