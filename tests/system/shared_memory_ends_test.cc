// SPDX-License-Identifier: MIT
// The end of shared memory: Detach, Destroy, the ends of objects and processes, and calls that fail.
#include "shared_memory_support.h"

#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <optional>
#include <utility>

namespace {

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
