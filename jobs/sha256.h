// SPDX-License-Identifier: MIT
// SHA-256 of bytes, as 64 hexadecimal digits.
#pragma once

#include <string>
#include <string_view>

namespace jobs {

[[nodiscard]] std::string Sha256(std::string_view bytes);

}  // namespace jobs
