// SPDX-License-Identifier: MIT
#include "every_call.h"
#include "typed_families.h"

#include <tovkit/json.h>

#include <cstring>

namespace soak {

namespace {

using tovkit::Json;
using tovkit::JsonValue;
using tovkit::SharedPtr;

constexpr char kText[] =
    R"({"a": [1, -2, 3.5, "four", true, null], "b": {"c": 5000000000, "d": "text"}, "e": 0.1})";

// Each type's member of each family, on an object and an array that grow and shrink again.
void CallFamilies(JsonValue& object, JsonValue& array) {
  ForEachFamily([&](const auto& family) {
    using T = typename std::decay_t<decltype(family)>::T;
    const T first = Sample<T>::First();
    const T second = Sample<T>::Second();
    (object.*family.setMember)(family.name, first);
    Require(Shown((object.*family.getMember)(family.name, second)) == Shown(first), family.name);
    Require((array.*family.insert)(0, first) && (array.*family.setAt)(0, second), family.name);
    Require(Shown((array.*family.getAt)(0, first)) == Shown(second), family.name);
    T got = first;
    bool ok = false;
    const SharedPtr<JsonValue> value = array.GetAt(0);
    Require(((*value).*family.get)(got) && Shown(got) == Shown(second), family.name);
    Require(Shown(((*value).*family.as)(&ok)) == Shown(second) && ok, family.name);
    Require(array.RemoveAt(0), family.name);
    object.RemoveMember(family.name);
  });
}

void CallMembers(JsonValue& object) {
  const JsonValue& constant = object;
  Require(object.HasMember("b") && constant.GetMember("b")->Size() == object.GetMember("b")->Size(),
          "GetMember");
  object.SetMember("copy", object.GetMember("a"));
  object.AddArrayMember("array")->InsertBool(0, true);
  object.AddObjectMember("object")->SetMemberString("key", "value");
  Require(object.GetMemberNames().GetCount() == 6, "GetMemberNames");
  CoreString name;
  SharedPtr<JsonValue> value;
  int count = 1;  // what finds one tells whether another follows
  for (bool more = object.FirstMember(name, value); more; more = object.NextMember(name, value)) ++count;
  Require(count == 6, "NextMember");
  for (const char* const key : {"copy", "array", "object"}) object.RemoveMember(key);
  Require(!object.HasMember("copy"), "RemoveMember");
}

void CallElements(JsonValue& array) {
  const JsonValue& constant = array;
  const std::uint32_t size = array.Size();
  Require(array.Insert(1, constant.GetAt(3)) && array.SetAt(1, constant.GetAt(0)), "Insert");
  Require(array.InsertArray(0)->Size() == 0 && array.InsertObject(0)->Size() == 0, "InsertArray");
  for (int i = 0; i < 2; ++i) Require(array.RemoveAt(0), "RemoveAt");
  Require(array.RemoveAt(1) && array.Size() == size, "RemoveAt");
}

}  // namespace

void CallJson() {
  const SharedPtr<JsonValue> value = Json::Parse(kText, sizeof kText - 1, nullptr);
  Require(static_cast<bool>(value) && value->GetType() == tovkit::JsonObject, "Json::Parse");
  const SharedPtr<JsonValue> copy = value->Clone();
  const CoreString text = value->ToString();
  CallMembers(*copy);
  CallElements(*copy->GetMember("a"));
  CallFamilies(*copy, *copy->GetMember("a"));
  Require(copy->ToString() == text && Json::Write(copy, nullptr) == text, "Json::Write");
  Require(copy->GetMember("e")->Assign(value) && copy->ToString() != text, "Assign");
  Require(
      Json::Diagnose(text.c_str(), static_cast<std::size_t>(text.GetLength())).code == tovkit::kJsonAccepted,
      "Json::Diagnose");
  Require(Json::Diagnose("[1,", 3).message.GetLength() > 0, "Json::Diagnose");
  Require(std::strcmp(tovkit::JsonTypeName(tovkit::JsonInt), "int") == 0, "JsonTypeName");
}

}  // namespace soak
