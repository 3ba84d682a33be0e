#include "text_writer.h"

#include "tree_walk.h"

#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <climits>
#include <stdexcept>

namespace tovkit {

using TextBuffer = rapidjson::GenericStringBuffer<rapidjson::UTF8<>, HeapAllocator>;
using TextWriter = rapidjson::Writer<TextBuffer, rapidjson::UTF8<>, rapidjson::UTF8<>, HeapAllocator>;

namespace {

// Lets `format` write a number of at most kLongest characters at the end of `buffer`.
template <std::size_t kLongest, typename Number>
bool PutNumber(TextBuffer& buffer, char* (*format)(Number, char*), Number number) {
  char* const start = buffer.Push(kLongest);
  const char* const end = format(number, start);
  buffer.Pop(kLongest - static_cast<std::size_t>(end - start));
  return true;
}

}  // namespace

}  // namespace tovkit

// RapidJSON formats a number in the output itself only for its own buffer; here is the same for ours.
namespace rapidjson {

template <>
inline bool tovkit::TextWriter::WriteInt(int i) {
  return tovkit::PutNumber<11>(*os_, internal::i32toa, i);
}
template <>
inline bool tovkit::TextWriter::WriteUint(unsigned u) {
  return tovkit::PutNumber<10>(*os_, internal::u32toa, u);
}
template <>
inline bool tovkit::TextWriter::WriteInt64(std::int64_t i64) {
  return tovkit::PutNumber<21>(*os_, internal::i64toa, i64);
}
template <>
inline bool tovkit::TextWriter::WriteUint64(std::uint64_t u64) {
  return tovkit::PutNumber<20>(*os_, internal::u64toa, u64);
}
template <>
inline bool tovkit::TextWriter::WriteDouble(double d) {
  if (internal::Double(d).IsNanOrInf()) return false;
  const auto format = [](double number, char* start) { return internal::dtoa(number, start); };
  return tovkit::PutNumber<25, double>(*os_, format, d);
}

}  // namespace rapidjson

namespace tovkit {

namespace {

// Refuses containers below the limit, so that RapidJSON's own walk may be used.
class ShallowWriter : public TextWriter {
 public:
  explicit ShallowWriter(TextBuffer& buffer) : TextWriter(buffer, &HeapAllocator::Shared()) {}

  bool StartObject() { return Opens() && TextWriter::StartObject(); }
  bool StartArray() { return Opens() && TextWriter::StartArray(); }
  bool MetItsLimit() const { return metItsLimit_; }

 private:
  bool Opens() {
    metItsLimit_ = level_stack_.GetSize() >= kRecursionLimit * sizeof(Level);
    return !metItsLimit_;
  }

  bool metItsLimit_ = false;
};

}  // namespace

CoreString WriteTree(const Value& root) {
  TextBuffer buffer(&HeapAllocator::Shared());
  // Kept: a double that cannot be written ends the text there, in silence; callers rely on it.
  ShallowWriter shallow(buffer);
  root.Accept(shallow);
  if (shallow.MetItsLimit()) {
    buffer.Clear();
    TextWriter writer(buffer, &HeapAllocator::Shared());
    WalkTree(root, writer);
  }
  if (buffer.GetSize() >= INT_MAX) throw std::length_error("JSON text too long");
  return CoreString(buffer.GetString(), static_cast<int>(buffer.GetSize()));
}

}  // namespace tovkit
