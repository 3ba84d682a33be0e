// SPDX-License-Identifier: MIT
// Results as lines, and files of them.
#include "jobs/result.h"
#include "jobs/error.h"
#include "jobs/results_file.h"
#include "jobs/wire.h"

#include "failing_call.h"
#include "scratch_files.h"

#include <gtest/gtest.h>
#include <sys/resource.h>

#include <csignal>
#include <fstream>
#include <iterator>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace {

using jobs::FailureKind;
using jobs::JobResult;
using jobs::JobState;

JobResult Full() {
  JobResult result;
  result.id = "a\"b";
  result.state = JobState::kFailed;
  result.output = "x/y.png";
  result.bytes = 18446744073709551615U;
  result.jobHash = std::string(64, 'a');
  result.outputHash = std::string(64, 'b');
  result.seconds = 1.25;
  result.attempts = 2;
  result.worker = 7;
  result.kind = FailureKind::kOutput;
  result.message = "no room";
  result.warnings = {"one", "two \xE5\xAE\x8B"};
  result.hits = {{true, false, true}};
  return result;
}

TEST(ResultLine, HoldsEverything) {
  EXPECT_EQ(ToJsonLine(Full()),
            R"({"id":"a\"b","state":"failed","output":"x/y.png","bytes":18446744073709551615,"jobSha256":")" +
                std::string(64, 'a') + R"(","outputSha256":")" + std::string(64, 'b') +
                R"(","hits":[true,false,true],"seconds":1.250000,"attempts":2,"worker":7,"kind":"output",)" +
                "\"message\":\"no room\",\"warnings\":[\"one\",\"two \xE5\xAE\x8B\"]}\n");
  EXPECT_EQ(ToJsonLine(JobResult()), R"({"id":"","state":"done","seconds":0.000000,"attempts":1,"worker":0})"
                                     "\n");
  JobResult none;
  none.hits.emplace();
  EXPECT_EQ(ToJsonLine(none),
            R"({"id":"","state":"done","hits":[],"seconds":0.000000,"attempts":1,"worker":0})"
            "\n");
}

TEST(ResultLine, BytesThatAreNoTextComeBack) {
  JobResult result;
  result.state = JobState::kFailed;
  result.kind = FailureKind::kInput;
  // What is no UTF-8, and what an escape of half a character leaves.
  result.message = "ma\xA2 \xFF\x80: \xE5\xAE\x8B \xED\xB2\xA2 \xED";
  result.output = "\x9A.png";
  result.warnings = {"\xC3"};
  const std::string line = ToJsonLine(result);
  EXPECT_NE(line.find(R"("message":"ma\udca2 )"), std::string::npos) << line;
  const auto again = jobs::ParseResultLine(line.substr(0, line.size() - 1));
  ASSERT_TRUE(again.has_value());
  EXPECT_EQ(again->message, result.message);
  EXPECT_EQ(again->output, result.output);
  EXPECT_EQ(again->warnings, result.warnings);
  EXPECT_EQ(ToJsonLine(*again), line);
}

TEST(ResultLine, CarriesAnOutputAsBase64) {
  JobResult result;
  result.id = "a";
  result.output = "x";
  result.bytes = 4;
  result.content = std::string("\0\xFF\n\"", 4);
  const std::string line = ToJsonLine(result);
  EXPECT_NE(line.find(R"("bytes":4,"outputBase64":"AP8KIg==",)"), std::string::npos) << line;
  const std::optional<JobResult> back = jobs::ParseResultLine(line);
  ASSERT_TRUE(back);
  EXPECT_EQ(back->content, result.content);
  EXPECT_FALSE(jobs::ParseResultLine(ToJsonLine(JobResult()))->content);
  // Of no bytes at all.
  result.content = "";
  EXPECT_EQ(jobs::ParseResultLine(ToJsonLine(result))->content, "");
}

TEST(ResultLine, ComesBackAsItWas) {
  const JobResult full = Full();
  const std::optional<JobResult> back = jobs::ParseResultLine(ToJsonLine(full));
  ASSERT_TRUE(back);
  EXPECT_EQ(back->id, full.id);
  EXPECT_EQ(back->state, full.state);
  EXPECT_EQ(back->output, full.output);
  EXPECT_EQ(back->bytes, full.bytes);
  EXPECT_EQ(back->jobHash, full.jobHash);
  EXPECT_EQ(back->outputHash, full.outputHash);
  EXPECT_EQ(back->seconds, full.seconds);
  EXPECT_EQ(back->attempts, full.attempts);
  EXPECT_EQ(back->worker, full.worker);
  EXPECT_EQ(back->kind, full.kind);
  EXPECT_EQ(back->message, full.message);
  EXPECT_EQ(back->warnings, full.warnings);
  EXPECT_EQ(back->hits, full.hits);
  for (int state = 0; state < 4; ++state) {
    for (int kind = 0; kind < 6; ++kind) {
      JobResult result;
      result.state = static_cast<JobState>(state);
      result.kind = static_cast<FailureKind>(kind);
      const std::optional<JobResult> again = jobs::ParseResultLine(ToJsonLine(result));
      ASSERT_TRUE(again);
      EXPECT_EQ(again->state, result.state);
      EXPECT_EQ(again->kind, result.kind);
      EXPECT_EQ(ToJsonLine(*again), ToJsonLine(result));
    }
  }
}

TEST(ResultLine, WhatIsMissingIsAsInAFreshResult) {
  const std::optional<JobResult> result = jobs::ParseResultLine(R"({"id":"a","state":"done"})");
  ASSERT_TRUE(result);
  JobResult fresh;
  fresh.id = "a";
  EXPECT_EQ(ToJsonLine(*result), ToJsonLine(fresh));
  EXPECT_EQ(result->bytes, 0u);
  EXPECT_FALSE(result->hits);
  for (const char* line : {"", "{", "{}", "[]", "7", R"({"id":"a"})", R"({"state":"done"})",
                           R"({"id":"a","state":"gone"})", R"({"id":"a","state":"done","kind":"bad"})"}) {
    EXPECT_FALSE(jobs::ParseResultLine(line)) << line;
  }
}

TEST(ResultLine, AnErrorIsAFailureOfItsKind) {
  const std::pair<jobs::ErrorKind, FailureKind> kinds[] = {{jobs::ErrorKind::kInput, FailureKind::kInput},
                                                           {jobs::ErrorKind::kLimit, FailureKind::kLimit},
                                                           {jobs::ErrorKind::kOutput, FailureKind::kOutput}};
  for (const auto& [kind, expected] : kinds) {
    const JobResult result = jobs::FailedResult(jobs::Error(kind, "place", "text"));
    EXPECT_EQ(result.state, JobState::kFailed);
    EXPECT_EQ(result.kind, expected);
    EXPECT_EQ(result.message, "place: text");
  }
}

TEST(ResultLine, HasNamesOfAnyBytesAndComesBack) {
  JobResult result;
  result.id = "a/\"\\\n\x01\xC3\xA9";
  result.output = "x\xFF.png";
  result.bytes = 5000000000;
  result.jobHash = "ab";
  result.outputHash = "cd";
  result.seconds = 0.25;
  result.worker = 2;
  result.warnings = {"w1", "w2"};
  EXPECT_EQ(
      ToJsonLine(result),
      "{\"id\":\"a/\\\"\\\\\\u000a\\u0001\xC3\xA9\",\"state\":\"done\",\"output\":\"x\\udcff.png\",\"bytes\":"
      "5000000000,\"jobSha256\":\"ab\",\"outputSha256\":\"cd\",\"seconds\":0.250000,\"attempts\":1,"
      "\"worker\":2,"
      "\"warnings\":[\"w1\",\"w2\"]}\n");
  result.output.clear();
  result.state = JobState::kQuarantined;
  result.kind = FailureKind::kCrash;
  result.message = "m";
  result.hits = std::vector<bool>{true, false};
  const auto back = jobs::ParseResultLine(ToJsonLine(result));
  ASSERT_TRUE(back);
  EXPECT_EQ(ToJsonLine(*back), ToJsonLine(result));
  for (const char* text : {"", "{}", "x", "[]", R"({"id": "1"})", R"({"id":"1","state":"odd"})"}) {
    EXPECT_FALSE(jobs::ParseResultLine(text)) << text;
  }
}

// A frame after the other, cut at every byte: none is told before it is whole, and none twice.
TEST(FrameBuffer, FramesAreWholeWhereverTheyAreCut) {
  std::string frames;
  for (const std::string text : {"first", "", "a third one"}) {
    jobs::WireWriter writer;
    writer.Put(text);
    frames += writer.TakeFrame();
  }
  for (std::size_t cut = 0; cut <= frames.size(); ++cut) {
    jobs::FrameBuffer buffer;
    std::vector<std::string> told;
    const auto take = [&](std::size_t from, std::size_t size) {
      buffer.Append(frames.data() + from, size);
      std::string_view message;
      while (buffer.Next(message)) told.emplace_back(jobs::WireReader(message).TakeText());
    };
    take(0, cut);
    take(cut, frames.size() - cut);
    EXPECT_EQ(told, (std::vector<std::string>{"first", "", "a third one"})) << cut;
  }
}

class ResultsFiles : public testing::Test {
 protected:
  std::string Path(const std::string& name = "r.jsonl") const { return scratch_.path() + "/" + name; }
  std::string Read() const {
    std::ifstream in(Path(), std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
  }
  static std::string Line(const std::string& id, JobState state, const std::string& hash = "",
                          std::uint64_t bytes = 0) {
    JobResult result;
    result.id = id;
    result.state = state;
    result.jobHash = hash;
    result.bytes = bytes;
    if (bytes != 0) result.output = id + ".png";
    return ToJsonLine(result);
  }

  ScratchDir scratch_;
};

TEST_F(ResultsFiles, WhatWasDoneIsKnownByItsHashAndSize) {
  const std::string hash = "0123456789abcdeffedcba9876543210" + std::string(32, '7');
  jobs::ResultsFile file(Path());
  file.Append(Line("done", JobState::kDone, hash, 77) + Line("failed", JobState::kFailed, hash, 5) +
              Line("skipped", JobState::kSkipped, hash, 6) + Line("bare", JobState::kDone));
  file.Append(Line("more", JobState::kDone, hash, 99));
  jobs::IdIndex index;
  file.ReadInto(index);
  EXPECT_EQ(jobs::UnpackHash(index.Find("done").jobHash), hash.substr(0, 32));
  EXPECT_EQ(index.Find("done").number, 77u);
  EXPECT_EQ(index.Find("more").number, 99u);
  EXPECT_EQ(jobs::UnpackHash(index.Find("bare").jobHash), std::string(32, '0'));
  for (const char* id : {"failed", "skipped", "none"}) {
    EXPECT_EQ(jobs::UnpackHash(index.Find(id).jobHash), std::string(32, '0')) << id;
    EXPECT_EQ(index.Find(id).number, 0u) << id;
  }
}

TEST_F(ResultsFiles, TheLaterOfTwoThatWereDoneCounts) {
  jobs::ResultsFile file(Path());
  file.Append(Line("a", JobState::kDone, std::string(32, '1'), 1) +
              Line("a", JobState::kDone, std::string(32, '2'), 2) + Line("a", JobState::kFailed));
  jobs::IdIndex index;
  file.ReadInto(index);
  EXPECT_EQ(index.Find("a").number, 2u);
}

// A file that may not grow takes the front of what is written and then nothing.
TEST_F(ResultsFiles, WhatCannotBeWrittenWholeIsTakenBack) {
  const std::string line = Line("a", JobState::kDone);
  WithoutCall({SYS_getpriority, EPERM}, [&] {  // a child of its own, whose limits are nobody else's
    std::signal(SIGXFSZ, SIG_IGN);
    jobs::ResultsFile file(Path());
    file.Append(line);
    const rlimit limit = {line.size() + 10, line.size() + 10};
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
    EXPECT_EQ(FailureOf([&] { file.Append(line + line); }), Path() + ": cannot write: File too large");
    EXPECT_EQ(Read(), line);
  });
  EXPECT_EQ(Read(), line);
}

TEST_F(ResultsFiles, LongLinesAreWrittenWhole) {
  const std::string text = Line(std::string(3000000, 'x'), JobState::kDone) + Line("b", JobState::kDone);
  jobs::ResultsFile file(Path());
  file.Append(text);
  file.Append("");
  EXPECT_TRUE(Read() == text);
}

TEST_F(ResultsFiles, FilesThatCannotBeUsedAreTold) {
  EXPECT_EQ(FailureOf([] { jobs::ResultsFile("/no/such/folder/r"); }),
            "/no/such/folder/r: cannot open the file: No such file or directory");
  EXPECT_EQ(FailureOf([] { jobs::ResultsFile("/dev/full"); }), "/dev/full: no regular file");
  EXPECT_EQ(FailureOf([] { jobs::MergeResults({"/no/such/r"}, [](const std::string&) {}); }),
            "/no/such/r: cannot open the file: No such file or directory");
  EXPECT_EQ(FailureOf([this] { jobs::ResultsFile(Path()).Append(""); }), "");
  WithoutCall({SYS_flock, ENOLCK}, [this] {
    EXPECT_EQ(FailureOf([this] { jobs::ResultsFile file(Path()); }),
              Path() + ": cannot lock the file: No locks available");
  });
  std::ofstream(Path()) << "{\"id\":\"cut";
  WithoutCall({SYS_ftruncate, EPERM}, [this] {
    EXPECT_EQ(FailureOf([this] { jobs::ResultsFile file(Path()); }),
              Path() + ": cannot cut off the last line: Operation not permitted");
  });
}

TEST_F(ResultsFiles, StandardInputMayBeClosed) {
  const std::string line = Line("a", JobState::kDone);
  WithoutCall({SYS_getpriority, EPERM}, [&] {
    close(STDIN_FILENO);
    {
      jobs::ResultsFile file(Path());
      file.Append(line);
    }
    std::string merged;
    jobs::MergeResults({Path()}, [&merged](const std::string& each) { merged += each; });
    EXPECT_EQ(merged, line);
  });
}

// Done tells more than failed, and that more than skipped; of equals the last counts.
TEST_F(ResultsFiles, MergedTheStateThatTellsMoreCounts) {
  const JobState states[] = {JobState::kDone, JobState::kFailed, JobState::kQuarantined, JobState::kSkipped};
  const auto rank = [](JobState state) {
    return state == JobState::kDone ? 2 : state == JobState::kSkipped ? 0 : 1;
  };
  for (const JobState first : states) {
    for (const JobState second : states) {
      std::ofstream(Path("1")) << Line("a", first, "1");
      std::ofstream(Path("2")) << Line("a", second, "2") << Line("b", first);
      std::string merged;
      jobs::MergeResults({Path("1"), Path("2")}, [&merged](const std::string& each) { merged += each; });
      const std::string kept = rank(second) >= rank(first) ? Line("a", second, "2") : Line("a", first, "1");
      EXPECT_EQ(merged, kept + Line("b", first));
    }
  }
}

}  // namespace
