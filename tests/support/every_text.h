// SPDX-License-Identifier: MIT
// Every text of an alphabet up to a length, for tests that try a small domain whole.
//
//   ForEveryText("a./\\", 7, [](const std::string& text) { ... });
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

template <typename Visit>
void ForEveryText(std::string_view alphabet, std::size_t longest, Visit visit) {
  std::string text;
  const auto grow = [&](const auto& self) -> void {
    visit(static_cast<const std::string&>(text));
    if (text.size() == longest) return;
    for (const char c : alphabet) {
      text.push_back(c);
      self(self);
      text.pop_back();
    }
  };
  grow(grow);
}
