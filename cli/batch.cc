// SPDX-License-Identifier: MIT
// Opens what a batch needs, the cheapest first, so that what is missing is told early. Turns the end of the
// run into an exit status.
#include "batch.h"

#include "batch_sink.h"
#include "error.h"
#include "failure.h"
#include "input_file.h"
#include "job_file.h"
#include "stopping.h"

#include "jobs/folder.h"
#include "jobs/id_index.h"
#include "jobs/output_format.h"
#include "jobs/results_file.h"
#include "jobs/selected_source.h"

#include <fcntl.h>
#include <strings.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <memory>
#include <optional>
#include <system_error>

namespace cli {

namespace {

constexpr std::size_t kLongestTemplate = 16u << 20;

void MakeFolder(const jobs::RunnerOptions& runner) {
  // Where that fails, the jobs that need the folder do.
  std::error_code ignored;
  std::filesystem::create_directories(runner.directory, ignored);
}

std::optional<jobs::Shard> ChooseShard(const std::string& text) {
  if (text.empty()) return std::nullopt;
  try {
    std::string note;
    const jobs::Shard shard = jobs::ParseShard(
        text, [](const char* name) { return std::getenv(name); }, &note);
    std::fprintf(stderr, "tovkit: shard %ju/%ju%s\n", static_cast<std::uintmax_t>(shard.index),
                 static_cast<std::uintmax_t>(shard.count), note.empty() ? "" : ("; " + note).c_str());
    return shard;
  } catch (const jobs::ShardError& e) {
    throw UsageError(std::string("--shard: ") + e.what());
  }
}

// What the batch reads and writes may lie in the folder of outputs.
void Keep(int fd, const char* why, std::vector<jobs::KeptFile>& kept) {
  struct stat status = {};
  if (fstat(fd, &status) == 0 && S_ISREG(status.st_mode)) kept.push_back({status.st_dev, status.st_ino, why});
}

void KeepInputs(const BatchOptions& options, int jobs, std::vector<jobs::KeptFile>& kept) {
  std::vector<std::string> names = options.executor.runner.fonts;
  if (!options.templateFile.empty()) names.push_back(options.templateFile);
  constexpr char kRead[] = "the batch reads this file";
  Keep(jobs, kRead, kept);
  for (const std::string& name : names) {
    const jobs::OpenDescriptor file(open(name.c_str(), O_PATH | O_CLOEXEC));
    Keep(file.get(), kRead, kept);
  }
}

void CheckResultsName(const BatchOptions& options, const std::string& jobs, const std::string& results) {
  if (IsSameFile(jobs == "-" ? "/dev/stdin" : jobs, results)) {
    throw UsageError("--results: " + results + " holds the jobs");
  }
  std::vector<std::string> others = options.executor.runner.fonts;
  others.push_back(options.templateFile);
  for (const std::string& other : others) {
    if (IsSameFile(other, results)) throw UsageError("--results: the batch reads " + results);
  }
}

std::string ResultsName(std::string name, const jobs::Shard& shard) {
  constexpr std::string_view kPlace = "{shard}";
  const std::string number = std::to_string(shard.index);
  for (std::size_t at = 0; (at = name.find(kPlace, at)) != std::string::npos; at += number.size()) {
    name.replace(at, kPlace.size(), number);
  }
  return name;
}

jobs::FileSource::Format FormatOf(const std::string& dataFile) {
  const std::string extension = jobs::ExtensionOf(dataFile);
  return strcasecmp(extension.c_str(), "csv") == 0 ? jobs::FileSource::Format::kCsv
                                                   : jobs::FileSource::Format::kJsonLines;
}

void TellEnd(const BatchSink& sink, bool finished, bool interrupted) {
  if (interrupted && !finished) throw CommandError("interrupted with jobs left to do", kInterrupted);
  if (sink.failed() == 0) return;
  if (const auto& result = sink.firstMisread()) PrintMessage(result->message, *result->excerpt);
  const std::string left = sink.left() == 0 ? "" : ", " + std::to_string(sink.left()) + " were not begun";
  throw CommandError(std::to_string(sink.failed()) + " of " + std::to_string(sink.total()) + " jobs failed" +
                     left);
}

// Gives what is left of the source a result too; of a pipe, what has come by now. A job that is done from
// before keeps that result.
void SkipTheRest(jobs::JobSource& source, BatchSink& sink, const jobs::StopRequest& stop) {
  while (stop.level() != jobs::StopRequest::kNow && source.IsReady()) {
    std::optional<jobs::QueuedJob> job = source.Next();
    if (!job) break;
    if (job->refused) {
      job->refused->id = job->id;
      sink.Take(*job->refused);
    } else if (!job->earlier) {
      sink.TakeLeft(*job);
    }
  }
  sink.Pause();
}

}  // namespace

void RunBatch(BatchOptions options) {
  if (options.results.empty() && fcntl(STDOUT_FILENO, F_GETFD) < 0) {
    throw CommandError("cannot write standard output");
  }
  // Where one of them is closed, the next file opened would take its place, and what is printed would go
  // there.
  for (const int standard : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    if (fcntl(standard, F_GETFD) < 0) open("/dev/null", standard == STDIN_FILENO ? O_WRONLY : O_RDWR);
  }
  const jobs::Shard shard = ChooseShard(options.shard).value_or(jobs::Shard());
  jobs::RunnerOptions& runner = options.executor.runner;
  MakeFolder(runner);
  if (!options.templateFile.empty()) {
    runner.jobTemplate = JobInput(options.templateFile).ReadAll(kLongestTemplate, "the template is too long");
    jobs::ParseJobLine(runner.jobTemplate, InputName(options.templateFile));
  }
  const std::string& file = options.templateFile.empty() ? options.files.front() : options.dataFile;
  const JobFile source = OpenJobFile(file);
  jobs::FileSource lines(
      source.fd, source.name, runner.jobTemplate,
      options.templateFile.empty() ? jobs::FileSource::Format::kJsonLines : FormatOf(file));
  std::unique_ptr<jobs::ResultsFile> results;
  jobs::IdIndex index;
  if (!options.results.empty()) {
    const std::string name = ResultsName(options.results, shard);
    CheckResultsName(options, file, name);
    results = std::make_unique<jobs::ResultsFile>(name);
    if (options.resume) results->ReadInto(index);
  }
  KeepInputs(options, source.fd, runner.kept);
  Keep(results ? results->descriptor() : STDOUT_FILENO, "the batch writes its results there", runner.kept);
  jobs::SelectedSource selected(lines, shard, index, runner.directory, options.resume && results->stood());
  jobs::StopRequest stop;
  const Stopping stopping(stop);
  BatchProgress progress(options.progress, source.size, [&lines] { return lines.offset(); });
  bool givenUp = false;
  BatchSink sink(results.get(), progress, stop, {source.name, InputName(options.templateFile)}, [&] {
    if (!options.failFast || stop.level() != jobs::StopRequest::kNone) return;
    givenUp = true;
    stop.GiveUp();
  });
  bool finished = false;
  try {
    finished = jobs::Executor(options.executor).Run(selected, sink, stop);
  } catch (const jobs::Error&) {
    // As of a source that breaks off: what was done before is told.
    sink.Finish();
    throw;
  }
  if (givenUp && !finished) SkipTheRest(selected, sink, stop);
  sink.Finish();
  progress.End();
  const bool killed = stop.level() == jobs::StopRequest::kNow;
  const bool hasMore = killed || !selected.IsReady() || selected.Next();
  TellEnd(sink, finished || !hasMore, killed || (stop.raised() && !givenUp));
}

void MergeBatches(const BatchOptions& options) {
  std::unique_ptr<jobs::ResultsFile> results;
  for (const std::string& file : options.files) {
    if (!options.results.empty() && IsSameFile(file, options.results)) {
      throw UsageError("--results: " + options.results + " is one of the files to merge");
    }
  }
  if (!options.results.empty()) results = std::make_unique<jobs::ResultsFile>(options.results);
  jobs::MergeResults(options.files, [&results](const std::string& line) {
    results != nullptr ? results->Append(line) : WriteToStandardOutput(line);
  });
}

}  // namespace cli
