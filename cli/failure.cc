// SPDX-License-Identifier: MIT
// The caret is placed by columns, not characters, because wide characters take two and escapes several. The
// text is foreign: control characters never reach the terminal.
#include "failure.h"

#include "error.h"
#include "text_output.h"

#include <tovkit/util.h>

#include <unistd.h>
#include <uniwidth.h>

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

namespace cli {

namespace {

bool IsColored() {
  const char* const noColor = std::getenv("NO_COLOR");
  return isatty(STDERR_FILENO) == 1 && (noColor == nullptr || *noColor == '\0');
}

// A tab shows as a space. Conversion ends at a NUL, so it is done piece by piece.
std::wstring Shown(std::string_view utf8) {
  std::wstring text;
  for (;;) {
    const std::size_t nul = utf8.find('\0');
    const std::string piece(utf8.substr(0, nul));
    text += tovkit::Utf8ToWide(piece.c_str(), static_cast<int>(piece.size()));
    if (nul == std::string_view::npos) break;
    text += L'\0';
    utf8.remove_prefix(nul + 1);
  }
  std::replace(text.begin(), text.end(), L'\t', L' ');
  return Printable(text);
}

void PrintExcerpt(const jobs::Excerpt& excerpt) {
  const std::wstring line = Shown(excerpt.line);
  std::size_t columns = 0;
  for (const wchar_t c : Shown(std::string_view(excerpt.line).substr(0, excerpt.at))) {
    // Marks take no column.
    const int width = uc_width(static_cast<ucs4_t>(c), "UTF-8");
    columns += width < 0 ? 1 : static_cast<std::size_t>(width);
  }
  std::fprintf(stderr, "  %s\n", tovkit::WideToLocal(line.c_str(), static_cast<int>(line.size())).c_str());
  std::fprintf(stderr, IsColored() ? "  %*s\033[31m^\033[0m\n" : "  %*s^\n", static_cast<int>(columns), "");
}

// A place is a name, in the bytes that files have it; what is said of it quotes texts, which are UTF-8.
std::string LocalTextOf(const jobs::Error& error) {
  return Printable(Shortened(error.place())) + ": " + PrintableUtf8(Shortened(error.text()));
}

void PrintLine(const std::string& printable) { std::fprintf(stderr, "tovkit: %s\n", printable.c_str()); }

void PrintFindings(const FindingsError& findings) {
  for (std::size_t i = 0; i < findings.told.size(); ++i) {
    const jobs::Error& error = findings.told[i];
    PrintMessage(error);
    // Once for all that is wrong in one place.
    const bool isLast = i + 1 == findings.told.size() || findings.told[i + 1].place() != error.place();
    if (isLast && error.excerpt()) PrintExcerpt(*error.excerpt());
  }
  if (findings.others != 0) PrintMessage("and " + std::to_string(findings.others) + " more");
}

}  // namespace

void PrintMessage(const std::string& text) { PrintLine(Printable(Shortened(text))); }

void PrintMessage(const jobs::Error& error, const std::string& more) {
  PrintLine(LocalTextOf(error) + Printable(more));
}

void PrintMessage(const std::string& text, const jobs::Excerpt& excerpt) {
  PrintMessage(text);
  PrintExcerpt(excerpt);
}

void PrintFailure(const std::exception_ptr& failure) {
  try {
    std::rethrow_exception(failure);
  } catch (const FindingsError& e) {
    PrintFindings(e);
  } catch (const jobs::Error& e) {
    PrintMessage(e);
    if (e.excerpt()) PrintExcerpt(*e.excerpt());
  } catch (const std::exception& e) {
    PrintMessage(e.what());
  }
}

}  // namespace cli
