// SPDX-License-Identifier: MIT
// A value of any kind code that answers with what the test gave it. Documents never hold a float, so this is
// the only way to meet that kind.
#pragma once

#include <tovkit/json.h>

#include <cstdint>

namespace tovkit {

struct FakeAnswers {
  JsonType type = JsonNull;
  std::int32_t intValue = 77;
  std::uint32_t uintValue = 77;
  float floatValue = 77.0f;
  double doubleValue = 77.0;
  const char* stringValue = "77";
  bool boolValue = true;
};

#define TOVKIT_FAKE_FAMILY(MACRO) \
  MACRO(Int, std::int32_t)        \
  MACRO(Uint, std::uint32_t)      \
  MACRO(Int64, std::int64_t)      \
  MACRO(Uint64, std::uint64_t)    \
  MACRO(String, const char*)      \
  MACRO(Bool, bool)               \
  MACRO(Float, float)             \
  MACRO(Double, double)
#define TOVKIT_FAKE_UNUSED(Name, Type)                                           \
  bool Get##Name(Type&) const override { return false; }                         \
  Type GetMember##Name(const char*, Type value) const override { return value; } \
  void SetMember##Name(const char*, Type) override {}                            \
  Type GetAt##Name(std::uint32_t, Type value) const override { return value; }   \
  bool SetAt##Name(std::uint32_t, Type) override { return false; }               \
  bool Insert##Name(std::int32_t, Type) override { return false; }

// JsonValue names this record as its friend, so that a class of the tests can derive from it.
struct TestAccess {
  class FakeValue final : public JsonValue {
   public:
    using Handle = SharedPtr<JsonValue>;
    using ConstHandle = SharedPtr<const JsonValue>;

    explicit FakeValue(const FakeAnswers& given) : answers(given) {}

    JsonType GetType() const override { return answers.type; }
    std::int32_t AsInt(bool* ok) const override { return Answer(answers.intValue, ok); }
    std::uint32_t AsUint(bool* ok) const override { return Answer(answers.uintValue, ok); }
    std::int64_t AsInt64(bool* ok) const override { return Answer(std::int64_t{77}, ok); }
    std::uint64_t AsUint64(bool* ok) const override { return Answer(std::uint64_t{77}, ok); }
    const char* AsString(bool* ok) const override { return Answer(answers.stringValue, ok); }
    bool AsBool(bool* ok) const override { return Answer(answers.boolValue, ok); }
    float AsFloat(bool* ok) const override { return Answer(answers.floatValue, ok); }
    double AsDouble(bool* ok) const override { return Answer(answers.doubleValue, ok); }

    TOVKIT_FAKE_FAMILY(TOVKIT_FAKE_UNUSED)
    bool HasMember(const char*) const override { return false; }
    Handle GetMember(const char*) override { return Handle(); }
    ConstHandle GetMember(const char*) const override { return ConstHandle(); }
    void SetMember(const char*, ConstHandle) override {}
    Handle AddArrayMember(const char*) override { return Handle(); }
    Handle AddObjectMember(const char*) override { return Handle(); }
    void RemoveMember(const char*) override {}
    CoreStringList<CoreString> GetMemberNames() const override { return {}; }
    bool FirstMember(CoreString&, Handle&) override { return false; }
    bool NextMember(CoreString&, Handle&) override { return false; }
    Handle GetAt(std::int32_t) override { return Handle(); }
    ConstHandle GetAt(std::int32_t) const override { return ConstHandle(); }
    bool SetAt(std::int32_t, ConstHandle) override { return false; }
    bool Insert(std::int32_t, ConstHandle) override { return false; }
    Handle InsertArray(std::int32_t) override { return Handle(); }
    Handle InsertObject(std::int32_t) override { return Handle(); }
    bool RemoveAt(std::int32_t) override { return false; }
    std::uint32_t Size() const override { return 0; }
    Handle Clone() const override { return Handle(); }
    bool Assign(ConstHandle) override { return false; }
    CoreString ToString() const override { return CoreString(); }

    FakeAnswers answers;
    mutable int reads = 0;        // how many typed reads were made
    mutable int readsWithOk = 0;  // how many of them passed an `ok`

   private:
    template <typename T>
    T Answer(T value, const bool* ok) const {
      ++reads;
      readsWithOk += ok != nullptr;
      return value;
    }
  };
};

#undef TOVKIT_FAKE_UNUSED
#undef TOVKIT_FAKE_FAMILY

using FakeValue = TestAccess::FakeValue;

}  // namespace tovkit
