// SPDX-License-Identifier: MIT
// Compiled by a test, which expects the compiler to warn.
#include <tovkit/util.h>

std::string JoinWithoutNull() { return tovkit::JoinPath("a", "b", "c"); }
