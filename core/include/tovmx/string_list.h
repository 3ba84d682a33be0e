/// \file
/// CoreStringList<S>: an ordered list of texts, S being CoreString or CoreWideString.
///
/// Thread-safety: as a std::vector.
///
/// \code{.cc}
/// CoreStringList<CoreString> names;
/// names.Add("first");
/// for (int i = 0; i < names.GetCount(); ++i) Use(names.GetAt(i));
/// \endcode
#pragma once

#include <tovmx/string.h>

#include <cstddef>
#include <utility>
#include <vector>

template <typename S>
class CoreStringList {
 public:
  int GetCount() const noexcept { return static_cast<int>(texts_.size()); }
  bool IsEmpty() const noexcept { return texts_.empty(); }

  /// Precondition: 0 <= index < GetCount(). The reference is valid until the list changes.
  const S& GetAt(int index) const noexcept { return texts_[static_cast<std::size_t>(index)]; }

  void Add(S text) { texts_.push_back(std::move(text)); }
  void Clear() noexcept { texts_.clear(); }

  auto begin() const noexcept { return texts_.begin(); }
  auto end() const noexcept { return texts_.end(); }

 private:
  std::vector<S> texts_;
};
