// SPDX-License-Identifier: MIT
// Texts of 2 GiB and more, whose results a core string cannot hold. They take next to no memory: one block,
// mapped over and over.
#include "local_text.h"

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <tovkit/util.h>
#include <unistd.h>

#include <algorithm>
#include <climits>
#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>

namespace {

constexpr std::size_t kBlock = std::size_t{16} << 20;

// At least `size` bytes that repeat `unit`, whose length divides a block, and a NUL behind them.
class RepeatedText {
 public:
  RepeatedText(const std::string& unit, std::size_t size) : size_((size + kBlock - 1) / kBlock * kBlock) {
    const int file = memfd_create("text", MFD_CLOEXEC);
    std::string block;
    while (block.size() < kBlock) block += unit;
    EXPECT_EQ(write(file, block.data(), kBlock), static_cast<ssize_t>(kBlock));
    start_ = static_cast<char*>(mmap(nullptr, size_ + 4096, PROT_READ, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
    EXPECT_NE(start_, MAP_FAILED);
    for (std::size_t at = 0; at < size_; at += kBlock) {
      EXPECT_NE(mmap(start_ + at, kBlock, PROT_READ, MAP_SHARED | MAP_FIXED, file, 0), MAP_FAILED);
    }
    close(file);
  }
  ~RepeatedText() { munmap(start_, size_ + 4096); }
  RepeatedText(const RepeatedText&) = delete;
  RepeatedText& operator=(const RepeatedText&) = delete;

  const char* text() const { return start_; }
  const wchar_t* wide() const { return reinterpret_cast<const wchar_t*>(start_); }

 private:
  std::size_t size_;
  char* start_ = nullptr;
};

constexpr std::size_t kTooLong = std::size_t{INT_MAX} + 1;

TEST(HugeText, AFileNameThatACoreStringCannotHoldThrows) {
  const RepeatedText text("x", kTooLong);
  EXPECT_THROW(tovkit::GetFileName(text.text(), -1), std::length_error);
  EXPECT_THROW(tovkit::GetFileName(text.text(), 0), std::length_error);
}

TEST(HugeText, PiecesThatPointIntoThePathHaveNoLimit) {
  const RepeatedText text("x/y.", kTooLong);
  EXPECT_STREQ(tovkit::GetFileExtension(text.text(), -1), ".");
  EXPECT_STREQ(tovkit::GetFileNamePart(text.text(), -1), "y.");
  EXPECT_STREQ(tovkit::GetFileName(text.text(), -1).c_str(), "y");
}

TEST(HugeText, AConversionWhoseResultACoreStringCannotHoldThrows) {
  if (!LocalTextIsUtf8()) GTEST_SKIP() << "local text is no UTF-8 here";
  const RepeatedText text("x", kTooLong);
  EXPECT_THROW(tovkit::Utf8ToWide(text.text(), -1), std::length_error);
  EXPECT_THROW(tovkit::LocalToWide(text.text(), -1), std::length_error);
  EXPECT_THROW(tovkit::LocalToUtf8(text.text(), -1), std::length_error);
  EXPECT_THROW(tovkit::Utf8ToLocal(text.text(), -1), std::length_error);
  EXPECT_THROW(tovkit::Utf8ToWide(text.text(), INT_MAX), std::length_error);
  EXPECT_THROW(tovkit::LocalToUtf8(text.text(), INT_MAX), std::length_error);
  // U+5B8B, 3 bytes in UTF-8.
  const RepeatedText wide(std::string("\x8B\x5B\0\0", 4), kTooLong / 3 * sizeof(wchar_t) + sizeof(wchar_t));
  EXPECT_THROW(tovkit::WideToUtf8(wide.wide(), -1), std::length_error);
  EXPECT_THROW(tovkit::WideToLocal(wide.wide(), -1), std::length_error);
}

// The count of the characters would fit.
TEST(HugeText, Utf8OfAsManyBytesAsACoreStringCannotHoldThrows) {
  const RepeatedText text("\xC3\xA9", kTooLong);
  EXPECT_THROW(tovkit::Utf8ToWide(text.text(), INT_MAX), std::length_error);
  EXPECT_THROW(tovkit::Utf8ToLocal(text.text(), -1), std::length_error);
}

TEST(HugeText, Base64WhoseBytesACoreStringCannotHoldThrows) {
  const RepeatedText text("QUJD", kTooLong / 3 * 4 + 8);
  EXPECT_THROW(tovkit::Base64Decode(text.text(), -1), std::length_error);
}

}  // namespace
