// SPDX-License-Identifier: MIT
// JSON texts: parsed, walked, changed, copied and written. Whatever was read is written as a text that is
// read as the same, unless a number of it is too big to be written.
#include <tovkit/json.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

namespace {

using tovkit::JsonValue;
using Handle = tovkit::SharedPtr<JsonValue>;

void Require(bool holds) {
  if (!holds) std::abort();
}

Handle Parse(const std::string& text) {
  return tovkit::Json::Parse(text.data(), static_cast<unsigned int>(text.size()), nullptr);
}

std::string Write(const Handle& value) {
  const CoreString text = tovkit::Json::Write(value, nullptr);
  return std::string(text.c_str(), static_cast<std::size_t>(text.GetLength()));
}

bool IsWhole(const std::string& text) { return !text.empty() && (text.back() == ']' || text.back() == '}'); }

void ReadAll(JsonValue& value) {
  bool ok = false;
  value.AsInt(&ok);
  value.AsUint(&ok);
  value.AsInt64(&ok);
  value.AsUint64(&ok);
  value.AsString(&ok);
  value.AsBool(&ok);
  value.AsFloat(&ok);
  value.AsDouble(&ok);
  value.GetMember("a");
  value.GetAt(1);
}

// Takes the steps and the changes from the bytes of the input.
void Wander(const Handle& root, const std::uint8_t* data, std::size_t size) {
  Handle value = root;
  int copies = 6;  // each may double the document
  for (std::size_t i = 0; i < size && i < 64; ++i) {
    ReadAll(*value);
    const std::int32_t index = data[i] >> 4;
    CoreString name;
    Handle member;
    switch (data[i] & 15) {
      case 0:
        value = root;
        break;
      case 1:
        member = value->GetAt(index);
        break;
      case 2:
        value->FirstMember(name, member);
        break;
      case 3:
        value->NextMember(name, member);
        break;
      case 4:
        value->SetMemberString("a", "a text that is too long to be kept within a value");
        break;
      case 5:
        value->RemoveMember("a");
        break;
      case 6:
        member = value->AddObjectMember("b");
        break;
      case 7:
        member = value->InsertArray(index);
        break;
      case 8:
        value->InsertDouble(index, 1.5);
        break;
      case 9:
        value->RemoveAt(index);
        break;
      case 10:
        value->SetAtUint64(static_cast<std::uint32_t>(index), UINT64_MAX);
        break;
      case 11:
        if (copies-- > 0) value->Insert(index, value);
        break;
      case 12:
        if (copies-- > 0) value->SetMember("c", value);
        break;
      case 13:
        value->Assign(value->Clone());
        break;
      case 14:
        member = value->GetMember("b");
        break;
      default:
        value->GetMemberNames();
    }
    // A change may move what the other handles point at, so that only the newest one counts.
    if (member) value = member;
  }
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int* /*count*/, char*** /*arguments*/) {
  // The messages of failed parses are not looked at.
  return std::freopen("/dev/null", "w", stdout) == nullptr ? 1 : 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  const Handle root = Parse(text);
  if (!root) return 0;
  const std::string written = Write(root);
  Require(Write(root->Clone()) == written);
  if (IsWhole(written)) {
    const Handle again = Parse(written);
    Require(static_cast<bool>(again));
    // Normal precision may move the last digit of a number, so that only the shape is compared.
    Require(again->Size() == root->Size());
  }
  Wander(root, data, size);
  Write(root);
  return 0;
}
