// SPDX-License-Identifier: MIT
// Result lines are the log that a later run continues from, so ParseResultLine reads all that ToJsonLine
// writes.
#include "result.h"

#include "json_text.h"

#include <tovkit/json.h>
#include <tovkit/util.h>

#include <cstdio>

namespace jobs {

namespace {

constexpr const char* kStates[] = {"done", "failed", "quarantined", "skipped"};
constexpr const char* kKinds[] = {"", "input", "limit", "output", "deadline", "crash"};

// The value whose name this is; nothing when it is none.
template <typename Enum, std::size_t count>
std::optional<Enum> FindName(const char* const (&names)[count], const std::string& name) {
  for (std::size_t i = 0; i < count; ++i) {
    if (name == names[i]) return static_cast<Enum>(i);
  }
  return std::nullopt;
}

void AppendName(std::string& json, const char* name) {
  json += json.size() == 1 ? "\"" : ",\"";
  json += name;
  json += "\":";
}

void AppendText(std::string& json, const char* name, const std::string& text) {
  if (text.empty()) return;
  AppendName(json, name);
  AppendJsonString(json, text);
}

void AppendBase64(std::string& json, const std::string& bytes) {
  AppendName(json, "outputBase64");
  const CoreString text = tovkit::Base64Encode(reinterpret_cast<const unsigned char*>(bytes.data()),
                                               static_cast<int>(bytes.size()));
  json += '"';
  json.append(text.c_str(), static_cast<std::size_t>(text.GetLength()));
  json += '"';
}

void AppendSeconds(std::string& json, double seconds) {
  char text[40];
  std::snprintf(text, sizeof text, "%.6f", seconds);
  AppendName(json, "seconds");
  json += text;
}

}  // namespace

const char* NameOf(JobState state) { return kStates[static_cast<int>(state)]; }
const char* NameOf(FailureKind kind) { return kKinds[static_cast<int>(kind)]; }

JobResult FailedResult(const Error& error) {
  JobResult result;
  result.state = JobState::kFailed;
  switch (error.kind()) {
    case ErrorKind::kInput:
      result.kind = FailureKind::kInput;
      break;
    case ErrorKind::kLimit:
      result.kind = FailureKind::kLimit;
      break;
    case ErrorKind::kOutput:
      result.kind = FailureKind::kOutput;
  }
  result.message = error.what();
  result.excerpt = error.excerpt();
  result.place = error.jsonPlace();
  return result;
}

std::string ToJsonLine(const JobResult& result) {
  std::string json = "{";
  AppendName(json, "id");
  AppendJsonString(json, result.id);
  AppendText(json, "state", NameOf(result.state));
  AppendText(json, "output", result.output);
  if (!result.output.empty()) {
    AppendName(json, "bytes");
    json += std::to_string(result.bytes);
  }
  AppendText(json, "jobSha256", result.jobHash);
  AppendText(json, "outputSha256", result.outputHash);
  if (result.content) AppendBase64(json, *result.content);
  if (result.hits) {
    AppendName(json, "hits");
    json += '[';
    for (const bool hit : *result.hits) {
      if (json.back() != '[') json += ',';
      json += hit ? "true" : "false";
    }
    json += ']';
  }
  AppendSeconds(json, result.seconds);
  AppendName(json, "attempts");
  json += std::to_string(result.attempts);
  AppendName(json, "worker");
  json += std::to_string(result.worker);
  AppendText(json, "kind", NameOf(result.kind));
  AppendText(json, "message", result.message);
  if (!result.warnings.empty()) {
    AppendName(json, "warnings");
    json += '[';
    for (const std::string& warning : result.warnings) {
      if (json.back() != '[') json += ',';
      AppendJsonString(json, warning);
    }
    json += ']';
  }
  return json + "}\n";
}

std::optional<JobResult> ParseResultLine(std::string_view line) {
  if (line.empty() || tovkit::Json::Diagnose(line.data(), line.size()).code != tovkit::kJsonAccepted) {
    return std::nullopt;
  }
  const auto json = tovkit::Json::Parse(line.data(), static_cast<unsigned int>(line.size()), nullptr);
  const auto state = FindName<JobState>(kStates, json->GetMemberString("state", ""));
  const auto kind = FindName<FailureKind>(kKinds, json->GetMemberString("kind", ""));
  if (!json->HasMember("id") || !state || !kind) return std::nullopt;
  JobResult result;
  const auto text = [&json](const char* name) { return FromJsonString(json->GetMemberString(name, "")); };
  result.id = text("id");
  result.state = *state;
  result.output = text("output");
  result.bytes = json->GetMemberUint64("bytes", 0);
  result.jobHash = json->GetMemberString("jobSha256", "");
  result.outputHash = json->GetMemberString("outputSha256", "");
  if (json->HasMember("outputBase64")) {
    const CoreString bytes = tovkit::Base64Decode(json->GetMemberString("outputBase64", ""), -1);
    result.content.emplace(bytes.c_str(), static_cast<std::size_t>(bytes.GetLength()));
  }
  result.seconds = json->GetMemberDouble("seconds", 0);
  result.attempts = json->GetMemberInt("attempts", 1);
  result.worker = json->GetMemberInt("worker", 0);
  result.kind = *kind;
  result.message = text("message");
  if (const auto warnings = json->GetMember("warnings")) {
    for (std::uint32_t i = 0; i < warnings->Size(); ++i)
      result.warnings.push_back(FromJsonString(warnings->GetAtString(i, "")));
  }
  if (const auto hits = json->GetMember("hits")) {
    result.hits.emplace();
    for (std::uint32_t i = 0; i < hits->Size(); ++i) result.hits->push_back(hits->GetAtBool(i, false));
  }
  return result;
}

}  // namespace jobs
