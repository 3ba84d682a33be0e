// SPDX-License-Identifier: MIT
// tovkit batch: what a person and a scheduler see of it.
#include "batch_support.h"

#include <fcntl.h>
#include <gtest/gtest.h>

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
using batch::Jobs;
using batch::LinesOf;
using batch::Member;
using batch::StatesOf;

TEST_F(Batch, TheExampleOfTheReadme) {
  const CommandResult result =
      RunCommand({"batch", TOVKIT_SOURCE_DIR "/examples/labels.jsonl", "--directory", Out(), "--ordered"});
  EXPECT_EQ(result.status, 0) << result.err;
  EXPECT_EQ(result.err, "");
  const std::vector<std::string> lines = LinesOf(result.out);
  ASSERT_EQ(lines.size(), 12u);
  EXPECT_EQ(Member(lines[0], "id"), "label-01");
  for (const std::string& line : lines) EXPECT_EQ(Member(line, "state"), "done") << line;
  EXPECT_EQ(FilesBelow(Out()).size(), 12u);
}

TEST_F(Batch, AJobDrawsWhatTheDrawCommandDraws) {
  std::ofstream(Path("line.json")) << R"([{"Content": "Same"}])";
  ASSERT_EQ(RunCommand({"draw", Path("line.json"), "-o", Path("one.png"), "--size", "90x50", "--dpi", "120",
                        "--background", "#eeeeff"})
                .status,
            0);
  ASSERT_EQ(
      Run({},
          R"({"draw": [{"Content": "Same"}], "size": "90x50", "dpi": 120, "background": "#eeeeff", "out": "one.png"})")
          .status,
      0);
  EXPECT_EQ(ContentsOfPath(Out() + "/one.png"), ContentsOfPath(Path("one.png")));
}

TEST_F(Batch, TemplateAndData) {
  const std::string source = TOVKIT_SOURCE_DIR "/examples/";
  const CommandResult csv = RunCommand({"batch", "--template", source + "label.template.json", "--data",
                                        source + "label.csv", "--directory", Out()});
  EXPECT_EQ(csv.status, 0) << csv.err << csv.out;
  EXPECT_EQ(FilesBelow(Out()).size(), 12u);
  EXPECT_EQ(FilesBelow(Out()).count("labels/0012.png"), 1u);
  std::ofstream(Path("t.json")) << R"({"id": "{{n}}", "draw": {"Content": "{{n}}"}, "out": "j/{{n}}.svg"})";
  const CommandResult json = Run({"--template", Path("t.json"), "--data", "-"},
                                 "{\"n\": \"x\"}\n{\"m\": 1}\n{\"n\": \"../../x\"}\n");
  EXPECT_EQ(json.status, 1);
  EXPECT_EQ(StatesOf(json.out),
            (std::map<std::string, int>{{"x done", 1}, {"line 2 failed", 1}, {"../../x failed", 1}}));
}

TEST_F(Batch, StrangeLinesCostThemselvesOnly) {
  std::string jobs = Jobs(3);
  jobs += "no json\n[]\n" + std::string(200 << 20, 'x') + "\n";
  jobs += R"({"id": "1", "draw": {"Content": "again"}, "out": "again.png"})"
          "\n";
  jobs += R"({"id": "a/../b\u0001\n\"", "draw": {"Content": "x"}, "out": "odd.png"})"
          "\n";
  jobs += R"({"id": "last", "hit": {"path": "M0 0H9V9H0Z", "points": [[0, 0]]}})";
  const CommandResult result = Run({"--ordered", "-j2"}, jobs);
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.err,
            "tovkit: standard input:4:2: a value is expected\n  no json\n   ^\ntovkit: 4 of 9 jobs failed\n");
  const std::vector<std::string> lines = LinesOf(result.out);
  ASSERT_EQ(lines.size(), 9u);
  EXPECT_EQ(Member(lines[3], "message"), "standard input:4:2: a value is expected");
  EXPECT_EQ(Member(lines[4], "message"), "standard input:5:1: an object is expected");
  EXPECT_EQ(Member(lines[5], "message"), "line 6: longer than 16 MiB");
  EXPECT_EQ(Member(lines[5], "kind"), "limit");
  EXPECT_EQ(Member(lines[6], "id"), "line 7");
  EXPECT_NE(lines[6].find(R"("message":"line 7: the id \"1\" is that of line 2 as well")"),
            std::string::npos);
  EXPECT_EQ(lines[7].find(R"({"id":"a/../b\u0001\u000a\"","state":"done")"), 0u) << lines[7];
  EXPECT_NE(lines[8].find("\"hits\":[true]"), std::string::npos);
  EXPECT_EQ(FilesBelow(Out()).size(), 4u);
}

TEST_F(Batch, WhatIsWrongInTheJsonIsToldWithFileLineAndColumn) {
  const std::string jobs = Path("jobs.jsonl");
  std::ofstream(jobs) << R"({"id": "a", "draw": [{"Content": "x"}, 5], "out": "a.png"})"
                      << "\n\n"
                      << R"({"id": "b", "draw": {"Contnt": "x"}, "out": "b.png"})"
                      << "\n{\"out\":}\n";
  const CommandResult told = Run({"--ordered", jobs}, "");
  const std::vector<std::string> lines = LinesOf(told.out);
  ASSERT_EQ(lines.size(), 3U) << told.err;
  EXPECT_EQ(Member(lines[0], "message"), jobs + ":1:40: element 1 is no object");
  EXPECT_NE(lines[1].find(jobs + ":3:22: no text to draw; "), std::string::npos) << lines[1];
  EXPECT_EQ(Member(lines[2], "message"), jobs + ":4:8: a value is expected");
  // The first one to be told, with its line.
  EXPECT_NE(told.err.find("\n  {\"id\": \"a\", \"draw\": [{\"Content\": \"x\"}, 5], \"out\": \"a.png\"}\n  " +
                          std::string(39, ' ') + "^\ntovkit: 3 of 3 jobs failed\n"),
            std::string::npos)
      << told.err;
}

TEST_F(Batch, WhatIsWrongInATemplateIsToldWithFileLineAndColumn) {
  const std::string file = Path("label.json");
  const std::string data = Path("data.jsonl");
  std::ofstream(data) << "{\"n\": \"1\"}\n{\"n\":}\n";
  std::ofstream(file) << "{\"out\": \"{{n}}.png\",\n  \"draw\": {\"Content\": \"{{n}}\",}}";
  const CommandResult broken = Run({"--template", file, "--data", data}, "");
  EXPECT_EQ(broken.status, 1);
  EXPECT_EQ(broken.err, "tovkit: " + file + ":2:31: a member's name, in quotation marks, is expected\n" +
                            "    \"draw\": {\"Content\": \"{{n}}\",}}\n  " + std::string(30, ' ') + "^\n");
  std::ofstream(file) << "\n [5]";
  EXPECT_EQ(Run({"--template", file, "--data", data}, "").err,
            "tovkit: " + file + ":2:2: an object is expected\n   [5]\n   ^\n");
  std::ofstream(file) << "";
  EXPECT_EQ(Run({"--template", file, "--data", data}, "").err,
            "tovkit: " + file + ": empty, where a JSON object is expected\n");
  // What is wrong in the filled job is wrong in the template, and what is wrong in the data there.
  std::ofstream(file) << "{\"out\": \"{{n}}.png\",\n  \"draw\": [{\"Content\": \"{{n}}\"}, 5]}";
  const CommandResult filled = Run({"--ordered", "--template", file, "--data", data}, "");
  const std::vector<std::string> lines = LinesOf(filled.out);
  ASSERT_EQ(lines.size(), 2U) << filled.err;
  EXPECT_EQ(Member(lines[0], "message"), file + ":2:34: element 1 is no object");
  EXPECT_EQ(Member(lines[1], "message"), data + ":2:6: a value is expected");
}

std::string Drawing(const std::string& id, const std::string& out) {
  return R"({"id": ")" + id + R"(", "draw": {"Content": ")" + id + R"("}, "out": ")" + out + "\"}\n";
}

TEST_F(Batch, AnOutputBelongsToTheFirstLineThatNamesIt) {
  const std::string jobs = Drawing("a", "x.svg") + Drawing("b", "y.svg") + Drawing("c", "x.svg") +
                           Drawing("a", "z.svg") + Drawing("d", "z.svg") + Drawing("e", "../x.svg") +
                           R"({"id": "f", "draw": {"Content": "f"}, "out": 7})" + "\n";
  const CommandResult result = Run({"--ordered", "-j2"}, jobs);
  EXPECT_EQ(result.status, 1);
  const std::vector<std::string> lines = LinesOf(result.out);
  ASSERT_EQ(lines.size(), 7u);
  EXPECT_NE(lines[2].find(R"("id":"c","state":"failed")"), std::string::npos) << lines[2];
  EXPECT_NE(lines[2].find(R"("message":"line 3: the output \"x.svg\" is that of line 1 as well")"),
            std::string::npos);
  EXPECT_EQ(Member(lines[2], "kind"), "input");
  EXPECT_NE(lines[4].find(R"(the output \"z.svg\" is that of line 4 as well)"), std::string::npos)
      << "whatever becomes of line 4";
  for (const std::size_t failed : {3, 4, 5, 6}) EXPECT_EQ(Member(lines[failed], "kind"), "input");
  EXPECT_EQ(FilesBelow(Out()).size(), 2u);
  EXPECT_NE(ContentsOfPath(Out() + "/x.svg"), "");

  // Whatever shard the lines belong to, and whatever fills their names.
  std::map<std::string, int> states;
  for (int shard = 0; shard < 4; ++shard) {
    for (const auto& [state, count] : StatesOf(Run({"--shard", std::to_string(shard) + "/4"}, jobs).out))
      states[state] += count;
  }
  EXPECT_EQ(states, StatesOf(result.out));
  std::ofstream(Path("t.json")) << R"({"id": "{{n}}", "draw": {"Content": "{{n}}"}, "out": "{{o}}.svg"})";
  const CommandResult filled =
      Run({"--template", Path("t.json"), "--data", "-", "--ordered"},
          "{\"n\": 1, \"o\": \"p\"}\n{\"n\": 2, \"o\": \"p\"}\n{\"n\": 3}\n{\"n\": 4, \"o\": \"q\"}\n");
  EXPECT_EQ(StatesOf(filled.out),
            (std::map<std::string, int>{{"1 done", 1}, {"2 failed", 1}, {"3 failed", 1}, {"4 done", 1}}));
  EXPECT_NE(filled.out.find("{{o}}: the data have no such value"), std::string::npos);
}

TEST_F(Batch, ShardsDoEachJobOnce) {
  for (int shard = 0; shard < 3; ++shard) {
    const std::string text = std::to_string(shard) + "/3";
    const CommandResult result = Run({"--shard", text, "--results", Path("r.{shard}.jsonl")}, Jobs(60));
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.err, "tovkit: shard " + text + "\n");
  }
  const CommandResult merged =
      RunCommand({"batch", "--merge", Path("r.0.jsonl"), Path("r.1.jsonl"), Path("r.2.jsonl")});
  EXPECT_EQ(merged.status, 0);
  EXPECT_EQ(LinesOf(merged.out).size(), 60u);
  EXPECT_EQ(StatesOf(merged.out).size(), 60u);
  EXPECT_EQ(FilesBelow(Out()).size(), 60u);
}

TEST_F(Batch, AutoReadsTheScheduler) {
  const Environment slurm = {{"SLURM_ARRAY_TASK_ID", "5"},
                             {"SLURM_ARRAY_TASK_MIN", "3"},
                             {"SLURM_ARRAY_TASK_MAX", "5"},
                             {"SLURM_ARRAY_TASK_STEP", "2"},
                             {"SLURM_ARRAY_TASK_COUNT", "2"}};
  const CommandResult result = Run({"--shard", "auto"}, Jobs(10), slurm);
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.err, "tovkit: shard 1/2\n");
  const Environment lsf = {{"LSB_JOBINDEX", "2"}, {"LSB_JOBINDEX_END", "2"}, {"LSB_JOBINDEX_STEP", "1"}};
  EXPECT_EQ(Run({"--shard", "auto"}, Jobs(10), lsf).err,
            "tovkit: shard 1/2; the array is taken to start at 1\n");
  EXPECT_EQ(Run({"--shard", "auto/2-2"}, Jobs(10), lsf).err, "tovkit: shard 0/1\n");
  const CommandResult none = Run({"--shard", "auto"}, Jobs(10));
  EXPECT_EQ(none.status, 2);
  EXPECT_NE(none.err.find("--shard: no task of an array"), std::string::npos);
}

TEST_F(Batch, TheColorsOfWebPages) {
  const CommandResult result =
      Run({}, R"({"draw": {"Content": "x"}, "size": "40x20", "background": "#fff", "out": "a/42.png"})");
  EXPECT_EQ(result.status, 0) << result.out;
}

TEST_F(Batch, Usage) {
  const std::vector<std::vector<std::string>> wrong = {
      {"-j", "0"},    {"--timeout", "0"}, {"--timeout", "x"}, {"--memory", "1M"},
      {"--resume"},   {"--data", "x"},    {"--shard", "1"},   {"--template", "x"},
      {"one", "two"}, {"--merge"},        {"--recycle", "-1"}};
  for (const auto& arguments : wrong) EXPECT_EQ(Run(arguments, "").status, 2) << arguments[0];
  // Such as a variable of a script that is not set.
  for (const char* const option :
       {"--shard", "--results", "--directory", "--input", "--template", "--data", "--font"}) {
    for (const auto& arguments : {std::vector<std::string>{"batch", option, ""},
                                  std::vector<std::string>{"batch", std::string(option) + "="}}) {
      const CommandResult result = RunCommand(arguments, Jobs(1));
      EXPECT_EQ(result.status, 2) << arguments[1];
      EXPECT_EQ(result.out, "") << arguments[1];
    }
    EXPECT_NE(RunCommand({"batch", option, ""}).err.find(": the value is empty"), std::string::npos);
  }
  EXPECT_FALSE(std::filesystem::exists("0/0.png"));
  std::ofstream(Path("r")).close();
  EXPECT_EQ(RunCommand({"batch", "--merge", Path("r"), "--results", Path("all")}).status, 0);
  for (const std::vector<std::string>& more : {std::vector<std::string>{"--resume", "--results", Path("all")},
                                               {"--shard", "0/2"},
                                               {"-j", "2"},
                                               {"--ordered"},
                                               {"--directory", Out()}}) {
    std::vector<std::string> arguments = {"batch", "--merge", Path("r")};
    arguments.insert(arguments.end(), more.begin(), more.end());
    EXPECT_EQ(RunCommand(arguments).status, 2) << more[0];
  }
  EXPECT_EQ(Run({}, "").status, 0) << "no jobs are all done";
  EXPECT_EQ(Run({Path("none")}, "").err, "tovkit: " + Path("none") + ": No such file or directory\n");
}

TEST_F(Batch, ProgressTellsTheSum) {
  const CommandResult result = Run({"--progress"}, Jobs(5) + "x\n");
  EXPECT_EQ(result.err.find("tovkit: 6 jobs, "), 0u) << result.err;
  EXPECT_NE(result.err.find("/s, 1 failed\n"), std::string::npos);
}

TEST_F(Batch, SchemasFitJobsAndResults) {
  const CommandResult result =
      RunCommand({"batch", TOVKIT_SOURCE_DIR "/examples/labels.jsonl", "--directory", Out(), "--report"});
  std::ofstream(Path("results")) << result.out
                                 << Run({}, "x\n{\"hit\": {\"path\": \"M0 0\", \"points\": []}}\n").out;
  std::ofstream(Path("bad"))
      << R"({"draw": {"Content": "x"}})"
         "\n"
      << R"({"draw": {"Content": "x"}, "out": "/x.png"})"
         "\n"
      << R"({"draw": {"Content": "x"}, "out": "a/../x.png"})"
         "\n"
      << R"({"draw": {"Content": "x"}, "out": "x.png", "other": 1})"
         "\n"
      << R"({"image": "a.png", "out": "x.png", "steps": [{"turn": 1}]})"
         "\n"
      << R"({"image": "a.png", "out": "y.png", "steps": [{"resize": "9x9", "filter": "x"}]})"
         "\n"
      << R"({"hit": {"points": []}})"
         "\n";
  EXPECT_EQ(LinesOf(Run({}, ContentsOfPath(Path("bad"))).out).size(), 7u);
  for (const std::string& line : LinesOf(Run({}, ContentsOfPath(Path("bad"))).out)) {
    EXPECT_EQ(Member(line, "kind"), "input") << line;
  }
  std::ofstream(Path("check.py")) << R"(import json, sys, jsonschema
folder, jobs, results, bad = sys.argv[1:]
def validator(name):
    return jsonschema.Draft202012Validator(json.load(open(f"{folder}/{name}.schema.json", encoding="utf-8")))
job, result = validator("job"), validator("result")
for line in open(jobs, encoding="utf-8"): job.validate(json.loads(line))
for line in open(results, encoding="utf-8"): result.validate(json.loads(line))
for line in open(bad, encoding="utf-8"): assert not job.is_valid(json.loads(line)), line
)";
  const std::string line = "/usr/bin/python3 '" + Path("check.py") +
                           "' '" TOVKIT_SOURCE_DIR "/share/tovkit' '" TOVKIT_SOURCE_DIR
                           "/examples/labels.jsonl' '" +
                           Path("results") + "' '" + Path("bad") + "'";
  EXPECT_EQ(std::system(line.c_str()), 0);
}

}  // namespace
