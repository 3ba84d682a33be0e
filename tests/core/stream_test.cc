// SPDX-License-Identifier: MIT
#include <tovmx/stream.h>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

namespace {

TEST(CoreMemoryInputStream, ReadsUpToTheEnd) {
  CoreMemoryInputStream in("abcdef", 6);
  char got[8] = {};
  EXPECT_EQ(in.Read(got, 4), 4u);
  EXPECT_EQ(std::string(got), "abcd");
  EXPECT_EQ(in.Read(got, 8), 2u);
  EXPECT_EQ(in.Read(got, 8), 0u);
  EXPECT_EQ(in.GetPosition(), 6u);
  EXPECT_EQ(in.GetSize(), 6u);
}

TEST(CoreMemoryInputStream, PastTheEndThereIsNothing) {
  CoreMemoryInputStream in("abc", 3);
  char got = 0;
  EXPECT_TRUE(in.Seek(UINT64_MAX));
  EXPECT_EQ(in.Read(&got, 1), 0u);
  EXPECT_TRUE(in.Seek(2));
  EXPECT_EQ(in.Read(&got, 1), 1u);
  EXPECT_EQ(got, 'c');
}

TEST(CoreMemoryInputStream, EveryReadFromEveryPlace) {
  const std::string text = "abcdefg";
  CoreMemoryInputStream in(text.data(), text.size());
  EXPECT_EQ(static_cast<const void*>(in.GetView()), text.data());
  for (std::size_t at = 0; at <= 9; ++at) {
    for (std::size_t size = 0; size <= 9; ++size) {
      char got[10] = "---------";
      ASSERT_TRUE(in.Seek(at));
      const std::string expected = at > text.size() ? "" : text.substr(at, size);
      ASSERT_EQ(in.Read(got, size), expected.size());
      EXPECT_EQ(std::string(got, 9), expected + std::string(9 - expected.size(), '-')) << at << ", " << size;
      EXPECT_EQ(in.GetPosition(), at + expected.size());
    }
  }
}

TEST(CoreMemoryInputStream, NullIsEmpty) {
  CoreMemoryInputStream in(nullptr, 10);
  char got = 0;
  EXPECT_EQ(in.GetSize(), 0u);
  EXPECT_EQ(in.Read(&got, 1), 0u);
}

TEST(CoreMemoryOutputStream, CollectsWhatIsWritten) {
  CoreMemoryOutputStream out;
  EXPECT_EQ(out.GetData(), nullptr);
  std::string expected;
  for (int i = 0; i < 5000; ++i) {
    const std::string piece = std::to_string(i);
    ASSERT_TRUE(out.Write(piece.data(), piece.size()));
    expected += piece;
  }
  EXPECT_TRUE(out.Write(nullptr, 0));
  EXPECT_EQ(std::string(reinterpret_cast<const char*>(out.GetData()), out.GetSize()), expected);
}

TEST(CoreMemoryOutputStream, PiecesOfEverySizeFollowEachOther) {
  CoreMemoryOutputStream out;
  std::string expected;
  for (const std::size_t size : {1, 4095, 1, 0, 4096, 4097, 100'000, 3, 300'000, 8191}) {
    const std::string piece(size, static_cast<char>('a' + expected.size() % 26));
    ASSERT_TRUE(out.Write(piece.data(), size));
    expected += piece;
    ASSERT_EQ(out.GetSize(), expected.size());
    ASSERT_EQ(std::string(reinterpret_cast<const char*>(out.GetData()), out.GetSize()) == expected, true);
  }
}

TEST(CoreMemoryOutputStream, RefusesWhatNoMemoryHolds) {
  CoreMemoryOutputStream out;
  ASSERT_TRUE(out.Write("ab", 2));
  EXPECT_FALSE(out.Write("cd", SIZE_MAX));
  EXPECT_EQ(out.GetSize(), 2u);
}

class FileStream : public testing::Test {
 protected:
  FileStream() {
    const int fd = mkstemp(path_.data());
    if (fd >= 0) std::fclose(fdopen(fd, "w"));
  }
  ~FileStream() override { std::remove(path_.c_str()); }
  std::string path_ = testing::TempDir() + "tovmx_stream_XXXXXX";
};

TEST_F(FileStream, WhatIsWrittenIsReadBack) {
  CoreFileOutputStream out(path_.c_str());
  ASSERT_TRUE(out.IsOpen());
  EXPECT_TRUE(out.Write("hello, ", 7));
  EXPECT_TRUE(out.Write("world", 5));
  errno = EDOM;  // of somebody else
  EXPECT_TRUE(out.Close());
  EXPECT_EQ(errno, 0);
  EXPECT_FALSE(out.IsOpen());
  EXPECT_FALSE(out.Close());
  EXPECT_FALSE(out.Write("x", 1));

  CoreFileInputStream in(path_.c_str());
  ASSERT_TRUE(in.IsOpen());
  EXPECT_EQ(in.GetSize(), 12u);
  EXPECT_EQ(in.GetView(), nullptr);
  EXPECT_TRUE(in.Seek(7));
  char got[16] = {};
  EXPECT_EQ(in.Read(got, sizeof got), 5u);
  EXPECT_STREQ(got, "world");
  EXPECT_FALSE(in.HasFailed());
  EXPECT_EQ(in.GetPosition(), 12u);
  EXPECT_TRUE(in.Seek(0));
  EXPECT_FALSE(in.Seek(UINT64_MAX));
  EXPECT_EQ(in.Read(got, 5), 5u);
}

TEST_F(FileStream, AFileOfAnyLengthHasIt) {
  for (std::size_t length = 0; length <= 3; ++length) {
    {
      CoreFileOutputStream out(path_.c_str());
      ASSERT_TRUE(out.Write("abc", length));
      ASSERT_TRUE(out.Close());
    }
    EXPECT_EQ(CoreFileInputStream(path_.c_str()).GetSize(), length);
  }
}

TEST_F(FileStream, EveryReadFromEveryPlaceOfAFile) {
  const std::string text = "abcdefg";
  {
    CoreFileOutputStream out(path_.c_str());
    ASSERT_TRUE(out.Write(nullptr, 0));
    ASSERT_TRUE(out.Write(text.data(), text.size()));
    ASSERT_TRUE(out.Close());
  }
  CoreFileInputStream in(path_.c_str());
  EXPECT_EQ(in.GetPosition(), 0U);
  EXPECT_FALSE(in.HasFailed());
  for (std::size_t at = 0; at <= 9; ++at) {
    for (std::size_t size = 0; size <= 9; ++size) {
      char got[10] = "---------";
      ASSERT_TRUE(in.Seek(at));
      EXPECT_EQ(in.GetPosition(), at);
      const std::string expected = at > text.size() ? "" : text.substr(at, size);
      ASSERT_EQ(in.Read(got, size), expected.size());
      EXPECT_EQ(std::string(got, 9), expected + std::string(9 - expected.size(), '-')) << at << ", " << size;
      EXPECT_EQ(in.GetPosition(), at + expected.size());
      EXPECT_FALSE(in.HasFailed());
    }
  }
  EXPECT_FALSE(in.Seek(std::uint64_t{INT64_MAX} + 1));
  EXPECT_FALSE(in.HasFailed());
}

// What is written lies in a buffer of the C library until it is full or the file is closed: a stream that
// goes without Close writes it too.
TEST_F(FileStream, AStreamThatGoesWritesWhatItHolds) {
  { CoreFileOutputStream(path_.c_str()).Write("abc", 3); }
  CoreFileInputStream in(path_.c_str());
  EXPECT_EQ(in.GetSize(), 3U);
}

TEST(CoreFileInputStream, AFileThatIsNotThereIsEmpty) {
  CoreFileInputStream in("/nonexistent/picture.png");
  char got = 0;
  EXPECT_FALSE(in.IsOpen());
  EXPECT_EQ(in.Read(&got, 1), 0u);
  EXPECT_EQ(in.GetSize(), 0u);
  EXPECT_FALSE(in.Seek(0));
}

TEST(FileStreams, ANullPathCannotBeOpened) {
  errno = 0;
  CoreFileInputStream in(nullptr);
  EXPECT_EQ(errno, EINVAL);
  EXPECT_FALSE(in.IsOpen());
  EXPECT_EQ(in.GetSize(), 0u);
  CoreFileOutputStream out(nullptr);
  EXPECT_FALSE(out.IsOpen());
  EXPECT_FALSE(out.Write("x", 1));
}

TEST(CoreFileInputStream, APipeIsEmpty) {
  const std::string path = testing::TempDir() + "tovmx_pipe_" + std::to_string(getpid());
  ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
  const int both = open(path.c_str(), O_RDWR | O_CLOEXEC);  // so that opening to read does not wait
  ASSERT_GE(both, 0);
  EXPECT_EQ(write(both, "abc", 3), 3);
  {
    CoreFileInputStream in(path.c_str());
    char got = 0;
    EXPECT_TRUE(in.IsOpen());
    EXPECT_EQ(in.GetSize(), 0u);
    EXPECT_EQ(in.Read(&got, 1), 0u);
    EXPECT_TRUE(in.HasFailed());
    EXPECT_FALSE(in.Seek(1));
    EXPECT_EQ(in.GetPosition(), 0u);
  }
  close(both);
  std::remove(path.c_str());
}

TEST(CoreFileInputStream, ADirectoryFailsToRead) {
  CoreFileInputStream in("/");
  char got = 0;
  EXPECT_EQ(in.Read(&got, 1), 0u);
  EXPECT_TRUE(in.HasFailed());
}

TEST(CoreFileOutputStream, AFullDiskIsReportedAtTheLatestByClose) {
  CoreFileOutputStream out("/dev/full");
  ASSERT_TRUE(out.IsOpen());
  out.Write("x", 1);
  EXPECT_FALSE(out.Close());
  EXPECT_EQ(errno, ENOSPC);
}

TEST(CoreFileOutputStream, AFullDiskRefusesMoreThanItsBufferTakes) {
  CoreFileOutputStream out("/dev/full");
  const std::string block(1 << 20, 'x');
  EXPECT_FALSE(out.Write(block.data(), block.size()));
  EXPECT_FALSE(out.Write(block.data(), block.size())) << "it stays full";
  EXPECT_TRUE(out.Write(nullptr, 0));
  errno = 0;
  EXPECT_FALSE(out.Close());
  EXPECT_EQ(errno, ENOSPC);
  EXPECT_FALSE(out.Close()) << "closed already";
}

TEST(CoreFileOutputStream, AFileThatCannotBeMadeRefusesBytes) {
  CoreFileOutputStream out("/nonexistent/picture.png");
  EXPECT_FALSE(out.IsOpen());
  EXPECT_FALSE(out.Write("x", 1));
  EXPECT_FALSE(out.Close());
}

}  // namespace
