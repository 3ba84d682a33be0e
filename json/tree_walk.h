// WalkTree: the events of a value and all below it, in the order of RapidJSON's Accept.
//
// Accept calls itself once a level and so overflows the stack on a deep tree; the walk keeps its own stack on
// the heap.
#pragma once

#include "document.h"

#include <vector>

namespace tovkit {

// Sends the events of `root` to `handler`. Stops with false as soon as the handler refuses one.
template <typename Handler>
bool WalkTree(const Value& root, Handler& handler) {
  struct Level {
    const Value* container;
    rapidjson::SizeType next;
  };
  std::vector<Level> open;
  const Value* value = &root;
  for (;;) {
    if (value->IsObject() || value->IsArray()) {
      if (!(value->IsObject() ? handler.StartObject() : handler.StartArray())) return false;
      open.push_back({value, 0});
    } else if (!value->Accept(handler)) {
      return false;
    }
    for (value = nullptr; value == nullptr;) {
      if (open.empty()) return true;
      Level& level = open.back();
      const Value& container = *level.container;
      if (container.IsObject()) {
        if (level.next < container.MemberCount()) {
          const Member& member = container.MemberBegin()[level.next++];
          if (!handler.Key(member.name.GetString(), member.name.GetStringLength(), true)) return false;
          value = &member.value;
          continue;
        }
        if (!handler.EndObject(level.next)) return false;
      } else {
        if (level.next < container.Size()) {
          value = &container[level.next++];
          continue;
        }
        if (!handler.EndArray(level.next)) return false;
      }
      open.pop_back();
    }
  }
}

}  // namespace tovkit
