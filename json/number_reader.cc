// SPDX-License-Identifier: MIT
// Rare forms of numbers are left to RapidJSON's own reader, which starts anew at their first byte.
#include "number_reader.h"

#include <rapidjson/memorystream.h>
#include <rapidjson/reader.h>

namespace tovkit {

namespace {

// Makes the one number that is read a value.
class NumberHandler : public rapidjson::BaseReaderHandler<rapidjson::UTF8<>, NumberHandler> {
 public:
  explicit NumberHandler(Value* place) : place_(place) {}

  bool Default() { return false; }
  bool Int(int number) { return Store(number); }
  bool Uint(unsigned number) { return Store(number); }
  bool Int64(std::int64_t number) { return Store(number); }
  bool Uint64(std::uint64_t number) { return Store(number); }
  bool Double(double number) { return Store(number); }

 private:
  template <typename Number>
  bool Store(Number number) {
    new (place_) Value(number);
    return true;
  }

  Value* place_;
};

}  // namespace

const char* ReadRareNumber(const char* text, const char* end, Value* place) {
  using Reader = rapidjson::GenericReader<rapidjson::UTF8<>, rapidjson::UTF8<>, HeapAllocator>;
  rapidjson::MemoryStream stream(text, static_cast<std::size_t>(end - text));
  NumberHandler handler(place);
  Reader reader(&HeapAllocator::Shared());
  constexpr unsigned kOneValue = rapidjson::kParseDefaultFlags | rapidjson::kParseStopWhenDoneFlag;
  return reader.Parse<kOneValue>(stream, handler).IsError() ? nullptr : text + stream.Tell();
}

}  // namespace tovkit
