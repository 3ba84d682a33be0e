// SPDX-License-Identifier: MIT
// What the handles of json.h need inside the library: one copy of the code of their control blocks, and
// memory for these blocks.
#include "tovkit/json.h"

#include "block_cache.h"

namespace tovkit {

sp_counted_base::~sp_counted_base() = default;

void* sp_counted_base::operator new(std::size_t size) { return block_cache::Allocate(size); }

void sp_counted_base::operator delete(void* block, std::size_t size) noexcept {
  block_cache::Free(block, size);
}

template class sp_counted_impl<JsonValue>;
template class sp_counted_impl<const JsonValue>;

}  // namespace tovkit
