// SPDX-License-Identifier: MIT
#include <tovkit/util.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "local_text.h"
#include "scratch_dir.h"

namespace {

namespace fs = std::filesystem;
using tovkit::GetExecutableDirectory;
using tovkit::GetModuleDirectory;

const std::string kPlugin = std::string(TOVKIT_TEST_PLUGIN_DIR) + "/libtovkit_test_plugin.so";

// A copy of the plug-in, loaded as long as the object lives.
class LoadedCopy {
 public:
  explicit LoadedCopy(const std::string& path) : library_(Copy(path).c_str()) {
    EXPECT_TRUE(library_.Load()) << library_.GetError();
  }

 private:
  static std::string Copy(const std::string& path) {
    fs::create_directories(fs::path(path).parent_path());
    fs::copy_file(kPlugin, path);
    return path;
  }

  tovkit::DynamicLibrary library_;
};

std::string ModuleDirectory(const char* name) { return GetModuleDirectory(name).c_str(); }

TEST(ModuleInfo, ExecutableDirectoryIsThatOfThisProgram) {
  EXPECT_EQ(GetExecutableDirectory().c_str(),
            fs::read_symlink("/proc/self/exe").parent_path().string() + "/");
}

TEST(ModuleInfo, LoadedLibraryIsFoundByTheStartOfItsName) {
  const ScratchDir scratch;
  const LoadedCopy copy(scratch.path() + "/d/libqwanted.so.2");
  for (const char* name : {"libqwanted.so.2", "libqwanted", "libqw"}) {
    EXPECT_EQ(ModuleDirectory(name), scratch.path() + "/d/") << name;
  }
  EXPECT_EQ(ModuleDirectory("qwanted"), "");
  EXPECT_EQ(ModuleDirectory("libqwanted.so.22"), "");
  EXPECT_EQ(ModuleDirectory("Libqwanted"), "");
}

TEST(ModuleInfo, SystemLibraryIsFound) {
  const std::string directory = ModuleDirectory("libm.so");
  ASSERT_FALSE(directory.empty());
  EXPECT_EQ(directory.back(), '/');
  EXPECT_TRUE(fs::exists(directory + "libm.so.6"));
}

TEST(ModuleInfo, TheFirstOfTwoLoadedObjectsIsTaken) {
  const ScratchDir scratch;
  const LoadedCopy first(scratch.path() + "/1/libtwice.so");
  const LoadedCopy second(scratch.path() + "/2/libtwice.so");
  EXPECT_EQ(ModuleDirectory("libtwice"), scratch.path() + "/1/");
}

TEST(ModuleInfo, NameRepeatedFurtherOnIsNotFound) {
  const ScratchDir scratch;
  const LoadedCopy copy(scratch.path() + "/wantedwanted.so");
  EXPECT_EQ(ModuleDirectory("wanted"), "");
  EXPECT_EQ(ModuleDirectory("wantedw"), scratch.path() + "/");
}

TEST(ModuleInfo, NameOfADirectoryIsNotFound) {
  const ScratchDir scratch;
  const LoadedCopy copy(scratch.path() + "/wanted/libplain.so");
  EXPECT_EQ(ModuleDirectory("wanted"), "");
}

TEST(ModuleInfo, WhenNoneIsFoundTheResultIsTheDirectoryPartOfTheNameItself) {
  EXPECT_EQ(ModuleDirectory("nosuch.so"), "");
  EXPECT_EQ(ModuleDirectory("/x/y/nosuch.so"), "/x/y/");
  EXPECT_EQ(ModuleDirectory("x/"), "x/");
  EXPECT_EQ(ModuleDirectory("x\\y"), "");
}

TEST(ModuleInfo, DirectoryOfANameThatIsNoTextIsItsBytes) {
  if (!LocalTextIsUtf8()) GTEST_SKIP() << "local text is no UTF-8 here";
  EXPECT_EQ(ModuleDirectory("\xff/\xfe"), "\xff/");
}

TEST(ModuleInfo, EmptyAndNullNamesAreNotFound) {
  EXPECT_EQ(ModuleDirectory(""), "");
  EXPECT_EQ(ModuleDirectory(nullptr), "");
}

TEST(ModuleInfo, DirectoryOfAnyBytesIsGiven) {
  if (!LocalTextIsUtf8()) GTEST_SKIP() << "local text is no UTF-8 here";
  const ScratchDir scratch;
  const LoadedCopy copy(scratch.path() + "/\xff\xE5\xAE\x8B/libbytes.so");
  EXPECT_EQ(ModuleDirectory("libbytes"), scratch.path() + "/\xff\xE5\xAE\x8B/");
}

TEST(ModuleInfo, VersionIsOneStaticText) {
  EXPECT_STREQ(tovkit::GetLibraryVersion(), "5.0.23.1211.2158");
  EXPECT_EQ(tovkit::GetLibraryVersion(), tovkit::GetLibraryVersion());
}

TEST(ModuleInfoDeathTest, NameBeyondTheBufferEndsTheProcess) {
  const std::string fits = "d/" + std::string(10237, 'x');
  EXPECT_EQ(ModuleDirectory(fits.c_str()), "d/");
  EXPECT_DEATH(GetModuleDirectory((fits + "x").c_str()),
               "a text of 10240 bytes does not fit a buffer of 10240 bytes");
}

}  // namespace
