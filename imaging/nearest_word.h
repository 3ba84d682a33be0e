// SPDX-License-Identifier: MIT
// NearestWord: the word that a misspelled one was most likely meant to be.
#pragma once

#include <string>
#include <vector>

namespace tovkit {

// The one of `words` that differs least from `word`, case aside, or that contains it; empty when all of them
// differ too much. The time is bounded for a `word` of any length.
[[nodiscard]] std::string NearestWord(const std::string& word, const std::vector<std::string>& words);

}  // namespace tovkit
