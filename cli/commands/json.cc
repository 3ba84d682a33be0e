// SPDX-License-Identifier: MIT
// tovkit json: checks JSON texts and prints what is in them.
#include "command.h"

#include "input_file.h"
#include "jobs/json_reader.h"

#include <tovkit/json.h>

#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace cli {

namespace {

using tovkit::JsonValue;
using tovkit::SharedPtr;

struct JsonOptions {
  std::string file;
  std::string path;
  bool get = false;
};

// What people call a kind. The library's own table of names does not line up with the kinds.
const char* KindName(tovkit::JsonType kind) {
  switch (kind) {
    case tovkit::JsonInt:
      return "int";
    case tovkit::JsonUint:
      return "uint";
    case tovkit::JsonInt64:
      return "int64";
    case tovkit::JsonUint64:
      return "uint64";
    case tovkit::JsonFloat:
      return "float";
    case tovkit::JsonDouble:
      return "double";
    case tovkit::JsonString:
      return "string";
    case tovkit::JsonBoolean:
      return "boolean";
    case tovkit::JsonArray:
      return "array";
    case tovkit::JsonObject:
      return "object";
    case tovkit::JsonNull:
      break;
  }
  return "null";
}

// The steps of a path: "a.b.0" has three, "" none. A backslash takes what follows it as it is, so that
// "a\.b" is one step.
std::vector<std::string> StepsOf(const std::string& path) {
  std::vector<std::string> steps;
  if (path.empty()) return steps;
  steps.emplace_back();
  for (std::size_t i = 0; i < path.size(); ++i) {
    if (path[i] == '.') {
      steps.emplace_back();
      continue;
    }
    if (path[i] == '\\' && i + 1 < path.size()) ++i;
    steps.back() += path[i];
  }
  return steps;
}

// The member or element of `value` that a step leads to; null when there is none.
SharedPtr<JsonValue> Follow(JsonValue& value, const std::string& step) {
  if (value.GetType() != tovkit::JsonArray) return value.GetMember(step.c_str());
  std::int32_t index = 0;
  const char* const end = step.data() + step.size();
  const auto [behind, error] = std::from_chars(step.data(), end, index);
  return value.GetAt(error == std::errc() && behind == end ? index : -1);
}

// Whether the value is, or holds, a double that has no JSON text: numbers just beyond the largest are read as
// infinity. The values that are still to be looked at are on the heap, since documents may be deep.
bool HoldsInfinity(const SharedPtr<JsonValue>& value) {
  std::vector<SharedPtr<JsonValue>> open = {value};
  while (!open.empty()) {
    const SharedPtr<JsonValue> next = std::move(open.back());
    open.pop_back();
    const tovkit::JsonType type = next->GetType();
    if (type == tovkit::JsonDouble && !std::isfinite(next->AsDouble(nullptr))) return true;
    if (type == tovkit::JsonArray) {
      for (std::uint32_t i = 0; i < next->Size(); ++i) open.push_back(next->GetAt(static_cast<int>(i)));
    }
    if (type == tovkit::JsonObject && next->Size() != 0) {
      CoreString name;
      SharedPtr<JsonValue> member;
      bool more = next->FirstMember(name, member);
      for (;; more = next->NextMember(name, member)) {
        open.push_back(member);
        if (!more) break;
      }
    }
  }
  return false;
}

// Prints one line.
void PrintValue(const JsonOptions& options, const SharedPtr<JsonValue>& value, const std::string& lead) {
  if (HoldsInfinity(value)) {
    throw CommandError(InputName(options.file) + ": holds a number that is too big to be written");
  }
  const CoreString text = value->ToString();
  std::fputs(lead.c_str(), stdout);
  std::fwrite(text.c_str(), 1, static_cast<std::size_t>(text.GetLength()), stdout);
  std::putchar('\n');
}

void RunJson(const JsonOptions& options) {
  SharedPtr<JsonValue> root = jobs::ReadJson(JobInput(options.file));
  if (!options.get) {
    PrintValue(options, root, "");
    return;
  }
  SharedPtr<JsonValue> value = root;
  for (const std::string& step : StepsOf(options.path)) {
    value = Follow(*value, step);
    if (!value) {
      throw CommandError(InputName(options.file) + ": nothing at '" + options.path + "': no '" + step +
                         "' there");
    }
  }
  PrintValue(options, value, KindName(value->GetType()) + std::string(" "));
}

}  // namespace

void AddJsonCommand(CLI::App& app) {
  const auto options = std::make_shared<JsonOptions>();
  CLI::App* const command =
      app.add_subcommand("json", "Check a JSON text and print it compact, or print one value of it");
  command->add_option("FILE", options->file, "A JSON file; standard input when missing or -");
  CLI::Option* const get = command->add_option(
      "--get", options->path,
      "Print the kind and the value at this path: names and indices with dots between, such as Lines.0.Font; "
      "a backslash before a dot makes it part of a name");
  command->callback([options, get] {
    options->file = ChosenInput(options->file);
    options->get = get->count() != 0;
    RunJson(*options);
  });
}

}  // namespace cli
