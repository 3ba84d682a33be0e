// SPDX-License-Identifier: MIT
// One call or more of everything that a subsystem exports, with results that are looked at: a call that does
// not do what it should throws std::runtime_error with its name.
#pragma once

#include <stdexcept>
#include <string>

namespace soak {

inline void Require(bool holds, const char* call) {
  if (!holds) throw std::runtime_error(call);
}

void CallJson();
void CallConvert();
void CallImaging();
void CallGeometry();
// `folder` is an empty one of the caller's, which is as empty afterwards.
void CallUtil(const std::string& folder);
void CallSystem();

}  // namespace soak
