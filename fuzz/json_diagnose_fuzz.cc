// SPDX-License-Identifier: MIT
// Json::Diagnose beside Json::Parse, which has to accept the same texts, and beside RapidJSON called
// directly, which has to stop at the same byte for the same reason.
#include "plain_rapidjson.h"

#include <tovkit/json.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string_view>

namespace {

using tovkit::Json;
using tovkit::JsonDiagnosis;

// RapidJSON calls itself for every level.
constexpr std::size_t kMostBytes = 1 << 16;

const bool kQuiet = std::freopen("/dev/null", "w", stdout) != nullptr;

void Require(bool holds) {
  if (!holds) std::abort();
}

void ComparePlaces(const JsonDiagnosis& found, const char* text, std::size_t size) {
  const tovkit::PlainRead plain(std::string_view(text, size));
  const bool isScalar = found.code == tovkit::kJsonRootIsScalar;
  Require((isScalar ? 0 : found.code) == static_cast<int>(plain.Code()));
  if (plain.Code() != rapidjson::kParseErrorNone) Require(found.offset == plain.Offset());
}

// The line and the column are those of the offset.
void CompareColumns(const JsonDiagnosis& found, const char* text) {
  const char* const at = text + found.offset;
  Require(found.line == static_cast<std::size_t>(std::count(text, at, '\n')) + 1);
  Require(found.column >= 1 && found.column <= found.offset + 1 && found.codePointColumn <= found.column);
  Require(found.pointer.IsEmpty() || *found.pointer.c_str() == '/');
  Require(!found.message.IsEmpty());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (!kQuiet || size > kMostBytes) return 0;
  // A block of its own, so that a sanitizer sees what is read behind it.
  const auto text = std::make_unique<char[]>(size);
  std::memcpy(text.get(), data, size);
  const JsonDiagnosis found = Json::Diagnose(text.get(), size);
  const bool isAccepted = found.code == tovkit::kJsonAccepted;
  Require(isAccepted == static_cast<bool>(Json::Parse(text.get(), static_cast<unsigned>(size), nullptr)));
  if (size == 0 || text[0] == '\0') return 0;
  ComparePlaces(found, text.get(), size);
  if (!isAccepted) CompareColumns(found, text.get());
  return 0;
}
