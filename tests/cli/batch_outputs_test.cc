// SPDX-License-Identifier: MIT
// What lies in the folder of outputs: one file for each job that is done, whatever names lead to it, and
// nothing of a job whose result a kill has taken.
#include "batch_support.h"
#include "document_facts.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <string>
#include <vector>

namespace {

using batch::Batch;
using batch::ContentsOfPath;
using batch::FilesBelow;
using batch::LinesOf;
using batch::Member;
using batch::StatesOf;

namespace fs = std::filesystem;

using Files = std::map<std::string, std::string>;
using States = std::map<std::string, int>;

std::string Drawing(const std::string& id, const std::string& out, const std::string& more = "") {
  return R"({"id": ")" + id + R"(", "draw": {"Content": ")" + id + R"("}, "out": ")" + out + "\"" + more +
         "}\n";
}

std::string Conversion(const std::string& id, const std::string& out) {
  return R"({"id": ")" + id + R"(", "image": ")" + id + R"(.bmp", "out": ")" + out + "\"}\n";
}

class BatchOutputs : public Batch {
 protected:
  BatchOutputs() { fs::create_directory(Path("in")); }

  void GiveInput(const std::string& id) const {
    fs::copy_file(TOVKIT_SOURCE_DIR "/tests/data/images/run4.bmp", Path("in/" + id + ".bmp"));
  }

  CommandResult Resume(const std::string& jobs) const {
    return Run({"--input", Path("in"), "--results", Path("r.jsonl"), "--resume", "--ordered"}, jobs);
  }

  // Takes the last line of the results, as a kill does that comes before it is written.
  void LoseLastResult() const {
    std::vector<std::string> lines = LinesOf(ContentsOfPath(Path("r.jsonl")));
    lines.pop_back();
    std::ofstream out(Path("r.jsonl"));
    for (const std::string& line : lines) out << line << '\n';
  }
};

TEST_F(BatchOutputs, WhatAKilledRunLeftOfAJobThatFailsIsRemoved) {
  GiveInput("a");
  GiveInput("b");
  const std::string jobs = Conversion("a", "a.png") + Conversion("b", "deep/b.png");
  ASSERT_EQ(Resume(jobs).status, 0);
  LoseLastResult();
  fs::remove(Path("in/b.bmp"));
  const CommandResult result = Resume(jobs);
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(StatesOf(ContentsOfPath(Path("r.jsonl"))), (States{{"a done", 1}, {"b failed", 1}}));
  EXPECT_EQ(FilesBelow(Out()).size(), 1u);
  EXPECT_TRUE(fs::exists(Out() + "/a.png"));
  GiveInput("b");
  EXPECT_EQ(Resume(jobs).status, 0);
  EXPECT_EQ(FilesBelow(Out()).size(), 2u);
}

// Only a run that was killed can have left an output without a result.
TEST_F(BatchOutputs, AFileThatNoRunHasLeftStays) {
  std::ofstream(Out() + "/b.png") << "mine";
  EXPECT_EQ(Resume(Conversion("b", "b.png")).status, 1);
  EXPECT_EQ(Run({"--input", Path("in")}, Conversion("b", "b.png")).status, 1);
  EXPECT_EQ(FilesBelow(Out()), (Files{{"b.png", "mine"}}));
}

TEST_F(BatchOutputs, TheOutputOfAnEarlierResultStaysWhenTheJobHasChangedAndFails) {
  ASSERT_EQ(Resume(Drawing("a", "a.png") + Drawing("b", "b.png")).status, 0);
  const Files before = FilesBelow(Out());
  const std::string changed = Conversion("a", "a.png") + Conversion("b", "b.png");
  EXPECT_EQ(Resume(changed).status, 1);
  EXPECT_EQ(FilesBelow(Out()), before) << "the last results that say done tell of them";
  // A kill came between the output of the changed job and its result.
  GiveInput("b");
  ASSERT_EQ(Resume(changed).status, 1);
  LoseLastResult();
  fs::remove(Path("in/b.bmp"));
  EXPECT_EQ(Resume(changed).status, 1);
  EXPECT_EQ(FilesBelow(Out()), (Files{{"a.png", before.at("a.png")}})) << "no result tells of these bytes";
}

TEST_F(BatchOutputs, ATemporaryFileThatAKilledRunHasLeftIsRemovedWithTheFailure) {
  GiveInput("b");
  ASSERT_EQ(Resume(Conversion("b", "b.png")).status, 0);
  // Made by the same rule as the worker's, for the name b.png.
  std::uint64_t hash = 0xcbf29ce484222325;
  for (const char c : std::string("b.png")) hash = (hash ^ static_cast<unsigned char>(c)) * 0x100000001b3;
  char name[60];
  std::snprintf(name, sizeof name, "/.tovkit-%016jx-0", static_cast<std::uintmax_t>(hash));
  fs::rename(Out() + "/b.png", Out() + name);
  LoseLastResult();
  fs::remove(Path("in/b.bmp"));
  EXPECT_EQ(Resume(Conversion("b", "b.png")).status, 1);
  EXPECT_EQ(FilesBelow(Out()), Files());
}

TEST_F(BatchOutputs, NamesThatLeadToOneFileThroughALinkAreOneOutput) {
  fs::create_directory(Out() + "/real");
  fs::create_directory_symlink("real", Out() + "/link");
  const std::string jobs = Drawing("a", "real/x.svg") + Drawing("b", "link/x.svg") +
                           Drawing("c", "link/new/x.svg") + Drawing("d", "real/new/x.svg") +
                           Drawing("e", "link/new/y.svg");
  const States expected = {{"a done", 1}, {"b failed", 1}, {"c done", 1}, {"d failed", 1}, {"e done", 1}};
  const CommandResult result = Run({"--ordered"}, jobs);
  EXPECT_EQ(StatesOf(result.out), expected);
  const std::vector<std::string> lines = LinesOf(result.out);
  ASSERT_EQ(lines.size(), 5u);
  EXPECT_NE(lines[1].find(R"(line 2: the output \"link/x.svg\" is that of line 1 as well)"),
            std::string::npos)
      << lines[1];
  EXPECT_NE(lines[3].find(R"(line 4: the output \"real/new/x.svg\" is that of line 3 as well)"),
            std::string::npos);
  States sharded;
  for (const char* const shard : {"0/2", "1/2"}) {
    for (const auto& [state, count] : StatesOf(Run({"--shard", shard}, jobs).out)) sharded[state] += count;
  }
  EXPECT_EQ(sharded, expected);
}

TEST_F(BatchOutputs, NamesOfTemporaryFilesAreRefused) {
  const std::string png = R"(, "format": "png")";
  const CommandResult result =
      Run({"--ordered"}, Drawing("a", ".tovkit-0123456789abcdef-0", png) + Drawing("b", "d/.tovkit-x.png") +
                             Drawing("c", ".tovkit.png"));
  const std::vector<std::string> lines = LinesOf(result.out);
  ASSERT_EQ(lines.size(), 3u);
  EXPECT_EQ(Member(lines[0], "message"),
            ".tovkit-0123456789abcdef-0: names that begin with .tovkit- are kept for temporary files");
  EXPECT_EQ(Member(lines[0], "kind"), "output");
  EXPECT_EQ(Member(lines[1], "state"), "failed");
  EXPECT_EQ(Member(lines[2], "state"), "done");
  EXPECT_EQ(FilesBelow(Out()).size(), 1u);
}

TEST_F(BatchOutputs, NoOutputTakesThePlaceOfAFileThatTheBatchUses) {
  const std::string png = R"(, "format": "png")";
  const std::string jobs = Drawing("results", "r.jsonl", png) + Drawing("jobs", "jobs.jsonl", png) +
                           Drawing("linked", "link/r.jsonl", png) + Drawing("free", "free.png");
  fs::create_directory_symlink(".", Out() + "/link");
  std::ofstream(Out() + "/jobs.jsonl") << jobs;
  for (int turn = 0; turn < 2; ++turn) {
    EXPECT_EQ(RunCommand({"batch", Out() + "/jobs.jsonl", "--directory", Out(), "--results",
                          Out() + "/r.jsonl", "--resume"})
                  .status,
              1);
    EXPECT_EQ(ContentsOfPath(Out() + "/jobs.jsonl"), jobs);
  }
  const std::string results = ContentsOfPath(Out() + "/r.jsonl");
  EXPECT_EQ(StatesOf(results),
            (States{{"results failed", 2}, {"jobs failed", 2}, {"linked failed", 2}, {"free done", 1}}));
  EXPECT_NE(results.find(R"("kind":"output","message":"r.jsonl: the batch writes its results there")"),
            std::string::npos)
      << results;
  EXPECT_NE(results.find(R"("kind":"output","message":"jobs.jsonl: the batch reads this file")"),
            std::string::npos);
  EXPECT_EQ(FilesBelow(Out()).size(), 3u);
}

TEST_F(BatchOutputs, ATemplateInTheFolderIsNoOutput) {
  const std::string text = R"({"id": "{{n}}", "draw": {"Content": "x"}, "format": "png", "out": "{{n}}"})";
  std::ofstream(Out() + "/t.json") << text;
  std::ofstream(Path("data")) << "{\"n\": \"t.json\"}\n{\"n\": \"r\"}\n{\"n\": \"free\"}\n";
  const std::string line = std::string(TOVKIT_COMMAND) + " batch --template " + Out() + "/t.json --data " +
                           Path("data") + " --directory " + Out() + " > " + Out() + "/r";
  EXPECT_EQ(WEXITSTATUS(std::system((line + " 2>/dev/null").c_str())), 1);
  EXPECT_EQ(ContentsOfPath(Out() + "/t.json"), text);
  EXPECT_EQ(StatesOf(ContentsOfPath(Out() + "/r")),
            (States{{"t.json failed", 1}, {"r failed", 1}, {"free done", 1}}))
      << "standard output is a file of the folder, too";
}

TEST_F(BatchOutputs, APdfHoldsNoClock) {
  const std::string job = Drawing("a", "a.pdf");
  EXPECT_EQ(Run({}, job).status, 0);
  const std::string first = ContentsOfPath(Out() + "/a.pdf");
  EXPECT_EQ(document::PdfDate(first), "19700101000000Z");
  EXPECT_EQ(Run({}, job, {{"SOURCE_DATE_EPOCH", ""}}).status, 0);
  EXPECT_EQ(ContentsOfPath(Out() + "/a.pdf"), first);
  EXPECT_EQ(Run({}, job, {{"SOURCE_DATE_EPOCH", "86400"}}).status, 0);
  EXPECT_EQ(document::PdfDate(ContentsOfPath(Out() + "/a.pdf")), "19700102000000Z");
}

// An id that is no UTF-8 could not be told in a result and found there again. The name of a file may be any.
TEST_F(BatchOutputs, IdsAreUtf8) {
  const std::string jobs = Drawing("a\xFF", "a.svg") + Drawing("b", "b\xC3.svg") +
                           Drawing("\\udc80", "c.svg") + Drawing("\xC3\xA9 \\ud83d\\ude00", "\xC3\xA9.svg");
  for (int turn = 0; turn < 2; ++turn) EXPECT_EQ(Resume(jobs).status, 1);
  const std::string results = ContentsOfPath(Path("r.jsonl"));
  EXPECT_EQ(
      StatesOf(results),
      (States{
          {"line 1 failed", 2}, {"b done", 1}, {"line 3 failed", 2}, {"\xC3\xA9 \xF0\x9F\x98\x80 done", 1}}));
  EXPECT_EQ(Member(LinesOf(results)[0], "message"), "line 1: id: the text is no UTF-8");
  EXPECT_EQ(Member(LinesOf(results)[0], "kind"), "input");
  EXPECT_EQ(FilesBelow(Out()).size(), 2u);
  EXPECT_TRUE(fs::exists(Out() + "/b\xC3.svg"));
}

}  // namespace
