// SPDX-License-Identifier: MIT
// RunOnStack: runs a function on a thread with a stack of a given size, so that a test decides how deep a
// recursion may go.
#pragma once

#include <gtest/gtest.h>

#include <pthread.h>

#include <cstddef>

template <typename Function>
void RunOnStack(std::size_t bytes, Function function) {
  pthread_attr_t attributes;
  ASSERT_EQ(pthread_attr_init(&attributes), 0);
  ASSERT_EQ(pthread_attr_setstacksize(&attributes, bytes), 0);
  pthread_t thread;
  const auto run = [](void* argument) -> void* {
    (*static_cast<Function*>(argument))();
    return nullptr;
  };
  ASSERT_EQ(pthread_create(&thread, &attributes, run, &function), 0);
  pthread_join(thread, nullptr);
  pthread_attr_destroy(&attributes);
}
