// SPDX-License-Identifier: MIT
// WalkTree: a value and all below it, in the order of the text.
//
// RapidJSON's own walk calls itself once a level and so overflows the stack on a deep tree; this one keeps
// the open containers in a stack of its own.
#pragma once

#include "inline_stack.h"
#include "value_layout.h"

namespace tovkit {

// Shows the values to `visitor`: Open and Close for a container, Name for the name of a member, Leaf for any
// other value. Stops with false as soon as Leaf refuses one.
template <typename Visitor>
[[nodiscard]] bool WalkTree(const Value& root, Visitor& visitor) {
  struct Level {
    const Value* container = nullptr;
    const Value* next = nullptr;  // of an object: the name of the next member, its value behind it
    const Value* end = nullptr;
    bool isObject = false;
  };
  constexpr std::size_t kLevelsInside = 32;
  InlineStack<Level, kLevelsInside> around;
  Level* top = around.First();
  Level level;  // the innermost one
  const Value* value = &root;
  for (;;) {
    const bool isObject = value->IsObject();
    if (isObject || value->IsArray()) {
      visitor.Open(isObject);
      top = around.Reserve(top, 1);
      *top++ = level;
      level = {value, FirstSlot(*value), FirstSlot(*value) + CountSlots(*value), isObject};
    } else if (!visitor.Leaf(*value)) {
      return false;
    }
    while (level.next == level.end) {
      if (level.container == nullptr) return true;  // outside the root
      visitor.Close(*level.container);
      level = *--top;
    }
    if (level.isObject) visitor.Name(*level.next++);
    value = level.next++;
  }
}

}  // namespace tovkit
