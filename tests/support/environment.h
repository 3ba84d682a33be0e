// SPDX-License-Identifier: MIT
// ScopedVariable: sets an environment variable, or unsets it for a null value, and puts the old value back.
#pragma once

#include <cstdlib>
#include <optional>
#include <string>

class ScopedVariable {
 public:
  ScopedVariable(const char* name, const char* value) : name_(name) {
    if (const char* old = std::getenv(name)) old_ = old;
    Set(value);
  }
  ~ScopedVariable() { Set(old_ ? old_->c_str() : nullptr); }
  ScopedVariable(const ScopedVariable&) = delete;
  ScopedVariable& operator=(const ScopedVariable&) = delete;

 private:
  void Set(const char* value) {
    if (value != nullptr) {
      setenv(name_, value, 1);
    } else {
      unsetenv(name_);
    }
  }

  const char* name_;
  std::optional<std::string> old_;
};
