// SPDX-License-Identifier: MIT
// What the system may answer and seldom does: this program puts its own readlink and dl_iterate_phdr before
// those of the C library, which answer as a test scripts them and pass everything else on.
#include <tovkit/util.h>

#include <dlfcn.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <link.h>
#include <unistd.h>

#include <optional>
#include <string>
#include <utility>

#include "in_locale.h"

namespace {

using Walk = int (*)(dl_phdr_info*, std::size_t, void*);

struct Script {
  std::optional<std::string> link;  // the target of every link; nothing makes readlink fail
  std::string object;               // the path of the only loaded object
};
Script* script = nullptr;

class Scripted {
 public:
  explicit Scripted(Script answers) : answers_(std::move(answers)) { script = &answers_; }
  ~Scripted() { script = nullptr; }
  Scripted(const Scripted&) = delete;
  Scripted& operator=(const Scripted&) = delete;

 private:
  Script answers_;
};

ssize_t ScriptedLink(char* buffer, std::size_t capacity) {
  if (!script->link) return -1;
  return static_cast<ssize_t>(script->link->copy(buffer, capacity));
}

int ScriptedWalk(Walk callback, void* data) {
  dl_phdr_info object = {};
  object.dlpi_name = script->object.c_str();
  return callback(&object, sizeof(object), data);
}

}  // namespace

// A sanitizer calls these while it starts, before any code of its own may run.
#define BEFORE_LIBC extern "C" __attribute__((visibility("default"), no_sanitize("address", "undefined")))

BEFORE_LIBC ssize_t readlink(const char* path, char* buffer, std::size_t capacity) noexcept {
  if (script != nullptr) return ScriptedLink(buffer, capacity);
  return readlinkat(AT_FDCWD, path, buffer, capacity);
}

// What a newer libc makes of it for clang, which checks the buffer.
BEFORE_LIBC ssize_t __readlink_chk(const char* path, char* buffer, std::size_t capacity, std::size_t) {
  return readlink(path, buffer, capacity);
}

BEFORE_LIBC int dl_iterate_phdr(Walk callback, void* data) {
  if (script != nullptr) return ScriptedWalk(callback, data);
  return reinterpret_cast<int (*)(Walk, void*)>(dlsym(RTLD_NEXT, "dl_iterate_phdr"))(callback, data);
}

namespace {

TEST(ModuleInfoFaults, ExecutableDirectoryIsUnknownWithoutALink) {
  const Scripted failing({std::nullopt, ""});
  EXPECT_TRUE(tovkit::GetExecutableDirectory().IsEmpty());
}

TEST(ModuleInfoFaults, ExecutableDirectoryIsUnknownForAnEmptyLink) {
  const Scripted empty({"", ""});
  EXPECT_TRUE(tovkit::GetExecutableDirectory().IsEmpty());
}

TEST(ModuleInfoFaults, ExecutableDirectoryOfTheLongestPath) {
  const std::string path = "/usr/bin/" + std::string(10230, 'x');
  const Scripted longest({path, ""});
  EXPECT_STREQ(tovkit::GetExecutableDirectory().c_str(), "/usr/bin/");
}

TEST(ModuleInfoFaults, ExecutableDirectoryIsUnknownWhenTheBufferIsFull) {
  const std::string path = "/usr/bin/" + std::string(10231, 'x');
  const Scripted full({path, ""});
  EXPECT_TRUE(tovkit::GetExecutableDirectory().IsEmpty());
}

TEST(ModuleInfoFaults, ExecutableDirectoryIsCutAtTheLastSeparator) {
  for (const auto& [link, directory] : {std::pair("/usr/bin/app", "/usr/bin/"), std::pair("/app", "/"),
                                        std::pair("app", ""), std::pair("/a\\b", "/")}) {
    const Scripted answer({link, ""});
    EXPECT_STREQ(tovkit::GetExecutableDirectory().c_str(), directory) << link;
  }
}

TEST(ModuleInfoFaults, DirectoriesAreGivenInUtf8WhateverTheLocalEncoding) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");  // starts anew: this process may have read its own codeset
  EXPECT_IN("zh_CN.GBK", [] {
    const Scripted answer({"/\xCB\xCE/app", "/\xCC\xE5/lib\xCB\xCE.so"});
    HOLDS(tovkit::GetExecutableDirectory() == "/\xE5\xAE\x8B/");
    // The name is compared as it is given.
    HOLDS(tovkit::GetModuleDirectory("lib\xCB\xCE") == "/\xE4\xBD\x93/");
    HOLDS(tovkit::GetModuleDirectory("lib\xE5\xAE\x8B") == "");
    HOLDS(tovkit::GetModuleDirectory("\xCB\xCE/none") == "\xE5\xAE\x8B/");
  });
}

TEST(ModuleInfoFaults, ModulesWithoutADirectoryAreNotFound) {
  const Scripted bare({"", "libbare.so"});
  EXPECT_TRUE(tovkit::GetModuleDirectory("libbare.so").IsEmpty());
}

TEST(ModuleInfoFaults, ModuleBelowTheRoot) {
  const Scripted root({"", "/libroot.so"});
  EXPECT_STREQ(tovkit::GetModuleDirectory("libroot").c_str(), "/");
}

TEST(ModuleInfoFaultsDeathTest, ModulePathBeyondTheBufferEndsTheProcess) {
  const std::string directory(10238, 'd');
  {
    const Scripted fits({"", directory + "/x"});
    EXPECT_DEATH(tovkit::GetModuleDirectory("x"),
                 "a text of 10240 bytes does not fit a buffer of 10240 bytes");
  }
  const Scripted fits({"", directory.substr(1) + "/x"});
  EXPECT_EQ(tovkit::GetModuleDirectory("x").GetLength(), 10238);
}

}  // namespace
