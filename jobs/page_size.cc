// SPDX-License-Identifier: MIT
// Two decimal numbers with an x between them and a unit behind, or the name of a paper.
#include "page_size.h"

#include <strings.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <string_view>
#include <system_error>
#include <utility>

namespace jobs {

namespace {

constexpr double kUnitsPerInch = 96;
constexpr double kUnitsPerMm = kUnitsPerInch / 25.4;

struct Unit {
  std::string_view name;
  double size;
};
constexpr Unit kUnits[] = {{"", 1},
                           {"px", 1},
                           {"pt", kUnitsPerInch / 72},
                           {"mm", kUnitsPerMm},
                           {"cm", 10 * kUnitsPerMm},
                           {"in", kUnitsPerInch}};

struct Paper {
  const char* name;
  double width;  // inches
  double height;
};
constexpr Paper kPapers[] = {{"Letter", 8.5, 11},
                             {"Legal", 8.5, 14},
                             {"Tabloid", 11, 17},
                             {"Ledger", 17, 11},
                             {"Executive", 7.25, 10.5}};

constexpr int kSmallestIso = 10;

// A positive decimal number at `from`, which moves behind it; nothing when there is none.
std::optional<double> ParseSide(const char*& from, const char* end) {
  float side = 0;
  const auto [next, error] = std::from_chars(from, end, side);
  if (error != std::errc() || !std::isfinite(side) || side <= 0) return std::nullopt;
  from = next;
  return side;
}

bool IsSame(std::string_view text, std::string_view name) {
  return text.size() == name.size() && strncasecmp(text.data(), name.data(), name.size()) == 0;
}

CoreSizeF SizeOf(double width, double height, double unit) {
  return {static_cast<float>(width * unit), static_cast<float>(height * unit)};
}

std::optional<CoreSizeF> ParseSides(const std::string& text) {
  const char* at = text.data();
  const char* const end = at + text.size();
  const auto width = ParseSide(at, end);
  if (!width || at == end || (*at != 'x' && *at != 'X')) return std::nullopt;
  const auto height = ParseSide(++at, end);
  if (!height) return std::nullopt;
  for (const Unit& unit : kUnits) {
    if (IsSame({at, static_cast<std::size_t>(end - at)}, unit.name))
      return SizeOf(*width, *height, unit.size);
  }
  return std::nullopt;
}

// ISO 216: each size is the one before cut in half across, millimeters rounded down.
std::optional<CoreSizeF> IsoPaper(std::string_view name) {
  if (name.size() < 2 || name.size() > 3) return std::nullopt;
  const bool isA = name[0] == 'A' || name[0] == 'a';
  if (!isA && name[0] != 'B' && name[0] != 'b') return std::nullopt;
  int number = 0;
  const char* const end = name.data() + name.size();
  const auto [behind, error] = std::from_chars(name.data() + 1, end, number);
  if (error != std::errc() || behind != end || number < 0 || number > kSmallestIso) return std::nullopt;
  if (name.size() == 3 && name[1] == '0') return std::nullopt;
  int width = isA ? 841 : 1000;
  int height = isA ? 1189 : 1414;
  for (int i = 0; i < number; ++i) height = std::exchange(width, height / 2);
  return SizeOf(width, height, kUnitsPerMm);
}

std::optional<CoreSizeF> FindPaper(std::string_view name) {
  for (const Paper& paper : kPapers) {
    if (IsSame(name, paper.name)) return SizeOf(paper.width, paper.height, kUnitsPerInch);
  }
  return IsoPaper(name);
}

}  // namespace

std::optional<CoreSizeF> ParsePageSize(const std::string& text) {
  if (const auto size = ParseSides(text)) return size;
  const std::size_t dash = std::min(text.find('-'), text.size());
  auto size = FindPaper(std::string_view(text).substr(0, dash));
  if (!size || dash == text.size()) return size;
  const bool landscape = IsSame(std::string_view(text).substr(dash + 1), "landscape");
  if (!landscape && !IsSame(std::string_view(text).substr(dash + 1), "portrait")) return std::nullopt;
  if (landscape != (size->width > size->height)) std::swap(size->width, size->height);
  return size;
}

std::string PaperNames() {
  std::string names = "A0 to A10, B0 to B10";
  for (const Paper& paper : kPapers) names += std::string(", ") + paper.name;
  return names;
}

}  // namespace jobs
