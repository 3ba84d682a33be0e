// SPDX-License-Identifier: MIT
// Text, paths, files, pages, hit tests, shared memory, mutexes, child processes, the pool.
#include "allocation_sweep.h"

#include <tovkit/geometry.h>
#include <tovkit/system.h>
#include <tovkit/util.h>

#include <unistd.h>

#include <climits>
#include <cmath>
#include <cstdio>
#include <deque>
#include <string>

namespace {

TEST_F(AllocationSweep, TextAndPaths) {
  const std::string text = "C:\\some folder\\with a \xE5\xAE\x8B\xE4\xBD\x93 file.name.txt";
  const std::wstring wide = tovkit::Utf8ToWide(text.c_str(), -1);
  SweepCall([&] { tovkit::LocalToWide(text.c_str(), -1); });
  SweepCall([&] { tovkit::Utf8ToWide(text.c_str(), -1); });
  SweepCall([&] { tovkit::WideToLocal(wide.c_str(), -1); });
  SweepCall([&] { tovkit::WideToUtf8(wide.c_str(), -1); });
  SweepCall([&] { tovkit::LocalToUtf8(text.c_str(), -1); });
  SweepCall([&] { tovkit::Utf8ToLocal(text.c_str(), -1); });
  SweepCall([&] { tovkit::NormalizeSeparators(text.c_str()); });
  SweepCall([&] { tovkit::JoinPath("a folder with a long name", text.c_str(), nullptr); });
  SweepCall([&] { tovkit::MakeTimeName("a prefix that is long enough", "a suffix that is long enough"); });
  SweepCall([&] { tovkit::GetFileName(text.c_str(), -1); });
  SweepCall([&] { tovkit::GetExecutableDirectory(); });
  SweepCall([&] { tovkit::GetModuleDirectory("libtovkit.so"); });
  const std::string bytes(5000, '\xA5');
  SweepCall([&] { tovkit::Base64Encode(reinterpret_cast<const unsigned char*>(bytes.data()), 5000); });
  SweepCall([&] { tovkit::Base64Decode("QUJDREVGR0hJSktMTU5PUFFSU1RVVldYWVo=", -1); });
}

TEST_F(AllocationSweep, FilesAndPages) {
  const std::string folder = testing::TempDir() + "tovkit-sweep-" + std::to_string(getpid());
  const std::string file = folder + "/inner/file.txt";
  const std::string copy = folder + "/inner/copy.txt";
  SweepCall([&] { tovkit::CreateFileWithParents(file.c_str()); });
  SweepCall([&] { tovkit::CopyFile(file.c_str(), copy.c_str()); });
  SweepCall([&] { tovkit::FileInfo(file.c_str(), -1).IsFile(); });
  SweepCall([&] { tovkit::CheckPath(L"/tmp", 1); });
  SweepCall([&] { tovkit::GetPathFlags(file.c_str()); });
  SweepCall([&] {
    tovkit::TempFile name(folder.c_str());
    name.setPrefix("a prefix that is long enough to be allocated");
    name.makePath();
  });
  SweepCall([&] { tovkit::DynamicLibrary(folder.c_str(), "tovkit-none").GetPath(); });
  for (const std::string& path : {copy, file}) std::remove(path.c_str());
  rmdir((folder + "/inner").c_str());
  rmdir(folder.c_str());
  SweepCall([] {
    CoreArray<int> pages;
    tovkit::ParsePageNumbers("1-40,50,60-200", 500, pages, 1);
  });
}

TEST_F(AllocationSweep, AHitTestTakesNoMemoryFromTheHeapAndThrowsNothing) {
  CorePath path;
  path.MoveTo(0, 0);
  path.CubicTo(10, 0, 10, 10, 0, 10);
  path.ArcTo(5, 7, 0.3f, 1, 1, 30, 20);
  path.Close();
  SweepCall([&] { EXPECT_TRUE(tovkit::HitTestPath({5, 5}, 0.5f, path, 0, true, kCoreFillWinding)); });
  for (const float x : {5.0f, 1e30f, NAN}) {
    for (const bool fill : {false, true}) {
      const AllocationFaults none = AllocationFaults::OfAny(1, LONG_MAX);
      EXPECT_NO_THROW(tovkit::HitTestPath({x, 5}, 0.5f, path, NAN, fill, kCoreFillEvenOdd));
      EXPECT_NO_THROW(EXPECT_GE(tovkit::HitTestPathDetail({x, 5}, 0.5f, path, fill).distance, 0));
      EXPECT_EQ(none.seen(), 0) << x;
    }
  }
  EXPECT_EQ(points_, 0);
}

TEST_F(AllocationSweep, SharedMemory) {
  SweepCall([] {
    tovkit::SharedMemory memory("a name that is long enough to be allocated");
    memory.Attach(0);
    memory.Destroy();
  });
}

// The registry stays open to others when a record does not fit it.
TEST_F(AllocationSweep, Mutexes) {
  const tovkit::WatchedMutex startsTheWatchdog("starts the watchdog", 100);
  SweepCall([] {
    tovkit::Mutex plain;
    const tovkit::MutexLocker guard(&plain);
  });
  SweepCall([] {
    // More than one block of the registry's list holds.
    std::deque<tovkit::WatchedMutex> mutexes;
    for (int i = 0; i < 70; ++i) mutexes.emplace_back("swept", 100);
    for (tovkit::WatchedMutex& mutex : mutexes) {
      const tovkit::MutexLocker guard(&mutex);
    }
  });
}

// The last argument is refused, so that nothing is started.
TEST_F(AllocationSweep, ProcessArguments) {
  const char* arguments[] = {"an argument", "another argument", ""};
  SweepCall([&] {
    tovkit::Process process;
    process.setWorkingDirectory("/a directory with a long name");
    EXPECT_FALSE(process.start("/bin/true", 3, arguments));
    EXPECT_FALSE(process.start("/bin/true", 3, arguments)) << "over what the first call left";
  });
}

void* DoNothing(void*) { return nullptr; }

TEST_F(AllocationSweep, PoolTasks) {
  tovkit::ThreadPool pool;
  testing::internal::CaptureStdout();
  ASSERT_EQ(pool.init(10), 0);
  SweepCall([&] { pool.addTask(DoNothing, nullptr); });
  EXPECT_EQ(pool.destroy(), 0);
  testing::internal::GetCapturedStdout();
}

}  // namespace
