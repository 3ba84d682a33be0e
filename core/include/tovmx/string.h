// SPDX-License-Identifier: MIT
/// \file
/// CoreString and CoreWideString: owning texts of one and of four bytes a character.
///
/// One template, two widths. A text knows its length, so it may hold NUL characters; a terminating NUL always
/// follows the last character. The data of an empty text may be absent: GetData() may be null, c_str() never
/// is. Positions count from 1, so Left(3) and Mid(4) split a text in two.
///
/// Thread-safety: as a std::string; one text may be read by several threads while none changes it.
///
/// \code{.cc}
/// CoreString name("libfoo");
/// CoreString stem = name.Left(3).Compare("lib") == 0 ? name.Mid(4) : name;   // "foo"
/// \endcode
#pragma once

#include <tovmx/export.h>

#include <cstddef>

/// An owning text of `char` or `wchar_t`.
template <typename Char>
class TOVMX_API CoreBasicString {
 public:
  /// The empty text; allocates nothing.
  CoreBasicString() noexcept = default;

  /// A copy of `length` characters at `text`; a negative length means up to the terminating NUL. A null
  /// `text` makes the empty text.
  CoreBasicString(const Char* text,
                  int length = -1);  // NOLINT(google-explicit-constructor): texts convert freely

  /// Copies the text, or takes it and leaves the empty one.
  /// @{
  CoreBasicString(const CoreBasicString& other);
  CoreBasicString(CoreBasicString&& other) noexcept;
  CoreBasicString& operator=(const CoreBasicString& other);
  CoreBasicString& operator=(CoreBasicString&& other) noexcept;
  /// @}

  /// Frees the text.
  ~CoreBasicString();

  /// The number of characters before the terminating NUL.
  int GetLength() const noexcept { return length_; }

  /// Whether there are no characters.
  bool IsEmpty() const noexcept { return length_ == 0; }

  /// The characters, or null when the text holds no buffer. Valid until the text is changed or destroyed.
  const Char* GetData() const noexcept { return data_; }

  /// The characters, never null. Valid until the text is changed or destroyed.
  const Char* c_str() const noexcept { return data_ != nullptr ? data_ : kEmpty; }

  /// A writable buffer of at least `capacity` characters and room for a terminator; the present characters
  /// stay at its front. A negative capacity counts as 0. The length is unchanged until ReleaseBuffer sets it.
  Char* GetBuffer(int capacity);

  /// Sets the length after writing through GetBuffer and terminates the text there. A negative length means
  /// up to the first NUL in the buffer; a length beyond the capacity counts as the capacity.
  void ReleaseBuffer(int length = -1);

  /// Empties the text and frees its buffer.
  void Clear() noexcept;

  /// The first `count` characters; all of them when there are fewer, none for a count below 1.
  CoreBasicString Left(int count) const;

  /// The characters from position `first` on, counted from 1. A position below 1 counts as 1; one past the
  /// end is the empty text.
  CoreBasicString Mid(int first) const;

  /// At most `count` characters from position `first` on, counted from 1.
  CoreBasicString Mid(int first, int count) const;

  /// @{
  /// Below 0, 0 or above 0 as this text sorts before, equals or sorts after `other`, by character value
  /// (bytes as unsigned). A null `other` is the empty text.
  int Compare(const Char* other) const noexcept;
  int Compare(const CoreBasicString& other) const noexcept;
  /// @}

  /// Turns every `from` into `to` in place and returns how many were replaced.
  int Replace(Char from, Char to) noexcept;

  /// Appends a text, which may be this one.
  CoreBasicString& operator+=(const CoreBasicString& tail);

  /// As Compare says.
  /// @{
  friend bool operator==(const CoreBasicString& a, const CoreBasicString& b) noexcept {
    return a.Compare(b) == 0;
  }
  friend bool operator!=(const CoreBasicString& a, const CoreBasicString& b) noexcept {
    return a.Compare(b) != 0;
  }
  friend bool operator<(const CoreBasicString& a, const CoreBasicString& b) noexcept {
    return a.Compare(b) < 0;
  }
  /// @}

 private:
  void Assign(const Char* text, std::size_t length);
  void Reserve(std::size_t capacity);

  static const Char kEmpty[1];

  Char* data_ = nullptr;
  int length_ = 0;
  int capacity_ = 0;  // characters, the terminator not counted
};

extern template class CoreBasicString<char>;
extern template class CoreBasicString<wchar_t>;

using CoreString = CoreBasicString<char>;         ///< bytes, as a rule UTF-8
using CoreWideString = CoreBasicString<wchar_t>;  ///< characters of 32 bits
