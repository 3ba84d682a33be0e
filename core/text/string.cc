// SPDX-License-Identifier: MIT
// One template for both widths, instantiated here only. An empty string has no storage: `data_` is null,
// and readers get the static terminator. Storage is malloc's, so that it can grow in place.
#include "tovmx/string.h"

#include <climits>
#include <cstdlib>
#include <new>
#include <stdexcept>
#include <string>
#include <utility>

template <typename Char>
const Char CoreBasicString<Char>::kEmpty[1] = {};

template <typename Char>
CoreBasicString<Char>::CoreBasicString(const Char* text, int length) {
  if (text == nullptr) return;
  Assign(text, length < 0 ? std::char_traits<Char>::length(text) : static_cast<std::size_t>(length));
}

template <typename Char>
CoreBasicString<Char>::CoreBasicString(const CoreBasicString& other) {
  Assign(other.data_, static_cast<std::size_t>(other.length_));
}

template <typename Char>
CoreBasicString<Char>::CoreBasicString(CoreBasicString&& other) noexcept
    : data_(std::exchange(other.data_, nullptr)),
      length_(std::exchange(other.length_, 0)),
      capacity_(std::exchange(other.capacity_, 0)) {}

template <typename Char>
CoreBasicString<Char>& CoreBasicString<Char>::operator=(const CoreBasicString& other) {
  if (this != &other) {
    CoreBasicString copy(other);
    *this = std::move(copy);
  }
  return *this;
}

template <typename Char>
CoreBasicString<Char>& CoreBasicString<Char>::operator=(CoreBasicString&& other) noexcept {
  std::swap(data_, other.data_);
  std::swap(length_, other.length_);
  std::swap(capacity_, other.capacity_);
  return *this;
}

template <typename Char>
CoreBasicString<Char>::~CoreBasicString() {
  std::free(data_);
}

template <typename Char>
void CoreBasicString<Char>::Reserve(std::size_t capacity) {
  if (data_ != nullptr && capacity <= static_cast<std::size_t>(capacity_)) return;
  if (capacity >= static_cast<std::size_t>(INT_MAX)) throw std::length_error("CoreString");
  auto* grown = static_cast<Char*>(std::realloc(data_, (capacity + 1) * sizeof(Char)));
  if (grown == nullptr) throw std::bad_alloc();
  data_ = grown;
  data_[length_] = Char();
  capacity_ = static_cast<int>(capacity);
}

template <typename Char>
void CoreBasicString<Char>::Assign(const Char* text, std::size_t length) {
  if (length == 0) return;
  Reserve(length);
  std::char_traits<Char>::copy(data_, text, length);
  length_ = static_cast<int>(length);
  data_[length_] = Char();
}

template <typename Char>
Char* CoreBasicString<Char>::GetBuffer(int capacity) {
  Reserve(capacity < 0 ? 0 : static_cast<std::size_t>(capacity));
  return data_;
}

template <typename Char>
void CoreBasicString<Char>::ReleaseBuffer(int length) {
  if (data_ == nullptr) return;
  data_[capacity_] = Char();
  if (length < 0) length = static_cast<int>(std::char_traits<Char>::length(data_));
  length_ = length < capacity_ ? length : capacity_;
  data_[length_] = Char();
}

template <typename Char>
void CoreBasicString<Char>::Clear() noexcept {
  std::free(data_);
  data_ = nullptr;
  length_ = capacity_ = 0;
}

template <typename Char>
CoreBasicString<Char> CoreBasicString<Char>::Left(int count) const {
  return Mid(1, count);
}

template <typename Char>
CoreBasicString<Char> CoreBasicString<Char>::Mid(int first) const {
  return Mid(first, length_);
}

template <typename Char>
CoreBasicString<Char> CoreBasicString<Char>::Mid(int first, int count) const {
  if (first < 1) first = 1;
  if (first > length_ || count < 1) return {};
  const int rest = length_ - (first - 1);
  return CoreBasicString(data_ + (first - 1), count < rest ? count : rest);
}

namespace {

template <typename Char>
int CompareTexts(const Char* a, std::size_t aLength, const Char* b, std::size_t bLength) noexcept {
  const std::size_t common = aLength < bLength ? aLength : bLength;
  // char_traits<char> compares bytes as unsigned, which is also the order of code points in UTF-8.
  const int order = common == 0 ? 0 : std::char_traits<Char>::compare(a, b, common);
  if (order != 0) return order;
  return aLength < bLength ? -1 : static_cast<int>(aLength > bLength);
}

}  // namespace

template <typename Char>
int CoreBasicString<Char>::Compare(const Char* other) const noexcept {
  const std::size_t length = other == nullptr ? 0 : std::char_traits<Char>::length(other);
  return CompareTexts(data_, static_cast<std::size_t>(length_), other, length);
}

template <typename Char>
int CoreBasicString<Char>::Compare(const CoreBasicString& other) const noexcept {
  return CompareTexts(data_, static_cast<std::size_t>(length_), other.data_,
                      static_cast<std::size_t>(other.length_));
}

template <typename Char>
int CoreBasicString<Char>::Replace(Char from, Char to) noexcept {
  int replaced = 0;
  for (int i = 0; i < length_; ++i) {
    if (data_[i] != from) continue;
    data_[i] = to;
    ++replaced;
  }
  return replaced;
}

template <typename Char>
CoreBasicString<Char>& CoreBasicString<Char>::operator+=(const CoreBasicString& tail) {
  if (tail.length_ == 0) return *this;
  const auto added = static_cast<std::size_t>(tail.length_);
  Reserve(static_cast<std::size_t>(length_) + added);
  std::char_traits<Char>::copy(data_ + length_, tail.data_, added);
  length_ += static_cast<int>(added);
  data_[length_] = Char();
  return *this;
}

template class CoreBasicString<char>;
template class CoreBasicString<wchar_t>;
