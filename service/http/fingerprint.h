// SPDX-License-Identifier: MIT
// What answers depend on beside the question.
#pragma once

#include <string>
#include <vector>

namespace service {

// A digest of the program files of this build, libraries and worker, of the libraries beneath them, of the
// installed fonts and the configuration of them, and of further font files: the same as long as the same job
// makes the same bytes.
// `worker` is the worker program.
[[nodiscard]] std::string Fingerprint(const std::string& worker, const std::vector<std::string>& fontFiles);

}  // namespace service
