// SPDX-License-Identifier: MIT
// tovkit doctor: is everything there that the other subcommands need, and if not, what to do.
#include "command.h"
#include "doctor/finding.h"
#include "jobs/json_text.h"

#include <tovkit/json.h>
#include <tovkit/util.h>

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <iterator>
#include <memory>
#include <string>

namespace cli {

namespace {

const char* NameOf(Finding::State state) {
  return state == Finding::kOk ? "ok" : state == Finding::kWarning ? "warning" : "failed";
}

Findings ExamineEverything() {
  Findings all;
  for (Findings (*examine)() : {ExamineFonts, ExamineCodecs, ExamineText, ExamineMachine, ExamineVersions}) {
    Findings some = examine();
    std::move(some.begin(), some.end(), std::back_inserter(all));
  }
  return all;
}

bool HasFailed(const Findings& findings) {
  return std::any_of(findings.begin(), findings.end(),
                     [](const Finding& finding) { return finding.state == Finding::kFailed; });
}

void PrintTable(const Findings& findings) {
  const char* const noColor = std::getenv("NO_COLOR");
  const bool isColored = isatty(STDOUT_FILENO) == 1 && (noColor == nullptr || *noColor == '\0');
  for (const Finding& finding : findings) {
    const char* color = finding.state == Finding::kFailed ? "\033[31m" : "\033[33m";
    if (!isColored || finding.state == Finding::kOk) color = "";
    std::printf("%s%-7s%s  %-20s  %s\n", color, NameOf(finding.state), *color == '\0' ? "" : "\033[0m",
                finding.check.c_str(), finding.text.c_str());
    if (!finding.advice.empty()) std::printf("%-7s  %-20s  -> %s\n", "", "", finding.advice.c_str());
  }
}

void PrintJson(const Findings& findings) {
  const auto report = tovkit::Json::Parse(nullptr, 0, nullptr);
  report->SetMemberBool("ok", !HasFailed(findings));
  const auto list = report->AddArrayMember("findings");
  for (const Finding& finding : findings) {
    const auto entry = list->InsertObject(-1);
    entry->SetMemberString("check", jobs::ValidUtf8(finding.check).c_str());
    entry->SetMemberString("state", NameOf(finding.state));
    entry->SetMemberString("text", jobs::ValidUtf8(finding.text).c_str());
    if (!finding.advice.empty()) entry->SetMemberString("advice", jobs::ValidUtf8(finding.advice).c_str());
  }
  std::puts(report->ToString().c_str());
}

}  // namespace

void AddDoctorCommand(CLI::App& app) {
  const auto json = std::make_shared<bool>(false);
  CLI::App* const doctor = app.add_subcommand(
      "doctor", "Look whether fonts, codecs and the machine are as tovkit needs them, and say what to do");
  doctor->add_flag("--json", *json, "Print JSON");
  doctor->footer("The exit status is 1 when something failed; a warning is no failure.");
  doctor->callback([json] {
    const Findings findings = ExamineEverything();
    if (*json) {
      PrintJson(findings);
    } else {
      PrintTable(findings);
    }
    if (HasFailed(findings)) throw ExitStatus{1};
  });
}

}  // namespace cli
