// Path separators: `\` and `/` are both one, always.
#include "separators.h"

#include "tovkit/util.h"

#include <cstdarg>
#include <cstring>

namespace tovkit {

namespace {

constexpr char kSeparator = '/';

// Every character is written, changed or not, so that the compiler makes vector code of the loop.
void ReplaceIn(char* s, std::size_t length, char c) {
  for (std::size_t i = 0; i < length; ++i) s[i] = IsSeparator(s[i]) ? c : s[i];
}

void AppendComponent(std::string& result, const char* component) {
  if (component == nullptr || *component == '\0') return;
  if (result.empty()) {
    result = component;
    return;
  }
  if (IsSeparator(*component)) ++component;
  if (!IsSeparator(result.back())) result += kSeparator;
  result += component;
}

}  // namespace

char* ReplaceSeparators(char* s, char c) {
  if (s != nullptr) ReplaceIn(s, std::strlen(s), c);
  return s;
}

char* NormalizeSeparators(char* s) { return ReplaceSeparators(s, kSeparator); }

void ReplaceSeparators(std::string& s, char c) { ReplaceIn(s.data(), s.size(), c); }

void NormalizeSeparators(std::string& s) { ReplaceSeparators(s, kSeparator); }

std::string ReplaceSeparators(const char* s, char c) {
  if (s == nullptr) return {};
  std::string copy(s);
  ReplaceSeparators(copy, c);
  return copy;
}

std::string NormalizeSeparators(const char* s) { return ReplaceSeparators(s, kSeparator); }

std::string JoinPath(const char* first, const char* second, ...) {
  std::string result;
  AppendComponent(result, first);
  AppendComponent(result, second);

  va_list tail;
  va_start(tail, second);
  // Read once and never advanced past: kept, callers end the list after two components. The volatile makes
  // each turn of a loop that may add nothing an effect of its own.
  const char* const volatile third = va_arg(tail, const char*);
  va_end(tail);
  while (third != nullptr) AppendComponent(result, third);
  return result;
}

}  // namespace tovkit
