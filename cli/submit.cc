// SPDX-License-Identifier: MIT
// What a batch does with the results of its own workers is done here with those that others have sent.
#include "submit.h"

#include "batch.h"
#include "batch_sink.h"
#include "error.h"
#include "failure.h"
#include "input_file.h"
#include "job_file.h"
#include "stopping.h"

#include "jobs/folder.h"
#include "jobs/results_file.h"
#include "jobs/selected_source.h"
#include "jobs/sha256.h"

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <system_error>
#include <utility>

namespace cli {

namespace {

// Puts outputs that are part of results into files, as the workers of a batch do, and counts.
class OutputSink final : public jobs::ResultSink {
 public:
  OutputSink(BatchSink& sink, const std::string& directory) : sink_(sink) {
    if (directory.empty()) return;
    std::error_code ignored;
    std::filesystem::create_directories(directory, ignored);
    folder_.emplace(directory, jobs::ErrorKind::kOutput);
    folder_->Check();
  }

  void Notice(const jobs::JobResult& result) override { sink_.Notice(result); }
  void Take(const jobs::JobResult& taken) override {
    ++ended_;
    if (!folder_ || !taken.content) return sink_.Take(taken);
    jobs::JobResult result = taken;
    const std::string bytes = *std::exchange(result.content, std::nullopt);
    try {
      if (jobs::Sha256(bytes) != result.outputHash) {
        throw jobs::Error(jobs::ErrorKind::kOutput, result.output,
                          "the bytes in the result are not the output's");
      }
      folder_->WriteFile(result.output, bytes);
    } catch (const jobs::Error& error) {
      jobs::JobResult failed = jobs::FailedResult(error);
      failed.id = result.id;
      failed.jobHash = result.jobHash;
      result = std::move(failed);
    }
    sink_.Take(result);
  }
  void Pause() override { sink_.Pause(); }

  std::uint64_t ended() const { return ended_; }

 private:
  BatchSink& sink_;
  std::optional<jobs::Folder> folder_;
  std::uint64_t ended_ = 0;
};

// Tells the submission of every job in the file, for what an earlier run has sent.
void ExpectAll(const SubmitCommand& command, queue::Submission& submission) {
  const JobFile file = OpenJobFile(command.file);
  if (file.size == 0) return;
  jobs::FileSource lines(file.fd, file.name, "", jobs::FileSource::Format::kJsonLines);
  while (const auto job = lines.Next()) {
    if (!job->refused) submission.Expect(job->id, queue::HashOfJob(job->text));
  }
}

void TellEnd(const BatchSink& sink, const queue::Submission& submission, bool complete, bool stopped) {
  if (!complete) {
    throw CommandError((stopped ? "interrupted with jobs left to do" : "no result has come for a long time") +
                           std::string("; ") + std::to_string(submission.outstanding()) + " of " +
                           std::to_string(submission.sent()) + " that were sent have no result",
                       kInterrupted);
  }
  if (sink.failed() == 0) return;
  if (const auto& result = sink.firstMisread()) PrintMessage(result->message, *result->excerpt);
  throw CommandError(std::to_string(sink.failed()) + " of " + std::to_string(sink.total()) + " jobs failed");
}

// How much of the file is done, in bytes: that part of what was read of whose jobs there are results.
std::uint64_t BytesDone(std::uint64_t read, std::uint64_t sent, std::uint64_t ended) {
  const double all = static_cast<double>(std::max<std::uint64_t>(sent, 1));
  return static_cast<std::uint64_t>(static_cast<double>(read) *
                                    std::min(1.0, static_cast<double>(ended) / all));
}

}  // namespace

void RunSubmit(const SubmitCommand& command) {
  const JobFile file = OpenJobFile(command.file);
  jobs::FileSource lines(file.fd, file.name, "", jobs::FileSource::Format::kJsonLines);
  std::unique_ptr<jobs::ResultsFile> results;
  jobs::IdIndex index;
  if (!command.results.empty()) {
    if (IsSameFile(command.file == "-" ? "/dev/stdin" : command.file, command.results)) {
      throw UsageError("--results: " + command.results + " holds the jobs");
    }
    results = std::make_unique<jobs::ResultsFile>(command.results);
    if (command.resume) results->ReadInto(index);
  }
  // Where outputs are on other machines, two jobs of one output are found by its name alone.
  jobs::SelectedSource selected(lines, jobs::Shard(), index, command.directory, command.resume);
  jobs::StopRequest stop;
  const Stopping stopping(stop, Stopping::kEnd);
  const OutputSink* outputs = nullptr;
  const queue::Submission* sending = nullptr;
  BatchProgress progress(command.progress, file.size, [&] {
    return BytesDone(lines.offset(), outputs->ended() + sending->outstanding(), outputs->ended());
  });
  BatchSink sink(results.get(), progress, stop, {file.name, ""}, [] {});
  OutputSink outputSink(sink, command.directory);
  outputs = &outputSink;
  queue::Submission submission(command.options, outputSink, stop,
                               [](const std::string& text) { PrintMessage(text); });
  sending = &submission;
  if (command.resume) ExpectAll(command, submission);
  bool complete = false;
  try {
    complete = submission.Run(selected);
  } catch (...) {
    // What has come is told.
    sink.Finish();
    throw;
  }
  sink.Finish();
  progress.End();
  if (command.options.resultQueue.empty() && complete) {
    PrintMessage(std::to_string(submission.sent()) + " jobs are in '" + command.options.jobQueue + "'");
  }
  TellEnd(sink, submission, complete, stop.raised());
}

}  // namespace cli
