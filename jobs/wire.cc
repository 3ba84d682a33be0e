// SPDX-License-Identifier: MIT
// Both ends are one build on one machine, so numbers travel as they lie in memory:
//
//     frame   | size, 8 bytes | message |          text   | size, 8 bytes | bytes |
//
// The executor still does not trust a worker: every size in a message is checked against the bytes that came.
#include "wire.h"

#include <utility>

namespace jobs {

namespace {

constexpr std::uint64_t kLargestFrame = std::uint64_t{1} << 32;

}  // namespace

void WireWriter::Put(const WorkerSettings& settings) {
  const RunnerOptions& runner = settings.runner;
  Put(runner.directory);
  Put(runner.input);
  Put(runner.jobTemplate);
  Put(runner.report);
  Put(runner.namesNoFiles);
  Put(runner.pixelLimit);
  Put(static_cast<std::uint64_t>(runner.fonts.size()));
  for (const std::string& font : runner.fonts) Put(font);
  Put(runner.inlineLimit);
  Put(static_cast<std::uint64_t>(runner.kept.size()));
  for (const KeptFile& file : runner.kept) {
    Put(file.device);
    Put(file.inode);
    Put(file.why);
  }
  Put(settings.memory);
  Put(settings.parent);
}

WorkerSettings WireReader::TakeSettings() {
  WorkerSettings settings;
  settings.runner.directory = TakeText();
  settings.runner.input = TakeText();
  settings.runner.jobTemplate = TakeText();
  settings.runner.report = Take<bool>();
  settings.runner.namesNoFiles = Take<bool>();
  settings.runner.pixelLimit = Take<std::uint64_t>();
  for (auto count = Take<std::uint64_t>(); count != 0; --count)
    settings.runner.fonts.emplace_back(TakeText());
  settings.runner.inlineLimit = Take<std::uint64_t>();
  for (auto count = Take<std::uint64_t>(); count != 0; --count) {
    KeptFile file;
    file.device = Take<std::uint64_t>();
    file.inode = Take<std::uint64_t>();
    file.why = TakeText();
    settings.runner.kept.push_back(std::move(file));
  }
  settings.memory = Take<std::uint64_t>();
  settings.parent = Take<std::int64_t>();
  return settings;
}

// Id, attempts and worker are not sent: the executor knows them.
void WireWriter::Put(const JobResult& result) {
  Put(result.state);
  Put(result.kind);
  Put(result.output);
  Put(result.bytes);
  Put(result.jobHash);
  Put(result.outputHash);
  Put(result.content.has_value());
  if (result.content) Put(*result.content);
  Put(result.seconds);
  Put(result.message);
  Put(result.excerpt.has_value());
  if (result.excerpt) {
    Put(result.excerpt->line);
    Put(static_cast<std::uint64_t>(result.excerpt->at));
  }
  Put(static_cast<std::uint64_t>(result.warnings.size()));
  for (const std::string& warning : result.warnings) Put(warning);
  Put(result.mediaType);
  Put(result.place.has_value());
  if (result.place) {
    Put(static_cast<std::uint64_t>(result.place->line));
    Put(static_cast<std::uint64_t>(result.place->column));
    Put(result.place->pointer);
  }
  Put(result.hits.has_value());
  if (!result.hits) return;
  std::string hits;
  for (const bool hit : *result.hits) hits += hit ? '1' : '0';
  Put(hits);
}

JobResult WireReader::TakeResult() {
  JobResult result;
  result.state = Take<JobState>();
  result.kind = Take<FailureKind>();
  if (result.state > JobState::kSkipped || result.kind > FailureKind::kCrash)
    throw BrokenMessage("no such state of a job");
  result.output = TakeText();
  result.bytes = Take<std::uint64_t>();
  result.jobHash = TakeText();
  result.outputHash = TakeText();
  if (Take<bool>()) result.content = TakeText();
  result.seconds = Take<double>();
  result.message = TakeText();
  if (Take<bool>()) {
    result.excerpt.emplace().line = TakeText();
    const auto at = Take<std::uint64_t>();
    if (at > result.excerpt->line.size()) throw BrokenMessage("a place outside its line");
    result.excerpt->at = at;
  }
  for (auto count = Take<std::uint64_t>(); count != 0; --count) result.warnings.emplace_back(TakeText());
  result.mediaType = TakeText();
  if (Take<bool>()) {
    const auto line = Take<std::uint64_t>();
    const auto column = Take<std::uint64_t>();
    result.place = JsonPlace{line, column, std::string(TakeText())};
  }
  if (Take<bool>()) {
    result.hits.emplace();
    for (const char hit : TakeText()) result.hits->push_back(hit == '1');
  }
  return result;
}

std::string WireWriter::TakeFrame() {
  const auto size = static_cast<std::uint64_t>(bytes_.size());
  std::string frame(reinterpret_cast<const char*>(&size), sizeof size);
  frame += bytes_;
  bytes_.clear();
  return frame;
}

std::string_view WireReader::TakeBytes(std::uint64_t count) {
  if (count > bytes_.size()) throw BrokenMessage("the message is cut");
  const std::string_view taken = bytes_.substr(0, count);
  bytes_.remove_prefix(count);
  return taken;
}

void FrameBuffer::Append(const char* bytes, std::size_t size) {
  if (at_ == bytes_.size()) {
    bytes_.clear();
    at_ = 0;
  } else if (at_ > 65536) {
    bytes_.erase(0, at_);
    at_ = 0;
  }
  bytes_.append(bytes, size);
}

bool FrameBuffer::Next(std::string_view& message) {
  std::uint64_t size = 0;
  if (bytes_.size() - at_ < sizeof size) return false;
  std::memcpy(&size, bytes_.data() + at_, sizeof size);
  if (size > kLargestFrame) throw BrokenMessage("a frame of impossible size");
  if (bytes_.size() - at_ - sizeof size < size) return false;
  message = std::string_view(bytes_).substr(at_ + sizeof size, size);
  at_ += sizeof size + size;
  return true;
}

}  // namespace jobs
