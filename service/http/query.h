// SPDX-License-Identifier: MIT
// The query of an address: names and values behind the question mark.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace service {

using QueryPairs = std::vector<std::pair<std::string, std::string>>;

// The pairs of "a=1&b=%20c&d", in their order, decoded as forms are: a plus sign is a space, a name without a
// value has an empty one. Nothing for a broken escape, a control character or what is no UTF-8.
[[nodiscard]] std::optional<QueryPairs> ParseQuery(std::string_view query);

}  // namespace service
