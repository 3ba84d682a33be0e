// SPDX-License-Identifier: MIT
// Text to and from a local codeset of one byte a character, 64 KiB characters each. The codeset is that of
// the locale de_DE.ISO-8859-1, which is made with this program; a process has one.
#include "forms.h"

#include <tovmx/text_codec.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

namespace {

using bench::Form;
using bench::Work;

constexpr std::size_t kCharacters = 65536;

const bool kInLocale = [] {
  setenv("LOCPATH", TOVKIT_BENCH_LOCALES, 1);
  setenv("LC_ALL", "de_DE.ISO-8859-1", 1);
  if (std::strcmp(CoreTextCodec::LocalCodeset(), "ISO-8859-1") == 0) return true;
  std::fprintf(stderr, "forms_local_bench: the codeset is %s\n", CoreTextCodec::LocalCodeset());
  std::exit(1);
}();

template <typename Text>
Text Repeated(const Text& piece) {
  Text text;
  while (text.size() < kCharacters) text += piece;
  return text;
}

Form Encode(const char* name, const wchar_t* piece) {
  return {name, [piece]() -> Work {
            return [text = Repeated(std::wstring(piece))] {
              benchmark::DoNotOptimize(
                  CoreTextCodec::LocalEncode(text.data(), static_cast<int>(text.size())).GetData());
            };
          }};
}

Form Decode(const char* name, const char* piece) {
  return {name, [piece]() -> Work {
            return [text = Repeated(std::string(piece))] {
              benchmark::DoNotOptimize(
                  CoreTextCodec::LocalDecode(text.data(), static_cast<int>(text.size())).GetData());
            };
          }};
}

[[maybe_unused]] const bool kEncode =
    bench::RegisterForms("form_wide_to_latin1",
                         {Encode("english", L"the quick brown fox "), Encode("french", L"d\u00E9j\u00E0 vu "),
                          Encode("accented_letters", L"\u00E9\u00E0\u00FC"),
                          Encode("a_letter_in_8_is_not_in_it", L"seven \u4E2D "),
                          Encode("chinese_which_is_not_in_it", L"\u4E2D\u6587\u5B57")});
[[maybe_unused]] const bool kDecode = bench::RegisterForms(
    "form_latin1_to_wide", {Decode("english", "the quick brown fox "), Decode("french", "d\xE9j\xE0 vu "),
                            Decode("accented_letters", "\xE9\xE0\xFC")});

}  // namespace
