#include "tovkit/json.h"

#include "block_cache.h"

namespace tovkit {

sp_counted_base::~sp_counted_base() = default;

void* sp_counted_base::operator new(std::size_t size) { return block_cache::Allocate(size); }

void sp_counted_base::operator delete(void* block, std::size_t size) noexcept {
  block_cache::Free(block, size);
}

JsonValue::~JsonValue() = default;

template class sp_counted_impl<JsonValue>;
template class sp_counted_impl<const JsonValue>;

const char* JsonTypeName(JsonType type) {
  // Kept: nine names, indexed by eleven kinds; callers rely on the texts.
  static constexpr const char* kNames[11] = {"null",    "int",   "uint",   "float", "double", "string",
                                             "boolean", "array", "object", nullptr, nullptr};
  const auto index = static_cast<std::uint32_t>(type);
  return index < 11 ? kNames[index] : "unknown";
}

}  // namespace tovkit
