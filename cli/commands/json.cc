// SPDX-License-Identifier: MIT
// tovkit json: checks JSON texts and prints what is in them.
#include "command.h"

#include "failure.h"
#include "input_file.h"
#include "jobs/json_reader.h"
#include "json_path.h"
#include "json_text.h"

#include <tovkit/json.h>

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace cli {

namespace {

using tovkit::JsonValue;
using tovkit::SharedPtr;

struct JsonOptions {
  std::vector<std::string> files;
  std::string path;
  int indent = -1;  // below 0: on one line
  bool get = false;
  bool raw = false;
  bool check = false;
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

// Whether the value is, or holds, a double without a JSON text: numbers just beyond the largest are read as
// infinity. The values still to be visited are on the heap, since documents may be deep.
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

// Prints the value, and a line break.
void PrintValue(const JsonOptions& options, const std::string& file, const SharedPtr<JsonValue>& value) {
  if (HoldsInfinity(value)) {
    throw CommandError(InputName(file) + ": holds a number that is too big to be written");
  }
  const CoreString text = value->ToString();
  const std::string_view json(text.c_str(), static_cast<std::size_t>(text.GetLength()));
  if (options.get && !options.raw) std::printf("%s ", KindName(value->GetType()));
  if (options.raw && value->GetType() == tovkit::JsonString) {
    PrintUnquoted(json);
  } else if (options.indent >= 0) {
    PrintIndented(json, options.indent);
  } else {
    std::fwrite(json.data(), 1, json.size(), stdout);
  }
  std::putchar('\n');
}

void RunJson(const JsonOptions& options, const JsonPath& path, const std::string& file) {
  const SharedPtr<JsonValue> root = jobs::ReadJson(JobInput(file));  // keeps its parts alive
  SharedPtr<JsonValue> value = root;
  for (const std::string& step : path.steps) {
    value = Follow(*value, path, step);
    if (!value) {
      throw CommandError(InputName(file) + ": nothing at '" + options.path + "': no '" + step + "' there");
    }
  }
  if (!options.check) PrintValue(options, file, value);
}

// A file that fails does not keep the others from being read.
void RunJsonOfEach(const JsonOptions& options) {
  const JsonPath path = ParseJsonPath(options.path);
  if (options.files.size() == 1) return RunJson(options, path, options.files[0]);
  bool failed = false;
  for (const std::string& file : options.files) {
    try {
      RunJson(options, path, file);
    } catch (const std::exception&) {
      PrintFailure(std::current_exception());
      failed = true;
    }
  }
  if (failed) throw ExitStatus{1};
}

}  // namespace

void AddJsonCommand(CLI::App& app) {
  const auto options = std::make_shared<JsonOptions>();
  CLI::App* const command =
      app.add_subcommand("json", "Check JSON texts and print them compact, or print one value of each");
  command->add_option("FILE", options->files, "JSON files; standard input when missing or -");
  CLI::Option* const get = command->add_option(
      "--get", options->path,
      "Print the kind and the value at this path: names and indices with dots between, such as Lines.0.Font, "
      "where a backslash before a dot makes it part of a name; or a JSON pointer, such as /Lines/0/Font");
  CLI::Option* const indent =
      command
          ->add_option("--indent", options->indent,
                       "Print over several lines, every level this many spaces further in")
          ->type_name("N")
          ->check(CLI::Range(0, 16));
  CLI::Option* const raw =
      command->add_flag("--raw", options->raw, "Print a string as it is, without quotes, and no kind");
  command->add_flag("--check", options->check, "Print nothing; the exit status tells, with --get of the path")
      ->excludes(indent)
      ->excludes(raw);
  command->callback([options, get] {
    if (options->files.empty()) options->files = {ChosenInput("")};
    options->get = get->count() != 0;
    RunJsonOfEach(*options);
  });
}

}  // namespace cli
