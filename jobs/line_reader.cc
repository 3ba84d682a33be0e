// SPDX-License-Identifier: MIT
// The rest of a line that is too long is read and dropped, so that the next line can be returned.
#include "line_reader.h"

#include "error.h"
#include "retried.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace jobs {

// Reads on; false at the end.
bool LineReader::Fill() {
  buffer_.resize(65536);
  searched_ = 0;
  const ssize_t length = base::Retried([this] { return read(fd_, buffer_.data(), buffer_.size()); });
  const int error = errno;
  buffer_.resize(static_cast<std::size_t>(std::max<ssize_t>(length, 0)));
  at_ = 0;
  if (length < 0) throw Error(ErrorKind::kInput, name_, std::strerror(error));
  return length > 0;
}

bool LineReader::IsReady() {
  for (;;) {
    if (buffer_.find('\n', std::max(at_, searched_)) != std::string::npos) return true;
    searched_ = buffer_.size();
    if (buffer_.size() - at_ > longest_) return true;
    pollfd input = {fd_, POLLIN, 0};
    if (poll(&input, 1, 0) == 0) return false;
    char piece[65536];
    const ssize_t length = base::Retried([&] { return read(fd_, piece, sizeof piece); });
    if (length <= 0) return true;
    buffer_.erase(0, at_);
    searched_ -= std::min(searched_, at_);
    at_ = 0;
    buffer_.append(piece, static_cast<std::size_t>(length));
  }
}

void LineReader::SkipBlank() {
  for (;;) {
    const std::size_t text = buffer_.find_first_not_of(" \t\r", at_);
    if (text == std::string::npos || buffer_[text] != '\n') return;
    offset_ += text + 1 - at_;
    at_ = text + 1;
    ++number_;
  }
}

LineReader::Outcome LineReader::Next(std::string& line) {
  line.clear();
  bool any = false;
  bool tooLong = false;
  complete_ = false;
  while (!complete_ && (at_ < buffer_.size() || Fill())) {
    any = true;
    const std::size_t feed = buffer_.find('\n', at_);
    const std::size_t end = std::min(feed, buffer_.size());
    const std::size_t room = longest_ - line.size();
    tooLong = tooLong || end - at_ > room;
    line.append(buffer_, at_, std::min(end - at_, room));
    complete_ = feed != std::string::npos;
    const std::size_t next = end + (complete_ ? 1 : 0);
    offset_ += next - at_;
    at_ = next;
  }
  if (!any) return kEnd;
  ++number_;
  return tooLong ? kTooLong : kLine;
}

}  // namespace jobs
