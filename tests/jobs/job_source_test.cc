// SPDX-License-Identifier: MIT
// Where jobs come from: lines of JSON, records of CSV, pipes that bring them in pieces; and what ends a run.
#include "jobs/job_source.h"
#include "jobs/error.h"
#include "jobs/selected_source.h"
#include "jobs/stop_request.h"

#include "scratch_dir.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <fstream>
#include <string>
#include <vector>

namespace {

// The jobs of a text, each as "id=text" or "id!message".
std::vector<std::string> JobsOf(const std::string& text, jobs::FileSource::Format format,
                                const std::string& jobTemplate = "") {
  const ScratchDir scratch;
  std::ofstream(scratch.path() + "/jobs", std::ios::binary) << text;
  const jobs::OpenDescriptor file(open((scratch.path() + "/jobs").c_str(), O_RDONLY | O_CLOEXEC));
  jobs::FileSource source(file.get(), "jobs", jobTemplate, format);
  std::vector<std::string> found;
  while (const auto job = source.Next()) {
    found.push_back(job->id + (job->refused ? "!" + job->refused->message : "=" + job->text));
  }
  return found;
}

// Neither as a job that is refused, nor again and again.
TEST(JobSource, AnInputThatCannotBeReadFailsTheRun) {
  const ScratchDir scratch;
  const jobs::OpenDescriptor folder(open(scratch.path().c_str(), O_RDONLY | O_CLOEXEC));
  for (const auto format : {jobs::FileSource::Format::kJsonLines, jobs::FileSource::Format::kCsv}) {
    EXPECT_THROW(
        {
          jobs::FileSource source(folder.get(), "jobs", "", format);
          [[maybe_unused]] const auto job = source.Next();
        },
        jobs::Error);
  }
}

TEST(JobSource, EveryLineIsAJobOrAFailure) {
  using Format = jobs::FileSource::Format;
  EXPECT_EQ(JobsOf("{\"id\": \"a\"}\r\n\n  \n{\"x\": 1}\n{\"id\": 5}\n[\n{\"id\": \"\"}\n{\"id\": \"last\"}",
                   Format::kJsonLines),
            (std::vector<std::string>{"a={\"id\": \"a\"}\r", "line 4={\"x\": 1}", "line 5={\"id\": 5}",
                                      "line 6!jobs:6:2: the text ends inside an array: a value is expected",
                                      "line 7!line 7: id: empty", "last={\"id\": \"last\"}"}));
  const std::string longLine = "{\"id\": \"" + std::string(17 << 20, 'x') + "\"}\n";
  EXPECT_EQ(JobsOf(longLine + "{\"id\": \"b\"}", Format::kJsonLines),
            (std::vector<std::string>{"line 1!line 1: longer than 16 MiB", "b={\"id\": \"b\"}"}));
}

TEST(JobSource, AnIdIsAnyTextOfUnicode) {
  for (const std::string id :
       {"\u007F", "\u0080", "\u07FF", "\uD7FF", "\uE000", "\uFFFF", "\U00010000", "\U0010FFFF"}) {
    const std::string line = R"({"id": ")" + id + "\"}";
    EXPECT_EQ(JobsOf(line, jobs::FileSource::Format::kJsonLines), std::vector<std::string>{id + "=" + line});
  }
  for (const std::string id : {"\xFF", "\x80", "\xED\xA0\x80", "\xED\xBF\xBF"}) {
    EXPECT_EQ(JobsOf("{\"id\": \"" + id + "\"}", jobs::FileSource::Format::kJsonLines),
              std::vector<std::string>{"line 1!line 1: id: the text is no UTF-8"});
  }
}

TEST(JobSource, TheNameOfAJobWithoutAnIdIsNobodyElses) {
  EXPECT_EQ(JobsOf("{\"id\": \"line 2\"}\n{\"x\": 1}\n{\"id\": \"line two\"}",
                   jobs::FileSource::Format::kJsonLines),
            (std::vector<std::string>{"line 1!line 1: id: 'line 2' is the name of a job without an id",
                                      "line 2={\"x\": 1}", "line two={\"id\": \"line two\"}"}));
}

// A pipe brings a line in pieces, blank ones among them: nobody waits for the rest.
TEST(JobSource, IsReadyWhenAWholeJobIsThere) {
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  jobs::FileSource source(ends[0], "pipe", "", jobs::FileSource::Format::kJsonLines);
  const auto send = [&ends](const std::string& text) {
    ASSERT_EQ(write(ends[1], text.data(), text.size()), static_cast<ssize_t>(text.size()));
  };
  EXPECT_FALSE(source.IsReady());
  send("{\"id\":");
  EXPECT_FALSE(source.IsReady());
  send(" \"a\"}\n\n  \r\n");
  EXPECT_TRUE(source.IsReady());
  EXPECT_EQ(source.Next()->id, "a");
  EXPECT_FALSE(source.IsReady()) << "only blank lines";
  send("\n{\"id\": \"b\"}\n{\"id\"");
  EXPECT_TRUE(source.IsReady());
  const auto job = source.Next();
  EXPECT_EQ(job->id, "b");
  EXPECT_EQ(job->line, 5u);
  EXPECT_FALSE(source.IsReady());
  close(ends[1]);
  EXPECT_TRUE(source.IsReady()) << "the end";
  EXPECT_TRUE(source.Next()->refused);
  EXPECT_FALSE(source.Next());
  close(ends[0]);
}

// Jobs of other shards are passed over without waiting for the next.
TEST(JobSource, IsReadyWhenAJobOfTheShardIsThere) {
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  jobs::FileSource source(ends[0], "pipe", "", jobs::FileSource::Format::kJsonLines);
  jobs::IdIndex index;
  const jobs::Shard shard{1, 2};
  const ScratchDir scratch;
  jobs::SelectedSource selected(source, shard, index, scratch.path(), false);
  int mine = 0;
  for (int i = 0; i < 40; ++i) {
    const std::string id = std::to_string(i);
    const std::string line = "{\"id\": \"" + id + "\"}\n";
    ASSERT_EQ(write(ends[1], line.data(), line.size()), static_cast<ssize_t>(line.size()));
    ASSERT_EQ(selected.IsReady(), shard.Holds(id)) << id;
    if (!shard.Holds(id)) continue;
    ++mine;
    EXPECT_EQ(selected.Next()->id, id);
  }
  EXPECT_GT(mine, 5);
  EXPECT_LT(mine, 35);
  close(ends[1]);
  EXPECT_TRUE(selected.IsReady());
  EXPECT_FALSE(selected.Next());
  close(ends[0]);
}

TEST(StopRequest, GivingUpIsNoCallOfTheUser) {
  jobs::StopRequest stop;
  stop.GiveUp();
  EXPECT_EQ(stop.level(), jobs::StopRequest::kFinish);
  EXPECT_FALSE(stop.raised());
  stop.Raise();
  EXPECT_EQ(stop.level(), jobs::StopRequest::kFinish) << "the first call";
  EXPECT_TRUE(stop.raised());
  stop.Raise();
  EXPECT_EQ(stop.level(), jobs::StopRequest::kNow);
}

TEST(JobSource, CsvByRfc4180) {
  using Format = jobs::FileSource::Format;
  const std::string jobTemplate = R"({"id": "{{n}}", "out": "x"})";
  EXPECT_EQ(JobsOf("\xEF\xBB\xBFn,text\r\n1,plain\r\n2,\"a,\"\"b\"\"\nc\"\r\n\r\n3\n4,\"x\"\n", Format::kCsv,
                   jobTemplate),
            (std::vector<std::string>{
                R"(1={"n":"1","text":"plain"})", R"(2={"n":"2","text":"a,\"b\"\u000ac"})",
                "line 6!jobs, line 6: 1 fields, where the first line names 2", R"(4={"n":"4","text":"x"})"}));
  EXPECT_EQ(JobsOf("n,t\n1,\"open\n2,x\n", Format::kCsv, jobTemplate),
            (std::vector<std::string>{"line 2!jobs, line 2: a quotation mark is never closed"}));
  // Only a mark at the beginning of a field opens it.
  EXPECT_EQ(JobsOf("n,t\n1,6\" pipe\n2,x\n3,\"a\"\"b\"c\n4,\"\"\n5,8\"\n", Format::kCsv, jobTemplate),
            (std::vector<std::string>{R"(1={"n":"1","t":"6\" pipe"})", R"(2={"n":"2","t":"x"})",
                                      R"(3={"n":"3","t":"a\"bc"})", R"(4={"n":"4","t":""})",
                                      R"(5={"n":"5","t":"8\""})"}));
  EXPECT_THROW(JobsOf("", Format::kCsv, jobTemplate), jobs::Error);
  EXPECT_THROW(JobsOf("a,a\n", Format::kCsv, jobTemplate), jobs::Error);
}

}  // namespace
