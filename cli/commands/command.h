// SPDX-License-Identifier: MIT
// What the files of the subcommands share.
//
// Each subcommand is one file with one Add...Command function. It declares its options on `app` and sets a
// callback that does the job; the callback returns on success and throws a CommandError or an ExitStatus
// otherwise. Only these files include this header: the argument parser takes seconds to compile.
#pragma once

#include "error.h"

#include <CLI/CLI.hpp>

#include <string>
