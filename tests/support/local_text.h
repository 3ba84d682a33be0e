// SPDX-License-Identifier: MIT
// Whether local text is UTF-8 in this environment, for tests of names that are.
#pragma once

#include <tovkit/util.h>

inline bool LocalTextIsUtf8() { return tovkit::WideToLocal(L"\xF6\x4E16", -1) == "\xC3\xB6\xE4\xB8\x96"; }
