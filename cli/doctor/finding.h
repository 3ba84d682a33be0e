// SPDX-License-Identifier: MIT
// Finding: what `tovkit doctor` has to say of one thing.
#pragma once

#include <string>
#include <vector>

namespace cli {

struct Finding {
  enum State { kOk, kWarning, kFailed };

  std::string check;  // what was looked at: "font for Thai"
  State state = kOk;
  std::string text;         // what is there
  std::string advice = {};  // what to do when that is not enough
};

using Findings = std::vector<Finding>;

Findings ExamineFonts();
Findings ExamineCodecs();
Findings ExamineText();     // locale and codeset
Findings ExamineMachine();  // vector level, temporary directory, shared memory, /proc
Findings ExamineVersions();

}  // namespace cli
