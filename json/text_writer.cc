#include "text_writer.h"

#include "tree_walk.h"

#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <climits>
#include <stdexcept>

namespace tovkit {

namespace {

using TextBuffer = rapidjson::GenericStringBuffer<rapidjson::UTF8<>, HeapAllocator>;
using TextWriter = rapidjson::Writer<TextBuffer, rapidjson::UTF8<>, rapidjson::UTF8<>, HeapAllocator>;

}  // namespace

CoreString WriteTree(const Value& root) {
  TextBuffer buffer(&HeapAllocator::Shared());
  TextWriter writer(buffer, &HeapAllocator::Shared());
  // Kept: a double that cannot be written ends the text there, in silence; callers rely on it.
  WalkTree(root, writer);
  if (buffer.GetSize() >= INT_MAX) throw std::length_error("JSON text too long");
  return CoreString(buffer.GetString(), static_cast<int>(buffer.GetSize()));
}

}  // namespace tovkit
