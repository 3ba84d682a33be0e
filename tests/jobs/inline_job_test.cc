// SPDX-License-Identifier: MIT
// Jobs that name no file: the input comes with the job, the answer goes with the result.
#include "jobs/job_runner.h"

#include "jobs/executor.h"
#include "jobs/live_source.h"

#include "scratch_files.h"

#include <tovkit/json.h>

#include <gtest/gtest.h>

#include <string>

namespace {

using jobs::FailureKind;
using jobs::JobResult;
using jobs::JobState;

constexpr char kLine[] = R"({"Content": "Hello"})";

class InlineJobTest : public ScratchFiles {
 protected:
  JobResult Run(const std::string& job, const std::string& input) {
    jobs::RunnerOptions options;
    options.directory = scratch_.path();
    options.namesNoFiles = true;
    jobs::JobRunner runner(options, jobs::InlineKinds());
    return runner.Run(job, std::nullopt, input);
  }

  std::string Failure(const std::string& job, const std::string& input) {
    const JobResult result = Run(job, input);
    EXPECT_EQ(result.kind, FailureKind::kInput) << result.message;
    EXPECT_FALSE(result.content);
    return result.message;
  }
};

TEST_F(InlineJobTest, ThePageIsThatOfAJobWithAFile) {
  const JobResult drawn = Run(R"({"draw": {"format": "png", "size": "90x30", "effort": 9}})", kLine);
  ASSERT_EQ(drawn.state, JobState::kDone) << drawn.message;
  EXPECT_EQ(drawn.mediaType, "image/png");
  jobs::RunnerOptions options;
  options.directory = scratch_.path();
  jobs::JobRunner runner(options);
  const JobResult written =
      runner.Run(R"({"draw": {"Content": "Hello"}, "size": "90x30", "effort": 9, "out": "page.png"})");
  ASSERT_EQ(written.state, JobState::kDone) << written.message;
  ASSERT_EQ(drawn.content, Read("page.png"));
  EXPECT_EQ(drawn.bytes, drawn.content->size());
}

TEST_F(InlineJobTest, PicturesGoThere) {
  const std::string png = Run(R"({"draw": {"format": "png", "size": "90x30"}})", kLine).content.value();
  const JobResult small =
      Run(R"({"image": {"format": "bmp", "steps": [{"crop": [0, 0, 9, 5]}, {"resize": "200%"}]}})", png);
  EXPECT_EQ(small.mediaType, "image/bmp");
  const JobResult info = Run(R"({"info": {}})", small.content.value());
  EXPECT_EQ(info.mediaType, "application/json");
  EXPECT_EQ(info.content.value().rfind(R"({"format":"bmp","width":18,"height":10,)", 0), 0u)
      << info.content.value();
}

TEST_F(InlineJobTest, FailuresTellTheirPlaceInTheInput) {
  const JobResult broken = Run(R"({"draw": {"format": "png"}})", "[\n {\"Content\": 5]");
  ASSERT_TRUE(broken.place);
  EXPECT_EQ(broken.place->line, 2u);
  EXPECT_EQ(broken.place->column, 15u);
  const JobResult hit = Run(R"({"hit": {}})", R"({"path": "M0 0", "points": [[1, 2], [3]]})");
  ASSERT_TRUE(hit.place);
  EXPECT_EQ(hit.place->pointer, "/points");
  EXPECT_EQ(hit.place->column, 28u);
}

TEST_F(InlineJobTest, TheClosingLineIsToldFromTheLineBeforeIt) {
  // Both have the record of the corner (100, 100).
  const JobResult hit = Run(
      R"({"hit": {}})", R"({"path": "M 0 0 H 100 V 100 Z", "points": [[100, 60], [50, 50], [100, 100]]})");
  EXPECT_EQ(hit.content.value().rfind(R"({"results":[{"hit":true,"distance":0,"record":2,)"
                                      R"("segment":{"type":"line","points":[[100,0],[100,100]]},"rays":[]},)"
                                      R"({"hit":true,"distance":0,"record":2,)"
                                      R"("segment":{"type":"close","points":[[100,100],[0,0]]},"rays":[]},)"
                                      R"({"hit":true,"distance":0,"record":2,)"
                                      R"("segment":{"type":"line","points":[[100,0],[100,100]]},"rays":[]}])",
                                      0),
            0u)
      << hit.content.value();
}

TEST_F(InlineJobTest, EverySegmentIsFoundAndWhatIsBehindIt) {
  const struct {
    const char* segment;
    const char* type;
    const char* point;
  } kSegments[] = {{"L 10 0", "line", "[5, 0]"},
                   {"Q 5 5 10 0", "quadratic", "[5, 2.5]"},
                   {"C 2 5 8 5 10 0", "cubic", "[5, 3.75]"},
                   {"A 5 5 0 0 0 10 0", "arc", "[5, 5]"},
                   {"L 5 5 L 5 9 Z M 10 0", "close", "[1, 1.8]"}};
  for (const auto& first : kSegments) {
    const JobResult hit =
        Run(R"({"hit": {}})", std::string(R"({"tolerance": 0.2, "path": "M 0 0 )") + first.segment +
                                  R"( L 10 50", "points": [[10, 40], )" + first.point + "]}");
    const std::string found = hit.content.value_or(hit.message);
    EXPECT_NE(found.find(R"("segment":{"type":"line","points":[[10,0],[10,50]]})"), std::string::npos)
        << first.type << ": " << found;
    EXPECT_NE(found.find(std::string(R"("segment":{"type":")") + first.type + R"(","points":[[)"),
              std::string::npos)
        << found;
  }
}

TEST_F(InlineJobTest, TheClosingLineOfACurveHasTheRecordOfItsEnd) {
  const JobResult hit = Run(R"({"hit": {}})", R"({"path": "M 0 0 Q 50 100 100 0 Z", "points": [[50, 0]]})");
  EXPECT_NE(hit.content.value().find(R"("record":2,"segment":{"type":"close","points":[[100,0],[0,0]]})"),
            std::string::npos)
      << hit.content.value();
}

TEST_F(InlineJobTest, NoMemberNamesAFile) {
  Write("page.json", kLine);
  for (const char* const job :
       {R"({"draw": {"format": "png"}, "out": "x.png"})",
        R"({"draw": {"format": "png", "over": "page.json"}})", R"({"image": "page.json", "format": "png"})",
        R"({"hit": {"file": "page.json"}})", R"({"draw": "page.json"})"}) {
    Failure(job, kLine);
  }
  EXPECT_EQ(Read("x.png"), "");
  Failure(R"({"hit": {}})", R"({"file": "page.json", "points": []})");
}

TEST_F(InlineJobTest, NothingStandsBesideTheirKind) {
  const std::string path = R"({"path": "M0 0H9V9Z", "points": []})";
  const std::string picture = Run(R"({"draw": {"format": "png", "size": "9x9"}})", kLine).content.value();
  const struct {
    const char* kind;
    const char* options;
    std::string input;
  } rows[] = {{"draw", R"({"format": "png"})", kLine},
              {"describe", "{}", kLine},
              {"hit", "{}", path},
              {"map", R"({"format": "png"})", path},
              {"info", "{}", picture},
              {"image", R"({"format": "png"})", picture}};
  for (const auto& row : rows) {
    const std::string job = "{\"" + std::string(row.kind) + "\": " + row.options;
    const JobResult done = Run(job + "}", row.input);
    EXPECT_EQ(done.state, JobState::kDone) << row.kind << ": " << done.message;
    EXPECT_NE(Failure(job + R"(, "size": "9x9"})", row.input), "") << row.kind;
  }
}

TEST_F(InlineJobTest, LimitsOfPixelsAreThoseOfTheOptions) {
  jobs::ExecutorOptions options;
  options.runner.directory = scratch_.path();
  options.runner.namesNoFiles = true;
  options.runner.pixelLimit = 100 * 100 * 4;
  struct Results final : jobs::ResultSink {
    void Take(const JobResult& result) override { kinds[result.id] = result.kind; }
    std::map<std::string, FailureKind> kinds;
  } results;
  jobs::LiveSource source(2);
  for (const char* const size : {"100x100", "100x101"}) {
    jobs::QueuedJob job{0, size, R"({"draw": {"format": "png", "size": ")" + std::string(size) + "\"}}"};
    job.input = kLine;
    ASSERT_EQ(source.Add(std::move(job)), jobs::LiveSource::Added::kQueued);
  }
  source.Close();
  const jobs::StopRequest stop;
  EXPECT_TRUE(jobs::Executor(options).Run(source, results, stop));
  EXPECT_EQ(results.kinds["100x100"], FailureKind::kNone);
  EXPECT_EQ(results.kinds["100x101"], FailureKind::kLimit);
}

}  // namespace
