// SPDX-License-Identifier: MIT
// The options of subcommands that run jobs in worker processes.
#pragma once

#include "jobs/executor.h"

#include <CLI/CLI.hpp>

namespace cli {

// How many workers there are and what each may use: --jobs, --timeout, --memory and --recycle. The record
// has the usual time-out, in whole seconds, and must live as long as the command.
void AddExecutorOptions(CLI::App& command, jobs::ExecutorOptions& options);

}  // namespace cli
