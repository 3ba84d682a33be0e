// SPDX-License-Identifier: MIT
// How texts from outside (file names, process names) are printed.
#pragma once

#include "jobs/number_text.h"

#include <string>

namespace cli {

// Whether a terminal may take the character for a command.
bool IsControl(wchar_t c);

// The local text with control characters as "?", so that a name can neither break a line nor steer a
// terminal.
std::string Printable(const std::string& local);

using jobs::Shortened;

}  // namespace cli
