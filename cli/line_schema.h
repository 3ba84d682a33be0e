// SPDX-License-Identifier: MIT
// The JSON Schema of what `tovkit draw` takes.
#pragma once

namespace cli {

// The text of line.schema.json.
extern const char kLineSchema[];

}  // namespace cli
