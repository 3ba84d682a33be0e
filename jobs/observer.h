// SPDX-License-Identifier: MIT
// Observer: hears from a job while it runs. This class ignores everything; derive from it to listen.
#pragma once

#include <tovmx/codec.h>
#include <tovmx/geometry.h>

#include <cstdint>
#include <optional>
#include <string>

namespace jobs {

struct MeasuredLine;  // see drawing.h

class Observer {
 public:
  Observer() = default;
  virtual ~Observer() = default;
  Observer(const Observer&) = delete;
  Observer& operator=(const Observer&) = delete;

  // A part of the job that may take long: its name and the number of its steps, a call for each step that is
  // done, and its end. Parts do not overlap. A part of a job that fails has no end.
  virtual void BeginPart(const char* /*name*/, std::int64_t /*steps*/) {}
  virtual void Advance() {}
  virtual void EndPart() {}

  // The result may not be what was expected.
  virtual void Warn(const std::string& /*text*/) {}

  // A font family that is not installed is drawn with another one. Both are UTF-8.
  virtual void FontSubstituted(const std::string& /*wanted*/, const std::string& /*actual*/) {}

  // A line of text was measured; the page of its own coordinates has `page` as its size, none when it will be
  // what the lines need. May throw, which ends the job.
  virtual void LineMeasured(const MeasuredLine& /*line*/, const std::optional<CoreSizeF>& /*page*/) {}

  // Every line was measured and nothing is drawn yet. May throw, which ends the job.
  virtual void LinesMeasured() {}

  // The head of a picture was read.
  virtual void PictureOpened(CoreImageFormat /*format*/, const CoreImageInfo& /*info*/) {}
};

}  // namespace jobs
