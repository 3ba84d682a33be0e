// SPDX-License-Identifier: MIT
// The multibyte encoding of the environment, for codesets other than UTF-8.
//
// The codeset is asked once, from the locale that LC_ALL, LC_CTYPE and LANG name, without touching the
// process's own locale. The C and POSIX locales, an unknown locale and a codeset that iconv lacks count as
// UTF-8.
//
// Whatever the codeset, a byte below 0x80 that begins a character is that ASCII character, and an ASCII
// character is that byte: file names depend on it. Bytes that do not decode, or that would not encode back to
// themselves, become escapes (utf8.h), so decoding loses nothing.
//
// Thread-safety: every function may be called from any thread; each thread has converters of its own.
#pragma once

#include <cstddef>
#include <string>

namespace tovmx {

// The name of the codeset, "UTF-8" for what counts as UTF-8. A static text.
const char* LocalCodesetName();

// Whether the functions of utf8.h do the work.
bool LocalIsUtf8();

// Between the local bytes and wide text; only for codesets other than UTF-8.
std::wstring DecodeLocal(const char* text, std::size_t length);
std::string EncodeLocal(const wchar_t* text, std::size_t length);

}  // namespace tovmx
