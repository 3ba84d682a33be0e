// SPDX-License-Identifier: MIT
// TreeBuilder: a tree of values from its parts, in the order of its text.
//
// Finished values wait on a stack of slots until their container closes; then they move to the pool in one
// piece, and one slot stands for all of them. The slot of an open container tells what is around it:
//
//     {"a":[1,2     slots   { in nothing | "a" | [ in slot 0 | 1 | 2 |
//     {"a":[1,2]    slots   { in nothing | "a" | 2 values in the pool |
//
// So no value is counted beforehand, a container takes exactly what it needs from the pool, and only memory
// limits the depth. The pool is filled in the order in which RapidJSON's own parser fills it.
//
// Thread-safety: none.
#pragma once

#include "inline_stack.h"
#include "value_layout.h"

#include <cassert>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace tovkit {

class TreeBuilder {
 public:
  explicit TreeBuilder(DocumentPool& pool) : pool_(pool) {}

  // The first slot: in the end, the root.
  Value* First() { return slots_.First(); }

  // Makes room for a name and a value. `top` is the first free slot. Returns it; it may have moved.
  [[nodiscard]] Value* Reserve(Value* top) { return slots_.Reserve(top, 2); }

  // Opens a container in the slot `place`. What it holds follows.
  void Open(bool isObject, Value* place) {
    const Around around = {container_, isObject_};
    static_assert(sizeof around == sizeof(Value));
    std::memcpy(static_cast<void*>(place), &around, sizeof around);
    container_ = place - slots_.First();
    isObject_ = isObject;
  }

  // Closes the innermost container. `top` is the first free slot. Returns the first free slot afterwards.
  [[nodiscard]] Value* Close(Value* top);

  bool IsOpen() const { return container_ >= 0; }
  bool IsInObject() const { return isObject_; }

 private:
  // What the slot of an open container holds.
  struct Around {
    std::ptrdiff_t container;  // the slot of the container around it, -1 for none
    bool isObject;             // which that one is
  };

  DocumentPool& pool_;
  std::ptrdiff_t container_ = -1;
  bool isObject_ = false;
  InlineStack<Value, kParseStackCapacity / sizeof(Value)> slots_;
};

inline Value* TreeBuilder::Close(Value* top) {
  assert(IsOpen());
  Value* const place = slots_.First() + container_;
  const auto values = static_cast<std::uint32_t>(top - place - 1);
  Around around;
  std::memcpy(&around, static_cast<void*>(place), sizeof around);
  void* block = nullptr;
  if (values != 0) {
    block = pool_.Malloc(values * sizeof(Value));
    std::memcpy(block, static_cast<void*>(place + 1), values * sizeof(Value));
  }
  assert(!isObject_ || values % 2 == 0);
  const std::uint32_t size = isObject_ ? values / 2 : values;
  StorePointer(place, size, size, block, isObject_ ? kObjectFlags : kArrayFlags);
  container_ = around.container;
  isObject_ = around.isObject;
  return place + 1;
}

}  // namespace tovkit
