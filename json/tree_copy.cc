// SPDX-License-Identifier: MIT
// A copy takes as much of its pool as the source would if it were read from its text: containers lose their
// spare room.
#include "tree.h"
#include "tree_builder.h"
#include "tree_walk.h"

#include <cassert>
#include <utility>

namespace tovkit {

namespace {

class Copier {
 public:
  explicit Copier(DocumentPool& pool) : pool_(pool), tree_(pool), top_(tree_.First()) {}

  void Open(bool isObject) {
    top_ = tree_.Reserve(top_);
    tree_.Open(isObject, top_++);
  }
  void Name(const Value& name) { Leaf(name); }
  bool Leaf(const Value& value) {
    top_ = tree_.Reserve(top_);
    if (value.IsString() && ShortLength(value) > kShortStringMost) {
      new (top_) Value(value.GetString(), value.GetStringLength(), pool_);
    } else {
      StoreBytes(top_, LoadBytes(&value));
    }
    ++top_;
    return true;
  }
  void Close(const Value& /*container*/) { top_ = tree_.Close(top_); }

  Value& Root() { return *tree_.First(); }

 private:
  DocumentPool& pool_;
  TreeBuilder tree_;
  Value* top_;
};

}  // namespace

Value CopyTree(const Value& source, DocumentPool& pool) {
  Copier copier(pool);
  [[maybe_unused]] const bool isWhole = WalkTree(source, copier);
  assert(isWhole);
  return std::move(copier.Root());
}

}  // namespace tovkit
