// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>
#include <tovkit/system.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <limits>
#include <new>
#include <thread>
#include <type_traits>

#include "faults.h"
#include "test_access.h"

namespace {

using tovkit::Runnable;
using tovkit::TestAccess;
using tovkit::Thread;

template <typename Class, typename Member>
Member MemberType(Member Class::*);
using Fields = decltype(MemberType(TestAccess::threadFields));

// Its body ends when the test opens it.
class Gated : public Thread {
 public:
  ~Gated() override {
    Open();
    while (started && isRunning()) std::this_thread::yield();
  }
  int run() override {
    while (!open) usleep(200);
    ++runs;
    return 7;
  }
  void Start() {
    started = true;
    start();
  }
  void Open() { open = true; }

  std::atomic<int> runs{0};
  std::atomic<bool> open{false};
  bool started = false;
};

class ThreadTest : public testing::Test {
 protected:
  void SetUp() override { faults::Reset(); }
  void TearDown() override { faults::Reset(); }
};

TEST_F(ThreadTest, FieldsStandInTheirFixedOrder) {
  static_assert(offsetof(Fields, tid) == 0 && sizeof(Fields::tid) == 8);
  static_assert(offsetof(Fields, running) == 8 && sizeof(Fields::running) == 1);
  static_assert(std::is_same_v<decltype(Fields::doneSignal), sem_t> && offsetof(Fields, doneSignal) == 16);
  static_assert(sizeof(Thread) == sizeof(void*) + sizeof(Fields));
  static_assert(std::is_abstract_v<Thread> && std::has_virtual_destructor_v<Thread>);
  static_assert(!std::is_copy_constructible_v<Thread> && !std::is_copy_assignable_v<Thread>);
}

TEST_F(ThreadTest, NoThreadYetTidIsZeroAndIsRunningFalse) {
  Gated thread;
  EXPECT_EQ(thread.tid(), pthread_t{0});
  EXPECT_FALSE(thread.isRunning());
  EXPECT_EQ(faults::pthreadCreate.calls(), 0);
}

TEST_F(ThreadTest, WaitIsTrueAtOnceWhenStartWasNeverCalled) {
  Gated thread;
  EXPECT_TRUE(thread.wait(0));
  EXPECT_TRUE(thread.wait(4000000000U));
  EXPECT_EQ(faults::semTimedwait.calls(), 0);
}

TEST_F(ThreadTest, RunsTheBodyOnAnotherThreadAndTellsItsEnd) {
  Gated thread;
  thread.Start();
  EXPECT_TRUE(thread.isRunning());
  EXPECT_NE(thread.tid(), pthread_t{0});
  EXPECT_NE(thread.tid(), pthread_self());
  thread.Open();
  EXPECT_TRUE(thread.wait(60000));
  EXPECT_EQ(thread.runs, 1);
  while (thread.isRunning()) std::this_thread::yield();
  EXPECT_TRUE(thread.wait(0)) << "the second wait does not ask the semaphore";
}

TEST_F(ThreadTest, WaitIsFalseOnATimeOut) {
  Gated thread;
  thread.Start();
  EXPECT_FALSE(thread.wait(0));
  EXPECT_TRUE(thread.isRunning());
}

TEST_F(ThreadTest, StartsAgainAfterTheBodyEnded) {
  Gated thread;
  for (int round = 1; round <= 3; ++round) {
    thread.open = false;
    thread.Start();
    thread.Open();
    EXPECT_TRUE(thread.wait(60000));
    while (thread.isRunning()) std::this_thread::yield();
    EXPECT_EQ(thread.runs, round);
  }
}

TEST_F(ThreadTest, ASecondStartWhileTheBodyRunsStartsASecondThreadWhoseIdIsTid) {
  // Lives on: nothing tells that the second thread is through with it.
  static Gated& thread = *new Gated;
  thread.Start();
  const pthread_t first = thread.tid();
  thread.Start();
  EXPECT_FALSE(pthread_equal(thread.tid(), first)) << "tid is that of the latest";
  EXPECT_EQ(faults::pthreadCreate.calls(), 2);
  thread.Open();
  int posts = 0;
  while (posts != 2) sem_getvalue(&(thread.*TestAccess::threadFields).doneSignal, &posts);
  EXPECT_EQ(thread.runs, 2);
}

TEST_F(ThreadTest, TheThreadIsDetached) {
  Gated thread;
  thread.Start();
  pthread_attr_t attributes;
  ASSERT_EQ(pthread_getattr_np(thread.tid(), &attributes), 0);
  int state = -1;
  pthread_attr_getdetachstate(&attributes, &state);
  pthread_attr_destroy(&attributes);
  EXPECT_EQ(state, PTHREAD_CREATE_DETACHED);
}

TEST_F(ThreadTest, TheDeadlineCountsTheRestBelowASecondAsMicroseconds) {
  struct Case {
    unsigned milliseconds;
    long micros;
    time_t seconds;
    long nanos;
  };
  const Case cases[] = {
      {0, 250000, 1000, 250000000},    {1, 250000, 1000, 250001000},
      {999, 0, 1000, 999000},          {1000, 0, 1001, 0},
      {1500, 250000, 1001, 250500000}, {2000, 999999, 1002, 999999000},
      {999, 999999, 1000, 1000998000}, {4294967295U, 7, 1000 + 4294967, 302000},
  };
  for (const Case& c : cases) {
    Gated thread;
    thread.Start();
    faults::fixedTime = {1000, c.micros};
    faults::semTimedwait.Fail(ETIMEDOUT);
    EXPECT_FALSE(thread.wait(c.milliseconds)) << c.milliseconds;
    EXPECT_EQ(faults::lastDeadline.tv_sec, c.seconds) << c.milliseconds;
    EXPECT_EQ(faults::lastDeadline.tv_nsec, c.nanos) << c.milliseconds;
    faults::fixedTime = {};
  }
}

TEST_F(ThreadTest, ADeadlineThatIsNotCarriedFailsAtOnce) {
  Gated thread;
  thread.Start();
  timeval now{};
  gettimeofday(&now, nullptr);
  faults::fixedTime = {now.tv_sec + 3600, 999900};
  EXPECT_FALSE(thread.wait(999)) << "an hour ahead, and yet at once";
  EXPECT_EQ(errno, EINVAL);
}

TEST_F(ThreadTest, AnInterruptedWaitGoesOnToTheSameDeadline) {
  Gated thread;
  thread.Start();
  thread.Open();
  faults::semTimedwait.Fail(EINTR, 3);
  EXPECT_TRUE(thread.wait(60000));
  EXPECT_EQ(faults::semTimedwait.calls(), 4);
}

TEST_F(ThreadTest, TheSemaphoreEndsWithTheObject) {
  faults::destroyedSemaphore = nullptr;
  const sem_t* mine = nullptr;
  {
    Gated thread;
    mine = &(thread.*TestAccess::threadFields).doneSignal;
    thread.Start();
    thread.Open();
    while (thread.isRunning()) std::this_thread::yield();
    EXPECT_EQ(faults::destroyedSemaphore.load(), nullptr);
  }
  EXPECT_EQ(faults::destroyedSemaphore.load(), mine);
}

TEST_F(ThreadTest, WaitIsFalseOnAnyOtherError) {
  Gated thread;
  thread.Start();
  faults::semTimedwait.Fail(EDEADLK);
  EXPECT_FALSE(thread.wait(60000));
  EXPECT_EQ(faults::semTimedwait.calls(), 1);
}

TEST_F(ThreadTest, AThreadThatCannotBeCreatedStillCountsAsRunning) {
  class Never : public Thread {
    int run() override { return 0; }
  } thread;
  faults::pthreadCreate.Fail(EAGAIN);
  thread.start();
  EXPECT_TRUE(thread.isRunning());
  EXPECT_EQ(thread.tid(), pthread_t{0});
  EXPECT_FALSE(thread.wait(0));

  Gated again;
  again.Start();
  const pthread_t first = again.tid();
  again.Open();
  while (again.isRunning()) std::this_thread::yield();
  faults::pthreadCreate.Fail(EAGAIN);
  again.start();
  again.started = false;  // there is nothing to wait for
  EXPECT_TRUE(again.isRunning());
  EXPECT_EQ(again.tid(), first) << "no other thread was started";
}

// What the POSIX thread executes, run on this thread. The object is touched after run() has returned: a true
// from wait() alone is too early for its end, isRunning() is false only then.
TEST_F(ThreadTest, TrueFromWaitIsTooEarlyToDestroyTheObjectThatItsThreadTouchesAfterRunHasReturned) {
  Gated thread;
  (thread.*TestAccess::threadFields).running = true;
  thread.Open();
  int runsAtPost = 0;
  bool runningAtPost = false;
  faults::beforeSemPost = [&] {
    runsAtPost = thread.runs;
    runningAtPost = thread.isRunning();
  };
  EXPECT_EQ(Thread::threadEntry(static_cast<Thread*>(&thread)), nullptr);
  EXPECT_EQ(runsAtPost, 1);
  EXPECT_TRUE(runningAtPost);
  EXPECT_FALSE(thread.isRunning());
  EXPECT_EQ(thread.tid(), pthread_t{0}) << "who runs it does not matter";
  int posts = 0;
  sem_getvalue(&(thread.*TestAccess::threadFields).doneSignal, &posts);
  EXPECT_EQ(posts, 1);
}

// Its body waits for the test and touches the object no more.
class Outlived : public Thread {
 public:
  int run() override {
    systemId = gettid();
    while (!open) usleep(200);
    ended = true;
    return 0;
  }
  static std::atomic<pid_t> systemId;
  static std::atomic<bool> open, ended;
};
std::atomic<pid_t> Outlived::systemId{0};
std::atomic<bool> Outlived::open{false}, Outlived::ended{false};

TEST_F(ThreadTest, DestructionDoesNotStopOrJoinOrCancelTheThread) {
  // The memory stays, since the thread tells its end in it.
  alignas(Outlived) static unsigned char memory[sizeof(Outlived)];
  Outlived::systemId = 0;
  Outlived::open = Outlived::ended = false;
  auto* const thread = new (memory) Outlived;
  thread->start();
  while (Outlived::systemId == 0) std::this_thread::yield();
  thread->~Outlived();
  EXPECT_FALSE(Outlived::ended) << "nobody waited for it";
  EXPECT_EQ(tgkill(getpid(), Outlived::systemId, 0), 0) << "it was not stopped";
  Outlived::open = true;
  while (tgkill(getpid(), Outlived::systemId, 0) == 0) std::this_thread::yield();
  EXPECT_TRUE(Outlived::ended) << "nor canceled where it slept";
}

// Its body only looks at itself.
class Brief : public Thread {
 public:
  int run() override {
    own = pthread_self();
    asked = tid();
    systemId = gettid();
    return 0;
  }
  std::atomic<pthread_t> own{0};
  std::atomic<pthread_t> asked{0};
  std::atomic<pid_t> systemId{0};
};

TEST_F(ThreadTest, ABodyThatEndsBeforeStartReturnsLeavesTheObjectRunning) {
  // Lives on: nothing tells that the thread is through with it.
  static Brief& thread = *new Brief;
  faults::afterThreadCreate = [] {
    while (thread.systemId == 0 || tgkill(getpid(), thread.systemId, 0) == 0) std::this_thread::yield();
  };
  thread.start();
  EXPECT_EQ(thread.asked, thread.own.load()) << "the body knows its id from its beginning";
  EXPECT_EQ(thread.tid(), thread.own.load());
  EXPECT_TRUE(thread.isRunning()) << "nobody will clear it any more";
  EXPECT_TRUE(thread.wait(60000)) << "the signal was given";
  EXPECT_FALSE(thread.wait(0)) << "and is used up";
  EXPECT_TRUE(thread.isRunning());
}

TEST_F(ThreadTest, SleepsTheGivenMicrosecondsAndNotForANegativeTimeOrNaNOrOnePast2To63) {
  faults::skipSleeps = true;
  struct Case {
    float seconds;
    useconds_t micros;
  };
  const Case cases[] = {{0.25F, 250000},
                        {0.0F, 0},
                        {1.0F, 1000000},
                        {1e-7F, 0},
                        {1e-6F, 1},
                        {0.0000019F, 1},
                        {0.1F, 100000},
                        {16.777217F, 16777218},
                        {4294.968F, 512},     // 4294967808 microseconds, modulo 2^32
                        {5e9F, 0x40000000},   // 5000000136282112, modulo 2^32
                        {1e10F, 0x80000000},  // 10000000272564224; of greater ones the last 32 bits are 0
                        {9.3e12F, 0},
                        {-1.0F, 0},
                        {-4000.0F, 0},
                        {std::numeric_limits<float>::quiet_NaN(), 0},
                        {std::numeric_limits<float>::infinity(), 0}};
  for (const Case& c : cases) {
    EXPECT_EQ(Thread::sleep(c.seconds), 0);
    EXPECT_EQ(faults::lastSleep, c.micros) << c.seconds;
  }
}

TEST_F(ThreadTest, MsleepsTheGivenMilliseconds) {
  faults::skipSleeps = true;
  EXPECT_EQ(Thread::msleep(3), 0);
  EXPECT_EQ(faults::lastSleep, 3000U);
  EXPECT_EQ(Thread::msleep(4294968), 0);
  EXPECT_EQ(faults::lastSleep, 704U) << "modulo 2^32";
}

TEST_F(ThreadTest, ASleepThatASignalCutsShortReturnsMinusOneWithErrno) {
  faults::skipSleeps = true;
  for (int (*const call)() : {+[] { return Thread::sleep(1); }, +[] { return Thread::msleep(1); }}) {
    EXPECT_EQ(call(), 0);
    faults::usleep.Fail(EINTR);
    errno = 0;
    EXPECT_EQ(call(), -1);
    EXPECT_EQ(errno, EINTR);
  }
}

class Page : public Runnable {
 public:
  int run() override {
    finishedDuringRun = isFinished();
    ++runs;
    return 5;
  }
  int runs = 0;
  bool finishedDuringRun = true;
};

TEST(RunnableTest, TaskRunsTheBodyOnceAndReturnsZeroWhateverRunReturned) {
  Page page;
  EXPECT_FALSE(page.isFinished());
  for (int round = 1; round <= 2; ++round) {
    EXPECT_EQ(page.Task(), 0);
    EXPECT_EQ(page.runs, round);
    EXPECT_FALSE(page.finishedDuringRun);
    EXPECT_TRUE(page.isFinished());
    EXPECT_TRUE(page.*TestAccess::runnableFinished);
  }
  static_assert(std::is_abstract_v<Runnable> && sizeof(Runnable) == 2 * sizeof(void*));
}

}  // namespace
