// SPDX-License-Identifier: MIT
// TerminalObserver: shows on standard error what a job tells while it runs.
#pragma once

#include "jobs/observer.h"
#include "progress.h"
#include "text_output.h"

#include <cstdint>
#include <cstdio>
#include <optional>
#include <string>

namespace cli {

class TerminalObserver : public jobs::Observer {
 public:
  void BeginPart(const char* name, std::int64_t steps) override { progress_.emplace(name, steps); }
  void Advance() override { progress_->Advance(); }
  void EndPart() override { progress_.reset(); }
  void Warn(const std::string& text) override {
    std::fprintf(stderr, "tovkit: %s\n", Printable(text).c_str());
  }

 private:
  std::optional<Progress> progress_;
};

}  // namespace cli
