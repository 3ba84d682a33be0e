#include "text_output.h"

#include <tovkit/util.h>

#include <cstdio>

namespace cli {

namespace {

std::string Escape(wchar_t c) {
  char escape[8];
  std::snprintf(escape, sizeof escape, "\\u%04x", static_cast<unsigned>(c) & 0xffffU);
  return escape;
}

bool IsPlain(wchar_t c) {
  return c >= 0x20 && c != '"' && c != '\\' && c != 0x7f && (c < 0xd800 || c > 0xdfff);
}

}  // namespace

std::string Printable(std::string text) {
  for (char& c : text) {
    if (static_cast<unsigned char>(c) < 0x20 || c == 0x7f) c = '?';
  }
  return text;
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
