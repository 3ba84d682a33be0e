// SPDX-License-Identifier: MIT
// JobRunner: runs jobs that lines of JSON describe, one after the other, in this process.
//
//   JobRunner runner({.directory = "out"});
//   const JobResult result = runner.Run(R"({"id": "1", "draw": {"Content": "Hi"}, "out": "1.png"})");
//
// The object: "id", a string; one member that names the kind, and those that go with it:
//
//   draw    lines as for DrawJob; size, dpi, background, over, format, effort
//   image   name of a picture; frame, steps, quality, format, effort
//   hit     an object: path (text) or file, element, points, tolerance, fill
//
// and "out", the output's name, for draw and image. Any other member is an error. share/tovkit has the
// schema.
#pragma once

#include "folder.h"
#include "job_kind.h"
#include "result.h"

#include <tovkit/json.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace jobs {

struct RunnerOptions {
  std::string directory = ".";          // outputs go below it
  std::string input = {};               // input files are below it; empty for none
  std::vector<std::string> fonts = {};  // font files to draw with, beside the installed ones
  std::string jobTemplate = {};  // JSON of a job with places, which the lines then fill; empty for none
  bool report = false;           // whether results carry warnings
  // The jobs are of InlineKinds: they bring their input and take their answer with them.
  bool namesNoFiles = false;
  std::uint64_t pixelLimit = 0;     // bytes, as CoreCodecRegistry's; 0 leaves that alone
  std::vector<KeptFile> kept = {};  // that no output may replace
  // When not 0, an output is part of its result and no file, and at most so many bytes long.
  std::uint64_t inlineLimit = 0;
};

// Is told how far a job is, for whoever has to know that when the process ends in the middle of it.
class RunWatcher {
 public:
  RunWatcher() = default;
  virtual ~RunWatcher() = default;
  RunWatcher(const RunWatcher&) = delete;
  RunWatcher& operator=(const RunWatcher&) = delete;

  virtual void Hashed(const std::string& /*jobHash*/) {}
  // From now on the output may stand.
  virtual void Writing() {}
};

class JobRunner {
 public:
  // Throws Error when a file of the options cannot be used; a folder that cannot fails the jobs that need it.
  explicit JobRunner(const RunnerOptions& options, std::vector<JobKind> kinds = StandardKinds());

  // Runs the job of one line, in template mode the job that the line fills. Every failure of the job is a
  // result. It is skipped when the earlier result was of the same job and its output is still there. Id,
  // attempts and worker of the result are left alone. `input` is that of a job that names no file.
  [[nodiscard]] JobResult Run(std::string_view line,
                              const std::optional<EarlierResult>& earlier = std::nullopt,
                              std::string_view input = {});

  // Tells the watcher, which must live as long as this, of the jobs to come.
  void Watch(RunWatcher* watcher) { watcher_ = watcher; }

 private:
  void RunJob(std::string_view line, const std::optional<EarlierResult>& earlier, std::string_view input,
              JobResult& result);
  bool IsThere(const EarlierResult& earlier, const JobResult& result) const;

  Folder directory_;
  std::optional<Folder> input_;
  std::vector<JobKind> kinds_;
  std::string templateText_;
  tovkit::SharedPtr<tovkit::JsonValue> template_;
  bool report_;
  bool namesNoFiles_;
  std::uint64_t inlineLimit_;
  RunWatcher* watcher_ = nullptr;
};

// The object on a line. Throws Error naming `place` when it is no JSON object.
// What messages of a runner, which knows no file, call the job's line and the template.
inline constexpr const char* kJobName = "job";
inline constexpr const char* kTemplateName = "template";

// The object of a line, or of a template. Throws Error with the place, NAME:LINE:COLUMN, for anything else;
// `number` is that of the text's first line.
tovkit::SharedPtr<tovkit::JsonValue> ParseJobLine(std::string_view line, const std::string& name,
                                                  std::uint64_t number = 1);

}  // namespace jobs
