#include "tree_copy.h"

#include "tree_walk.h"

namespace tovkit {

Value CopyTree(const Value& source, DocumentPool& pool) {
  if (!source.IsObject() && !source.IsArray()) return Value(source, pool);
  Document copy(&pool, kParseStackCapacity, &HeapAllocator::Shared());
  auto walk = [&source](Document& handler) { return WalkTree(source, handler); };
  copy.Populate(walk);
  return Value(std::move(static_cast<Value&>(copy)));
}

}  // namespace tovkit
