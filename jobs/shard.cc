// SPDX-License-Identifier: MIT
// One table lists the variables of each scheduler; what they do not tell, the user must. Values that do not
// fit, such as the list 1,7,9, are refused rather than guessed at, since a wrong guess skips jobs in silence.
#include "shard.h"

#include <charconv>
#include <vector>

namespace jobs {

namespace {

using Environment = std::function<const char*(const char*)>;

// The variables by which a scheduler tells a task of an array where it stands.
struct Scheduler {
  const char* name;
  const char* index;
  const char* first;  // null: `firstValue`
  const char* last;   // null: not told
  const char* step;   // null: 1
  const char* count;  // null: told by the others, if at all
  std::uint64_t firstValue;
};

constexpr Scheduler kSchedulers[] = {
    {"Slurm", "SLURM_ARRAY_TASK_ID", "SLURM_ARRAY_TASK_MIN", "SLURM_ARRAY_TASK_MAX", "SLURM_ARRAY_TASK_STEP",
     "SLURM_ARRAY_TASK_COUNT", 0},
    {"SGE", "SGE_TASK_ID", "SGE_TASK_FIRST", "SGE_TASK_LAST", "SGE_TASK_STEPSIZE", nullptr, 1},
    {"LSF", "LSB_JOBINDEX", nullptr, "LSB_JOBINDEX_END", "LSB_JOBINDEX_STEP", nullptr, 1},
    {"Kubernetes", "JOB_COMPLETION_INDEX", nullptr, nullptr, nullptr, nullptr, 0},
    {"PBS", "PBS_ARRAY_INDEX", nullptr, nullptr, nullptr, nullptr, 0},
    {"PBS", "PBS_ARRAYID", nullptr, nullptr, nullptr, nullptr, 0},
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

Shard AutoShard(const Environment& environment, std::optional<std::uint64_t> wanted) {
  const Scheduler& scheduler = FindScheduler(environment);
  const std::uint64_t index = *ReadVariable(environment, scheduler.index);
  const std::uint64_t first = ReadVariable(environment, scheduler.first).value_or(scheduler.firstValue);
  const std::uint64_t step = ReadVariable(environment, scheduler.step).value_or(1);
  const auto last = ReadVariable(environment, scheduler.last);
  const auto told = ReadVariable(environment, scheduler.count);
  const std::string name = scheduler.name;
  if (step == 0 || index < first || (index - first) % step != 0 || (last && *last < index)) {
    throw ShardError(name + ": the array is no range with one step: say I/N instead of auto");
  }
  const auto counted = last ? std::optional((*last - first) / step + 1) : std::nullopt;
  if (told && counted && told != counted) {
    throw ShardError(name + ": the array is no range with one step: say I/N instead of auto");
  }
  const auto count = told ? told : counted;
  if (!count && !wanted) throw ShardError(name + " does not tell how many tasks there are: say auto/N");
  if (count && wanted && count != wanted) {
    throw ShardError(name + " has " + std::to_string(*count) + " tasks, not " + std::to_string(*wanted));
  }
  const Shard shard{(index - first) / step, count ? *count : *wanted};
  if (shard.index >= shard.count) {
    throw ShardError(name + ": the task " + std::to_string(index) + " is beyond 0 to " +
                     std::to_string(shard.count - 1));
  }
  return shard;
}

}  // namespace

bool Shard::Holds(const std::string& id) const {
  std::uint64_t hash = 0xcbf29ce484222325;  // FNV-1a
  for (const char c : id) hash = (hash ^ static_cast<unsigned char>(c)) * 0x100000001b3;
  return hash % count == index;
}

Shard ParseShard(const std::string& text, const Environment& environment) {
  const std::size_t slash = text.find('/');
  const std::string left = text.substr(0, slash);
  const auto count = slash == std::string::npos ? std::nullopt : ParseCount(text.substr(slash + 1));
  const bool isCounted = count && *count != 0;
  if (left == "auto" && (slash == std::string::npos || isCounted)) return AutoShard(environment, count);
  const auto index = ParseCount(left);
  if (!index || !isCounted || *index >= *count) {
    throw ShardError("'" + text + "' is not I/N with I from 0 to N - 1, auto or auto/N");
  }
  return {*index, *count};
}

}  // namespace jobs
