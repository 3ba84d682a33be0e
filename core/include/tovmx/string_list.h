// SPDX-License-Identifier: MIT
/// \file
/// CoreStringList: an ordered list of texts, of CoreString or of CoreWideString.
///
/// Thread-safety: as a std::vector.
///
/// \code{.cc}
/// CoreStringList<CoreString> names;
/// names.Add("first");
/// for (const CoreString& name : names) std::puts(name.c_str());
/// \endcode
#pragma once

#include <tovmx/string.h>

#include <cstddef>
#include <utility>
#include <vector>

/// An ordered list of texts of type S.
template <typename S>
class CoreStringList {
 public:
  /// The number of texts.
  int GetCount() const noexcept { return static_cast<int>(texts_.size()); }

  /// Whether there are none.
  bool IsEmpty() const noexcept { return texts_.empty(); }

  /// The text at `index`. Precondition: 0 <= index < GetCount(). The reference is valid until the list
  /// changes.
  const S& GetAt(int index) const noexcept { return texts_[static_cast<std::size_t>(index)]; }

  /// Appends a text.
  void Add(S text) { texts_.push_back(std::move(text)); }

  /// Drops every text.
  void Clear() noexcept { texts_.clear(); }

  /// For loops over the texts.
  /// @{
  auto begin() const noexcept { return texts_.begin(); }
  auto end() const noexcept { return texts_.end(); }
  /// @}

 private:
  std::vector<S> texts_;
};
