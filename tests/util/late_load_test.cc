// SPDX-License-Identifier: MIT
// The library comes into a program that runs already, has threads, and was not linked with it, as plug-ins
// and the extension modules of interpreters bring it. What it keeps for each thread has to fit into what the
// loader leaves for late comers.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <future>
#include <thread>

TEST(LateLoad, ThreadsThatRanBeforeAndLaterUseTheLibrary) {
  ASSERT_EQ(dlopen("libtovkit.so.5", RTLD_LAZY | RTLD_NOLOAD), nullptr) << "it is here already";
  std::promise<int (*)()> loaded;
  int before = 0, later = 0;
  std::thread early([&] { before = loaded.get_future().get()(); });
  void* const module = dlopen(TOVKIT_LATE_MODULE, RTLD_NOW | RTLD_LOCAL);
  const char* const error = module == nullptr ? dlerror() : "";
  auto* const count =
      module == nullptr ? +[] { return 0; } : reinterpret_cast<int (*)()>(dlsym(module, "CountOfElements"));
  loaded.set_value(count);
  early.join();
  std::thread([&] { later = count(); }).join();
  EXPECT_STREQ(error, "");
  EXPECT_EQ(before, 3);
  EXPECT_EQ(later, 3);
  EXPECT_EQ(count(), 3);
}
