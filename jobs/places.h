// SPDX-License-Identifier: MIT
// Places: {{name}} in the strings of a template, which data fills. Only strings are filled, and only once
// each, after the template was parsed: data cannot change what it is.
#pragma once

#include <tovkit/json.h>

#include <string>

namespace jobs {

// The text with each {{name}} replaced by the member of `data` that has this name: a string as it is, a
// number or boolean as JSON writes it, null as nothing. Braces around anything else stay. Throws Error when
// there is no such member, or it is an array, an object or a text with a NUL.
[[nodiscard]] std::string FillText(const std::string& text, const tovkit::JsonValue& data);

// Fills every string in `value`, an array or object, but no name of a member.
void FillPlaces(const tovkit::SharedPtr<tovkit::JsonValue>& value, const tovkit::JsonValue& data);

}  // namespace jobs
