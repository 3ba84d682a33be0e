// SPDX-License-Identifier: MIT
// Shards, the index of ids and results files: what batches on several machines rest on.
#include "jobs/shard.h"
#include "jobs/error.h"
#include "jobs/id_index.h"
#include "jobs/results_file.h"

#include "scratch_dir.h"

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <map>
#include <string>
#include <vector>

namespace {

using jobs::ParseShard;
using jobs::Shard;

using Variables = std::map<std::string, std::string>;

// "I/N", or what the error says.
std::string ShardOf(const std::string& text, const Variables& variables = {}) {
  try {
    const Shard shard = ParseShard(text, [&variables](const char* name) {
      const auto found = variables.find(name);
      return found == variables.end() ? nullptr : found->second.c_str();
    });
    return std::to_string(shard.index) + "/" + std::to_string(shard.count);
  } catch (const jobs::ShardError& e) {
    return e.what();
  }
}

constexpr char kWrongForm[] = "' is not I/N with I from 0 to N - 1, auto, auto/N or auto/FIRST-LAST:STEP";

TEST(Shard, ByNumber) {
  EXPECT_EQ(ShardOf("0/1"), "0/1");
  EXPECT_EQ(ShardOf("3/4"), "3/4");
  for (const char* text :
       {"4/4", "1/0", "-1/4", "1", "", "/", "a/4", "1/4/", "1/b", "auto/", "auto/0", "auto/x"}) {
    EXPECT_EQ(ShardOf(text), "'" + std::string(text) + kWrongForm);
  }
}

TEST(Shard, OnlyAutoReadsTheEnvironment) {
  const Variables slurm = {{"SLURM_ARRAY_TASK_ID", "2"},
                           {"SLURM_ARRAY_TASK_MIN", "0"},
                           {"SLURM_ARRAY_TASK_MAX", "3"},
                           {"SLURM_ARRAY_TASK_COUNT", "4"}};
  EXPECT_EQ(ShardOf("1/9", slurm), "1/9");
  EXPECT_EQ(ShardOf("auto", slurm), "2/4");
}

TEST(Shard, EveryScheduler) {
  const auto slurm = [](const char* id, const char* min, const char* max, const char* step,
                        const char* count) {
    return Variables{{"SLURM_ARRAY_TASK_ID", id},
                     {"SLURM_ARRAY_TASK_MIN", min},
                     {"SLURM_ARRAY_TASK_MAX", max},
                     {"SLURM_ARRAY_TASK_STEP", step},
                     {"SLURM_ARRAY_TASK_COUNT", count}};
  };
  EXPECT_EQ(ShardOf("auto", slurm("1", "1", "4", "1", "4")), "0/4");
  EXPECT_EQ(ShardOf("auto", slurm("17", "5", "20", "4", "4")), "3/4");
  EXPECT_EQ(ShardOf("auto/4", slurm("17", "5", "20", "4", "4")), "3/4");
  EXPECT_EQ(ShardOf("auto/5", slurm("17", "5", "20", "4", "4")), "Slurm has 4 tasks, not 5");
  const std::string odd = "Slurm: the array is no range with one step: say I/N instead of auto";
  EXPECT_EQ(ShardOf("auto", slurm("7", "1", "9", "1", "3")), odd) << "1,7,9";
  EXPECT_EQ(ShardOf("auto", slurm("6", "5", "20", "4", "4")), odd);
  EXPECT_EQ(ShardOf("auto", slurm("6", "5", "20", "0", "4")), odd);
  const auto sge = [](const char* id) {
    return Variables{
        {"SGE_TASK_ID", id}, {"SGE_TASK_FIRST", "1"}, {"SGE_TASK_LAST", "10"}, {"SGE_TASK_STEPSIZE", "3"}};
  };
  EXPECT_EQ(ShardOf("auto", sge("1")), "0/4");
  EXPECT_EQ(ShardOf("auto", sge("10")), "3/4");
  EXPECT_EQ(ShardOf("auto", sge("undefined")), "no task of an array: no variable of a scheduler is set");
  const auto lsf = [](const char* id) {
    return Variables{{"LSB_JOBINDEX", id}, {"LSB_JOBINDEX_END", "8"}, {"LSB_JOBINDEX_STEP", "1"}};
  };
  EXPECT_EQ(ShardOf("auto", lsf("8")), "7/8");
  EXPECT_EQ(ShardOf("auto", lsf("0")), "no task of an array: no variable of a scheduler is set");
  EXPECT_EQ(ShardOf("auto", {{"JOB_COMPLETION_INDEX", "2"}}),
            "Kubernetes does not tell how many tasks there are: say auto/N");
  EXPECT_EQ(ShardOf("auto/3", {{"JOB_COMPLETION_INDEX", "2"}}), "2/3");
  EXPECT_EQ(ShardOf("auto/2", {{"JOB_COMPLETION_INDEX", "2"}}),
            "Kubernetes: the task 2 is none of the array 0-1");
  EXPECT_EQ(ShardOf("auto/8", {{"PBS_ARRAY_INDEX", "7"}}), "7/8");
  EXPECT_EQ(ShardOf("auto/8", {{"PBS_ARRAYID", "7"}}), "7/8");
  EXPECT_EQ(ShardOf("auto", {}), "no task of an array: no variable of a scheduler is set");
  EXPECT_EQ(ShardOf("auto", {{"SGE_TASK_ID", "1x"}}), "SGE_TASK_ID='1x' is no number");
  EXPECT_EQ(ShardOf("auto/2", {{"SGE_TASK_ID", "1"}, {"PBS_ARRAY_INDEX", "1"}}),
            "SGE_TASK_ID and PBS_ARRAY_INDEX are both set: say I/N instead of auto");
}

// The array of a scheduler that tells neither where it begins nor where it ends.
TEST(Shard, ARangeIsTheOneThatTheSchedulerWasGiven) {
  const auto pbs = [](const char* index) { return Variables{{"PBS_ARRAY_INDEX", index}}; };
  EXPECT_EQ(ShardOf("auto/1-10", pbs("1")), "0/10");
  EXPECT_EQ(ShardOf("auto/1-10", pbs("10")), "9/10");
  EXPECT_EQ(ShardOf("auto/2-9:3", pbs("8")), "2/3");
  EXPECT_EQ(ShardOf("auto/5-5", pbs("5")), "0/1");
  EXPECT_EQ(ShardOf("auto/1-10", pbs("11")), "PBS: the task 11 is none of the array 1-10");
  EXPECT_EQ(ShardOf("auto/2-8:2", pbs("3")), "PBS: the task 3 is none of the array 2-8:2");
  for (const char* text :
       {"auto/-", "auto/1-", "auto/-4", "auto/4-1", "auto/1-4:", "auto/1-4:0", "auto/1-4:x"}) {
    EXPECT_EQ(ShardOf(text, pbs("1")), "'" + std::string(text) + kWrongForm);
  }
  const Variables slurm = {{"SLURM_ARRAY_TASK_ID", "3"},
                           {"SLURM_ARRAY_TASK_MIN", "1"},
                           {"SLURM_ARRAY_TASK_MAX", "4"},
                           {"SLURM_ARRAY_TASK_COUNT", "4"}};
  EXPECT_EQ(ShardOf("auto/1-4", slurm), "2/4");
  EXPECT_EQ(ShardOf("auto/0-4", slurm), "Slurm has the array 1-4, not 0-4");
  EXPECT_EQ(ShardOf("auto/1-5", slurm), "Slurm has the array 1-4, not 1-5");
  EXPECT_EQ(ShardOf("auto/1-4:2", slurm), "Slurm has 4 tasks, not 2");
}

// LSF tells the end and the step of an array, and not where it begins.
TEST(Shard, ArraysOfLsf) {
  const auto lsf = [](const char* index, const char* end, const char* step) {
    return Variables{{"LSB_JOBINDEX", index}, {"LSB_JOBINDEX_END", end}, {"LSB_JOBINDEX_STEP", step}};
  };
  EXPECT_EQ(ShardOf("auto", lsf("4", "9", "3")), "1/3") << "1-9:3";
  EXPECT_EQ(ShardOf("auto", lsf("2", "10", "2")),
            "LSF: the array does not start at 1: say auto/FIRST-LAST:STEP");
  EXPECT_EQ(ShardOf("auto/5", lsf("2", "10", "2")), "0/5") << "2-10:2";
  EXPECT_EQ(ShardOf("auto/6", lsf("5", "10", "1")), "0/6") << "5-10";
  EXPECT_EQ(ShardOf("auto/6", lsf("4", "10", "1")), "LSF: the task 4 is none of the array 5-10");
  EXPECT_EQ(ShardOf("auto/3", lsf("4", "9", "3")), "1/3") << "1-9:3, whose last task is 7";
  EXPECT_EQ(ShardOf("auto/11", lsf("4", "10", "1")), "LSF has 10 tasks, not 11");
  EXPECT_EQ(ShardOf("auto/5-10", lsf("7", "10", "1")), "2/6");
  EXPECT_EQ(ShardOf("auto/5-9", lsf("7", "10", "1")), "LSF has the array 5-10, not 5-9");
}

TEST(Shard, WhatIsTakenForGrantedIsTold) {
  const auto note = [](const std::string& text, const Variables& variables) {
    std::string told;
    [[maybe_unused]] const jobs::Shard shard = jobs::ParseShard(
        text,
        [&variables](const char* name) -> const char* {
          const auto found = variables.find(name);
          return found == variables.end() ? nullptr : found->second.c_str();
        },
        &told);
    return told;
  };
  const Variables lsf = {{"LSB_JOBINDEX", "4"}, {"LSB_JOBINDEX_END", "9"}};
  EXPECT_EQ(note("auto", lsf), "the array is taken to start at 1");
  EXPECT_EQ(note("auto/9", lsf), "");
  EXPECT_EQ(note("auto/8", {{"PBS_ARRAY_INDEX", "7"}}), "the array is taken to be 0-7");
  EXPECT_EQ(note("auto/0-7", {{"PBS_ARRAY_INDEX", "7"}}), "");
  EXPECT_EQ(note("auto/8", {{"JOB_COMPLETION_INDEX", "7"}}), "");
}

TEST(Shard, EveryIdIsInOneShard) {
  // FNV-1a of "a" is 0xaf63dc4c8601ec8c, of "foobar" 0x85944171f73967e8.
  EXPECT_TRUE((Shard{0xaf63dc4c8601ec8c % 7, 7}.Holds("a")));
  EXPECT_TRUE((Shard{0x85944171f73967e8 % 1000, 1000}.Holds("foobar")));
  std::vector<int> sizes(5);
  for (int i = 0; i < 5000; ++i) {
    int holders = 0;
    for (std::uint64_t k = 0; k < 5; ++k) {
      const bool holds = Shard{k, 5}.Holds("job-" + std::to_string(i));
      holders += holds ? 1 : 0;
      sizes[k] += holds ? 1 : 0;
    }
    EXPECT_EQ(holders, 1);
  }
  for (const int size : sizes) EXPECT_NEAR(size, 1000, 150);
}

TEST(IdIndex, HoldsEveryIdThroughItsGrowth) {
  jobs::IdIndex index;
  constexpr std::uint64_t kCount = 20000;
  for (std::uint64_t i = 1; i <= kCount; ++i) {
    jobs::IdIndex::Entry entry = index.Find("id" + std::to_string(i));
    ASSERT_EQ(entry.line, 0u);
    entry.line = i;
    entry.number = 2 * i;
    index.Store(entry);
  }
  for (std::uint64_t i = 1; i <= kCount; ++i) {
    const jobs::IdIndex::Entry entry = index.Find("id" + std::to_string(i));
    ASSERT_EQ(entry.line, i);
    ASSERT_EQ(entry.number, 2 * i);
  }
  EXPECT_EQ(index.Find("other").line, 0u);
}

TEST(IdIndex, HashesAndBack) {
  const std::string digits = "0123456789abcdeffedcba9876543210";
  EXPECT_EQ(jobs::UnpackHash(jobs::PackHash(digits + "rest")), digits);
  EXPECT_EQ(jobs::PackHash("short"), (std::array<std::uint64_t, 2>{}));
}

std::string Line(const std::string& id, jobs::JobState state, const std::string& message) {
  jobs::JobResult result;
  result.id = id;
  result.state = state;
  result.message = message;
  if (state != jobs::JobState::kDone) result.kind = jobs::FailureKind::kInput;
  return ToJsonLine(result);
}

std::string ContentsOf(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), {}};
}

TEST(ResultsFile, ALineThatIsCutIsCutOff) {
  const ScratchDir scratch;
  const std::string path = scratch.path() + "/r.jsonl";
  const std::string whole = Line("a", jobs::JobState::kDone, "");
  for (const std::string& rest :
       {std::string("{"), std::string("{\"id\":\"b"), "{\"id\":\"" + std::string(200000, 'x'),
        std::string(300, '\0'), std::string()}) {
    std::ofstream(path) << whole << rest;
    jobs::ResultsFile file(path);
    EXPECT_EQ(ContentsOf(path), whole);
    jobs::IdIndex index;
    file.ReadInto(index);
    file.Append(whole);
    EXPECT_EQ(ContentsOf(path), whole + whole);
  }
  std::ofstream(path) << "{\"id\":\"a";
  jobs::ResultsFile file(path);
  EXPECT_EQ(ContentsOf(path), "");
}

TEST(ResultsFile, AFileThatWasNamedByMistakeIsLeftAlone) {
  const ScratchDir scratch;
  const std::string path = scratch.path() + "/notes";
  for (const char* text : {"no line feed", "one\ntwo\nthree", "{\"draw\":", "x"}) {
    std::ofstream(path) << text;
    try {
      const jobs::ResultsFile file(path);
      ADD_FAILURE() << text;
    } catch (const jobs::Error& e) {
      EXPECT_EQ(std::string(e.what()), path + ": no file of results: its last line is none");
    }
    EXPECT_EQ(ContentsOf(path), text);
  }
}

TEST(ResultsFile, HasOneWriter) {
  const ScratchDir scratch;
  const std::string path = scratch.path() + "/r.jsonl";
  const jobs::ResultsFile file(path);
  try {
    const jobs::ResultsFile second(path);
    ADD_FAILURE();
  } catch (const jobs::Error& e) {
    EXPECT_EQ(e.what(), path + ": another batch is writing its results there");
  }
  EXPECT_THROW(jobs::ResultsFile("/dev/full"), jobs::Error);
  EXPECT_THROW(jobs::ResultsFile("/no/such/folder/r"), jobs::Error);
}

TEST(ResultsFile, WhatIsNoResultIsNotReadOver) {
  const ScratchDir scratch;
  const std::string path = scratch.path() + "/r.jsonl";
  std::ofstream(path) << Line("a", jobs::JobState::kDone, "") << "{\"other\": 1}\n";
  jobs::ResultsFile file(path);
  jobs::IdIndex index;
  try {
    file.ReadInto(index);
    ADD_FAILURE();
  } catch (const jobs::Error& e) {
    EXPECT_EQ(e.what(), path + ":2: no line of results");
  }
}

TEST(MergeResults, TheLastResultOfEachJobAndDoneBeforeAll) {
  using jobs::JobState;
  const ScratchDir scratch;
  const std::string one = scratch.path() + "/1";
  const std::string two = scratch.path() + "/2";
  std::ofstream(one) << Line("a", JobState::kFailed, "1") << Line("b", JobState::kDone, "2")
                     << Line("c", JobState::kFailed, "3") << Line("d", JobState::kFailed, "4");
  std::ofstream(two) << Line("a", JobState::kDone, "5") << Line("b", JobState::kFailed, "6")
                     << Line("c", JobState::kQuarantined, "7") << "{\"id\": \"cut";
  std::string merged;
  jobs::MergeResults({one, two}, [&merged](const std::string& line) { merged += line; });
  EXPECT_EQ(merged, Line("b", JobState::kDone, "2") + Line("d", JobState::kFailed, "4") +
                        Line("a", JobState::kDone, "5") + Line("c", JobState::kQuarantined, "7"));
}

}  // namespace
