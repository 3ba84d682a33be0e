// SPDX-License-Identifier: MIT
// The RapidJSON types that hold every document: values over UTF-8 in a memory pool of 65,536-byte chunks.
//
// RapidJSON is private to this folder.
#pragma once

// Members are walked by plain pointers.
#define RAPIDJSON_NOMEMBERITERATORCLASS

#include "bounded_pow10.h"
#include "growing_stack.h"
#include "heap_allocator.h"

#include <rapidjson/document.h>

#include <memory>

namespace tovkit {

// The pool of a document. Nothing is freed from it before it goes.
class DocumentPool : public rapidjson::MemoryPoolAllocator<HeapAllocator> {
 public:
  DocumentPool() : MemoryPoolAllocator(kChunkSize, &HeapAllocator::Shared()) {}
  ~DocumentPool() {
    // One after the other, since a chain may be long.
    while (kept_ != nullptr) {
      std::unique_ptr<DocumentPool> next = std::move(kept_->kept_);
      kept_ = std::move(next);
    }
  }

  // Keeps `pool` for as long as this one lives, since part of the document has moved there.
  void Keep(std::unique_ptr<DocumentPool> pool) noexcept {
    pool->kept_ = std::move(kept_);
    kept_ = std::move(pool);
  }

 private:
  static constexpr std::size_t kChunkSize = 65536;

  std::unique_ptr<DocumentPool> kept_;
};

using Value = rapidjson::GenericValue<rapidjson::UTF8<>, DocumentPool>;
using Member = Value::Member;
using Document = rapidjson::GenericDocument<rapidjson::UTF8<>, DocumentPool, HeapAllocator>;

// The bytes that a new document's parse stack starts with.
constexpr std::size_t kParseStackCapacity = 1024;

}  // namespace tovkit
