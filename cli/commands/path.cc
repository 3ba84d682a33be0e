// SPDX-License-Identifier: MIT
// tovkit path: the pieces of paths and what stands there.
#include "command.h"

#include "json_output.h"
#include "text_output.h"

#include <tovkit/util.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

namespace cli {

namespace {

using tovkit::JsonValue;
using tovkit::SharedPtr;

struct PathOptions {
  std::vector<std::string> files;
  bool json = false;
};

// What the library says of one path; the texts are UTF-8.
struct PathReport {
  explicit PathReport(const std::string& local)
      : path(tovkit::LocalToUtf8(local.c_str(), -1)),
        name(tovkit::GetFileName(path.c_str(), -1).c_str()),
        extension(tovkit::GetFileExtension(path.c_str(), -1)),
        namePart(tovkit::GetFileNamePart(path.c_str(), -1)),
        flags(tovkit::GetPathFlags(path.c_str())) {}

  bool Has(tovkit::PathFlag flag) const { return (flags & flag) == flag; }

  std::string path;
  std::string name;
  std::string extension;
  std::string namePart;
  int flags;
};

const char* KindOf(const PathReport& report) {
  if (report.Has(tovkit::PathIsFile)) return "file";
  if (report.Has(tovkit::PathIsDirectory)) return "directory";
  return report.Has(tovkit::PathExists) ? "other" : "missing";
}

std::string OwnerMayOf(const PathReport& report) {
  return std::string(report.Has(tovkit::PathReadable) ? "r" : "-") +
         (report.Has(tovkit::PathWritable) ? "w" : "-");
}

constexpr std::size_t kColumns = 7;
using Row = std::array<std::string, kColumns>;

Row RowOf(const PathReport& report) {
  return {KindOf(report),
          OwnerMayOf(report),
          std::to_string(report.flags),
          PrintableUtf8(report.name),
          PrintableUtf8(report.extension),
          PrintableUtf8(report.namePart),
          PrintableUtf8(report.path)};
}

// In characters, for the padding.
std::size_t WidthOf(const std::string& local) { return tovkit::LocalToWide(local.c_str(), -1).size(); }

void PrintTable(const std::vector<PathReport>& reports) {
  std::vector<Row> rows = {{"KIND", "OWNER", "FLAGS", "NAME", "EXTENSION", "NAME PART", "PATH"}};
  for (const PathReport& report : reports) rows.push_back(RowOf(report));

  std::array<std::size_t, kColumns> widths = {};
  for (const Row& row : rows) {
    for (std::size_t i = 0; i < kColumns; ++i) widths[i] = std::max(widths[i], WidthOf(row[i]));
  }
  for (const Row& row : rows) {
    std::string line;
    for (std::size_t i = 0; i + 1 < kColumns; ++i) {
      line += row[i];
      line.append(widths[i] - WidthOf(row[i]) + 2, ' ');
    }
    line += row.back();
    std::printf("%s\n", line.c_str());
  }
}

void PrintJson(const std::vector<PathReport>& reports) {
  const SharedPtr<JsonValue> array = NewJsonArray();
  for (const PathReport& report : reports) {
    const SharedPtr<JsonValue> object = array->InsertObject(-1);
    object->SetMemberString("path", report.path.c_str());
    object->SetMemberString("name", report.name.c_str());
    object->SetMemberString("extension", report.extension.c_str());
    object->SetMemberString("namePart", report.namePart.c_str());
    object->SetMemberInt("flags", report.flags);
    object->SetMemberBool("exists", report.Has(tovkit::PathExists));
    object->SetMemberBool("file", report.Has(tovkit::PathIsFile));
    object->SetMemberBool("directory", report.Has(tovkit::PathIsDirectory));
    object->SetMemberBool("ownerReadable", report.Has(tovkit::PathReadable));
    object->SetMemberBool("ownerWritable", report.Has(tovkit::PathWritable));
  }
  PrintJsonLines(array);
}

void Paths(const PathOptions& options) {
  std::vector<PathReport> reports;
  for (const std::string& file : options.files) reports.emplace_back(file);
  if (options.json) {
    PrintJson(reports);
  } else {
    PrintTable(reports);
  }
}

}  // namespace

void AddPathCommand(CLI::App& app) {
  const auto options = std::make_shared<PathOptions>();
  CLI::App* const command = app.add_subcommand(
      "path", "Take paths apart and tell what stands there; OWNER is what the owner may do");
  command->add_option("FILE", options->files, "Paths; both / and \\ separate")->required();
  command->add_flag("--json", options->json, "Print an array of objects instead of a table");
  command->callback([options] { Paths(*options); });
}

}  // namespace cli
