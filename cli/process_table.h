// SPDX-License-Identifier: MIT
// What ps and monitor share: reading the table of processes and finding the ones a person named.
#pragma once

#include <tovkit/system.h>

#include <deque>
#include <string>

namespace cli {

using ProcessTable = std::deque<tovkit::PROC_INFO_DATA>;

// The monitor's table. When /proc cannot be read, the library has printed why; ends the command with status
// 1.
[[nodiscard]] ProcessTable ReadTable(const tovkit::ProcessMonitor& monitor);

// The processes of `table` that are called `name`. Throws CommandError when there is none.
[[nodiscard]] ProcessTable Named(const ProcessTable& table, const std::string& name);

}  // namespace cli
