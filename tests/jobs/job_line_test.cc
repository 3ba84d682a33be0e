// SPDX-License-Identifier: MIT
// Jobs as lines of JSON: what they make, what they refuse, and where they may write.
#include "jobs/error.h"
#include "jobs/job_kind.h"
#include "jobs/job_runner.h"
#include "jobs/picture_reader.h"
#include "jobs/result.h"
#include "jobs/sha256.h"

#include "scratch_dir.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <new>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using jobs::FailureKind;
using jobs::JobResult;
using jobs::JobRunner;
using jobs::JobState;

namespace fs = std::filesystem;

std::string ContentsOfFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), {}};
}

void Write(const std::string& path, const std::string& text) {
  std::ofstream(path, std::ios::binary) << text;
}

std::string Pixel() { return ContentsOfFile(TOVKIT_SOURCE_DIR "/tests/data/images/run4.bmp"); }

class JobLine : public testing::Test {
 protected:
  JobLine() {
    fs::create_directory(scratch_.path() + "/out");
    fs::create_directory(scratch_.path() + "/in");
  }

  jobs::RunnerOptions Options() const {
    jobs::RunnerOptions options;
    options.directory = Out();
    return options;
  }
  std::string Out() const { return scratch_.path() + "/out"; }
  std::string In() const { return scratch_.path() + "/in"; }

  std::vector<std::string> Files() const {
    std::vector<std::string> names;
    for (const auto& entry : fs::recursive_directory_iterator(Out())) {
      if (!entry.is_directory()) names.push_back(fs::relative(entry.path(), Out()).string());
    }
    return names;
  }

  void ExpectFailure(JobRunner& runner, const std::string& line, FailureKind kind,
                     const std::string& message) {
    const JobResult result = runner.Run(line);
    EXPECT_EQ(result.state, JobState::kFailed) << line;
    EXPECT_STREQ(NameOf(result.kind), NameOf(kind)) << line;
    EXPECT_EQ(result.message, message) << line;
    EXPECT_TRUE(Files().empty()) << line;
  }

  ScratchDir scratch_;
};

TEST_F(JobLine, DrawMakesItsFileAndTellsOfIt) {
  JobRunner runner(Options());
  const JobResult result = runner.Run(
      R"({ "id": "42", "draw": [{"Content": "Ab"}], "size": "400x120", "dpi": 96, "background": "#ff", "out": "a/b/42.png"})");
  ASSERT_EQ(result.state, JobState::kDone) << result.message;
  const std::string bytes = ContentsOfFile(Out() + "/a/b/42.png");
  EXPECT_EQ(result.output, "a/b/42.png");
  EXPECT_EQ(result.bytes, bytes.size());
  EXPECT_EQ(result.outputHash, jobs::Sha256(bytes));
  EXPECT_EQ(
      result.jobHash,
      jobs::Sha256(
          R"({"id":"42","draw":[{"Content":"Ab"}],"size":"400x120","dpi":96,"background":"#ff","out":"a/b/42.png"})"));
  EXPECT_EQ(bytes.substr(1, 3), "PNG");
  EXPECT_EQ(Files(), std::vector<std::string>{"a/b/42.png"});
}

TEST_F(JobLine, AnOutputMayBePartOfItsResultAndNoFile) {
  const char* const line = R"({"id": "42", "draw": {"Content": "Ab"}, "size": "40x12", "out": "a/42.png"})";
  JobRunner files(Options());
  const JobResult written = files.Run(line);
  const std::string bytes = ContentsOfFile(Out() + "/a/42.png");
  fs::remove_all(Out());
  jobs::RunnerOptions options = Options();
  options.inlineLimit = bytes.size();
  JobRunner runner(options);
  const JobResult result = runner.Run(line);
  ASSERT_EQ(result.state, JobState::kDone) << result.message;
  EXPECT_EQ(result.content, bytes);
  EXPECT_EQ(result.output, "a/42.png");
  EXPECT_EQ(result.outputHash, written.outputHash);
  EXPECT_FALSE(written.content);
  EXPECT_FALSE(fs::exists(Out()));
  fs::create_directory(Out());
  options.inlineLimit = bytes.size() - 1;
  JobRunner small(options);
  ExpectFailure(small, line, FailureKind::kLimit,
                "out: the output has " + std::to_string(bytes.size()) + " bytes, of which a result takes " +
                    std::to_string(bytes.size() - 1) + " at most");
  ExpectFailure(runner, R"({"draw": {"Content": "Ab"}, "out": "../a.png"})", FailureKind::kInput,
                files.Run(R"({"draw": {"Content": "Ab"}, "out": "../a.png"})").message);
}

TEST_F(JobLine, FormatMayDifferFromTheExtension) {
  JobRunner runner(Options());
  const JobResult result = runner.Run(R"({"draw": {"Content": "Ab"}, "out": "page", "format": "svg"})");
  ASSERT_EQ(result.state, JobState::kDone) << result.message;
  EXPECT_NE(ContentsOfFile(Out() + "/page").find("<svg"), std::string::npos);
}

TEST_F(JobLine, ImageReadsBelowItsFolderAndStepsThroughIt) {
  Write(In() + "/a.bmp", Pixel());
  jobs::RunnerOptions options = Options();
  options.input = In();
  JobRunner runner(options);
  const JobResult result =
      runner.Run(R"({"image": "a.bmp", "steps": [{"erase": [0,0,1,1]}], "quality": 80, "out": "a.jpg"})");
  ASSERT_EQ(result.state, JobState::kDone) << result.message;
  EXPECT_EQ(ContentsOfFile(Out() + "/a.jpg").substr(0, 2), "\xFF\xD8");
}

TEST_F(JobLine, ImageTakesEveryStepInItsOrder) {
  Write(In() + "/a.bmp", Pixel());
  jobs::RunnerOptions options = Options();
  options.input = In();
  JobRunner runner(options);
  const JobResult result = runner.Run(
      R"({"image": "a.bmp", "steps": [{"upright": true}, {"resize": "40x30"}, {"crop": [0,0,20,10]}, {"resize": "50%"}], "out": "a.png"})");
  ASSERT_EQ(result.state, JobState::kDone) << result.message;
  const auto bytes = ContentsOfFile(Out() + "/a.png");
  const auto picture = jobs::PictureReader(jobs::Input::Memory(bytes, "a.png")).ReadFrame(1);
  EXPECT_EQ(picture->GetWidth(), 10);
  EXPECT_EQ(picture->GetHeight(), 5);
  const auto failure = [&runner](const std::string& step) {
    return runner.Run(R"({"image": "a.bmp", "steps": [)" + step + R"(], "out": "b.png"})").message;
  };
  EXPECT_EQ(failure("{}"), "steps: element 0: no step; there are erase, crop, resize and upright");
  EXPECT_EQ(failure(R"({"turn": 1})"),
            "steps: element 0: no step; there are erase, crop, resize and upright");
  EXPECT_EQ(failure(R"({"upright": true, "crop": [0,0,1,1]})"), "steps: element 0: upright: unknown member");
  EXPECT_EQ(failure(R"({"resize": "big"})"),
            "steps: element 0: resize: 'big' is no size such as 800x600, 800x, x600 or 50%");
  for (const char* const edges : {"0,0,1", "0,0,1,1,1", "\"0\",0,1,1", "0,0.5,1,1", "0,0,null,1",
                                  "0,0,1,2147483648", "-2147483649,0,1,1"}) {
    EXPECT_EQ(failure(R"({"erase": [)" + std::string(edges) + "]}"),
              "steps: element 0: erase: four whole numbers, left, top, right and bottom, are expected")
        << edges;
  }
}

TEST_F(JobLine, ResizeTakesTheFiltersOfTheCommand) {
  Write(In() + "/a.bmp", Pixel());
  jobs::RunnerOptions options = Options();
  options.input = In();
  JobRunner runner(options);
  const auto resized = [&](const std::string& filter) {
    const JobResult result =
        runner.Run(R"({"image": "a.bmp", "steps": [{"resize": "31x17")" + filter + R"(}], "out": "a.png"})");
    EXPECT_EQ(result.state, JobState::kDone) << result.message;
    return result.outputHash;
  };
  std::set<std::string> outputs;
  for (const char* name : {"nearest", "linear", "cubic", "lanczos"}) {
    outputs.insert(resized(std::string(R"(, "filter": ")") + name + '"'));
  }
  EXPECT_EQ(outputs.size(), 4u);
  EXPECT_EQ(resized(""), resized(R"(, "filter": "lanczos")"));
  const auto failure = [&runner](const std::string& step) {
    return runner.Run(R"({"image": "a.bmp", "steps": [)" + step + R"(], "out": "b.png"})").message;
  };
  EXPECT_EQ(failure(R"({"resize": "9x9", "filter": "best"})"),
            "steps: element 0: filter: 'best' is none of nearest, linear, cubic and lanczos");
  EXPECT_EQ(failure(R"({"upright": true, "filter": "cubic"})"), "steps: element 0: filter: unknown member");
}

TEST_F(JobLine, DrawsPagesAndOverPictures) {
  Write(In() + "/a.bmp", Pixel());
  jobs::RunnerOptions options = Options();
  options.input = In();
  JobRunner runner(options);
  const JobResult pages =
      runner.Run(R"({"draw": [[{"Content": "1"}], [{"Content": "2"}]], "size": "A6", "out": "pages.pdf"})");
  ASSERT_EQ(pages.state, JobState::kDone) << pages.message;
  EXPECT_EQ(runner.Run(R"({"draw": [[{"Content": "1"}], [{"Content": "2"}]], "out": "pages.png"})").message,
            "pages.png: takes one page, and there are 2; PDF and TIFF hold several");
  const JobResult over = runner.Run(R"({"draw": {"Content": "1"}, "over": "a.bmp", "out": "over.png"})");
  ASSERT_EQ(over.state, JobState::kDone) << over.message;
  const auto bytes = ContentsOfFile(Out() + "/over.png");
  const auto own = Pixel();
  EXPECT_EQ(jobs::PictureReader(jobs::Input::Memory(bytes, "over")).info().width,
            jobs::PictureReader(jobs::Input::Memory(own, "own")).info().width);
  EXPECT_EQ(runner.Run(R"({"draw": {"Content": "1"}, "over": "../a.bmp", "out": "x.png"})").message,
            "../a.bmp: the name holds . or ..");
  EXPECT_EQ(runner.Run(R"({"draw": {"Content": "1"}, "over": "a.bmp", "out": "x.pdf"})").message,
            "over: only a picture can be drawn on, and the output is none");
  EXPECT_EQ(
      JobRunner(Options()).Run(R"({"draw": {"Content": "1"}, "over": "a.bmp", "out": "x.png"})").message,
      "over: no folder of input files was given");
}

TEST_F(JobLine, EffortIsThatOfTheCommand) {
  Write(In() + "/a.bmp", ContentsOfFile(TOVKIT_SOURCE_DIR "/tests/data/images/run4.bmp"));
  jobs::RunnerOptions options = Options();
  options.input = In();
  JobRunner runner(options);
  for (const std::string kind :
       {R"("draw": {"Content": "effort"}, "size": "300x80")", R"("image": "a.bmp")"}) {
    std::vector<std::uint64_t> sizes;
    for (const std::string effort : {"1", "5", "9"}) {
      const JobResult result = runner.Run("{" + kind + R"(, "effort": )" + effort + R"(, "out": "x.png"})");
      ASSERT_EQ(result.state, JobState::kDone) << result.message;
      sizes.push_back(result.bytes);
    }
    const JobResult without = runner.Run("{" + kind + R"(, "out": "x.png"})");
    EXPECT_EQ(without.bytes, sizes[1]) << kind;
    EXPECT_GE(sizes[0], sizes[2]) << kind;
  }
}

TEST_F(JobLine, HitAnswersInTheResult) {
  JobRunner runner(Options());
  const JobResult result = runner.Run(
      R"({"hit": {"path": "M0 0H10V10H0Z", "points": [[5, 0], [5, 5], [20, 20]], "fill": true, "tolerance": 0.5}})");
  ASSERT_EQ(result.state, JobState::kDone) << result.message;
  EXPECT_EQ(*result.hits, (std::vector<bool>{true, true, false}));
  EXPECT_TRUE(result.output.empty());
}

TEST_F(JobLine, WhatIsNoJobIsToldWithItsPlace) {
  JobRunner runner(Options());
  const struct {
    const char* line;
    const char* message;
  } cases[] = {
      {"", "job: empty, where a JSON object is expected"},
      {"{\"draw\": ", "job:1:10: the text ends inside an object: a value is expected"},
      {"[]", "job:1:1: an object is expected"},
      {"7", "job:1:1: neither an array nor an object"},
      {"{}", "job: no kind of job; there are draw, image, hit"},
      {R"({"id": 7, "draw": {"Content": "x"}, "out": "x.png"})", "id: a string is expected"},
      {R"({"id": "a\u0000b", "draw": {"Content": "x"}, "out": "x.png"})",
       "id: the text holds a NUL character"},
      {R"({"draw": {"Content": "x"}})", "out: missing"},
      {R"({"draw": {"Content": "x"}, "out": "x.png", "color": 1})", "color: unknown member"},
      {R"({"draw": {"Content": "x"}, "out": "x.png", "hit": {}})", "hit: unknown member"},
      {R"({"draw": {"Content": "x"}, "out": "x.png", "dpi": 96, "dpi": 97})", "dpi: the member stands twice"},
      {R"({"draw": {"Content": "x", "Content": "y"}, "out": "x.png"})",
       "draw/Content: the member stands twice"},
      {R"({"draw": [[{"Content": "x"}], [{"Content": "y", "Font": {"Bold": true, "Bold": true}}]], "out": "x.pdf"})",
       "draw/1/0/Font/Bold: the member stands twice"},
      {R"({"draw": {"Content": "x"}, "out": "x.xyz"})", "x.xyz: 'xyz' is no format that can be written"},
      {R"({"draw": {"Content": "x"}, "out": "x.png", "size": "big"})",
       "size: 'big' is no size such as 800x600"},
      {R"({"draw": {"Content": "x"}, "out": "x.png", "dpi": "96"})",
       "dpi: a number from 1 to 4800 is expected"},
      {R"({"draw": {"Content": "x"}, "out": "x.png", "dpi": 0})", "dpi: a number from 1 to 4800 is expected"},
      {R"({"draw": {"Content": "x"}, "out": "x.png", "background": "red"})",
       "background: 'red' is no color: none, #gg, #rgb, #rrggbb, #ccmmyykk, or 1, 3 or 4 numbers from 0 to "
       "255"},
      {R"({"draw": [{}], "out": "x.png"})", "job:1:11: no text to draw; \"Content\" is missing or empty"},
      {R"({"out": "x.png", "draw": 5})", "job:1:26: neither an array nor an object"},
      {R"({"out": "x.png", "draw": [{"Content": "a"}, 7]})", "job:1:45: element 1 is no object"},
      {R"({"out": "x.png", "draw": {"Font": {}, "content": "a"}})",
       "job:1:39: no text to draw; \"content\" is no key of a line; did you mean \"Content\"?"},
      {R"({"draw": {"Content": "x"}, "out": "x.png", "effort": 10})",
       "effort: a whole number from 1 to 9 is expected"},
      {R"({"draw": {"Content": "x"}, "out": "x.pdf", "effort": 5})",
       "effort: there is no choice of it for pdf"},
      {R"({"image": "a.png", "out": "x.jpg", "effort": 5})", "effort: there is no choice of it for jpg"},
      {R"({"draw": {"Content": "x"}, "out": "x.png", "over": "a.png", "size": "9x9"})",
       "size: \"over\" has its own"},
      {R"({"draw": {"Content": "x"}, "out": "x.png", "over": "a.png", "background": "none"})",
       "background: \"over\" has its own"},
      {R"({"image": "a.png", "out": "x.png"})", "image: no folder of input files was given"},
      {R"({"hit": {"path": "M0 0L1", "points": []}})", "path: line 1, column 7: a number is expected"},
      {R"({"hit": {"path": "M0 0", "points": [[1]]}})", "hit: points: element 0 is not [X, Y]"},
      {R"({"hit": {"points": []}})", "hit: one of \"path\" and \"file\" is expected"},
      {R"({"hit": {"path": "M0 0", "points": [], "out": "x"}})", "hit: out: unknown member"},
      {R"({"hit": {"path": "M0 0", "points": []}, "out": "x"})", "out: unknown member"},
  };
  for (const auto& [line, message] : cases) ExpectFailure(runner, line, FailureKind::kInput, message);
  const std::string line = R"({"draw": {"Content": "x"}, "out": "x.png"})";
  ExpectFailure(runner, line + std::string("\0{", 2), FailureKind::kInput,
                "job:1:43: text stands behind a NUL character, which is no JSON");
  ExpectFailure(runner, R"({"draw": {"Content": "x"}, "out": "x.png", "size": "40000x10"})",
                FailureKind::kLimit, "x.png: a page of 40000 x 10 is too large; sides go up to 32767");
}

TEST_F(JobLine, AFailedJobThatWasReadHasItsHash) {
  JobRunner runner(Options());
  const std::string line = R"({"draw":{"Content":"x"},"size":"big","out":"x.png"})";
  EXPECT_EQ(runner.Run(line).jobHash, jobs::Sha256(line));
  EXPECT_EQ(runner.Run("{").jobHash, "");
}

TEST_F(JobLine, WhateverAKindThrowsIsAResult) {
  const std::vector<jobs::JobKind> kinds = {
      {"memory", [](jobs::Members&, jobs::JobBench&, JobResult&) { throw std::bad_alloc(); }, false},
      {"other", [](jobs::Members&, jobs::JobBench&, JobResult&) { throw std::runtime_error("odd"); }, false},
      {"fine", [](jobs::Members&, jobs::JobBench&, JobResult& result) { result.hits = {{true}}; }, false}};
  JobRunner runner(Options(), kinds);
  ExpectFailure(runner, R"({"memory":1})", FailureKind::kLimit, "job: not enough memory");
  ExpectFailure(runner, R"({"other":1})", FailureKind::kInput, "job: odd");
  ExpectFailure(runner, R"({"none":1})", FailureKind::kInput,
                "job: no kind of job; there are memory, other, fine");
  const JobResult fine = runner.Run(R"({"fine":1})");
  EXPECT_EQ(fine.state, JobState::kDone);
  EXPECT_EQ(fine.hits, std::vector<bool>{true});
}

TEST_F(JobLine, FontFilesThatAreNoneAreRefusedAtOnce) {
  const auto failure = [this](const std::string& file) -> std::string {
    jobs::RunnerOptions options = Options();
    options.fonts = {"/usr/share/fonts/truetype/dejavu/DejaVuSansMono.ttf", file};
    try {
      const JobRunner runner(options);
      return "";
    } catch (const jobs::Error& e) {
      return e.what();
    }
  };
  Write(In() + "/a.ttf", "no font");
  EXPECT_EQ(failure("/usr/share/fonts/truetype/dejavu/DejaVuSans.ttf"), "");
  EXPECT_EQ(failure(In() + "/a.ttf"), In() + "/a.ttf: holds no font");
  EXPECT_NE(failure(In() + "/none.ttf").find("none.ttf: "), std::string::npos);
  EXPECT_NE(failure(In() + "/none.ttf").find("No such file or directory"), std::string::npos);
}

TEST_F(JobLine, NoNameLeadsOutOfTheFolder) {
  fs::create_directory_symlink(In(), Out() + "/link");
  fs::create_symlink(In() + "/victim", Out() + "/file.svg");
  fs::create_directory(Out() + "/taken.svg");
  fs::create_directory_symlink("taken.svg", Out() + "/inside");
  Write(In() + "/victim", "kept");
  JobRunner runner(Options());
  const auto failure = [&runner](const std::string& out) {
    const JobResult result =
        runner.Run(R"({"draw": {"Content": "x"}, "format": "svg", "out": ")" + out + "\"}");
    return std::string(NameOf(result.kind)) + ": " + result.message;
  };
  EXPECT_EQ(failure("../x"), "input: ../x: the name holds . or ..");
  EXPECT_EQ(failure("a/../../x"), "input: a/../../x: the name holds . or ..");
  EXPECT_EQ(failure("/tmp/x"), "input: /tmp/x: the name is absolute");
  EXPECT_EQ(failure(""), "input: '': the name is empty");
  EXPECT_EQ(failure("a//x"), "input: a//x: the name has an empty component");
  EXPECT_EQ(failure("a/"), "input: a/: the name has an empty component");
  EXPECT_EQ(failure(std::string(256, 'x')), "input: " + std::string(256, 'x') + ": the name is too long");
  EXPECT_EQ(failure("link/x"), "output: link/x: leads out of the folder");
  EXPECT_EQ(failure("link/sub/x"), "output: link/sub/x: leads out of the folder");
  EXPECT_EQ(failure("file.svg"), "output: file.svg: something that is no regular file stands there");
  EXPECT_EQ(failure("taken.svg"), "output: taken.svg: something that is no regular file stands there");
  EXPECT_EQ(failure("file.svg/x"), "output: file.svg/x: leads out of the folder");
  EXPECT_EQ(failure("inside/x"), ": ") << "a link that stays below is followed";
  EXPECT_EQ(ContentsOfFile(In() + "/victim"), "kept");
  EXPECT_EQ(std::distance(fs::directory_iterator(In()), {}), 1);
  EXPECT_TRUE(fs::exists(Out() + "/taken.svg/x"));
}

TEST_F(JobLine, InputFilesAreBelowTheirFolderToo) {
  Write(scratch_.path() + "/secret.bmp", Pixel());
  fs::create_symlink("../secret.bmp", In() + "/link.bmp");
  mkfifo((In() + "/pipe.bmp").c_str(), 0600);
  jobs::RunnerOptions options = Options();
  options.input = In();
  JobRunner runner(options);
  const auto line = [](const std::string& name) { return R"({"image": ")" + name + R"(", "out": "x.png"})"; };
  ExpectFailure(runner, line("../secret.bmp"), FailureKind::kInput, "../secret.bmp: the name holds . or ..");
  ExpectFailure(runner, line("link.bmp"), FailureKind::kInput, "link.bmp: leads out of the folder");
  ExpectFailure(runner, line("pipe.bmp"), FailureKind::kInput, "pipe.bmp: no regular file");
  ExpectFailure(runner, line("none.bmp"), FailureKind::kInput,
                "none.bmp: cannot open the file: No such file or directory");
}

TEST_F(JobLine, AnEarlierResultHoldsAsLongAsTheOutputIsThere) {
  JobRunner runner(Options());
  const std::string line = R"({"draw": {"Content": "x"}, "out": "x.png"})";
  const JobResult first = runner.Run(line);
  const jobs::EarlierResult earlier{first.jobHash.substr(0, 32), first.bytes};
  const JobResult skipped = runner.Run(line, earlier);
  EXPECT_EQ(skipped.state, JobState::kSkipped);
  EXPECT_EQ(skipped.bytes, first.bytes);
  EXPECT_EQ(runner.Run(R"({"draw": {"Content": "y"}, "out": "x.png"})", earlier).state, JobState::kDone)
      << "another job";
  EXPECT_EQ(runner.Run(line).outputHash, first.outputHash) << "the same bytes again";
  fs::resize_file(Out() + "/x.png", 3);
  EXPECT_EQ(runner.Run(line, earlier).state, JobState::kDone) << "the output was cut";
  fs::remove(Out() + "/x.png");
  EXPECT_EQ(runner.Run(line, earlier).state, JobState::kDone) << "the output is gone";
  fs::remove(Out() + "/x.png");
  EXPECT_EQ(runner.Run(line, {{earlier.jobHash, 0}}).state, JobState::kDone) << "no output has no size";
}

TEST_F(JobLine, ReportsCarryWarnings) {
  jobs::RunnerOptions options = Options();
  const std::string line =
      R"({"draw": {"Content": "x", "Font": {"FontName": "No Such Font"}}, "out": "x.png"})";
  EXPECT_TRUE(JobRunner(options).Run(line).warnings.empty());
  options.report = true;
  const JobResult result = JobRunner(options).Run(line);
  ASSERT_EQ(result.warnings.size(), 1u);
  EXPECT_EQ(result.warnings[0].substr(0, 22), "font: No Such Font -> ");
  fs::create_directory(Out() + "/taken.png");
  const JobResult failed = JobRunner(options).Run(
      R"({"draw": {"Content": "x", "Font": {"FontName": "No Such Font"}}, "out": "taken.png"})");
  EXPECT_EQ(failed.state, JobState::kFailed);
  EXPECT_EQ(failed.warnings, result.warnings) << "a failure has them too";
}

TEST_F(JobLine, ReportsCarryWhatIsNotDrawnAsItStands) {
  jobs::RunnerOptions options = Options();
  options.report = true;
  JobRunner runner(options);
  // Which fonts stand in for others is the machine's.
  const auto warnings = [&runner](const std::string& lines) {
    std::vector<std::string> all =
        runner.Run(R"({"draw": )" + lines + R"(, "size": "60x30", "out": "x.png"})").warnings;
    all.erase(std::remove_if(all.begin(), all.end(),
                             [](const std::string& text) { return text.compare(0, 6, "font: ") == 0; }),
              all.end());
    return all;
  };
  EXPECT_EQ(warnings(R"({"Content": "x", "Font": {"FontName": "DejaVu Sans"}})"), std::vector<std::string>());
  const std::vector<std::string> keys = warnings(
      R"([{"Content": "x"}, {"Content": "x", "Colr": 1, "Font": {"FontName": "DejaVu Sans", "FontSize": "big"}}])");
  ASSERT_EQ(keys.size(), 2u);
  EXPECT_EQ(keys[0].substr(0, 13), "draw/1/Colr: ") << keys[0];
  EXPECT_EQ(keys[1].substr(0, 22), "draw/1/Font/FontSize: ") << keys[1];
  const std::vector<std::string> text = warnings(R"({"Content": "x\ue123", "DeltaX": 55})");
  ASSERT_EQ(text.size(), 2u);
  EXPECT_EQ(text[0], "draw/Content: no font has U+E123 PRIVATE USE CHARACTER");
  EXPECT_EQ(text[1].rfind("draw: the text has ink outside the page: ", 0), 0u) << text[1];
}

TEST_F(JobLine, ReportsAreBounded) {
  jobs::RunnerOptions options = Options();
  options.report = true;
  std::string lines = R"({"Content": "x", "Colr": 1})";
  for (int i = 0; i < 300; ++i) lines += R"(,{"Content": "x", "Colr": 1, "Size": 2})";
  const JobResult result =
      JobRunner(options).Run(R"({"draw": [)" + lines + R"(], "size": "60x30", "out": "x.png"})");
  EXPECT_EQ(result.state, JobState::kDone);
  ASSERT_EQ(result.warnings.size(), 101u);
  EXPECT_EQ(result.warnings.back(), "more warnings are left out");
}

TEST_F(JobLine, ATemplateIsFilledByTheLine) {
  jobs::RunnerOptions options = Options();
  options.jobTemplate = R"({"id": "{{n}}", "draw": {"Content": "Dear {{who}}"}, "out": "{{n}}.svg"})";
  JobRunner runner(options);
  const JobResult result = runner.Run(R"({"n": 7, "who": "\"Z\u00f6e\", {{n}}", "unused": []})");
  ASSERT_EQ(result.state, JobState::kDone) << result.message;
  EXPECT_EQ(result.jobHash, jobs::Sha256("{\"id\":\"7\",\"draw\":{\"Content\":\"Dear \\\"Z\xC3\xB6"
                                         "e\\\", {{n}}\"},\"out\":\"7.svg\"}"));
  EXPECT_EQ(Files(), std::vector<std::string>{"7.svg"});
  EXPECT_EQ(runner.Run(R"({"n": 7})").message, "{{who}}: the data have no such value");
  EXPECT_EQ(runner.Run(R"({"n": 7, "who": "a", "who": "b"})").message, "data/who: the member stands twice");
  EXPECT_EQ(runner.Run(R"({"n": 7, "who": [1]})").message,
            "{{who}}: the value is no text, number or boolean");
}

}  // namespace
