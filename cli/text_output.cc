#include "text_output.h"

#include <tovkit/util.h>

#include <algorithm>
#include <cstdio>

namespace cli {

namespace {

std::string Escape(wchar_t c) {
  char escape[8];
  std::snprintf(escape, sizeof escape, "\\u%04x", static_cast<unsigned>(c) & 0xffffU);
  return escape;
}

// Those of one byte in 8-bit codesets too: terminals take them for the first half of an escape sequence.
bool IsControl(wchar_t c) { return c < 0x20 || (c >= 0x7f && c < 0xa0); }

bool IsPlain(wchar_t c) { return !IsControl(c) && c != '"' && c != '\\' && (c < 0xd800 || c > 0xdfff); }

}  // namespace

std::string Printable(const std::string& local) {
  std::wstring text = tovkit::LocalToWide(local.c_str(), -1);
  std::replace_if(text.begin(), text.end(), IsControl, L'?');
  return tovkit::WideToLocal(text.c_str(), -1);
}

std::string Shortened(const std::string& text) {
  constexpr std::size_t kMostDigits = 100;  // 64 bits have 20, and a file may be called by a few more
  constexpr std::size_t kKept = 10;         // at either end
  std::string shortened;
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t digits = std::min(text.find_first_not_of("0123456789", at), text.size()) - at;
    if (digits <= kMostDigits) {
      shortened += text.substr(at, digits + 1);  // with what ends them
    } else {
      shortened += text.substr(at, kKept) + "..." + text.substr(at + digits - kKept, kKept + 1);
    }
    at += digits + 1;
  }
  return shortened;
}

std::string JsonText(const std::string& utf8) {
  std::string json = "\"";
  for (const wchar_t c : tovkit::Utf8ToWide(utf8.c_str(), -1)) {
    if (c == '"' || c == '\\') {
      json += '\\';
      json += static_cast<char>(c);
    } else {
      json += IsPlain(c) ? tovkit::WideToUtf8(&c, 1) : Escape(c);
    }
  }
  return json + '"';
}

void PrintJsonArray(const std::vector<std::string>& elements) {
  const char* before = "[\n  ";
  for (const std::string& element : elements) {
    std::printf("%s%s", before, element.c_str());
    before = ",\n  ";
  }
  std::printf(elements.empty() ? "[]\n" : "\n]\n");
}

}  // namespace cli
