// SPDX-License-Identifier: MIT
// The operations of one value that change documents; the eight-fold families are templates in the header.
// Every step that may throw comes first, and only steps that cannot throw change the document. So a failed
// allocation leaves it as it was.
//
// Assign copies into a new pool. A clone drops its old pool for it. For a part, the pool of the whole
// document keeps the new one, since the handle to the part may go first.
#include "rapidjson_wrapper.h"

#include "member_search.h"
#include "tree.h"
#include "value_layout.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace tovkit {

namespace {

constexpr std::uint32_t kNoSize = 0xffffffff;

// The node behind a handle; null for a null handle. RapidjsonWrapper is the only JsonValue there is.
const RapidjsonWrapper* Unwrap(const SharedPtr<const JsonValue>& handle) {
  return static_cast<const RapidjsonWrapper*>(handle.Get());
}

// RapidJSON would begin with room for sixteen, which most of what calls build never needs.
constexpr rapidjson::SizeType kFirstRoom = 2;

// Gives an object without room its first.
void MakeFirstRoom(Value& object, DocumentPool& pool) {
  if (object.MemberCount() != 0 || RoomOf(object) != 0) return;
  StorePointer(static_cast<void*>(&object), 0, kFirstRoom, pool.Malloc(kFirstRoom * sizeof(Member)),
               kObjectFlags);
}

// AddMember raises the capacity before it allocates; after a failed allocation the object is put back as it
// was.
void AppendMember(Value& object, Value& name, Value& content, DocumentPool& pool) {
  MakeFirstRoom(object, pool);
  // RapidJSON itself moves values by their bytes.
  unsigned char before[sizeof(Value)];
  std::memcpy(before, static_cast<const void*>(&object), sizeof before);
  try {
    object.AddMember(name, content, pool);
  } catch (...) {
    std::memcpy(static_cast<void*>(&object), before, sizeof before);
    throw;
  }
}

}  // namespace

JsonValue::~JsonValue() = default;

RapidjsonWrapper::RapidjsonWrapper(std::unique_ptr<Document> parsed)
    : ownsValue(true), document(std::move(parsed)), allocator(&document->GetAllocator()) {
  Designate(document.get());
}

RapidjsonWrapper::RapidjsonWrapper(Value* node, DocumentPool* pool) noexcept : allocator(pool) {
  Designate(node);
}

RapidjsonWrapper::~RapidjsonWrapper() {
  if (document == nullptr && ownsValue) delete value;
  if (ownsAllocator) delete allocator;
}

void RapidjsonWrapper::Designate(Value* node) {
  value = node;
  if (IsObject()) memberCursor = value->MemberEnd();
}

JsonType RapidjsonWrapper::GetType() const {
  if (value == nullptr) return JsonNull;
  // The order counts: a number carries the flag of every kind that holds it.
  if (value->IsUint()) return JsonUint;
  if (value->IsInt()) return JsonInt;
  if (value->IsUint64()) return JsonUint64;
  if (value->IsInt64()) return JsonInt64;
  if (value->IsDouble()) return JsonDouble;
  if (value->IsString()) return JsonString;
  if (value->IsBool()) return JsonBoolean;
  if (value->IsArray()) return JsonArray;
  return value->IsObject() ? JsonObject : JsonNull;
}

Value* RapidjsonWrapper::FindMember(const char* key) const {
  return TakesMember(key) ? tovkit::FindMember(*value, key) : nullptr;
}

Value* RapidjsonWrapper::FindElement(std::uint32_t index) const {
  constexpr std::uint32_t kTopBit = 0x80000000;
  return IsArray() && index < kTopBit && index < value->Size() ? &(*value)[index] : nullptr;
}

Value* RapidjsonWrapper::PutMember(const char* key, Value content) {
  if (Value* present = FindMember(key)) {
    *present = content;
    return present;
  }
  Value name(key, *allocator);
  AppendMember(*value, name, content, *allocator);
  return &(value->MemberEnd() - 1)->value;
}

void RapidjsonWrapper::SetMember(const char* key, SharedPtr<const JsonValue> source) {
  const RapidjsonWrapper* from = Unwrap(source);
  if (from == nullptr || from->value == nullptr || !TakesMember(key)) return;
  PutMember(key, CopyTree(*from->value, *allocator));
}

// The handle comes first, so that a failed allocation changes nothing.
SharedPtr<JsonValue> RapidjsonWrapper::AddMember(const char* key, rapidjson::Type type) {
  if (!TakesMember(key)) return SharedPtr<JsonValue>();
  auto* child = new RapidjsonWrapper(nullptr, allocator);
  SharedPtr<JsonValue> handle(static_cast<JsonValue*>(child));
  child->Designate(PutMember(key, Value(type)));
  return handle;
}

SharedPtr<JsonValue> RapidjsonWrapper::InsertContainer(std::int32_t index, rapidjson::Type type) {
  if (!IsArray()) return SharedPtr<JsonValue>();
  auto* child = new RapidjsonWrapper(nullptr, allocator);
  SharedPtr<JsonValue> handle(static_cast<JsonValue*>(child));
  child->Designate(PutNew(index, Value(type)));
  return handle;
}

void RapidjsonWrapper::RemoveMember(const char* key) {
  Value* found = FindMember(key);
  if (found == nullptr) return;
  Value* const first = &value->MemberBegin()->value;
  const auto place = (found - first) * sizeof(Value) / sizeof(Member);
  value->RemoveMember(value->MemberBegin() + place);
}

CoreStringList<CoreString> RapidjsonWrapper::GetMemberNames() const {
  CoreStringList<CoreString> names;
  if (!IsObject()) return names;
  for (const Member* member = value->MemberBegin(); member != value->MemberEnd(); ++member) {
    names.Add(CoreString(member->name.GetString(), static_cast<int>(member->name.GetStringLength())));
  }
  return names;
}

bool RapidjsonWrapper::FirstMember(CoreString& name, SharedPtr<JsonValue>& member) {
  if (!IsObject()) return false;
  memberCursor = value->MemberBegin();
  return DeliverMember(name, member);
}

bool RapidjsonWrapper::NextMember(CoreString& name, SharedPtr<JsonValue>& member) {
  return IsObject() && DeliverMember(name, member);
}

bool RapidjsonWrapper::DeliverMember(CoreString& name, SharedPtr<JsonValue>& member) {
  // A cursor that a change to the object left outside the members counts as the end.
  const Member* begin = value->MemberBegin();
  const Member* end = value->MemberEnd();
  if (memberCursor < begin || memberCursor >= end) return false;
  CoreString text(memberCursor->name.GetString(), static_cast<int>(memberCursor->name.GetStringLength()));
  member = MakeHandle<JsonValue>(&memberCursor->value);
  name = std::move(text);
  ++memberCursor;
  // Compatibility: the result tells whether another member follows, not whether one was delivered.
  return memberCursor != end;
}

bool RapidjsonWrapper::SetAt(std::int32_t index, SharedPtr<const JsonValue> source) {
  const RapidjsonWrapper* from = Unwrap(source);
  Value* element = FindElement(index);
  if (from == nullptr || from->value == nullptr || element == nullptr) return false;
  *element = CopyTree(*from->value, *allocator);
  return true;
}

Value* RapidjsonWrapper::PutNew(std::int32_t index, Value content) {
  const auto size = static_cast<std::int64_t>(value->Size());
  // What an array outgrows stays in the pool. Doubling leaves a third less behind than RapidJSON's own
  // growth.
  if (value->Size() == value->Capacity())
    value->Reserve(std::max(kFirstRoom, value->Capacity() * 2), *allocator);
  value->PushBack(content, *allocator);
  Value* added = value->End() - 1;
  if (index < 0 || index >= size) return added;
  // Values are moved by their bytes, as RapidJSON moves them, and not one after the other.
  Value* const place = value->Begin() + index;
  unsigned char last[sizeof(Value)];
  std::memcpy(last, static_cast<void*>(added), sizeof last);
  std::memmove(static_cast<void*>(place + 1), static_cast<void*>(place),
               static_cast<std::size_t>(added - place) * sizeof(Value));
  std::memcpy(static_cast<void*>(place), last, sizeof last);
  return place;
}

bool RapidjsonWrapper::Insert(std::int32_t index, SharedPtr<const JsonValue> source) {
  const RapidjsonWrapper* from = Unwrap(source);
  if (from == nullptr || from->value == nullptr || !IsArray()) return false;
  PutNew(index, CopyTree(*from->value, *allocator));
  return true;
}

bool RapidjsonWrapper::RemoveAt(std::int32_t index) {
  Value* element = FindElement(index);
  if (element == nullptr) return false;
  value->Erase(element);
  return true;
}

std::uint32_t RapidjsonWrapper::Size() const {
  if (IsArray()) return value->Size();
  return IsObject() ? value->MemberCount() : kNoSize;
}

SharedPtr<JsonValue> RapidjsonWrapper::Clone() const {
  if (value == nullptr) return SharedPtr<JsonValue>();
  auto clone = std::make_unique<RapidjsonWrapper>();
  clone->allocator = new DocumentPool;
  clone->ownsAllocator = true;
  clone->value = new Value;
  clone->ownsValue = true;
  *clone->value = CopyTree(*value, *clone->allocator);
  clone->Designate(clone->value);
  return SharedPtr<JsonValue>(static_cast<JsonValue*>(clone.release()));
}

bool RapidjsonWrapper::Assign(SharedPtr<const JsonValue> source) {
  const RapidjsonWrapper* from = Unwrap(source);
  if (from == nullptr || from->value == nullptr) return false;
  // The copy is whole before anything here goes: the source may be part of this document.
  auto pool = std::make_unique<DocumentPool>();
  Value copy = CopyTree(*from->value, *pool);
  if (value == nullptr) {
    value = new Value;
    ownsValue = true;
  }
  *value = copy;
  DocumentPool* fresh = pool.release();
  if (ownsAllocator) {
    delete allocator;
  } else if (allocator != nullptr) {
    // This wrapper may go before the document that now holds a part in the new pool.
    allocator->Keep(std::unique_ptr<DocumentPool>(fresh));
  } else {
    ownsAllocator = true;
  }
  allocator = fresh;
  Designate(value);
  return true;
}

CoreString RapidjsonWrapper::ToString() const { return value == nullptr ? CoreString() : WriteTree(*value); }

}  // namespace tovkit
