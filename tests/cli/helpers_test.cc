// SPDX-License-Identifier: MIT
// Small parts of the command: paths into JSON, the memory of a process over time, watched files.
#include "error.h"
#include "file_watch.h"
#include "json_path.h"
#include "memory_history.h"
#include "scratch_dir.h"

#include <tovkit/json.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <string>
#include <thread>
#include <vector>

namespace {

using Steps = std::vector<std::string>;

TEST(JsonPath, BothNotationsAreSteps) {
  const struct {
    const char* text;
    bool pointer;
    Steps steps;
  } rows[] = {{"", false, {}},
              {"a", false, {"a"}},
              {"a.b.0", false, {"a", "b", "0"}},
              {".", false, {"", ""}},
              {"a.", false, {"a", ""}},
              {"a\\.b", false, {"a.b"}},
              {"a\\\\b", false, {"a\\b"}},
              {"a\\", false, {"a\\"}},
              {"a~1b", false, {"a~1b"}},
              {"/", true, {""}},
              {"//", true, {"", ""}},
              {"/a/b", true, {"a", "b"}},
              {"/a.b", true, {"a.b"}},
              {"/a~1b~0c", true, {"a/b~c"}},
              {"/~01", true, {"~1"}}};
  for (const auto& row : rows) {
    const cli::JsonPath path = cli::ParseJsonPath(row.text);
    EXPECT_EQ(path.pointer, row.pointer) << row.text;
    EXPECT_EQ(path.steps, row.steps) << row.text;
  }
  for (const char* text : {"/~", "/a~", "/~2", "/~~0", "/a/b~x"}) {
    EXPECT_THROW((void)cli::ParseJsonPath(text), cli::UsageError) << text;
  }
}

// What the path leads to, as text; "nothing" for nowhere.
std::string At(const char* json, const char* text) {
  // A part of a document does not keep it alive.
  const auto document = tovkit::Json::Parse(json, static_cast<unsigned>(std::strlen(json)), nullptr);
  auto value = document;
  const cli::JsonPath path = cli::ParseJsonPath(text);
  for (const std::string& step : path.steps) {
    if (!value) break;
    value = cli::Follow(*value, path, step);
  }
  return value ? value->ToString().c_str() : "nothing";
}

TEST(JsonPath, LeadsToMembersAndElements) {
  const char* const json = R"({"a": [10, 11, 12], "": {"": 7}, "b": {"c": null, "": 8}, "0": 9})";
  const struct {
    const char* path;
    const char* found;
  } rows[] = {{"a.0", "10"},        {"a.2", "12"},        {"a.3", "nothing"},           {"a.-1", "nothing"},
              {"a.02", "12"},       {"a.2x", "nothing"},  {"a.x", "nothing"},           {"a.", "nothing"},
              {"0", "9"},           {"b.c", "null"},      {"b.d", "nothing"},           {"/a/1", "11"},
              {"/a/0", "10"},       {"/a/01", "nothing"}, {"/a/00", "nothing"},         {"/a/-0", "nothing"},
              {"/a/-1", "nothing"}, {"/a/", "nothing"},   {"/", R"({"":7})"},           {"//", "7"},
              {"/b/", "8"},         {"/0", "9"},          {"/a/99999999999", "nothing"}};
  for (const auto& row : rows) EXPECT_EQ(At(json, row.path), row.found) << row.path;
  EXPECT_EQ(At("{}", "/"), "nothing");
  EXPECT_EQ(At(R"({"a":1,"b":2})", "/"), "nothing");
  EXPECT_EQ(At("[1]", "//"), "nothing");
}

TEST(MemoryHistory, KeepsEverySampleUntilItIsFull) {
  cli::MemoryHistory history;
  EXPECT_TRUE(history.Points().empty());
  for (int i = 0; i < 2048; ++i) history.Add(i, 10.0 * i);
  const auto points = history.Points();
  ASSERT_EQ(points.size(), 2048u);
  for (int i = 0; i < 2048; ++i) {
    EXPECT_EQ(points[static_cast<std::size_t>(i)].seconds, i);
    EXPECT_EQ(points[static_cast<std::size_t>(i)].value, 10.0 * i);
  }
}

// Every sample counts: as many as a point stands for make one, at the time of the last, with the greatest
// value of all.
TEST(MemoryHistory, HoldsThePeaksOfEverFewerPoints) {
  const auto value = [](int i) { return i % 7 * 100.0 + i % 3; };
  for (const int count : {2049, 2050, 2051, 4096, 4097, 4098, 9000, 20000}) {
    cli::MemoryHistory history;
    for (int i = 0; i < count; ++i) history.Add(i, value(i));
    int each = 1;
    while (count > 2048 * each) each *= 2;
    const auto points = history.Points();
    ASSERT_EQ(points.size(), static_cast<std::size_t>((count + each - 1) / each)) << count;
    for (int p = 0; p < static_cast<int>(points.size()); ++p) {
      const int end = std::min(count, (p + 1) * each);
      double greatest = 0;
      for (int i = p * each; i < end; ++i) greatest = std::max(greatest, value(i));
      EXPECT_EQ(points[static_cast<std::size_t>(p)].seconds, end - 1) << count;
      EXPECT_EQ(points[static_cast<std::size_t>(p)].value, greatest) << count;
    }
  }
}

// Changes that never pause are not waited out.
TEST(FileWatch, AStormOfChangesIsSeenWhileItLasts) {
  const ScratchDir scratch;
  const std::string file = scratch.path() + "/a";
  std::ofstream(file) << 0;
  cli::FileWatch watch({file});
  std::atomic<bool> seen = false;
  std::atomic<bool> over = false;
  std::thread storm([&] {
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (!seen && std::chrono::steady_clock::now() < end) std::ofstream(file) << 1;
    over = true;
  });
  watch.WaitForChange();
  EXPECT_FALSE(over);
  seen = true;
  storm.join();
}

// Another file's changes are none.
TEST(FileWatch, OnlyTheFileCounts) {
  const ScratchDir scratch;
  const std::string file = scratch.path() + "/a", other = scratch.path() + "/other";
  std::ofstream(file) << 0;
  cli::FileWatch watch({file});
  std::atomic<bool> changed = false;
  std::ofstream(other) << 1;
  std::thread writer([&] {
    // Whoever took the other file for this one would be back long before.
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    changed = true;
    std::ofstream(file) << 2;
  });
  watch.WaitForChange();
  EXPECT_TRUE(changed);
  writer.join();
}

// The link, what it leads to, and a folder on the way may change; each is seen again and again.
TEST(FileWatch, EveryPieceOfAPathCounts) {
  namespace fs = std::filesystem;
  const ScratchDir scratch;
  const std::string file = scratch.path() + "/folder/file", second = scratch.path() + "/second";
  const std::string link = scratch.path() + "/links/link";
  fs::create_directories(scratch.path() + "/folder");
  fs::create_directories(scratch.path() + "/links");
  std::ofstream(file) << 0;
  std::ofstream(second) << 0;
  fs::create_symlink("../folder/file", link);
  cli::FileWatch watch({second, link});
  const auto expectSeen = [&watch](const std::function<void()>& change) {
    std::atomic<bool> changed = false;
    std::thread changer([&] {
      changed = true;
      change();
    });
    watch.WaitForChange();
    EXPECT_TRUE(changed);
    changer.join();
  };
  for (int i = 0; i < 2; ++i) {
    expectSeen([&] { std::ofstream(file) << i; });
    expectSeen([&] { std::ofstream(second) << i; });
    expectSeen([&] { fs::rename(second, second + "1"); });
    expectSeen([&] { fs::rename(second + "1", second); });
    expectSeen([&] {
      fs::remove(link);
      fs::create_symlink("../folder/file", link);
    });
    expectSeen([&] { fs::rename(scratch.path() + "/folder", scratch.path() + "/moved"); });
    expectSeen([&] { fs::rename(scratch.path() + "/moved", scratch.path() + "/folder"); });
  }
}

}  // namespace
