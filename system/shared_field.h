// SPDX-License-Identifier: MIT
// Plain fields that several threads read and write without a lock.
//
// The field stays a plain member of its record; it is touched through these two only once threads share it.
#pragma once

#include <atomic>
#include <type_traits>

namespace tovkit {

template <typename T>
T LoadShared(const T& field) {
  return std::atomic_ref<T>(const_cast<T&>(field)).load(std::memory_order_acquire);
}

template <typename T>
void StoreShared(T& field, std::type_identity_t<T> value) {
  std::atomic_ref<T>(field).store(value, std::memory_order_release);
}

}  // namespace tovkit
