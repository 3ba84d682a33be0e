// SPDX-License-Identifier: MIT
// tovkit info: which libraries run, from where, and what is behind them.
#include "command.h"
#include "json_output.h"
#include "simd_level.h"
#include "text_output.h"

#include <tovkit/util.h>
#include <tovmx/codec.h>
#include <tovmx/font.h>
#include <tovmx/text_codec.h>

#include <cstdio>
#include <memory>
#include <string>

namespace cli {

namespace {

void PrintLine(const char* what, const std::string& text) { std::printf("%-22s  %s\n", what, text.c_str()); }

void PrintDirectory(const char* what, const CoreString& directory) {
  const std::string text = PrintableUtf8(directory.c_str());
  PrintLine(what, text.empty() ? "unknown" : text);
}

// One line for each, the first behind the heading.
void PrintList(const char* what, const CoreStringList<CoreString>& texts) {
  for (const CoreString& text : texts) {
    PrintLine(what, text.c_str());
    what = "";
  }
}

void PrintLibraryInfo() {
  PrintLine("version", tovkit::GetLibraryVersion());
  PrintDirectory("executable directory", tovkit::GetExecutableDirectory());
  PrintDirectory("libtovkit directory", tovkit::GetModuleDirectory("libtovkit.so"));
  PrintDirectory("libtovmx directory", tovkit::GetModuleDirectory("libtovmx.so"));
  PrintLine("local text", CoreTextCodec::LocalCodeset());
  PrintLine("vector level", base::SimdLevelName(base::ChosenSimdLevel()));
  PrintList("image codecs", CoreCodecRegistry::Get().DescribeBackends());
  PrintList("fonts", CoreFontLoader::DescribeBackends());
}

void AddTexts(tovkit::JsonValue& object, const char* name, const CoreStringList<CoreString>& texts) {
  const auto array = object.AddArrayMember(name);
  for (const CoreString& text : texts) array->InsertString(-1, text.c_str());
}

void PrintLibraryInfoAsJson() {
  const auto object = tovkit::Json::Parse("{}", 2, nullptr);
  object->SetMemberString("version", tovkit::GetLibraryVersion());
  object->SetMemberString("executableDirectory", tovkit::GetExecutableDirectory().c_str());
  object->SetMemberString("libtovkitDirectory", tovkit::GetModuleDirectory("libtovkit.so").c_str());
  object->SetMemberString("libtovmxDirectory", tovkit::GetModuleDirectory("libtovmx.so").c_str());
  object->SetMemberString("localText", CoreTextCodec::LocalCodeset());
  object->SetMemberString("vectorLevel", base::SimdLevelName(base::ChosenSimdLevel()));
  AddTexts(*object, "imageCodecs", CoreCodecRegistry::Get().DescribeBackends());
  AddTexts(*object, "fonts", CoreFontLoader::DescribeBackends());
  PrintJsonMembers(object);
}

}  // namespace

void AddInfoCommand(CLI::App& app) {
  const auto json = std::make_shared<bool>(false);
  CLI::App* const command =
      app.add_subcommand("info", "Print the version, where the libraries are and what is behind them");
  command->add_flag("--json", *json, "Print an object instead of lines");
  command->callback([json] { *json ? PrintLibraryInfoAsJson() : PrintLibraryInfo(); });
}

}  // namespace cli
