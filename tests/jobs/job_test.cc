// SPDX-License-Identifier: MIT
// The jobs from memory to memory, and what they say when they fail.
#include "jobs/draw_job.h"
#include "jobs/error.h"
#include "jobs/hit_job.h"
#include "jobs/image_job.h"
#include "jobs/picture_reader.h"
#include "jobs/picture_steps.h"

#include "scratch_dir.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace {

using jobs::Error;
using jobs::ErrorKind;
using jobs::Input;
using jobs::Output;

std::string_view BytesOf(const CoreMemoryOutputStream& stream) {
  return {reinterpret_cast<const char*>(stream.GetData()), stream.GetSize()};
}

std::unique_ptr<CoreDib> PictureOf(const CoreMemoryOutputStream& stream) {
  return jobs::PictureReader(Input::Memory(BytesOf(stream), "picture")).ReadFrame(1);
}

jobs::DrawJob DrawJobOf(std::string_view json, CoreMemoryOutputStream& out, const char* format) {
  return {{Input::Memory(json, "lines")},
          {},
          Output::Memory(&out, "page"),
          *jobs::FindOutputFormat(format, jobs::OutputKind::kPage)};
}

template <typename Job>
void ExpectError(const Job& job, ErrorKind kind, const std::string& place, const std::string& text) {
  jobs::Observer silent;
  try {
    jobs::Run(job, silent);
    ADD_FAILURE() << text;
  } catch (const Error& e) {
    EXPECT_EQ(e.kind(), kind) << e.what();
    EXPECT_EQ(e.place(), place);
    EXPECT_EQ(e.text(), text);
    EXPECT_EQ(e.what(), place + ": " + text);
  }
}

TEST(DrawJob, MemoryToMemory) {
  for (const char* format : {"png", "bmp", "pdf", "svg"}) {
    CoreMemoryOutputStream out;
    jobs::DrawJob job = DrawJobOf(R"([{"Content": "Ab"}])", out, format);
    job.size = CoreSizeF{120, 40};
    job.background = 0xFF336699;
    jobs::Observer silent;
    jobs::Run(job, silent);
    ASSERT_GT(out.GetSize(), 100u) << format;
    if (job.format.document != jobs::OutputFormat::Document::kNone) continue;
    const auto picture = PictureOf(out);
    EXPECT_EQ(picture->GetWidth(), 120);
    EXPECT_EQ(picture->GetHeight(), 40);
    EXPECT_EQ(picture->GetArgb(119, 39), 0xFF336699u);
  }
}

TEST(DrawJob, RenderDrawsThePixelsThatRunWrites) {
  for (const std::uint32_t background : {0xFF336699u, 0x00000000u}) {
    CoreMemoryOutputStream out;
    jobs::DrawJob job = DrawJobOf(R"([{"Content": "Ab"}])", out, "png");
    job.background = background;
    jobs::Observer silent;
    const CoreDib drawn = jobs::Render(job, silent);
    EXPECT_EQ(out.GetSize(), 0u);
    jobs::Run(job, silent);
    const auto written = PictureOf(out);
    ASSERT_EQ(drawn.GetBitsPerPixel(), background == 0 ? 32 : 24);
    ASSERT_EQ(drawn.GetWidth(), written->GetWidth());
    ASSERT_EQ(drawn.GetHeight(), written->GetHeight());
    for (int y = 0; y < drawn.GetHeight(); ++y) {
      for (int x = 0; x < drawn.GetWidth(); ++x) ASSERT_EQ(drawn.GetArgb(x, y), written->GetArgb(x, y));
    }
  }
}

TEST(DrawJob, RenderTakesOnePageAndMeasureAny) {
  struct Counter : jobs::Observer {
    void LineMeasured(const jobs::MeasuredLine&, const std::optional<CoreSizeF>&) override { ++lines; }
    int lines = 0;
  };
  CoreMemoryOutputStream out;
  const jobs::DrawJob job = DrawJobOf(R"([[{"Content": "a"}], [{"Content": "b"}]])", out, "png");
  Counter counter;
  EXPECT_THROW(static_cast<void>(jobs::Render(job, counter)), Error);
  counter.lines = 0;
  jobs::Measure(job, counter);
  EXPECT_EQ(counter.lines, 2);
  EXPECT_EQ(out.GetSize(), 0u);
}

TEST(DrawJob, AnErrorInJsonHasItsPlaceForPrograms) {
  const struct {
    const char* json;
    std::size_t line, column;
    const char* pointer;
  } kRows[] = {{"[{\"Content\": \"a\"},\n  7]", 2, 3, "/1"},
               {"[{\"Content\": \"a\",\n \"Font\": x}]", 2, 10, "/0/Font"},
               {"", 1, 1, ""}};
  for (const auto& row : kRows) {
    CoreMemoryOutputStream out;
    jobs::Observer silent;
    try {
      jobs::Run(DrawJobOf(row.json, out, "png"), silent);
      ADD_FAILURE() << row.json;
    } catch (const Error& e) {
      ASSERT_TRUE(e.jsonPlace()) << e.what();
      EXPECT_EQ(e.jsonPlace()->line, row.line);
      EXPECT_EQ(e.jsonPlace()->column, row.column);
      EXPECT_EQ(e.jsonPlace()->pointer, row.pointer);
      EXPECT_EQ(e.systemError(), 0);
    }
  }
}

TEST(DrawJob, AnErrorOfTheSystemHasItsNumber) {
  CoreMemoryOutputStream out;
  jobs::DrawJob job = DrawJobOf("[]", out, "png");
  job.descriptions = {Input::File("/no/such/file")};
  jobs::Observer silent;
  try {
    jobs::Run(job, silent);
    ADD_FAILURE();
  } catch (const Error& e) {
    EXPECT_EQ(e.systemError(), ENOENT);
    EXPECT_FALSE(e.jsonPlace());
  }
}

TEST(DrawJob, ErrorsHaveKindPlaceAndText) {
  CoreMemoryOutputStream out;
  const auto job = [&out](const char* json) { return DrawJobOf(json, out, "png"); };
  ExpectError(job("[1,"), ErrorKind::kInput, "lines:1:4",
              "the text ends inside an array: a value is expected");
  ExpectError(job("7"), ErrorKind::kInput, "lines:1:1", "neither an array nor an object");
  ExpectError(job("[7]"), ErrorKind::kInput, "lines:1:2", "element 0 is no object");
  ExpectError(job("[{}]"), ErrorKind::kInput, "lines:1:2",
              "no text to draw; \"Content\" is missing or empty");
  jobs::DrawJob large = job(R"({"Content": "x"})");
  large.size = CoreSizeF{40000, 10};
  ExpectError(large, ErrorKind::kLimit, "page", "a page of 40000 x 10 is too large; sides go up to 32767");
  large.output = Output::File("/no/such/folder/x.png");
  ExpectError(large, ErrorKind::kOutput, "/no/such/folder/x.png",
              "cannot create the file: No such file or directory");
  jobs::DrawJob fonts = job(R"({"Content": "x"})");
  fonts.fontFiles = {"/no/such.ttf"};
  ExpectError(fonts, ErrorKind::kInput, "/no/such.ttf", "No such file or directory");
}

TEST(DrawJob, ALineWithoutTextIsToldWhy) {
  CoreMemoryOutputStream out;
  const std::string longName(61, 'n');
  const struct {
    std::string json;
    const char* place;
    std::string cause;
  } rows[] = {
      {"{}", "lines:1:1", "\"Content\" is missing or empty"},
      {R"({"Content": ""})", "lines:1:13", "\"Content\" is missing or empty"},
      {R"({"Content": "\u0000a"})", "lines:1:13", "\"Content\" is missing or empty"},
      {R"({"Content": 1542})", "lines:1:13", "\"Content\" is an integer, where a string is expected"},
      {R"({"Content": null})", "lines:1:13", "\"Content\" is null, where a string is expected"},
      {R"({"Content": ["x"]})", "lines:1:13", "\"Content\" is an array, where a string is expected"},
      {R"({"content": "hi"})", "lines:1:2", "\"content\" is no key of a line; did you mean \"Content\"?"},
      {R"({"DeltaX": 1, "Contnet": "hi"})", "lines:1:15",
       "\"Contnet\" is no key of a line; did you mean \"Content\"?"},
      {R"({"Content; nothing": 1})", "lines:1:1",
       "a line needs \"Content\"; this object has \"Content; nothing\""},
      {R"({"Text": "hi"})", "lines:1:1", "a line needs \"Content\"; this object has \"Text\""},
      {R"([{"lines": ["hi"]}])", "lines:1:2", "a line needs \"Content\"; this object has \"lines\""},
      {R"({"DeltaX": 5})", "lines:1:1", "a line needs \"Content\"; this object has \"DeltaX\""},
      {"{\"" + longName.substr(1) + "\": 1}", "lines:1:1",
       "a line needs \"Content\"; this object has \"" + longName.substr(1) + "\""},
      {"{\"" + longName + "\": 1}", "lines:1:1", "a line needs \"Content\""}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.json);
    ExpectError(DrawJobOf(row.json.c_str(), out, "png"), ErrorKind::kInput, row.place,
                "no text to draw; " + row.cause);
  }
}

TEST(DrawJob, AnErrorInJsonShowsItsLine) {
  CoreMemoryOutputStream out;
  jobs::Observer silent;
  try {
    jobs::Run(DrawJobOf("{\"a\": 1,\n \"b\": x}", out, "png"), silent);
    ADD_FAILURE();
  } catch (const Error& e) {
    EXPECT_STREQ(e.what(), "lines:2:7: a value is expected");
    ASSERT_TRUE(e.excerpt());
    EXPECT_EQ(e.excerpt()->line, " \"b\": x}");
    EXPECT_EQ(e.excerpt()->at, 6u);
  }
}

TEST(ImageJob, MemoryToMemoryThroughEveryFormat) {
  CoreMemoryOutputStream page;
  jobs::DrawJob draw = DrawJobOf(R"({"Content": "x"})", page, "png");
  draw.size = CoreSizeF{60, 50};
  draw.background = 0xFF204060;
  jobs::Observer silent;
  jobs::Run(draw, silent);
  for (const char* name : {"png", "tif", "bmp", "webp", "jp2"}) {
    CoreMemoryOutputStream out;
    const auto format = jobs::FindOutputFormat(name, jobs::OutputKind::kPicture);
    jobs::ImageJob job{Input::Memory(BytesOf(page), "page"),
                       1,
                       {jobs::EraseStep{{0, 0, 10, 10}}},
                       jobs::ImageJob::Target{Output::Memory(&out, "out"), format->picture}};
    jobs::Run(job, silent);
    const auto picture = PictureOf(out);
    ASSERT_EQ(picture->GetWidth(), 60) << name;
    EXPECT_EQ(picture->GetArgb(5, 5), 0xFFFFFFFFu) << name;
    EXPECT_EQ(picture->GetArgb(55, 45), 0xFF204060u) << name;
  }
}

TEST(ImageJob, TellsOfThePictureBeforeItFails) {
  struct Told final : jobs::Observer {
    void PictureOpened(CoreImageFormat format, const CoreImageInfo& info) override {
      text += std::string(CoreImageFormatName(format)) + " " + std::to_string(info.width);
    }
    std::string text;
  };
  const std::string file = TOVKIT_SOURCE_DIR "/tests/data/images/run4.bmp";
  jobs::ImageJob job{Input::File(file), 1, {}, {}};
  Told told;
  jobs::Run(job, told);
  EXPECT_EQ(told.text.substr(0, 4), "BMP ");
  job.frame = 2;
  ExpectError(job, ErrorKind::kInput, file, "no frame 2, the last is 1");
  job.picture = Input::Memory("no picture", "bytes");
  ExpectError(job, ErrorKind::kInput, "bytes", "not a picture of a known format");
}

TEST(PictureSteps, FullColorKeepsEveryPixelAndTheResolution) {
  const std::uint32_t colors[] = {0xFF102030, 0xFF405060};
  for (const int bits : {1, 4, 8}) {
    for (const bool hasAlpha : {false, true}) {
      CoreDib picture;
      ASSERT_TRUE(picture.Create(5, 3, bits));
      ASSERT_TRUE(picture.SetPalette(colors, 2));
      if (hasAlpha) {
        ASSERT_TRUE(picture.SetPaletteAlpha(1, 77));
      }
      picture.SetDpi(100, 200);
      for (int y = 0; y < 3; ++y) picture.GetRow(y)[0] = static_cast<std::uint8_t>(1 << (8 - bits));
      std::vector<std::uint32_t> before;
      for (int i = 0; i < 15; ++i) before.push_back(picture.GetArgb(i % 5, i / 5));
      EXPECT_EQ(before[0] >> 24, hasAlpha ? 77U : 255U);
      jobs::ToFullColor(picture, "place");
      EXPECT_EQ(picture.GetBitsPerPixel(), hasAlpha ? 32 : 24);
      EXPECT_EQ(picture.GetDpiX(), 100);
      EXPECT_EQ(picture.GetDpiY(), 200);
      for (int i = 0; i < 15; ++i) {
        EXPECT_EQ(picture.GetArgb(i % 5, i / 5), before[static_cast<std::size_t>(i)]) << bits;
      }
    }
  }
  CoreDib full;
  ASSERT_TRUE(full.Create(2, 2, 32));
  jobs::ToFullColor(full, "place");
  EXPECT_EQ(full.GetBitsPerPixel(), 32);
}

TEST(HitJob, ManyPointsAtOnce) {
  jobs::HitJob job{Input::Memory("M0 0H10V10H0Z", "square")};
  job.points = {{5, 0}, {5, 5}, {20, 20}};
  jobs::Observer silent;
  EXPECT_EQ(jobs::Run(job, silent), (std::vector<bool>{true, false, false}));
  job.fill = true;
  EXPECT_EQ(jobs::Run(job, silent), (std::vector<bool>{true, true, false}));
}

TEST(HitJob, WarnsOfTransformsAndNamesLines) {
  struct Warned final : jobs::Observer {
    void Warn(const std::string& warning) override { text += warning; }
    std::string text;
  };
  Warned warned;
  jobs::HitJob job{Input::Memory("<svg>\n<g transform='scale(2)'><path d='M0 0L1 1'/></g></svg>", "svg")};
  jobs::Run(job, warned);
  EXPECT_EQ(warned.text,
            "svg:2: the <path> is taken in its own coordinates, without the transform at line 2");
  job.path = Input::Memory("<svg>\n</g>", "svg");
  ExpectError(job, ErrorKind::kInput, "svg:2", "mismatched tag");
  job.path = Input::Memory("M0 0L1", "text");
  ExpectError(job, ErrorKind::kInput, "text", "line 1, column 7: a number is expected");
}

TEST(HitJob, AMapIntoMemoryAndIntoAFile) {
  CoreMemoryOutputStream out;
  jobs::HitJob job{Input::Memory("M0 0H10V10H0Z", "square")};
  job.map = jobs::HitJob::Map{Output::Memory(&out, "map"), kCoreImagePng, 100};
  jobs::Observer silent;
  jobs::Run(job, silent);
  const auto map = PictureOf(out);
  EXPECT_EQ(map->GetWidth(), 100);
  EXPECT_EQ(map->GetArgb(50, 50), 0xFFBFD9ECu) << "inside";
  EXPECT_EQ(map->GetArgb(0, 0), 0xFFFFFFFFu) << "far away";

  const ScratchDir scratch;
  const std::string file = scratch.path() + "/map.png";
  job.map->output = Output::File(file);
  jobs::Run(job, silent);
  EXPECT_EQ(std::filesystem::file_size(file), out.GetSize());
  job.path = Input::Memory("", "nothing");
  ExpectError(job, ErrorKind::kInput, "nothing", "the path is empty");
}

}  // namespace
