// Reads private members in tests: an explicit instantiation may name them.
//
//   struct PoolThreadCount { friend auto Get(PoolThreadCount); };
//   template struct Expose<PoolThreadCount, &tovkit::ThreadPool::threadCount>;
//   pool.*Get(PoolThreadCount{})
#pragma once

template <typename Tag, auto Member>
struct Expose {
  friend auto Get(Tag) { return Member; }
};
