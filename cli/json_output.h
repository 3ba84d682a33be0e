// SPDX-License-Identifier: MIT
// JSON as the subcommands print it: for programs, and for terminals that people look at.
#pragma once

#include <tovkit/json.h>

namespace cli {

tovkit::SharedPtr<tovkit::JsonValue> NewJsonArray();

// Prints an array, an element a line, with spaces behind commas and colons. A byte that is no UTF-8, as in
// some file names, becomes an escape from \udc80 to \udcff, so that the name can be found again. Control
// characters and those that cannot be seen are escapes too. Precondition: the document is not deep.
void PrintJsonLines(const tovkit::SharedPtr<tovkit::JsonValue>& array);

// Prints an object in the same way, a member a line.
void PrintJsonMembers(const tovkit::SharedPtr<tovkit::JsonValue>& object);

}  // namespace cli
