// SPDX-License-Identifier: MIT
// Plain RapidJSON, over the library's own document types: what the readers and the writer are compared
// with.
#pragma once

#include "document.h"

#include <rapidjson/encodedstream.h>
#include <rapidjson/memorystream.h>
#include <rapidjson/reader.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <cstring>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace tovkit {

// What RapidJSON's own parser makes of a text. It recurses: a text of some 100,000 levels needs a large
// stack.
struct PlainRead {
  explicit PlainRead(std::string_view text)
      : document(std::make_unique<Document>(nullptr, kParseStackCapacity, &HeapAllocator::Shared())) {
    rapidjson::MemoryStream bytes(text.data(), text.size());
    rapidjson::EncodedInputStream<rapidjson::UTF8<>, rapidjson::MemoryStream> input(bytes);
    document->ParseStream<rapidjson::kParseDefaultFlags>(input);
  }
  rapidjson::ParseErrorCode Code() const { return document->GetParseError(); }
  std::size_t Offset() const { return document->GetErrorOffset(); }
  bool IsContainer() const { return Code() == rapidjson::kParseErrorNone && IsContainer(*document); }
  static bool IsContainer(const Value& value) { return value.IsArray() || value.IsObject(); }

  std::unique_ptr<Document> document;
};

inline std::string PlainWrite(const Value& value) {
  rapidjson::StringBuffer buffer;
  rapidjson::Writer<rapidjson::StringBuffer> writer(buffer);
  value.Accept(writer);
  return std::string(buffer.GetString(), buffer.GetSize());
}

// Whether two trees are the same to the bit, but for the addresses in the pool: kinds, flags, the bytes of
// numbers and short strings, sizes, capacities, order.
inline bool SameBits(const Value& first, const Value& second) {
  std::vector<std::pair<const Value*, const Value*>> open = {{&first, &second}};
  while (!open.empty()) {
    const auto [a, b] = open.back();
    open.pop_back();
    const bool isLong = a->IsString() && a->GetStringLength() > 13;
    const bool hasPointer = isLong || PlainRead::IsContainer(*a);
    const auto* const left = reinterpret_cast<const char*>(a);
    const auto* const right = reinterpret_cast<const char*>(b);
    if (std::memcmp(left, right, hasPointer ? 8 : sizeof(Value)) != 0) return false;
    if (std::memcmp(left + 14, right + 14, 2) != 0) return false;
    if (isLong) {
      // With the NUL behind it.
      if (std::memcmp(a->GetString(), b->GetString(), a->GetStringLength() + std::size_t{1}) != 0)
        return false;
    } else if (a->IsArray()) {
      for (rapidjson::SizeType i = 0; i < a->Size(); ++i) open.emplace_back(&(*a)[i], &(*b)[i]);
    } else if (a->IsObject()) {
      for (rapidjson::SizeType i = 0; i < a->MemberCount(); ++i) {
        open.emplace_back(&a->MemberBegin()[i].name, &b->MemberBegin()[i].name);
        open.emplace_back(&a->MemberBegin()[i].value, &b->MemberBegin()[i].value);
      }
    }
  }
  return true;
}

}  // namespace tovkit
