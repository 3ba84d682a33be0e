// SPDX-License-Identifier: MIT
// Devices on bitmaps that end where the process's memory ends: a byte read or written past the last row is a
// fault. A sanitizer sees that by itself, and wants the memory functions for itself.
#include <tovmx/device.h>

#include <gtest/gtest.h>

#include <dlfcn.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>

#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
#define GUARDS_BITMAPS 1
#endif

namespace {

// The block that the next calloc of this thread returns, in front of a page that cannot be touched.
[[maybe_unused]] thread_local constinit bool guardsNext = false;
#ifdef GUARDS_BITMAPS
constinit void* guarded = nullptr;
constinit std::size_t guardedPages = 0;

void* AtTheEnd(std::size_t bytes) {
  const auto page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
  const std::size_t room = (bytes + page - 1) / page * page;
  void* start = mmap(nullptr, room + page, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (start == MAP_FAILED) return nullptr;
  mprotect(static_cast<char*>(start) + room, page, PROT_NONE);
  guardedPages = room + page;
  guarded = static_cast<char*>(start) + (room - bytes);
  return guarded;
}

void Unmap() {
  const auto page = static_cast<std::uintptr_t>(sysconf(_SC_PAGESIZE));
  munmap(reinterpret_cast<void*>(reinterpret_cast<std::uintptr_t>(guarded) / page * page), guardedPages);
  guarded = nullptr;
}

#endif

}  // namespace

#ifdef GUARDS_BITMAPS
extern "C" __attribute__((visibility("default"))) void* calloc(std::size_t count, std::size_t size) noexcept {
  static auto* const next = reinterpret_cast<void* (*)(std::size_t, std::size_t)>(dlsym(RTLD_NEXT, "calloc"));
  if (!guardsNext) return next(count, size);
  guardsNext = false;
  return AtTheEnd(count * size);
}

extern "C" __attribute__((visibility("default"))) void free(void* block) noexcept {
  static auto* const next = reinterpret_cast<void (*)(void*)>(dlsym(RTLD_NEXT, "free"));
  if (block == nullptr || block != guarded) return next(block);
  Unmap();
}
#endif

namespace {

// Widths whose rows end within a word, and heights that are not round.
TEST(DeviceBounds, NothingBehindTheLastRowIsTouched) {
  CoreFontLoader fonts(nullptr);
  fonts.LoadFont(L"DejaVu Sans", L"", kCoreFontAny, 400, false);
  for (const int bits : {1, 4, 8, 24, 32}) {
    for (const int width : {1, 7, 33, 129, 1024}) {
      for (const bool opaque : {false, true}) {
        CoreDib dib;
        guardsNext = true;
        ASSERT_TRUE(dib.Create(width, 41, bits));
        guardsNext = false;
#ifdef GUARDS_BITMAPS
        ASSERT_EQ(dib.GetBuffer(), guarded);
#endif
        if (opaque) std::memset(dib.GetBuffer(), 255, dib.GetBufferSize());
        CoreBitmapDevice device(&dib);
        CoreMatrix place;
        place.Translate(-3, 38);
        for (const wchar_t* text : {L"gjpqy\u2588", L"\U0001F600"}) {
          EXPECT_TRUE(device.DrawText(text, -1, fonts, place, 0xC0FF8040, 40.0f));
          EXPECT_TRUE(device.EndText() && device.Flush());
        }
        EXPECT_TRUE(device.FillPage(0x80123456));
        EXPECT_TRUE(device.Flush());
      }
    }
  }
}

}  // namespace
