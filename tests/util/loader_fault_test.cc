// SPDX-License-Identifier: MIT
// What the loader may answer and seldom does: this program's dlopen, dlclose and dlerror stand before those
// of the C library, answer as a test scripts them and pass everything else on.
#include <tovkit/util.h>

#include <dlfcn.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

struct Script {
  void* handle = nullptr;       // what dlopen returns
  const char* error = nullptr;  // what dlerror returns
  std::vector<std::string> calls = {};
};
Script* script = nullptr;

class Scripted {
 public:
  explicit Scripted(Script& answers) { script = &answers; }
  ~Scripted() { script = nullptr; }
  Scripted(const Scripted&) = delete;
  Scripted& operator=(const Scripted&) = delete;
};

template <typename Function>
Function* Next(const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

}  // namespace

// A sanitizer calls these while it starts, before any code of its own may run.
#define BEFORE_LIBC extern "C" __attribute__((visibility("default"), no_sanitize("address", "undefined")))

BEFORE_LIBC void* dlopen(const char* path, int mode) noexcept {
  if (script == nullptr) return Next<void*(const char*, int)>("dlopen")(path, mode);
  script->calls.push_back("dlopen " + std::string(path) + " " + std::to_string(mode));
  return script->handle;
}

BEFORE_LIBC int dlclose(void* handle) noexcept {
  if (script == nullptr) return Next<int(void*)>("dlclose")(handle);
  script->calls.push_back(handle == script->handle ? "dlclose" : "dlclose of another");
  return -1;
}

BEFORE_LIBC char* dlerror() noexcept {
  if (script == nullptr) return Next<char*()>("dlerror")();
  return const_cast<char*>(script->error);
}

namespace {

using tovkit::DynamicLibrary;
using Calls = std::vector<std::string>;

TEST(LoaderFaults, LoadIsLazyAndLocal) {
  int library = 0;
  Script answers{&library};
  const Scripted scripted(answers);
  {
    DynamicLibrary plugin("/p", "x");
    EXPECT_EQ(answers.calls, Calls()) << "by the constructor";
    EXPECT_TRUE(plugin.Load());
    EXPECT_EQ(answers.calls, Calls{"dlopen /p/libx.so 1"});
  }
  EXPECT_EQ(answers.calls, (Calls{"dlopen /p/libx.so 1", "dlclose"})) << "by the destructor";
}

TEST(LoaderFaults, AFailureWithoutATextLeavesTheErrorEmpty) {
  Script answers;
  const Scripted scripted(answers);
  DynamicLibrary plugin("/p/x.so");
  EXPECT_EQ(plugin.Resolve("x"), nullptr);
  EXPECT_FALSE(plugin.Load());
  EXPECT_STREQ(plugin.GetError(), "");
}

TEST(LoaderFaults, AFailureOnALoadedLibraryLeavesItUnloaded) {
  int library = 0;
  Script answers{&library, "no more"};
  const Scripted scripted(answers);
  DynamicLibrary plugin("/p/x.so");
  EXPECT_TRUE(plugin.Load());
  answers.handle = nullptr;
  EXPECT_FALSE(plugin.Load());
  EXPECT_FALSE(plugin.IsLoaded());
  EXPECT_STREQ(plugin.GetError(), "no more");
}

TEST(LoaderFaults, AFailureToCloseIsIgnored) {
  int library = 0;
  Script answers{&library, "busy"};
  const Scripted scripted(answers);
  DynamicLibrary plugin("/p/x.so");
  EXPECT_TRUE(plugin.Load());
  plugin.Unload();
  EXPECT_FALSE(plugin.IsLoaded());
  EXPECT_STREQ(plugin.GetError(), "");
  plugin.Unload();
  EXPECT_EQ(answers.calls, (Calls{"dlopen /p/x.so 1", "dlclose"})) << "an unloaded library is not closed";
}

}  // namespace
