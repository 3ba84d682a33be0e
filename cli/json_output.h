// SPDX-License-Identifier: MIT
// JSON as the subcommands print it: for programs, and for terminals that people look at.
#pragma once

#include <tovkit/json.h>

namespace cli {

tovkit::SharedPtr<tovkit::JsonValue> NewJsonArray();

// Prints an array, an element a line, with spaces behind commas and colons. Strings that are no UTF-8, as
// names of files may be, become JSON all the same: such a byte is an escape from \udc80 to \udcff, so that
// the name can be told from it. Control characters are escapes, too. Nothing of the document may be deep.
void PrintJsonLines(const tovkit::SharedPtr<tovkit::JsonValue>& array);

// Prints an object in the same way, a member a line.
void PrintJsonMembers(const tovkit::SharedPtr<tovkit::JsonValue>& object);

}  // namespace cli
