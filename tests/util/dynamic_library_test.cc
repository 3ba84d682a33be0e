// SPDX-License-Identifier: MIT
#include "local_text.h"

#include <tovkit/util.h>

#include <dlfcn.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <type_traits>
#include <utility>

#include "scratch_dir.h"

namespace {

using tovkit::DynamicLibrary;

static_assert(!std::is_copy_constructible_v<DynamicLibrary> && !std::is_copy_assignable_v<DynamicLibrary>);
static_assert(std::is_nothrow_move_constructible_v<DynamicLibrary>);
static_assert(!std::is_convertible_v<const char*, DynamicLibrary>);
static_assert(sizeof(DynamicLibrary) == sizeof(void*));

constexpr const char* kDirectory = TOVKIT_TEST_PLUGIN_DIR;
constexpr const char* kName = "tovkit_test_plugin";

std::string PluginPath() { return std::string(kDirectory) + "/lib" + kName + ".so"; }

// Whether the process holds the library at `path`.
bool IsInProcess(const std::string& path) {
  void* handle = dlopen(path.c_str(), RTLD_LAZY | RTLD_NOLOAD);
  if (handle == nullptr) return false;
  dlclose(handle);
  return true;
}

void ExpectPath(const char* directory, const char* name, const char* path) {
  const DynamicLibrary library(directory, name);
  EXPECT_STREQ(library.GetPath(), path);
  EXPECT_STREQ(library.GetName(), name != nullptr ? name : "") << path;
  EXPECT_STREQ(library.GetError(), "") << path;
  EXPECT_FALSE(library.IsLoaded()) << path;
}

TEST(DynamicLibrary, ASlashIsPutBetweenUnlessTheDirectoryEndsInASeparator) {
  ExpectPath("/opt/plugins", "codec", "/opt/plugins/libcodec.so");
  ExpectPath("/opt/x/", "foo", "/opt/x/libfoo.so");
  ExpectPath("C:\\x\\", "foo", "C:\\x\\libfoo.so");
  ExpectPath("C:\\x", "foo", "C:\\x/libfoo.so");
  ExpectPath("/\xff", "\xfe", "/\xff/lib\xfe.so");
  if (!LocalTextIsUtf8()) return;  // the names would be others
  ExpectPath("/\xE5\xAE\x8B", "\xE4\xBD\x93", "/\xE5\xAE\x8B/lib\xE4\xBD\x93.so");
}

TEST(DynamicLibrary, AnEmptyDirectoryIsTheRootAndAnEmptyNameStaysEmpty) {
  ExpectPath("", "foo", "/libfoo.so");
  ExpectPath(nullptr, "foo", "/libfoo.so");
  ExpectPath("/a", "", "/a/lib.so");
  ExpectPath("/a", nullptr, "/a/lib.so");
}

TEST(DynamicLibrary, ItsNameIsThatOfThePathWithoutLibAtItsFront) {
  struct Row {
    const char* path;
    const char* name;
  };
  const Row kTable[] = {
      {"/usr/lib/libfoo.so", "foo"},
      {"/usr/lib/plugin.so", "plugin"},
      {"/usr/lib/libfoo.so.2", "foo.so"},
      {"/usr/lib/libfoo", ""},
      {"libfoo", "foo"},
      {"/libfoo", "foo"},
      {"/usr/lib/lib.so", ""},
      {"/usr/lib/li.so", "li"},
      {"/usr/lib/Libfoo.so", "Libfoo"},
      {"C:\\x\\libfoo.dll", "foo"},
      {"/usr/lib/liblib.so", "lib"},
      {"", ""},
      {"/x/lib\xff.so", "\xff"},
  };
  for (const Row& row : kTable) {
    const DynamicLibrary library(row.path);
    EXPECT_STREQ(library.GetPath(), row.path);
    EXPECT_STREQ(library.GetName(), row.name) << row.path;
    EXPECT_STREQ(library.GetError(), "") << row.path;
    EXPECT_FALSE(library.IsLoaded()) << row.path;
  }
}

TEST(DynamicLibrary, NullPathIsEmpty) {
  const DynamicLibrary library(nullptr);
  EXPECT_STREQ(library.GetPath(), "");
  EXPECT_STREQ(library.GetName(), "");
}

TEST(DynamicLibrary, MegabytePathIsKeptAndRefused) {
  DynamicLibrary library(("/" + std::string(1 << 20, 'x') + ".so").c_str());
  EXPECT_EQ(std::string(library.GetName()).size(), std::size_t{1} << 20);
  EXPECT_FALSE(library.Load());
  EXPECT_STRNE(library.GetError(), "");
}

TEST(DynamicLibrary, LoadsResolvesAndUnloads) {
  DynamicLibrary library(kDirectory, kName);
  ASSERT_TRUE(library.Load()) << library.GetError();
  EXPECT_TRUE(library.IsLoaded());
  EXPECT_STREQ(library.GetError(), "");
  const auto answer = reinterpret_cast<int (*)()>(library.Resolve("PluginAnswer"));
  ASSERT_NE(answer, nullptr);
  EXPECT_EQ(answer(), 42);
  library.Unload();
  EXPECT_FALSE(library.IsLoaded());
  EXPECT_FALSE(IsInProcess(PluginPath()));
}

TEST(DynamicLibrary, SymbolsStayLocal) {
  DynamicLibrary library(PluginPath().c_str());
  ASSERT_TRUE(library.Load()) << library.GetError();
  EXPECT_EQ(dlsym(RTLD_DEFAULT, "PluginAnswer"), nullptr);
}

TEST(DynamicLibrary, DestructionUnloads) {
  {
    DynamicLibrary library(PluginPath().c_str());
    ASSERT_TRUE(library.Load()) << library.GetError();
    ASSERT_TRUE(IsInProcess(PluginPath()));
  }
  EXPECT_FALSE(IsInProcess(PluginPath()));
}

TEST(DynamicLibrary, LoadingTwiceForgetsTheFirstHandle) {
  {
    DynamicLibrary library(PluginPath().c_str());
    ASSERT_TRUE(library.Load());
    ASSERT_TRUE(library.Load());
    library.Unload();
    EXPECT_FALSE(library.IsLoaded());
  }
  EXPECT_TRUE(IsInProcess(PluginPath()));
  void* handle = dlopen(PluginPath().c_str(), RTLD_LAZY | RTLD_NOLOAD);
  dlclose(handle);
  dlclose(handle);  // the forgotten one
  EXPECT_FALSE(IsInProcess(PluginPath()));
}

TEST(DynamicLibrary, MissingFileGivesTheLoadersText) {
  DynamicLibrary library("/nosuch/directory", "nosuch");
  EXPECT_FALSE(library.Load());
  EXPECT_FALSE(library.IsLoaded());
  const std::string error = library.GetError();
  EXPECT_EQ(dlopen("/nosuch/directory/libnosuch.so", RTLD_LAZY), nullptr);
  EXPECT_EQ(error, dlerror());
}

TEST(DynamicLibrary, FilesThatAreNoLibraryAreRefused) {
  const ScratchDir scratch;
  const std::string kContents[] = {"", "not a library\n",
                                   std::string("\x7f"
                                               "ELF",
                                               4),
                                   std::string(5000, '\0')};
  for (const std::string& content : kContents) {
    const std::string path = scratch.path() + "/libbad.so";
    std::ofstream(path, std::ios::binary) << content;
    DynamicLibrary library(path.c_str());
    EXPECT_FALSE(library.Load()) << content.size();
    EXPECT_NE(std::string(library.GetError()).find("libbad.so"), std::string::npos) << library.GetError();
    EXPECT_EQ(library.Resolve("PluginAnswer"), nullptr);
    EXPECT_STREQ(library.GetError(), "Library not load");
  }
}

TEST(DynamicLibrary, CutLibraryIsRefused) {
  const ScratchDir scratch;
  const std::string path = scratch.path() + "/libcut.so";
  std::filesystem::copy_file(PluginPath(), path);
  std::filesystem::resize_file(path, 100);
  DynamicLibrary library(path.c_str());
  EXPECT_FALSE(library.Load());
  EXPECT_STRNE(library.GetError(), "");
}

TEST(DynamicLibrary, ResolveOfALibraryThatIsNotLoadedSaysSo) {
  DynamicLibrary library(PluginPath().c_str());
  EXPECT_EQ(library.Resolve("PluginAnswer"), nullptr);
  EXPECT_STREQ(library.GetError(), "Library not load");
}

TEST(DynamicLibrary, NullOrEmptySymbolKeepsTheError) {
  DynamicLibrary library(PluginPath().c_str());
  EXPECT_EQ(library.Resolve("x"), nullptr);
  EXPECT_EQ(library.Resolve(""), nullptr);
  EXPECT_STREQ(library.GetError(), "Library not load");
  EXPECT_EQ(library.Resolve(nullptr), nullptr);
  EXPECT_STREQ(library.GetError(), "Library not load");
  ASSERT_TRUE(library.Load());
  EXPECT_EQ(library.Resolve("x"), nullptr);
  const std::string error = library.GetError();
  EXPECT_NE(error.find("\"x\" not found"), std::string::npos) << error;
  for (const char* const symbol : {"", static_cast<const char*>(nullptr)}) {
    EXPECT_EQ(library.Resolve(symbol), nullptr);
    EXPECT_EQ(library.GetError(), error);
  }
}

TEST(DynamicLibrary, MissingSymbolNamesItselfAndTheLibrary) {
  DynamicLibrary library(PluginPath().c_str());
  ASSERT_TRUE(library.Load());
  EXPECT_EQ(library.Resolve("init"), nullptr);
  EXPECT_STREQ(library.GetError(), "\"init\" not found in library \"tovkit_test_plugin\"");
  EXPECT_TRUE(library.IsLoaded());
  EXPECT_NE(library.Resolve("PluginAnswer"), nullptr);
  EXPECT_STREQ(library.GetError(), "");
}

TEST(DynamicLibrary, UnloadOfAnUnloadedLibraryEmptiesTheError) {
  DynamicLibrary library("/nosuch.so");
  EXPECT_FALSE(library.Load());
  library.Unload();
  EXPECT_STREQ(library.GetError(), "");
  EXPECT_FALSE(library.IsLoaded());
}

// The direct question tells the two apart: the loader has an error for a missing symbol alone.
TEST(DynamicLibrary, ASymbolWhoseValueIsNullLooksLikeAMissingOne) {
  void* const handle = dlopen(PluginPath().c_str(), RTLD_LAZY);
  ASSERT_NE(handle, nullptr);
  dlerror();
  EXPECT_EQ(dlsym(handle, "PluginNull"), nullptr);
  EXPECT_EQ(dlerror(), nullptr) << "the symbol is there";
  dlclose(handle);
  DynamicLibrary library(PluginPath().c_str());
  ASSERT_TRUE(library.Load());
  EXPECT_EQ(library.Resolve("PluginNull"), nullptr);
  EXPECT_STREQ(library.GetError(), "\"PluginNull\" not found in library \"tovkit_test_plugin\"");
}

TEST(DynamicLibrary, UnloadClosesTheLibraryAndEmptiesTheError) {
  DynamicLibrary library(PluginPath().c_str());
  ASSERT_TRUE(library.Load());
  EXPECT_EQ(library.Resolve("none"), nullptr);
  ASSERT_STRNE(library.GetError(), "");
  library.Unload();
  EXPECT_STREQ(library.GetError(), "");
  EXPECT_FALSE(library.IsLoaded());
  EXPECT_FALSE(IsInProcess(PluginPath()));
}

TEST(DynamicLibrary, NameAndPathAndErrorStayValidUntilAnOperationChangesThem) {
  DynamicLibrary library(PluginPath().c_str());
  const char* const name = library.GetName();
  const char* const path = library.GetPath();
  ASSERT_TRUE(library.Load());
  EXPECT_EQ(library.Resolve("none"), nullptr);
  const char* const error = library.GetError();
  EXPECT_EQ(library.Resolve(""), nullptr);  // changes no text
  EXPECT_TRUE(library.IsLoaded());
  EXPECT_STREQ(error, "\"none\" not found in library \"tovkit_test_plugin\"");
  EXPECT_EQ(library.GetError(), error);
  library.Unload();
  EXPECT_EQ(library.GetName(), name);
  EXPECT_EQ(library.GetPath(), path);
  EXPECT_STREQ(name, kName);
  EXPECT_EQ(path, PluginPath());
}

TEST(DynamicLibrary, LoadEmptiesTheErrorBeforeIt) {
  DynamicLibrary library(PluginPath().c_str());
  EXPECT_EQ(library.Resolve("x"), nullptr);
  ASSERT_TRUE(library.Load());
  EXPECT_STREQ(library.GetError(), "");
}

TEST(DynamicLibrary, EmptyPathIsTheProgramItself) {
  DynamicLibrary program("");
  ASSERT_TRUE(program.Load()) << program.GetError();
  EXPECT_NE(program.Resolve("malloc"), nullptr);
  // Of a library that the program was linked with, and the C library was not.
  EXPECT_NE(program.Resolve("cairo_version"), nullptr);
}

TEST(DynamicLibrary, PathsOfAnyBytesLoad) {
  if (!LocalTextIsUtf8()) GTEST_SKIP() << "local text is no UTF-8 here";
  const ScratchDir scratch;
  const std::string directory = scratch.path() + "/\xff\xE5\xAE\x8B";
  std::filesystem::create_directory(directory);
  std::filesystem::copy_file(PluginPath(), directory + "/lib\xfe.so");
  DynamicLibrary library(directory.c_str(), "\xfe");
  ASSERT_TRUE(library.Load()) << library.GetError();
  EXPECT_NE(library.Resolve("PluginAnswer"), nullptr);
  EXPECT_EQ(library.Resolve("none"), nullptr);
  EXPECT_STREQ(library.GetError(), "\"none\" not found in library \"\xfe\"");
}

TEST(DynamicLibrary, MovingTakesTheLibraryAlong) {
  DynamicLibrary first(PluginPath().c_str());
  ASSERT_TRUE(first.Load());
  DynamicLibrary second(std::move(first));
  EXPECT_TRUE(second.IsLoaded());
  DynamicLibrary third("/other.so");
  third = std::move(second);
  EXPECT_TRUE(third.IsLoaded());
  EXPECT_STREQ(third.GetName(), kName);
  third.Unload();
  EXPECT_FALSE(IsInProcess(PluginPath()));
}

TEST(DynamicLibrary, AMovedFromObjectMayBeAssignedTo) {
  DynamicLibrary first(PluginPath().c_str());
  ASSERT_TRUE(first.Load());
  {
    DynamicLibrary second(std::move(first));
    first = DynamicLibrary("/usr/lib/libfresh.so");
    EXPECT_STREQ(first.GetName(), "fresh");
    EXPECT_FALSE(first.IsLoaded());
    EXPECT_TRUE(second.IsLoaded());

    DynamicLibrary third(std::move(second));
    second = std::move(third);  // and it may be the one that was taken from it
    EXPECT_TRUE(second.IsLoaded());
    EXPECT_STREQ(second.GetName(), kName);
    third = std::move(first);  // both the target and, from now on, the source have nothing
    EXPECT_STREQ(third.GetName(), "fresh");
    first = DynamicLibrary(kDirectory, kName);
    EXPECT_TRUE(first.Load()) << first.GetError();
    first.Unload();
    EXPECT_TRUE(IsInProcess(PluginPath())) << "the handle of the second";
  }
  EXPECT_FALSE(IsInProcess(PluginPath()));
}

TEST(DynamicLibrary, AssigningExchangesTheTwo) {
  DynamicLibrary loaded(PluginPath().c_str());
  ASSERT_TRUE(loaded.Load());
  DynamicLibrary other("/usr/lib/libother.so");
  EXPECT_EQ(other.Resolve("x"), nullptr);
  other = std::move(loaded);
  EXPECT_TRUE(other.IsLoaded());
  // What was moved from is looked at on purpose.  NOLINTNEXTLINE(bugprone-use-after-move)
  EXPECT_FALSE(loaded.IsLoaded());
  EXPECT_STREQ(loaded.GetPath(), "/usr/lib/libother.so");
  EXPECT_STREQ(loaded.GetError(), "Library not load");
  DynamicLibrary& same = other;
  other = std::move(same);
  EXPECT_TRUE(other.IsLoaded()) << "an object assigned to itself";
}

TEST(DynamicLibraryDeathTest, MessageBeyondTheBufferEndsTheProcess) {
  DynamicLibrary library(PluginPath().c_str());
  ASSERT_TRUE(library.Load());
  const std::size_t fixed = std::string("\"\" not found in library \"tovkit_test_plugin\"").size();
  const std::string fits(1023 - fixed, 's');
  EXPECT_EQ(library.Resolve(fits.c_str()), nullptr);
  EXPECT_EQ(std::string(library.GetError()).size(), 1023U);
  EXPECT_DEATH(library.Resolve((fits + "s").c_str()),
               "a text of 1024 bytes does not fit a buffer of 1024 bytes");
}

}  // namespace
