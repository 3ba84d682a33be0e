// SPDX-License-Identifier: MIT
#include "service_faults.h"

#include <tovkit/system.h>

#include <gtest/gtest.h>
#include <sys/shm.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstring>
#include <optional>
#include <random>
#include <string>
#include <utility>

using tovkit::SharedMemory;

namespace {

constexpr unsigned kRead = 1;
constexpr unsigned kWrite = 2;

// The key that a name leads to, seen at a call that makes nothing.
key_t KeyOf(const std::string& name) {
  const faults::Failing fault(faults::kShmget, ENOENT);
  SharedMemory memory(name.c_str());
  memory.Attach(kRead);
  return faults::lastShared().key;
}

// The sum in 64-bit numbers, reduced at the end.
key_t ExpectedKey(const std::string& name) {
  const std::string text = (name.size() < 6 ? "vatrel" : "") + name;
  std::int64_t sum = 0;
  for (std::size_t i = 0; i < text.size(); ++i) {
    sum += static_cast<std::int64_t>(static_cast<signed char>(text[i])) * static_cast<std::int64_t>(i + 1);
  }
  return static_cast<key_t>(static_cast<std::uint64_t>(sum) & 0x7FFFFFFFu);
}

// Every test works on a name of its own; whatever it leaves is removed. Long random names keep the keys of
// tests that run at the same time apart.
class SharedMemoryTest : public testing::Test {
 protected:
  SharedMemoryTest() {
    std::random_device random;
    do {
      name_.clear();
      for (int i = 0; i < 2000; ++i) name_ += static_cast<char>('!' + random() % 90);
      key_ = ExpectedKey(name_);
    } while (shmget(key_, 0, 0) >= 0);
  }
  ~SharedMemoryTest() override {
    const int id = shmget(key_, 0, 0);
    if (id >= 0) shmctl(id, IPC_RMID, nullptr);
  }
  const char* name() const { return name_.c_str(); }
  bool Exists() const { return shmget(key_, 0, 0) >= 0; }
  shmid_ds Status() const {
    shmid_ds status = {};
    EXPECT_EQ(shmctl(shmget(key_, 0, 0), IPC_STAT, &status), 0);
    return status;
  }

  std::string name_;
  key_t key_ = 0;
};

std::string CallMessage(const char* action, int code) {
  return std::string(action) + " shared memory error, errno=" + std::to_string(code) +
         ", errmsg=" + std::strerror(code);
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

TEST_F(SharedMemoryTest, DetachOfWhatWasNeverAttachedIsTrue) {
  SharedMemory memory(name());
  EXPECT_FALSE(memory.Attach(0));
  EXPECT_TRUE(memory.Detach(false));
  EXPECT_STREQ(memory.GetErrorMessage(), "") << "each operation empties the message";
  EXPECT_TRUE(memory.Detach(true));
}

TEST_F(SharedMemoryTest, DetachThenAttachAgain) {
  SharedMemory memory(name());
  ASSERT_TRUE(memory.Create(64, kRead | kWrite));
  for (int i = 0; i < 3; ++i) {
    ASSERT_TRUE(memory.Attach(kRead | kWrite));
    EXPECT_TRUE(memory.Detach(false));
    EXPECT_EQ(memory.GetData(), nullptr);
    EXPECT_TRUE(Exists());
  }
}

TEST_F(SharedMemoryTest, DetachWithRemovalRemovesWhoeverCreated) {
  SharedMemory creator(name());
  ASSERT_TRUE(creator.Create(64, kRead | kWrite));
  SharedMemory user(name());
  ASSERT_TRUE(user.Attach(kRead));
  EXPECT_TRUE(user.Detach(true));
  EXPECT_FALSE(Exists());
  EXPECT_FALSE(creator.Create(64, kRead)) << "the creator does not know";
  EXPECT_STREQ(creator.GetErrorMessage(), "Already exists");
  EXPECT_TRUE(creator.Destroy()) << "gone counts as removed";
  EXPECT_STREQ(creator.GetErrorMessage(), "");
  EXPECT_FALSE(creator.Create(64, kRead)) << "and that does not forget the id";
}

TEST_F(SharedMemoryTest, DetachWithRemovalByTheCreatorForgetsTheSegment) {
  SharedMemory memory(name());
  ASSERT_TRUE(memory.Create(64, kRead | kWrite));
  ASSERT_TRUE(memory.Attach(kRead));
  EXPECT_TRUE(memory.Detach(true));
  EXPECT_FALSE(Exists());
  EXPECT_TRUE(memory.Create(64, kRead | kWrite)) << memory.GetErrorMessage();
}

TEST_F(SharedMemoryTest, DetachWithRemovalKeepsASegmentThatIsStillAttached) {
  SharedMemory creator(name());
  ASSERT_TRUE(creator.Create(64, kRead | kWrite));
  ASSERT_TRUE(creator.Attach(kRead));
  SharedMemory user(name());
  ASSERT_TRUE(user.Attach(kRead));
  EXPECT_TRUE(user.Detach(true));
  EXPECT_TRUE(Exists());
  EXPECT_EQ(user.GetData(), nullptr);
}

TEST_F(SharedMemoryTest, DestroyIsTrueAlsoWhenThereIsNone) {
  SharedMemory creator(name());
  ASSERT_TRUE(creator.Create(64, kRead | kWrite));
  SharedMemory other(name());
  EXPECT_TRUE(other.Destroy());
  EXPECT_TRUE(Exists());
}

// Another process that is attached from its construction on until it is told to leave.
class AttachedElsewhere {
 public:
  explicit AttachedElsewhere(const char* name) {
    EXPECT_EQ(pipe(attached_), 0);
    EXPECT_EQ(pipe(leave_), 0);
    child_ = fork();
    if (child_ == 0) {
      close(leave_[1]);
      SharedMemory user(name);
      char byte = user.Attach(kRead) ? '+' : '-';
      const bool said = write(attached_[1], &byte, 1) == 1;
      _exit(said && read(leave_[0], &byte, 1) == 0 ? 0 : 1);
    }
    char byte = 0;
    EXPECT_EQ(read(attached_[0], &byte, 1), 1);
    EXPECT_EQ(byte, '+');
  }
  AttachedElsewhere(const AttachedElsewhere&) = delete;
  AttachedElsewhere& operator=(const AttachedElsewhere&) = delete;
  ~AttachedElsewhere() { Leave(); }

  void Leave() {
    if (child_ < 0) return;
    close(leave_[1]);
    waitpid(std::exchange(child_, -1), nullptr, 0);
    for (const int fd : {attached_[0], attached_[1], leave_[0]}) close(fd);
  }

 private:
  int attached_[2];
  int leave_[2];
  pid_t child_ = -1;
};

TEST_F(SharedMemoryTest, DestroyWhileAnotherProcessIsAttachedKeepsTheSegment) {
  SharedMemory memory(name());
  ASSERT_TRUE(memory.Create(64, kRead | kWrite));
  AttachedElsewhere other(name());
  EXPECT_TRUE(memory.Destroy());
  EXPECT_STREQ(memory.GetErrorMessage(), "");
  EXPECT_TRUE(Exists());
  other.Leave();
  EXPECT_TRUE(memory.Destroy()) << "the id was kept";
  EXPECT_FALSE(Exists());
}

TEST_F(SharedMemoryTest, TheEndOfTheCreatorWhileAnotherProcessIsAttachedKeepsTheSegment) {
  std::optional<AttachedElsewhere> other;
  {
    SharedMemory memory(name());
    ASSERT_TRUE(memory.Create(64, kRead | kWrite));
    other.emplace(name());
  }
  EXPECT_TRUE(Exists());
  other.reset();
  SharedMemory memory(name());
  ASSERT_TRUE(memory.Attach(kRead));
  EXPECT_TRUE(memory.Detach(true));
  EXPECT_FALSE(Exists());
}

TEST_F(SharedMemoryTest, TheEndOfTheCreatorDetachesAndRemovesItsSegment) {
  {
    SharedMemory memory(name());
    ASSERT_TRUE(memory.Create(64, kRead | kWrite));
    ASSERT_TRUE(memory.Attach(kRead));
  }
  EXPECT_FALSE(Exists());
}

TEST_F(SharedMemoryTest, TheEndOfAUserLeavesTheSegment) {
  SharedMemory creator(name());
  ASSERT_TRUE(creator.Create(64, kRead | kWrite));
  {
    SharedMemory user(name());
    ASSERT_TRUE(user.Attach(kRead));
  }
  EXPECT_TRUE(Exists());
}

// The first segment after the start of a system has the number 0.
TEST_F(SharedMemoryTest, TheFirstSegmentOfTheSystemIsLikeEveryOther) {
  const faults::FirstSegmentIds ids;
  SharedMemory memory(name());
  ASSERT_TRUE(memory.Create(64, kRead | kWrite)) << memory.GetErrorMessage();
  EXPECT_FALSE(memory.Create(64, kRead | kWrite));
  EXPECT_STREQ(memory.GetErrorMessage(), "Already exists");
  ASSERT_TRUE(memory.Attach(kRead | kWrite)) << memory.GetErrorMessage();
  void* const data = memory.GetData();
  EXPECT_NE(data, nullptr);
  EXPECT_EQ(memory.GetSize(), 64u);
  EXPECT_FALSE(memory.Attach(kRead));
  EXPECT_STREQ(memory.GetErrorMessage(), "Already attached");
  EXPECT_EQ(memory.GetData(), data);
  EXPECT_EQ(Status().shm_nattch, 1u);
  EXPECT_TRUE(memory.Detach(false));
  EXPECT_TRUE(Exists());
  EXPECT_TRUE(memory.Destroy());
  EXPECT_FALSE(Exists());
}

TEST_F(SharedMemoryTest, FailuresReturnFalseAndLeaveATextForTheErrorMessage) {
  for (const int code : {ENOMEM, EACCES, ENOSPC, 12345}) {
    SCOPED_TRACE(code);
    SharedMemory memory(name());
    {
      const faults::Failing fault(faults::kShmget, code);
      EXPECT_FALSE(memory.Create(64, kRead | kWrite));
      EXPECT_EQ(memory.GetErrorMessage(), CallMessage("Create", code));
      EXPECT_FALSE(memory.Attach(kWrite));
      EXPECT_EQ(memory.GetErrorMessage(), CallMessage("shmget", code));
    }
    ASSERT_TRUE(memory.Create(64, kRead | kWrite));
    EXPECT_STREQ(memory.GetErrorMessage(), "");
    {
      const faults::Failing fault(faults::kShmat, code);
      EXPECT_FALSE(memory.Attach(kRead));
      EXPECT_EQ(memory.GetErrorMessage(), CallMessage("attach", code));
      EXPECT_EQ(memory.GetData(), nullptr);
    }
    ASSERT_TRUE(memory.Attach(kRead)) << "a failed attach leaves the object free to try again";
    {
      const faults::Failing fault(faults::kShmdt, code);
      void* const data = memory.GetData();
      EXPECT_FALSE(memory.Detach(true));
      EXPECT_EQ(memory.GetErrorMessage(), CallMessage("detach", code));
      EXPECT_EQ(memory.GetData(), data) << "nothing else changes";
    }
    {
      const faults::Failing fault(faults::kShmctlStat, code);
      EXPECT_FALSE(memory.Destroy());
      EXPECT_EQ(memory.GetErrorMessage(), CallMessage("ctl-stat", code));
      EXPECT_EQ(memory.GetSize(), 0u);
      EXPECT_FALSE(memory.Detach(true));
      EXPECT_EQ(memory.GetErrorMessage(), CallMessage("ctl-stat", code));
      EXPECT_EQ(memory.GetData(), nullptr) << "detached all the same";
    }
    EXPECT_TRUE(Exists());
    EXPECT_TRUE(memory.Destroy()) << "the id was kept";
    EXPECT_FALSE(Exists());
  }
}

TEST_F(SharedMemoryTest, FailedRemovalForgetsTheSegment) {
  SharedMemory memory(name());
  ASSERT_TRUE(memory.Create(64, kRead | kWrite));
  {
    const faults::Failing fault(faults::kShmctlRemove, EPERM);
    EXPECT_FALSE(memory.Destroy());
    EXPECT_EQ(memory.GetErrorMessage(), CallMessage("ctl-rmid", EPERM));
  }
  EXPECT_TRUE(memory.Destroy()) << "this object has no segment any more";
  EXPECT_TRUE(Exists());
  ASSERT_TRUE(memory.Attach(kRead));
  {
    const faults::Failing fault(faults::kShmctlRemove, EPERM);
    EXPECT_FALSE(memory.Detach(true));
    EXPECT_EQ(memory.GetErrorMessage(), CallMessage("ctl-rmid", EPERM));
  }
  ASSERT_TRUE(memory.Attach(kRead));
  EXPECT_TRUE(memory.Detach(true));
}

TEST_F(SharedMemoryTest, SegmentThatIsGoneCountsAsRemovedAtEitherCall) {
  for (const faults::Call call : {faults::kShmctlStat, faults::kShmctlRemove}) {
    SharedMemory memory(name());
    ASSERT_TRUE(memory.Create(64, kRead | kWrite));
    {
      const faults::Failing fault(call, EINVAL);
      EXPECT_TRUE(memory.Destroy());
      EXPECT_STREQ(memory.GetErrorMessage(), "");
    }
    const bool idKept = call == faults::kShmctlStat;
    EXPECT_TRUE(memory.Destroy());
    EXPECT_EQ(Exists(), !idKept);
    const int id = shmget(key_, 0, 0);
    if (id >= 0) shmctl(id, IPC_RMID, nullptr);
  }
}

// One of two processes that share a segment is killed at a random moment of its work; whoever created the
// segment, none is left when the other one has ended its own.
TEST_F(SharedMemoryTest, NoSegmentIsLeftWhenOneOfTwoIsKilled) {
  std::mt19937 random(20);
  for (int round = 0; round < 120; ++round) {
    const bool victimCreates = round % 2 == 0;
    int ready[2];
    ASSERT_EQ(pipe(ready), 0);
    {
      SharedMemory survivor(name());
      if (!victimCreates) {
        ASSERT_TRUE(survivor.Create(4096, kRead | kWrite)) << survivor.GetErrorMessage();
      }
      const pid_t victim = fork();
      if (victim == 0) {
        const char byte = '.';
        if (write(ready[1], &byte, 1) != 1) _exit(1);
        auto* const memory = new SharedMemory(name());
        for (unsigned i = 0;; ++i) {
          if (victimCreates) memory->Create(4096, kRead | kWrite);
          if (memory->Attach(kRead | kWrite)) std::memset(memory->GetData(), static_cast<int>(i), 4096);
          memory->Detach(victimCreates && i % 4 == 0);
        }
      }
      char byte = 0;
      ASSERT_EQ(read(ready[0], &byte, 1), 1);
      const auto spins = random() % 40;
      for (unsigned i = 0; i < spins; ++i) {
        if (survivor.Attach(kRead | kWrite)) static_cast<volatile char*>(survivor.GetData())[i] = 1;
        survivor.Detach(false);
      }
      ASSERT_EQ(kill(victim, SIGKILL), 0);
      ASSERT_EQ(waitpid(victim, nullptr, 0), victim);
      if (survivor.Attach(kRead)) {
        EXPECT_TRUE(survivor.Detach(true)) << survivor.GetErrorMessage();
      }
    }
    close(ready[0]);
    close(ready[1]);
    ASSERT_FALSE(Exists()) << "round " << round
                           << (victimCreates ? ", the victim created" : ", the survivor created");
  }
}

}  // namespace
