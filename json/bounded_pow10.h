// SPDX-License-Identifier: MIT
// RapidJSON's table of powers of ten, made safe for any exponent.
//
// RapidJSON's number parser adds the written exponent to the count of fraction digits in an int, and uses the
// sum as an index. For "1.00000000001e-2147483638" the sum wraps (this folder is compiled with -fwrapv) to an
// index far outside. Such a number is 0.0, so the power is made 0.0. The place to do that is RapidJSON's own
// assertion in the table's function, which looks at the index.
#pragma once

#include <rapidjson/rapidjson.h>

#ifdef RAPIDJSON_POW10_
#error "include bounded_pow10.h before the rest of RapidJSON"
#endif

#pragma push_macro("RAPIDJSON_ASSERT")
#undef RAPIDJSON_ASSERT
#define RAPIDJSON_ASSERT(isInTable) \
  if (!(isInTable)) return 0.0
#include <rapidjson/internal/pow10.h>
#pragma pop_macro("RAPIDJSON_ASSERT")
