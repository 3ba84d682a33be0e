// How texts from outside (file names, process names) are printed.
#pragma once

#include <string>
#include <vector>

namespace cli {

// The local text with control characters as "?", so that a name can neither break a line nor steer a
// terminal.
std::string Printable(const std::string& local);

// The text with what is in the middle of a very long row of digits as "...".
std::string Shortened(const std::string& text);

// A JSON string, quotes included, of a UTF-8 text. A byte that is no UTF-8 becomes an escape from \udc80 to
// \udcff, so the output is JSON for every name and the name can be told from it.
std::string JsonText(const std::string& utf8);

// Prints the JSON texts as one array, an element a line.
void PrintJsonArray(const std::vector<std::string>& elements);

}  // namespace cli
