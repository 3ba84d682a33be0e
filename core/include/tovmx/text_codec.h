// SPDX-License-Identifier: MIT
/// \file
/// CoreTextCodec: between bytes (UTF-8 or the local encoding) and wide text.
///
/// Local is the codeset of the environment's LC_CTYPE (LC_ALL, LC_CTYPE, LANG, in that order), read once;
/// setlocale is never called, and the C and POSIX locales count as UTF-8. A byte that does not decode becomes
/// U+DC80 to U+DCFF and encodes back to that byte, so every file name survives the way there and back in
/// either encoding, and from the local one through UTF-8. For the latter, such characters side by side whose
/// bytes would read as a character of UTF-8 take three bytes each in it, ED B2 80 to ED B3 BF.
///
/// Thread-safety: all functions may be called from any thread.
///
/// \code{.cc}
/// CoreWideString wide = CoreTextCodec::Utf8Decode("\xE5\xAE\x8B", -1);   // one character, U+5B8B
/// \endcode
#pragma once

#include <tovmx/string.h>

/// Decodes bytes to wide text, encodes wide text to bytes.
class TOVMX_API CoreTextCodec {
 public:
  /// @{
  /// Decodes `length` bytes at `text`; a negative length means up to the terminating NUL. A null text returns
  /// the empty text.
  static CoreWideString Utf8Decode(const char* text, int length);
  static CoreWideString LocalDecode(const char* text, int length);
  /// @}

  /// @{
  /// Encodes `length` characters at `text`; a negative length means up to the terminating NUL. A null text
  /// returns the empty text. A character that the encoding lacks (a surrogate outside U+DC80 to U+DCFF, a
  /// value above U+10FFFF, a letter that the local codeset does not hold) becomes "?".
  static CoreString Utf8Encode(const wchar_t* text, int length);
  static CoreString LocalEncode(const wchar_t* text, int length);
  /// @}

  /// The name of the local codeset, such as "UTF-8" or "GBK". A static text.
  static const char* LocalCodeset();

  CoreTextCodec() = delete;
};
