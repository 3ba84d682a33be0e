// SPDX-License-Identifier: MIT
// SHA-256 of bytes, as 64 hexadecimal digits.
#pragma once

#include <string>
#include <string_view>

namespace jobs {

[[nodiscard]] std::string Sha256(std::string_view bytes);

// Of a file from its beginning, read a piece at a time; empty when it cannot be read.
[[nodiscard]] std::string Sha256OfFile(int fd);

}  // namespace jobs
