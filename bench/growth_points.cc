// SPDX-License-Identifier: MIT
// usage: growth_points [--small] ANIMATION...
//
// Prints "series size nanoseconds" for each series and size: the processor time of one item when there are so
// many, which other work on the machine changes little.
// ANIMATION are GIF files, whose frames are counted. --small leaves out what takes gigabytes.
#include <tovkit/geometry.h>
#include <tovkit/imaging.h>
#include <tovkit/json.h>
#include <tovkit/system.h>
#include <tovmx/codec.h>
#include <tovmx/device.h>
#include <tovmx/dib.h>
#include <tovmx/stream.h>

#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <deque>
#include <string>
#include <string_view>
#include <vector>

namespace {

using tovkit::Json;
using tovkit::JsonValue;
using tovkit::SharedPtr;

bool small = false;

double ProcessorNanoseconds() {
  timespec time{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
  return static_cast<double>(time.tv_sec) * 1e9 + static_cast<double>(time.tv_nsec);
}

// Of one of `count` items, with `work` doing all of them.
template <typename Work>
void Measure(const char* series, std::size_t count, const Work& work) {
  const double start = ProcessorNanoseconds();
  const bool done = work();
  const double taken = ProcessorNanoseconds() - start;
  if (done)
    std::printf("%s %zu %.3f\n", series, count, taken / static_cast<double>(count));
  else
    std::fprintf(stderr, "%s %zu: failed\n", series, count);
}

SharedPtr<JsonValue> Parse(const std::string& text) {
  return Json::Parse(text.data(), static_cast<unsigned>(text.size()), nullptr);
}

SharedPtr<JsonValue> Line(std::size_t number, std::size_t row) {
  return Parse(R"({"Content": "line number )" + std::to_string(number) + R"(", "DeltaX": 10, "DeltaY": )" +
               std::to_string(row * 14) + R"(, "Font": {"FontName": "DejaVu Sans", "FontSize": 10}})");
}

bool DrawLines(CoreDevice& device, std::size_t count) {
  bool drawn = true;
  for (std::size_t i = 0; i < count; ++i)
    drawn = tovkit::DrawTextOnDevice(&device, Line(i, i % 1000)) && drawn;
  return drawn;
}

void Lines() {
  for (const std::size_t count : {1000, 10000, 100000}) {
    Measure("lines_bitmap", count, [&] {
      CoreDib page;
      if (!page.Create(400, 14100, 32)) return false;
      std::memset(page.GetBuffer(), 255, page.GetBufferSize());
      CoreBitmapDevice device(&page);
      return DrawLines(device, count);
    });
    Measure("lines_pdf", count, [&] {
      CoreMemoryOutputStream out;
      CorePdfDevice device(&out, 400, 14100);
      return DrawLines(device, count) && device.Finish();
    });
    Measure("lines_svg", count, [&] {
      CoreMemoryOutputStream out;
      CoreSvgDevice device(&out, 400, 14100);
      return DrawLines(device, count) && device.Finish();
    });
  }
}

bool ParseAndFree(const std::string& text) { return static_cast<bool>(Parse(text)); }

// Texts of `bytes` bytes: the densest (an element every other byte), and records with texts and numbers.
std::string Dense(std::size_t bytes) {
  std::string text = "[1";
  text.reserve(bytes + 8);
  while (text.size() < bytes) text += ",1";
  return text + "]";
}

std::string Mixed(std::size_t bytes) {
  std::string text = "[0";
  text.reserve(bytes + 256);
  for (std::size_t i = 0; text.size() < bytes; ++i) {
    text +=
        R"(,{"name": "a text of some length, number )" + std::to_string(i) +
        R"(", "values": [1, 2.5, true], "more": "and another text that is longer than what a value holds"})";
  }
  return text + "]";
}

void Documents() {
  for (const std::size_t bytes : {std::size_t{1} << 20, std::size_t{1} << 24, std::size_t{1} << 28}) {
    if (small && bytes > std::size_t{1} << 24) continue;
    const std::string text = Dense(bytes);
    Measure("document_dense_byte", text.size(), [&] { return ParseAndFree(text); });
  }
  for (const std::size_t bytes :
       {std::size_t{1} << 20, std::size_t{1} << 24, std::size_t{1} << 28, std::size_t{1} << 30}) {
    if (small && bytes > std::size_t{1} << 24) continue;
    const std::string text = Mixed(bytes);
    Measure("document_mixed_byte", text.size(), [&] { return ParseAndFree(text); });
  }
  for (const std::size_t depth : {1000, 100000, 10000000}) {
    const std::string text = std::string(depth, '[') + std::string(depth, ']');
    Measure("document_level", depth, [&] { return ParseAndFree(text); });
  }
  for (const std::size_t count : {1000, 100000, 10000000}) {
    Measure("document_append", count, [&] {
      const SharedPtr<JsonValue> array = Parse("[]");
      for (std::size_t i = 0; i < count; ++i) array->InsertInt(-1, static_cast<int>(i));
      return array->Size() == count;
    });
  }
}

void Paths() {
  for (const std::size_t count : {1000, 100000, 10000000}) {
    CorePath path;
    path.MoveTo(0, 0);
    for (std::size_t i = 1; i <= count; ++i)
      path.LineTo(static_cast<float>(i % 1000), static_cast<float>(i % 7 * 10));
    Measure("path_segment", count, [&] {
      return !tovkit::HitTestPath(CorePointF{500.25f, 10000}, 1, path, 0, false, kCoreFillWinding);
    });
  }
}

void Animations(int count, char** files) {
  for (int i = 0; i < count; ++i) {
    CoreFileInputStream in(files[i]);
    auto decoder = CoreCodecRegistry::Get().GetFactory().CreateDecoder(kCoreImageGif);
    if (decoder == nullptr || decoder->Open(&in, kCoreOpenReadAhead) == 0) continue;
    const int frames = decoder->GetInfo().frameCount;
    Measure("animation_frame", static_cast<std::size_t>(frames), [&] {
      for (int frame = 0; frame < frames; ++frame)
        if (decoder->GetBitmap(frame, 0, 0) == nullptr) return false;
      return true;
    });
  }
}

void Processes() {
  std::vector<pid_t> children;
  for (const std::size_t wanted : {100, 1000, 4000}) {
    while (children.size() < wanted) {
      const pid_t child = fork();
      if (child == 0) {
        pause();
        _exit(0);
      }
      if (child < 0) break;
      children.push_back(child);
    }
    std::deque<tovkit::PROC_INFO_DATA> records;
    tovkit::ProcessMonitor monitor;
    monitor.scan(records);
    Measure("scan_process", records.size(), [&] { return monitor.scan(records) == 0; });
  }
  for (const pid_t child : children) kill(child, SIGKILL);
  for (const pid_t child : children) waitpid(child, nullptr, 0);
}

}  // namespace

int main(int argc, char** argv) {
  small = argc > 1 && std::string_view(argv[1]) == "--small";
  Processes();  // first: the children share little memory then
  Lines();
  Documents();
  Paths();
  Animations(argc - 1 - small, argv + 1 + small);
  return 0;
}
