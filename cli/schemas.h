// SPDX-License-Identifier: MIT
// The JSON Schemas of what subcommands take.
#pragma once

namespace cli {

extern const char kLineSchema[];  // the text of line.schema.json, for tovkit draw
extern const char kJobSchema[];   // the text of job.schema.json, for tovkit batch

}  // namespace cli
