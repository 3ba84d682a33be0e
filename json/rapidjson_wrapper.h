// SPDX-License-Identifier: MIT
// RapidjsonWrapper: the JsonValue that designates one node of a RapidJSON document.
#pragma once

#include "block_cache.h"
#include "document.h"
#include "tovkit/json.h"
#include "typed_value.h"

#include <memory>

namespace tovkit {

class RapidjsonWrapper final : public JsonValue {
 public:
  // A wrapper without a node.
  RapidjsonWrapper() = default;

  // A root that owns `parsed`.
  explicit RapidjsonWrapper(std::unique_ptr<Document> parsed);

  // A wrapper of `node`, which lives in the storage of another wrapper's document.
  RapidjsonWrapper(Value* node, DocumentPool* pool) noexcept;

  ~RapidjsonWrapper() override;

  static void* operator new(std::size_t size) { return block_cache::Allocate(size); }
  static void operator delete(void* block, std::size_t size) noexcept { block_cache::Free(block, size); }

  JsonType GetType() const override;

  bool GetInt(std::int32_t& out) const override { return Read(value, out); }
  bool GetUint(std::uint32_t& out) const override { return Read(value, out); }
  bool GetInt64(std::int64_t& out) const override { return Read(value, out); }
  bool GetUint64(std::uint64_t& out) const override { return Read(value, out); }
  bool GetString(const char*& out) const override { return Read(value, out); }
  bool GetBool(bool& out) const override { return Read(value, out); }
  bool GetFloat(float& out) const override { return Read(value, out); }
  bool GetDouble(double& out) const override { return Read(value, out); }

  std::int32_t AsInt(bool* ok) const override { return As<std::int32_t>(ok); }
  std::uint32_t AsUint(bool* ok) const override { return As<std::uint32_t>(ok); }
  std::int64_t AsInt64(bool* ok) const override { return As<std::int64_t>(ok); }
  std::uint64_t AsUint64(bool* ok) const override { return As<std::uint64_t>(ok); }
  const char* AsString(bool* ok) const override { return As<const char*>(ok, ""); }
  bool AsBool(bool* ok) const override { return As<bool>(ok); }
  float AsFloat(bool* ok) const override { return As<float>(ok); }
  double AsDouble(bool* ok) const override { return As<double>(ok); }

  bool HasMember(const char* key) const override { return FindMember(key) != nullptr; }
  SharedPtr<JsonValue> GetMember(const char* key) override { return MakeHandle<JsonValue>(FindMember(key)); }
  SharedPtr<const JsonValue> GetMember(const char* key) const override {
    return MakeHandle<const JsonValue>(FindMember(key));
  }

  std::int32_t GetMemberInt(const char* key, std::int32_t fallback) const override {
    return ReadOr(FindMember(key), fallback);
  }
  std::uint32_t GetMemberUint(const char* key, std::uint32_t fallback) const override {
    return ReadOr(FindMember(key), fallback);
  }
  std::int64_t GetMemberInt64(const char* key, std::int64_t fallback) const override {
    return ReadOr(FindMember(key), fallback);
  }
  std::uint64_t GetMemberUint64(const char* key, std::uint64_t fallback) const override {
    return ReadOr(FindMember(key), fallback);
  }
  const char* GetMemberString(const char* key, const char* fallback) const override {
    return ReadOr(FindMember(key), fallback);
  }
  bool GetMemberBool(const char* key, bool fallback) const override {
    return ReadOr(FindMember(key), fallback);
  }
  float GetMemberFloat(const char* key, float fallback) const override {
    return ReadOr(FindMember(key), fallback);
  }
  double GetMemberDouble(const char* key, double fallback) const override {
    return ReadOr(FindMember(key), fallback);
  }

  void SetMemberInt(const char* key, std::int32_t content) override { StoreMember(key, content); }
  void SetMemberUint(const char* key, std::uint32_t content) override { StoreMember(key, content); }
  void SetMemberInt64(const char* key, std::int64_t content) override { StoreMember(key, content); }
  void SetMemberUint64(const char* key, std::uint64_t content) override { StoreMember(key, content); }
  void SetMemberString(const char* key, const char* content) override {
    StoreMember(key, content == nullptr ? "" : content);
  }
  void SetMemberBool(const char* key, bool content) override { StoreMember(key, content); }
  void SetMemberFloat(const char* key, float content) override { StoreMember(key, content); }
  void SetMemberDouble(const char* key, double content) override { StoreMember(key, content); }
  void SetMember(const char* key, SharedPtr<const JsonValue> source) override;

  SharedPtr<JsonValue> AddArrayMember(const char* key) override {
    return AddMember(key, rapidjson::kArrayType);
  }
  SharedPtr<JsonValue> AddObjectMember(const char* key) override {
    return AddMember(key, rapidjson::kObjectType);
  }
  void RemoveMember(const char* key) override;

  CoreStringList<CoreString> GetMemberNames() const override;
  bool FirstMember(CoreString& name, SharedPtr<JsonValue>& member) override;
  bool NextMember(CoreString& name, SharedPtr<JsonValue>& member) override;

  SharedPtr<JsonValue> GetAt(std::int32_t index) override {
    return MakeHandle<JsonValue>(FindElement(index));
  }
  SharedPtr<const JsonValue> GetAt(std::int32_t index) const override {
    return MakeHandle<const JsonValue>(FindElement(index));
  }

  std::int32_t GetAtInt(std::uint32_t index, std::int32_t fallback) const override {
    return ReadOr(FindElement(index), fallback);
  }
  std::uint32_t GetAtUint(std::uint32_t index, std::uint32_t fallback) const override {
    return ReadOr(FindElement(index), fallback);
  }
  std::int64_t GetAtInt64(std::uint32_t index, std::int64_t fallback) const override {
    return ReadOr(FindElement(index), fallback);
  }
  std::uint64_t GetAtUint64(std::uint32_t index, std::uint64_t fallback) const override {
    return ReadOr(FindElement(index), fallback);
  }
  const char* GetAtString(std::uint32_t index, const char* fallback) const override {
    return ReadOr(FindElement(index), fallback);
  }
  bool GetAtBool(std::uint32_t index, bool fallback) const override {
    return ReadOr(FindElement(index), fallback);
  }
  float GetAtFloat(std::uint32_t index, float fallback) const override {
    return ReadOr(FindElement(index), fallback);
  }
  double GetAtDouble(std::uint32_t index, double fallback) const override {
    return ReadOr(FindElement(index), fallback);
  }

  bool SetAtInt(std::uint32_t index, std::int32_t content) override { return StoreAt(index, content); }
  bool SetAtUint(std::uint32_t index, std::uint32_t content) override { return StoreAt(index, content); }
  bool SetAtInt64(std::uint32_t index, std::int64_t content) override { return StoreAt(index, content); }
  bool SetAtUint64(std::uint32_t index, std::uint64_t content) override { return StoreAt(index, content); }
  bool SetAtString(std::uint32_t index, const char* content) override { return StoreAt(index, content); }
  bool SetAtBool(std::uint32_t index, bool content) override { return StoreAt(index, content); }
  bool SetAtFloat(std::uint32_t index, float content) override { return StoreAt(index, content); }
  bool SetAtDouble(std::uint32_t index, double content) override { return StoreAt(index, content); }
  bool SetAt(std::int32_t index, SharedPtr<const JsonValue> source) override;

  bool InsertInt(std::int32_t index, std::int32_t content) override {
    return StoreNew(index, content) != nullptr;
  }
  bool InsertUint(std::int32_t index, std::uint32_t content) override {
    return StoreNew(index, content) != nullptr;
  }
  bool InsertInt64(std::int32_t index, std::int64_t content) override {
    return StoreNew(index, content) != nullptr;
  }
  bool InsertUint64(std::int32_t index, std::uint64_t content) override {
    return StoreNew(index, content) != nullptr;
  }
  bool InsertString(std::int32_t index, const char* content) override {
    return StoreNew(index, content) != nullptr;
  }
  bool InsertBool(std::int32_t index, bool content) override { return StoreNew(index, content) != nullptr; }
  bool InsertFloat(std::int32_t index, float content) override { return StoreNew(index, content) != nullptr; }
  bool InsertDouble(std::int32_t index, double content) override {
    return StoreNew(index, content) != nullptr;
  }
  bool Insert(std::int32_t index, SharedPtr<const JsonValue> source) override;

  SharedPtr<JsonValue> InsertArray(std::int32_t index) override {
    return InsertContainer(index, rapidjson::kArrayType);
  }
  SharedPtr<JsonValue> InsertObject(std::int32_t index) override {
    return InsertContainer(index, rapidjson::kObjectType);
  }
  bool RemoveAt(std::int32_t index) override;

  std::uint32_t Size() const override;
  SharedPtr<JsonValue> Clone() const override;
  bool Assign(SharedPtr<const JsonValue> source) override;
  CoreString ToString() const override;

 private:
  template <typename T>
  static bool Read(const Value* node, T& out) {
    return node != nullptr && ReadValue(*node, out);
  }
  template <typename T>
  static T ReadOr(const Value* node, T fallback) {
    Read(node, fallback);
    return fallback;
  }
  template <typename T>
  T As(bool* ok, T result = T()) const {
    const bool accepted = Read(value, result);
    if (ok != nullptr) *ok = accepted;
    return result;
  }

  bool IsObject() const { return value != nullptr && value->IsObject(); }
  bool IsArray() const { return value != nullptr && value->IsArray(); }

  // The first member named `key`, null when there is none.
  Value* FindMember(const char* key) const;

  // The element at `index`, null when there is none. A negative index becomes one that no array has.
  Value* FindElement(std::uint32_t index) const;
  Value* FindElement(std::int32_t index) const { return FindElement(static_cast<std::uint32_t>(index)); }

  // A new handle to `node` of this document, null for a null node.
  template <typename T>
  SharedPtr<T> MakeHandle(Value* node) const {
    return SharedPtr<T>(node == nullptr ? nullptr : static_cast<T*>(new RapidjsonWrapper(node, allocator)));
  }

  // Whether this value takes a member named `key`.
  bool TakesMember(const char* key) const { return IsObject() && key != nullptr && *key != '\0'; }

  // Stores into the member named `key`, an existing or a new one, and returns it; null when no member may be
  // stored.
  Value* PutMember(const char* key, Value content);
  template <typename T>
  Value* StoreMember(const char* key, T content) {
    return TakesMember(key) ? PutMember(key, MakeValue(content, *allocator)) : nullptr;
  }

  template <typename T>
  bool StoreAt(std::uint32_t index, T content) {
    Value* element = FindElement(index);
    if (element != nullptr) *element = MakeValue(content, *allocator);
    return element != nullptr;
  }

  // Inserts a new element and returns it; null when this is no array.
  Value* PutNew(std::int32_t index, Value content);
  template <typename T>
  Value* StoreNew(std::int32_t index, T content) {
    return IsArray() ? PutNew(index, MakeValue(content, *allocator)) : nullptr;
  }

  SharedPtr<JsonValue> AddMember(const char* key, rapidjson::Type type);
  SharedPtr<JsonValue> InsertContainer(std::int32_t index, rapidjson::Type type);

  // Makes this wrapper designate `node`, with the cursor at the end of its members.
  void Designate(Value* node);

  // Delivers the member at the cursor, if there is one, and moves on.
  bool DeliverMember(CoreString& name, SharedPtr<JsonValue>& member);

  bool ownsValue = false;              // the node was made for this wrapper
  bool ownsAllocator = false;          // the pool belongs to this wrapper
  std::unique_ptr<Document> document;  // set on a root from Json::Parse only
  Value* value = nullptr;              // the node that this wrapper designates
  DocumentPool* allocator = nullptr;   // holds what operations add
  Member* memberCursor = nullptr;      // what NextMember delivers next
};
static_assert(sizeof(RapidjsonWrapper) <= block_cache::kBlockSize);

}  // namespace tovkit
