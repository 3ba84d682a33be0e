// SPDX-License-Identifier: MIT
// WriteDouble: the text of a double, byte for byte as RapidJSON writes it, many digits at a time.
#pragma once

namespace tovkit {

// The bytes that WriteDouble may write to, more than any text has.
constexpr int kDoubleRoom = 64;

// Writes the finite double `number` to `text` and returns the end of it.
[[nodiscard]] char* WriteDouble(double number, char* text);

}  // namespace tovkit
