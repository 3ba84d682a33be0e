// SPDX-License-Identifier: MIT
// JobSource: where jobs come from, one at a time.
#pragma once

#include "csv_reader.h"
#include "line_reader.h"
#include "result.h"

#include <tovkit/json.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

namespace jobs {

struct QueuedJob {
  std::uint64_t line = 0;                               // where it stands
  std::string id;                                       // "line N" for a job without one
  std::string text;                                     // JSON: the job, or what fills the template
  std::optional<JobResult> refused = std::nullopt;      // why the line is no job
  std::optional<EarlierResult> earlier = std::nullopt;  // which may make the job unnecessary
  std::string out = {};                                 // the name of its output, empty for none
  // Whether its output may stand although no result tells of it: that of a run that was killed.
  bool mayStand = false;
  // What a job that names no file works on: JSON or a picture.
  std::string input = {};
  // Until when somebody waits for it, if that is longer than its time limit; may be put off while it runs.
  std::shared_ptr<const std::atomic<std::chrono::steady_clock::time_point>> awaited = nullptr;
};

// The id of a job that has none. No job has it for another reason.
[[nodiscard]] std::string LineName(std::uint64_t line);

// Throws Error with the place for a text that may not be the id of a job: an empty one, no UTF-8, or the name
// of a job without an id.
void CheckId(const std::string& id, const std::string& place);

class JobSource {
 public:
  JobSource() = default;
  virtual ~JobSource() = default;
  JobSource(const JobSource&) = delete;
  JobSource& operator=(const JobSource&) = delete;

  // The next job; nothing at the end. Throws Error when it cannot be read.
  [[nodiscard]] virtual std::optional<QueuedJob> Next() = 0;

  // Whether Next can answer at once. If not, the descriptor can be polled until it can be read.
  virtual bool IsReady() { return true; }
  virtual int descriptor() const { return -1; }
};

// The jobs of a file of JSON Lines, each a job or, with a template, the data that fills it. Data may be CSV
// too. Blank lines are skipped.
class FileSource final : public JobSource {
 public:
  enum class Format { kJsonLines, kCsv };

  // The descriptor stays the caller's. The template is empty or the JSON of a job. Throws Error for a
  // template that is no job or a CSV file without names.
  FileSource(int fd, std::string name, const std::string& jobTemplate, Format format);

  [[nodiscard]] std::optional<QueuedJob> Next() override;
  bool IsReady() override;
  int descriptor() const override { return lines_.descriptor(); }

  // Bytes read so far.
  std::uint64_t offset() const { return lines_.offset(); }

 private:
  [[nodiscard]] bool NextText(QueuedJob& job);
  void ReadNames(QueuedJob& job) const;
  std::optional<std::string> TextMember(const char* name, const tovkit::JsonValue& object,
                                        const std::string& place) const;

  LineReader lines_;
  std::optional<CsvReader> csv_;
  tovkit::SharedPtr<tovkit::JsonValue> template_;
};

}  // namespace jobs
