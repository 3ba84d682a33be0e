// SPDX-License-Identifier: MIT
// One table lists the variables of each scheduler; what they do not tell, the user must. Values that do not
// fit, such as the list 1,7,9, are refused rather than guessed at, since a wrong guess skips jobs in silence.
#include "shard.h"

#include <algorithm>
#include <charconv>
#include <cstdint>

namespace jobs {

namespace {

using Environment = std::function<const char*(const char*)>;

// The variables by which a scheduler tells a task of an array where it stands. An array whose beginning is
// not told starts at `usualFirst`.
struct Scheduler {
  const char* name;
  const char* index;
  const char* first;  // null: not told
  const char* last;   // null: not told
  const char* step;   // null: not told
  const char* count;  // null: told by the others, if at all
  std::uint64_t usualFirst;
  bool alwaysUsual;  // no array starts elsewhere or has a step
};

constexpr Scheduler kSchedulers[] = {
    {"Slurm", "SLURM_ARRAY_TASK_ID", "SLURM_ARRAY_TASK_MIN", "SLURM_ARRAY_TASK_MAX", "SLURM_ARRAY_TASK_STEP",
     "SLURM_ARRAY_TASK_COUNT", 0, false},
    {"SGE", "SGE_TASK_ID", "SGE_TASK_FIRST", "SGE_TASK_LAST", "SGE_TASK_STEPSIZE", nullptr, 1, false},
    {"LSF", "LSB_JOBINDEX", nullptr, "LSB_JOBINDEX_END", "LSB_JOBINDEX_STEP", nullptr, 1, false},
    {"Kubernetes", "JOB_COMPLETION_INDEX", nullptr, nullptr, nullptr, nullptr, 0, true},
    {"PBS", "PBS_ARRAY_INDEX", nullptr, nullptr, nullptr, nullptr, 0, false},
    {"PBS", "PBS_ARRAYID", nullptr, nullptr, nullptr, nullptr, 0, false},
};

// The tasks of an array: first, first + step and so on, up to last.
struct Range {
  std::uint64_t first = 0;
  std::uint64_t last = 0;
  std::uint64_t step = 1;

  std::uint64_t count() const { return (last - first) / step + 1; }
  bool Holds(std::uint64_t index) const {
    return index >= first && index <= last && (index - first) % step == 0;
  }
  std::string text() const {
    return std::to_string(first) + "-" + std::to_string(last) + (step == 1 ? "" : ":" + std::to_string(step));
  }
};

// What the user says of the array.
struct Wanted {
  std::optional<std::uint64_t> count;
  std::optional<Range> range;
};

std::optional<std::uint64_t> ParseCount(const std::string& text) {
  std::uint64_t number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return number;
}

std::optional<std::uint64_t> ReadVariable(const Environment& environment, const char* name) {
  const char* const text = name == nullptr ? nullptr : environment(name);
  if (text == nullptr) return std::nullopt;
  const auto number = ParseCount(text);
  if (!number) throw ShardError(std::string(name) + "='" + text + "' is no number");
  return number;
}

// Whether the task is one of an array: SGE says "undefined" and LSF 0 for one that is not.
bool IsArrayTask(const Scheduler& scheduler, const Environment& environment) {
  const char* const text = environment(scheduler.index);
  if (text == nullptr || *text == '\0' || text == std::string("undefined")) return false;
  return scheduler.name != std::string("LSF") || text != std::string("0");
}

const Scheduler& FindScheduler(const Environment& environment) {
  const Scheduler* found = nullptr;
  for (const Scheduler& scheduler : kSchedulers) {
    if (!IsArrayTask(scheduler, environment)) continue;
    if (found != nullptr) {
      throw ShardError(std::string(found->index) + " and " + scheduler.index +
                       " are both set: say I/N instead of auto");
    }
    found = &scheduler;
  }
  if (found == nullptr) throw ShardError("no task of an array: no variable of a scheduler is set");
  return *found;
}

// What the scheduler's variables tell of the array.
struct Told {
  explicit Told(const Scheduler& scheduler, const Environment& environment)
      : index(*ReadVariable(environment, scheduler.index)),
        first(ReadVariable(environment, scheduler.first)),
        last(ReadVariable(environment, scheduler.last)),
        step(ReadVariable(environment, scheduler.step)),
        count(ReadVariable(environment, scheduler.count)) {}

  std::uint64_t index;
  std::optional<std::uint64_t> first;
  std::optional<std::uint64_t> last;
  std::optional<std::uint64_t> step;
  std::optional<std::uint64_t> count;
};

[[noreturn]] void RefuseCount(const std::string& name, std::uint64_t actual, std::uint64_t said) {
  throw ShardError(name + " has " + std::to_string(actual) + " tasks, not " + std::to_string(said));
}

[[noreturn]] void RefuseOddArray(const std::string& name) {
  throw ShardError(name + ": the array is no range with one step: say I/N instead of auto");
}

// The range that the user gives, which must be that of the scheduler as far as it tells.
Range CheckedRange(const std::string& name, const Told& told, const Range& range) {
  const Range actual{told.first.value_or(range.first), told.last.value_or(range.last),
                     told.step.value_or(range.step)};
  if (actual.first != range.first || actual.last != range.last || actual.step != range.step) {
    throw ShardError(name + " has the array " + actual.text() + ", not " + range.text());
  }
  if (told.count && *told.count != range.count()) RefuseCount(name, *told.count, range.count());
  return range;
}

// The beginning of an array of which only end and step are told.
std::uint64_t FirstOf(const std::string& name, const Told& told, std::uint64_t step, std::uint64_t usualFirst,
                      std::optional<std::uint64_t> count) {
  if (told.index > *told.last || told.index < usualFirst) RefuseOddArray(name);
  if (!count) {
    if ((told.index - usualFirst) % step == 0) return usualFirst;
    throw ShardError(name + ": the array does not start at " + std::to_string(usualFirst) +
                     ": say auto/FIRST-LAST:STEP");
  }
  const std::uint64_t lastTask = *told.last - (*told.last - told.index) % step;
  const std::uint64_t most = (lastTask - usualFirst) / step + 1;
  if (*count > most) RefuseCount(name, most, *count);
  return lastTask - (*count - 1) * step;
}

Range FindRange(const Scheduler& scheduler, const Told& told, const Wanted& wanted, std::string& note) {
  const std::string name = scheduler.name;
  const std::uint64_t step = told.step.value_or(1);
  if (step == 0) RefuseOddArray(name);
  if (wanted.range) return CheckedRange(name, told, *wanted.range);
  if (!told.last) {
    const auto count = told.count ? told.count : wanted.count;
    if (!count) throw ShardError(name + " does not tell how many tasks there are: say auto/N");
    const std::uint64_t first = told.first.value_or(scheduler.usualFirst);
    if (*count - 1 > (UINT64_MAX - first) / step) RefuseOddArray(name);
    const Range range{first, first + (*count - 1) * step, step};
    if (!told.first && !scheduler.alwaysUsual) note = "the array is taken to be " + range.text();
    return range;
  }
  const std::uint64_t first =
      told.first ? *told.first : FirstOf(name, told, step, scheduler.usualFirst, wanted.count);
  if (first > *told.last) RefuseOddArray(name);
  if (!told.first && !wanted.count) note = "the array is taken to start at " + std::to_string(first);
  return {first, *told.last, step};
}

Shard AutoShard(const Environment& environment, const Wanted& wanted, std::string& note) {
  const Scheduler& scheduler = FindScheduler(environment);
  const std::string name = scheduler.name;
  const Told told(scheduler, environment);
  const Range range = FindRange(scheduler, told, wanted, note);
  // A scheduler that tells all of it must agree with itself.
  if (told.count && *told.count != range.count()) RefuseOddArray(name);
  if (!range.Holds(told.index)) {
    if (told.first && !wanted.range) RefuseOddArray(name);
    throw ShardError(name + ": the task " + std::to_string(told.index) + " is none of the array " +
                     range.text());
  }
  if (wanted.count && *wanted.count != range.count()) RefuseCount(name, range.count(), *wanted.count);
  return {(told.index - range.first) / range.step, range.count()};
}

// "FIRST-LAST" or "FIRST-LAST:STEP".
std::optional<Range> ParseRange(const std::string& text) {
  const std::size_t dash = text.find('-');
  if (dash == std::string::npos) return std::nullopt;
  const std::size_t colon = std::min(text.find(':', dash), text.size());
  const auto first = ParseCount(text.substr(0, dash));
  const auto last = ParseCount(text.substr(dash + 1, colon - dash - 1));
  const auto step =
      colon == text.size() ? std::optional<std::uint64_t>(1) : ParseCount(text.substr(colon + 1));
  if (!first || !last || !step || *step == 0 || *first > *last) return std::nullopt;
  return Range{*first, *last, *step};
}

}  // namespace

bool Shard::Holds(const std::string& id) const {
  std::uint64_t hash = 0xcbf29ce484222325;  // FNV-1a
  for (const char c : id) hash = (hash ^ static_cast<unsigned char>(c)) * 0x100000001b3;
  return hash % count == index;
}

Shard ParseShard(const std::string& text, const Environment& environment, std::string* note) {
  const std::size_t slash = text.find('/');
  const std::string left = text.substr(0, slash);
  const std::string right = slash == std::string::npos ? "" : text.substr(slash + 1);
  const auto count = ParseCount(right);
  const bool isCounted = count && *count != 0;
  const auto range = ParseRange(right);
  std::string ignored;
  if (left == "auto" && (slash == std::string::npos || isCounted || range)) {
    return AutoShard(environment, {count, range}, note == nullptr ? ignored : *note);
  }
  const auto index = ParseCount(left);
  if (!index || !isCounted || *index >= *count) {
    throw ShardError("'" + text +
                     "' is not I/N with I from 0 to N - 1, auto, auto/N or auto/FIRST-LAST:STEP");
  }
  return {*index, *count};
}

}  // namespace jobs
