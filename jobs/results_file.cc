// SPDX-License-Identifier: MIT
// Lines are only ever appended, so a killed run can leave only the last line half. Merging reads the files
// twice, with the number of the line to keep in the index, so that results are never held in memory.
#include "results_file.h"

#include "error.h"
#include "line_reader.h"
#include "retried.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <optional>
#include <string_view>

namespace jobs {

namespace {

constexpr std::size_t kLongestResult = 256u << 20;

[[noreturn]] void Fail(ErrorKind kind, const std::string& path, const char* what) {
  throw Error(kind, path, std::string(what) + ": " + std::strerror(errno));
}

// The bytes up to the last line feed of a file.
off_t CompleteBytes(int fd, off_t size) {
  char piece[65536];
  for (off_t end = size; end > 0;) {
    const off_t from = std::max<off_t>(0, end - static_cast<off_t>(sizeof piece));
    const ssize_t length = pread(fd, piece, static_cast<std::size_t>(end - from), from);
    if (length <= 0) return size;
    if (const void* const feed = memrchr(piece, '\n', static_cast<std::size_t>(length))) {
      return from + (static_cast<const char*>(feed) - piece) + 1;
    }
    end = from;
  }
  return 0;
}

// Whether the bytes from there on are what a killed run can leave of a line: its beginning, or nothing but
// the zeros of a file system that lost them.
bool IsCutResult(int fd, off_t from) {
  constexpr std::string_view kBegin = "{\"id\":";
  char begin[kBegin.size()] = {};
  const ssize_t length = base::Retried([&] { return pread(fd, begin, sizeof begin, from); });
  if (length <= 0) return false;
  const std::string_view found(begin, static_cast<std::size_t>(length));
  return found == kBegin.substr(0, found.size()) || found.find_first_not_of('\0') == found.npos;
}

OpenDescriptor OpenToRead(const std::string& path) {
  OpenDescriptor file(base::Retried([&] { return open(path.c_str(), O_RDONLY | O_CLOEXEC); }));
  if (file.get() < 0) Fail(ErrorKind::kInput, path, "cannot open the file");
  return file;
}

// Shows each complete result of a file and its line to `see`.
template <typename See>
void ForEachResult(int fd, const std::string& path, const See& see) {
  LineReader lines(fd, path, kLongestResult);
  std::string line;
  for (;;) {
    const LineReader::Outcome outcome = lines.Next(line);
    if (outcome == LineReader::kEnd || !lines.complete()) return;
    const auto result = outcome == LineReader::kLine ? ParseResultLine(line) : std::nullopt;
    if (!result) {
      throw Error(ErrorKind::kInput, path + ":" + std::to_string(lines.number()), "no line of results");
    }
    see(*result, line);
  }
}

// What tells more of a job: that it is done, that it failed, or only that it was not begun.
std::uint64_t RankOf(JobState state) {
  if (state == JobState::kDone) return 2;
  return state == JobState::kSkipped ? 0 : 1;
}

}  // namespace

ResultsFile::ResultsFile(const std::string& path)
    : path_(path), stood_(access(path.c_str(), F_OK) == 0), file_(base::Retried([&] {
        return open(path.c_str(), O_RDWR | O_CREAT | O_APPEND | O_CLOEXEC, 0666);
      })) {
  if (file_.get() < 0) Fail(ErrorKind::kOutput, path, "cannot open the file");
  if (base::Retried([&] { return flock(file_.get(), LOCK_EX | LOCK_NB); }) != 0) {
    if (errno != EWOULDBLOCK) Fail(ErrorKind::kOutput, path, "cannot lock the file");
    throw Error(ErrorKind::kOutput, path, "another batch is writing its results there");
  }
  struct stat status = {};
  if (fstat(file_.get(), &status) != 0 || !S_ISREG(status.st_mode)) {
    throw Error(ErrorKind::kOutput, path, "no regular file");
  }
  const off_t complete = CompleteBytes(file_.get(), status.st_size);
  // A file that was named by mistake keeps what it has.
  if (complete != status.st_size && !IsCutResult(file_.get(), complete)) {
    throw Error(ErrorKind::kOutput, path, "no file of results: its last line is none");
  }
  if (complete != status.st_size && base::Retried([&] { return ftruncate(file_.get(), complete); }) != 0) {
    Fail(ErrorKind::kOutput, path, "cannot cut off the last line");
  }
}

void ResultsFile::ReadInto(IdIndex& index) const {
  const OpenDescriptor file = OpenToRead(path_);
  ForEachResult(file.get(), path_, [&index](const JobResult& result, const std::string&) {
    if (result.state != JobState::kDone) return;
    IdIndex::Entry entry = index.Find(result.id);
    entry.jobHash = PackHash(result.jobHash);
    entry.number = result.bytes;
    entry.outputHash = PackHash(result.outputHash);
    index.Store(entry);
  });
}

void ResultsFile::Append(const std::string& lines) {
  struct stat before = {};
  fstat(file_.get(), &before);
  for (std::size_t at = 0; at < lines.size();) {
    const ssize_t length =
        base::Retried([&] { return write(file_.get(), lines.data() + at, lines.size() - at); });
    if (length < 0) {
      const int error = errno;
      // If this fails too, the next run cuts the rest off.
      [[maybe_unused]] const int cut = ftruncate(file_.get(), before.st_size);
      errno = error;
      Fail(ErrorKind::kOutput, path_, "cannot write");
    }
    at += static_cast<std::size_t>(length);
  }
}

void MergeResults(const std::vector<std::string>& paths,
                  const std::function<void(const std::string&)>& take) {
  // The first pass finds the number of the line to keep, counted over all files; the second passes on these
  // lines.
  IdIndex index;
  std::uint64_t number = 0;
  for (const std::string& path : paths) {
    const OpenDescriptor file = OpenToRead(path);
    ForEachResult(file.get(), path, [&](const JobResult& result, const std::string&) {
      ++number;
      IdIndex::Entry entry = index.Find(result.id);
      const std::uint64_t rank = RankOf(result.state);
      if (rank < entry.line) return;
      entry.line = rank;
      entry.number = number;
      index.Store(entry);
    });
  }
  number = 0;
  for (const std::string& path : paths) {
    const OpenDescriptor file = OpenToRead(path);
    ForEachResult(file.get(), path, [&](const JobResult& result, const std::string& line) {
      if (index.Find(result.id).number == ++number) take(line + "\n");
    });
  }
}

}  // namespace jobs
