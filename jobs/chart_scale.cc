// SPDX-License-Identifier: MIT
// First the unit, the largest of which the range has at least two; then round steps in that unit.
#include "chart_scale.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace jobs {

namespace {

struct Unit {
  const char* name;
  double size;
};
constexpr Unit kMemoryUnits[] = {
    {"kB", 1}, {"MB", 1024}, {"GB", 1024.0 * 1024}, {"TB", 1024.0 * 1024 * 1024}};
constexpr Unit kTimeUnits[] = {{"s", 1}, {"min", 60}, {"h", 3600}, {"d", 86400}};

constexpr double kTicks = 5;

// The smallest of 1, 2 and 5 times a power of ten that is not below `least`.
double RoundStep(double least) {
  const double power = std::pow(10, std::floor(std::log10(least)));
  for (const double factor : {1.0, 2.0, 5.0}) {
    if (factor * power >= least) return factor * power;
  }
  return 10 * power;
}

// Chooses the largest unit of which the range has at least two.
template <std::size_t count>
ChartScale ScaleOf(const Unit (&units)[count], double most) {
  most = std::max(most, 1.0);
  const Unit* unit = units;
  for (const Unit& larger : units) {
    if (most >= 2 * larger.size) unit = &larger;
  }
  ChartScale scale{unit->name, unit->size};
  scale.step = RoundStep(most / unit->size / kTicks);
  scale.end = std::ceil(most / unit->size / scale.step - 1e-9) * scale.step;
  return scale;
}

}  // namespace

std::string ChartScale::TickText(double units) const {
  const int decimals = std::max(0, static_cast<int>(-std::floor(std::log10(step) + 1e-9)));
  char text[64];
  std::snprintf(text, sizeof text, "%.*f", decimals, units);
  return text;
}

ChartScale MemoryScale(double most) { return ScaleOf(kMemoryUnits, most); }
ChartScale TimeScale(double most) { return ScaleOf(kTimeUnits, most); }

}  // namespace jobs
