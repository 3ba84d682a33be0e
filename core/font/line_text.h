// SPDX-License-Identifier: MIT
// DrawableText: wide text as the UTF-8 of one line that can be shaped.
#pragma once

#include <string>
#include <vector>

namespace tovmx {

// Tabs, line and paragraph breaks become spaces, since a line has no columns and no second line. Other
// control characters are left out. What is no character (a surrogate, a noncharacter such as U+FFFF, a
// number above U+10FFFF) becomes U+FFFD. Of the characters that embed, override or isolate a direction the
// first 1,024 are kept, and of combining marks and format characters in a row the first 128. A character that
// is text by default but would be taken for an emoji gets U+FE0E behind it. The result is valid UTF-8 without
// NUL. `sources` may be null; else it gets, for each code point of the result, the index of the character
// that it stands for.
std::string DrawableText(const wchar_t* characters, int count, std::vector<int>* sources = nullptr);

}  // namespace tovmx
