// SPDX-License-Identifier: MIT
// Shared memory from its name to an attachment: keys, Create, Attach and what is seen through them.
#include "shared_memory_support.h"

#include <cerrno>

namespace {

// The key that a name leads to, seen at a call that makes nothing.
key_t KeyOf(const std::string& name) {
  const faults::Failing fault(faults::kShmget, ENOENT);
  SharedMemory memory(name.c_str());
  memory.Attach(kRead);
  return faults::lastShared().key;
}

TEST(SharedMemoryKey, IsTheWeightedSumOfTheName) {
  EXPECT_EQ(KeyOf(""), 2269);
  EXPECT_EQ(KeyOf("a"), 2269 + 97 * 7);
  EXPECT_EQ(KeyOf("ab"), 2269 + 97 * 7 + 98 * 8);
  EXPECT_EQ(KeyOf("abcde"), 2269 + 97 * 7 + 98 * 8 + 99 * 9 + 100 * 10 + 101 * 11);
  EXPECT_EQ(KeyOf("abcdef"), 97 + 98 * 2 + 99 * 3 + 100 * 4 + 101 * 5 + 102 * 6);
  EXPECT_EQ(KeyOf("vatrel"), KeyOf("")) << "different names may share a key";
  EXPECT_EQ(KeyOf("\xFF"), 2269 - 7) << "characters count as signed";
  EXPECT_EQ(KeyOf(std::string(6, '\x80')), 0x7FFFFFFF & (0x80000000u - 128 * 21));
  EXPECT_EQ(KeyOf("frames"), KeyOf("frames"));
}

TEST(SharedMemoryKey, EveryShortAndManyLongNamesFollowTheSum) {
  for (int a = 1; a < 256; ++a) {
    const std::string one(1, static_cast<char>(a));
    EXPECT_EQ(KeyOf(one), ExpectedKey(one));
    const std::string six(6, static_cast<char>(a));
    EXPECT_EQ(KeyOf(six), ExpectedKey(six));
  }
  std::mt19937 random(7);
  for (std::size_t length = 0; length < 300; ++length) {
    std::string name;
    while (name.size() < length) name += static_cast<char>(1 + random() % 255);
    EXPECT_EQ(KeyOf(name), ExpectedKey(name)) << length;
  }
  for (const char c : {'\x7F', '\x80', '\xFF'}) {
    const std::string wrapping(100000, c);
    EXPECT_EQ(KeyOf(wrapping), ExpectedKey(wrapping)) << "the sum wraps at 32 bits";
  }
}

TEST_F(SharedMemoryTest, CreateMakesASegmentWithTheModeOfTheFlags) {
  struct Row {
    unsigned flags;
    unsigned mode;
  };
  for (const Row row :
       {Row{1, 0444}, Row{2, 0666}, Row{3, 0666}, Row{5, 0444}, Row{6, 0666}, Row{0xFFFFFFFFu, 0666}}) {
    SCOPED_TRACE(row.flags);
    SharedMemory memory(name());
    ASSERT_TRUE(memory.Create(5000, row.flags)) << memory.GetErrorMessage();
    EXPECT_STREQ(memory.GetErrorMessage(), "");
    EXPECT_EQ(Status().shm_perm.mode & 0777, row.mode);
    EXPECT_EQ(Status().shm_segsz, 5000u);
    EXPECT_EQ(memory.GetData(), nullptr) << "created is not attached";
    EXPECT_EQ(faults::lastShared().key, key_);
  }
  EXPECT_FALSE(Exists()) << "each object removed its segment";
}

TEST_F(SharedMemoryTest, CreateFailsWhenTheSegmentExistsAlready) {
  SharedMemory memory(name());
  ASSERT_TRUE(memory.Create(64, kRead));
  EXPECT_EQ(faults::lastShared().mode, IPC_CREAT | IPC_EXCL | 0444);
  SharedMemory second(name());
  EXPECT_FALSE(second.Create(64, kRead));
  EXPECT_EQ(second.GetErrorMessage(), CallMessage("Create", EEXIST));
}

TEST_F(SharedMemoryTest, CreateFailsWhenThisObjectHasCreatedOneAlready) {
  SharedMemory memory(name());
  ASSERT_TRUE(memory.Create(64, kRead | kWrite));
  EXPECT_FALSE(memory.Create(64, kRead | kWrite));
  EXPECT_STREQ(memory.GetErrorMessage(), "Already exists");
  EXPECT_FALSE(memory.Create(64, 0)) << "tested before the flags";
  EXPECT_STREQ(memory.GetErrorMessage(), "Already exists");
}

TEST_F(SharedMemoryTest, CreateAndAttachFailWithoutEitherBit) {
  struct Row {
    unsigned flags;
    const char* message;
  };
  for (const Row row : {Row{0, "Invalid permission flag(0)"}, Row{4, "Invalid permission flag(4)"},
                        Row{0xFFFFFFFCu, "Invalid permission flag(-4)"}}) {
    SharedMemory memory(name());
    EXPECT_FALSE(memory.Create(64, row.flags));
    EXPECT_STREQ(memory.GetErrorMessage(), row.message);
    EXPECT_FALSE(memory.Attach(row.flags));
    EXPECT_STREQ(memory.GetErrorMessage(), row.message);
    EXPECT_FALSE(Exists());
  }
}

TEST_F(SharedMemoryTest, CreatesAZeroedSegmentOfSizeBytes) {
  SharedMemory memory(name());
  ASSERT_TRUE(memory.Create(100000, kRead | kWrite));
  ASSERT_TRUE(memory.Attach(kWrite));
  const auto* const bytes = static_cast<const char*>(memory.GetData());
  EXPECT_EQ(std::string(bytes, memory.GetSize()), std::string(100000, '\0'));
}

// As the system sees it, without an object.
TEST_F(SharedMemoryTest, TheSegmentHoldsNothingButTheUsersBytes) {
  const std::string users = "the users' bytes";
  SharedMemory memory(name());
  ASSERT_TRUE(memory.Create(static_cast<unsigned>(users.size()), kRead | kWrite));
  ASSERT_TRUE(memory.Attach(kRead | kWrite));
  users.copy(static_cast<char*>(memory.GetData()), users.size());
  EXPECT_EQ(Status().shm_segsz, users.size());
  void* const raw = shmat(shmget(key_, 0, 0), nullptr, SHM_RDONLY);
  ASSERT_NE(reinterpret_cast<std::intptr_t>(raw), -1);
  EXPECT_EQ(std::string(static_cast<const char*>(raw), users.size()), users);
  EXPECT_EQ(shmdt(raw), 0);
}

TEST_F(SharedMemoryTest, SizeZeroIsRefusedByTheSystem) {
  SharedMemory memory(name());
  EXPECT_FALSE(memory.Create(0, kRead | kWrite));
  EXPECT_EQ(memory.GetErrorMessage(), CallMessage("Create", EINVAL));
}

TEST_F(SharedMemoryTest, WriteAloneAttachesForReadingOnlyAndReadAloneForBothUnderAReadPermission) {
  SharedMemory creator(name());
  ASSERT_TRUE(creator.Create(64, kRead | kWrite));
  struct Row {
    unsigned flags;
    int mode;
    int attachFlags;
  };
  for (const Row row : {Row{3, 0666, 0}, Row{2, 0666, SHM_RDONLY}, Row{1, 0444, 0}, Row{7, 0666, 0}}) {
    SCOPED_TRACE(row.flags);
    SharedMemory memory(name());
    ASSERT_TRUE(memory.Attach(row.flags)) << memory.GetErrorMessage();
    EXPECT_EQ(faults::lastShared().mode, row.mode);
    EXPECT_EQ(faults::lastShared().size, 0u);
    EXPECT_EQ(faults::lastShared().attachFlags, row.attachFlags);
    EXPECT_NE(memory.GetData(), nullptr);
    EXPECT_EQ(memory.GetSize(), 64u);
    const SharedMemory& constant = memory;
    EXPECT_EQ(constant.GetData(), memory.GetData());
  }
}

TEST_F(SharedMemoryTest, WritesAreSeenThroughTheOtherAttachment) {
  SharedMemory writer(name());
  ASSERT_TRUE(writer.Create(64, kRead | kWrite));
  ASSERT_TRUE(writer.Attach(kRead | kWrite));
  SharedMemory reader(name());
  ASSERT_TRUE(reader.Attach(kWrite));
  EXPECT_STREQ(static_cast<const char*>(reader.GetData()), "") << "a new segment is zeroed";
  std::strcpy(static_cast<char*>(writer.GetData()), "hello");
  EXPECT_STREQ(static_cast<const char*>(reader.GetData()), "hello");
}

TEST_F(SharedMemoryTest, AttachFailsWhenThisObjectIsAttached) {
  SharedMemory memory(name());
  ASSERT_TRUE(memory.Create(64, kRead | kWrite));
  ASSERT_TRUE(memory.Attach(kRead));
  EXPECT_FALSE(memory.Attach(kRead));
  EXPECT_STREQ(memory.GetErrorMessage(), "Already attached");
  EXPECT_FALSE(memory.Attach(0)) << "tested before the flags";
  EXPECT_STREQ(memory.GetErrorMessage(), "Already attached");
}

TEST_F(SharedMemoryTest, AttachWithoutASegmentFails) {
  SharedMemory memory(name());
  EXPECT_FALSE(memory.Attach(kRead));
  EXPECT_EQ(memory.GetErrorMessage(), CallMessage("shmget", ENOENT));
  EXPECT_EQ(memory.GetData(), nullptr);
  EXPECT_EQ(memory.GetSize(), 0u);
}

TEST_F(SharedMemoryTest, ACallThatSucceedsForgetsTheMessageOfTheOneBefore) {
  const auto fail = [](SharedMemory& memory) {
    EXPECT_FALSE(memory.Attach(0));
    EXPECT_STRNE(memory.GetErrorMessage(), "");
  };
  SharedMemory memory(name());
  fail(memory);
  ASSERT_TRUE(memory.Create(64, kRead | kWrite));
  EXPECT_STREQ(memory.GetErrorMessage(), "");
  fail(memory);
  ASSERT_TRUE(memory.Attach(kRead));
  EXPECT_STREQ(memory.GetErrorMessage(), "");
  fail(memory);
  ASSERT_TRUE(memory.Detach(false));
  EXPECT_STREQ(memory.GetErrorMessage(), "");
  fail(memory);
  ASSERT_TRUE(memory.Destroy());
  EXPECT_STREQ(memory.GetErrorMessage(), "");
}

}  // namespace
