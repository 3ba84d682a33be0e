// SPDX-License-Identifier: MIT
// The pieces of a text that a parser has accepted.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace jobs {

// Each takes a place in the text and returns the next one: behind white space, a string, any value.
std::size_t SkipJsonSpace(std::string_view text, std::size_t at);
std::size_t SkipJsonString(std::string_view text, std::size_t at);
std::size_t SkipJsonValue(std::string_view text, std::size_t at);

// The characters of a string that stands between quotation marks, up to a NUL.
std::string ReadJsonString(std::string_view quoted);

// The first NUL that something else than NULs follows, npos for none. A parser ends at it, so what follows
// would be passed over; NULs at the end are what a buffer was filled up with.
std::size_t FindNulInside(std::string_view text);

}  // namespace jobs
