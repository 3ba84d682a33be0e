// SPDX-License-Identifier: MIT
// The job is drawn into memory and written when it is whole. So its hash needs no second reading, and a
// worker that dies while it draws leaves no file.
#include "job_runner.h"

#include "error.h"
#include "excerpt.h"
#include "input.h"
#include "json_reader.h"
#include "json_scan.h"
#include "json_source.h"
#include "places.h"
#include "sha256.h"
#include "text_review.h"

#include <tovmx/codec.h>
#include <tovmx/font.h>

#include <chrono>
#include <exception>
#include <new>
#include <utility>

namespace jobs {

namespace {

using tovkit::JsonValue;
using tovkit::SharedPtr;

constexpr std::size_t kMostWarnings = 100;  // of a job

// Adds what a report tells to the warnings of a result.
class WarningCollector final : public Observer {
 public:
  explicit WarningCollector(std::vector<std::string>& warnings) : warnings_(warnings), review_(Settings()) {}

  void Warn(const std::string& text) override {
    if (warnings_.size() < kMostWarnings)
      warnings_.push_back(text);
    else if (warnings_.size() == kMostWarnings)
      warnings_.emplace_back("more warnings are left out");
  }
  // Tells fonts that a description does not name as well, which the review does not.
  void FontSubstituted(const std::string& wanted, const std::string& actual) override {
    Warn("font: " + wanted + " -> " + actual);
  }
  void LineMeasured(const MeasuredLine& line, const std::optional<CoreSizeF>& page) override {
    if (warnings_.size() <= kMostWarnings) review_.Look(line, page);
  }

 private:
  TextReview::Settings Settings() {
    TextReview::Settings settings;
    settings.limit = kMostWarnings;
    settings.tell = [this](Finding finding, const std::string& pointer, const std::string& text) {
      if (finding != Finding::kFonts) Warn("draw" + pointer + ": " + text);
    };
    return settings;
  }

  std::vector<std::string>& warnings_;
  TextReview review_;
};

void RegisterFonts(const std::vector<std::string>& files) {
  for (const std::string& file : files) {
    CheckReadable(file);
    if (!CoreFontLoader::RegisterFontFile(file.c_str())) {
      throw Error(ErrorKind::kInput, file, "holds no font");
    }
  }
}

const JobKind& KindOf(const JsonValue& job, const std::vector<JobKind>& kinds) {
  std::string names;
  for (const JobKind& kind : kinds) {
    if (job.HasMember(kind.name)) return kind;
    names += std::string(names.empty() ? "" : ", ") + kind.name;
  }
  throw Error(ErrorKind::kInput, "job", "no kind of job; there are " + names);
}

std::string_view BytesOf(const CoreMemoryOutputStream& stream) {
  return {reinterpret_cast<const char*>(stream.GetData()), stream.GetSize()};
}

}  // namespace

SharedPtr<JsonValue> ParseJobLine(std::string_view line, const std::string& name, std::uint64_t number) {
  const auto place = [&](std::uint64_t inText, std::size_t column) {
    return name + ":" + std::to_string(number + inText - 1) + ":" + std::to_string(column);
  };
  if (line.empty()) throw Error(ErrorKind::kInput, name, "empty, where a JSON object is expected");
  const tovkit::JsonDiagnosis found = tovkit::Json::Diagnose(line.data(), line.size());
  if (found.code != tovkit::kJsonAccepted) {
    throw Error(ErrorKind::kInput, place(found.line, found.codePointColumn), found.message.c_str(),
                ExcerptAt(line, found.offset));
  }
  auto job = tovkit::Json::Parse(line.data(), static_cast<unsigned int>(line.size()), nullptr);
  if (job->GetType() != tovkit::JsonObject) {
    JsonSource source(name, line, "", job);
    const std::size_t offset = source.OffsetOf("");
    const TextPosition at = source.PositionOf(offset);
    throw Error(ErrorKind::kInput, place(at.line, at.column), "an object is expected",
                ExcerptAt(line, offset));
  }
  if (const std::size_t nul = FindNulInside(line); nul != std::string_view::npos) {
    const TextPosition at = JsonSource(name, line, "", job).PositionOf(nul);
    throw Error(ErrorKind::kInput, place(at.line, at.column), kNulInside, ExcerptAt(line, nul));
  }
  return job;
}

JobRunner::JobRunner(const RunnerOptions& options, std::vector<JobKind> kinds)
    : directory_(options.directory, ErrorKind::kOutput, options.kept),
      kinds_(std::move(kinds)),
      report_(options.report),
      namesNoFiles_(options.namesNoFiles),
      inlineLimit_(options.inlineLimit) {
  if (options.pixelLimit != 0) CoreCodecRegistry::Get().SetPixelLimit(options.pixelLimit);
  if (!options.input.empty()) input_.emplace(options.input, ErrorKind::kInput);
  if (!options.jobTemplate.empty()) {
    templateText_ = options.jobTemplate;
    template_ = ParseJobLine(templateText_, kTemplateName);
  }
  RegisterFonts(options.fonts);
}

JobResult JobRunner::Run(std::string_view line, const std::optional<EarlierResult>& earlier,
                         std::string_view input) {
  const auto start = std::chrono::steady_clock::now();
  JobResult result;
  const auto fail = [&result](const Error& error) {
    JobResult failed = FailedResult(error);
    failed.jobHash = result.jobHash;
    failed.warnings = std::move(result.warnings);
    result = std::move(failed);
  };
  try {
    RunJob(line, earlier, input, result);
  } catch (const Error& error) {
    fail(error);
  } catch (const std::bad_alloc&) {
    fail(Error(ErrorKind::kLimit, "job", "not enough memory"));
  } catch (const std::exception& error) {
    fail(Error(ErrorKind::kInput, "job", error.what()));
  }
  result.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  return result;
}

void JobRunner::RunJob(std::string_view line, const std::optional<EarlierResult>& earlier,
                       std::string_view input, JobResult& result) {
  SharedPtr<JsonValue> job = ParseJobLine(line, kJobName);
  if (template_) {
    const SharedPtr<JsonValue> data = std::exchange(job, template_->Clone());
    RefuseDoubleMembers(data, "data");
    FillPlaces(job, *data);
  }
  const CoreString text = job->ToString();
  result.jobHash = Sha256(text.c_str());
  if (watcher_ != nullptr) watcher_->Hashed(result.jobHash);
  const JobKind& kind = KindOf(*job, kinds_);
  Members members(job, "");
  members.TakeText("id");
  CoreMemoryOutputStream output;
  Observer indifferent;
  std::optional<WarningCollector> collector;
  if (report_) collector.emplace(result.warnings);
  JobBench bench{input_ ? &*input_ : nullptr,
                 report_ ? *collector : indifferent,
                 "",
                 output,
                 template_ ? std::string_view(templateText_) : line,
                 template_ ? kTemplateName : kJobName,
                 input};
  if (kind.hasOutput) {
    bench.out = members.NeedText("out");
    if (inlineLimit_ == 0) directory_.Check();
    directory_.CheckOutputName(bench.out);
  }
  result.output = bench.out;
  if (earlier && IsThere(*earlier, result)) {
    result.bytes = earlier->bytes;
    result.state = JobState::kSkipped;
    return;
  }
  kind.run(members, bench, result);
  if (namesNoFiles_) {
    result.content = BytesOf(output);
    result.bytes = result.content->size();
  }
  if (!kind.hasOutput) return;
  result.bytes = output.GetSize();
  result.outputHash = Sha256(BytesOf(output));
  if (inlineLimit_ != 0) {
    if (result.bytes > inlineLimit_) {
      throw Error(ErrorKind::kLimit, "out",
                  "the output has " + std::to_string(result.bytes) + " bytes, of which a result takes " +
                      std::to_string(inlineLimit_) + " at most");
    }
    result.content = BytesOf(output);
    return;
  }
  // Last, so that little can happen between a file that stands and its result.
  if (watcher_ != nullptr) watcher_->Writing();
  directory_.WriteFile(bench.out, BytesOf(output));
}

bool JobRunner::IsThere(const EarlierResult& earlier, const JobResult& result) const {
  if (result.jobHash.compare(0, earlier.jobHash.size(), earlier.jobHash) != 0) return false;
  return result.output.empty() || directory_.SizeOf(result.output) == static_cast<long long>(earlier.bytes);
}

std::vector<JobKind> StandardKinds() {
  return {{"draw", RunDrawKind, true}, {"image", RunImageKind, true}, {"hit", RunHitKind, false}};
}

}  // namespace jobs
