#include "native/BriefMutex.h"

#include <gtest/gtest.h>
#include <linux/futex.h>
#include <sched.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <functional>
#include <future>
#include <latch>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "tests/support/ProcessCase.h"

using Ferrolink::Native::BriefMutex;
using Ferrolink::Tests::Report;

namespace {

std::atomic<int> sleeps{0};
std::atomic<int> wakes{0};
std::atomic<int> otherCalls{0};

// Where set, a thread that the kernel has woken waits for it before it goes on.
std::atomic<std::shared_future<void>*> wokenThreadsWaitFor{nullptr};

// What the kernel says about processors, and what happens before it says so.
std::function<void()> beforeProcessorsAreAsked = [] {};
enum class Processors { Real, One, OneEach, Several, Refused };
Processors processors = Processors::Real;
std::atomic<int> askedForProcessors{0};

void ForgetCalls() {
  sleeps = 0;
  wakes = 0;
  otherCalls = 0;
}

int FakedProcessors(pid_t thread, cpu_set_t* set) {
  if (processors == Processors::Refused) {
    errno = EPERM;
    return -1;
  }
  CPU_ZERO(set);
  CPU_SET(processors == Processors::OneEach && thread == 0 ? 1 : 0, set);
  if (processors == Processors::Several) {
    CPU_SET(1, set);
  }
  return 0;
}

}  // namespace

// The mutex's own system calls come by here.
extern "C" {
// NOLINTBEGIN(bugprone-reserved-identifier)
long __real_syscall(long number, ...);
long __wrap_syscall(long number, ...);
int __real_sched_getaffinity(pid_t thread, size_t size, cpu_set_t* set);
int __wrap_sched_getaffinity(pid_t thread, size_t size, cpu_set_t* set);
// NOLINTEND(bugprone-reserved-identifier)

long __wrap_syscall(long number, ...) {  // NOLINT(bugprone-reserved-identifier)
  std::array<long, 6> arguments{};
  va_list list;
  va_start(list, number);
  for (long& argument : arguments) {
    argument = va_arg(list, long);
  }
  va_end(list);
  const long operation = number == SYS_futex ? arguments[1] & ~FUTEX_PRIVATE_FLAG : -1;
  ++(operation == FUTEX_WAIT ? sleeps : operation == FUTEX_WAKE ? wakes : otherCalls);
  const long result = __real_syscall(number, arguments[0], arguments[1], arguments[2], arguments[3],
                                     arguments[4], arguments[5]);
  const std::shared_future<void>* gate = wokenThreadsWaitFor;
  if (operation == FUTEX_WAIT && gate != nullptr) {
    gate->wait();
  }
  return result;
}

// NOLINTNEXTLINE(bugprone-reserved-identifier)
int __wrap_sched_getaffinity(pid_t thread, size_t size, cpu_set_t* set) {
  if (askedForProcessors++ == 0) {
    beforeProcessorsAreAsked();
  }
  return processors == Processors::Real ? __real_sched_getaffinity(thread, size, set)
                                        : FakedProcessors(thread, set);
}
}

namespace {

class BriefMutexTest : public testing::Test {
 protected:
  BriefMutexTest() { ForgetCalls(); }

  static void OnThreads(int count, const std::function<void()>& body) {
    std::latch all(count);
    std::vector<std::thread> threads;
    for (int thread = 0; thread < count; ++thread) {
      threads.emplace_back([&] {
        all.arrive_and_wait();
        body();
      });
    }
    for (std::thread& thread : threads) {
      thread.join();
    }
  }

  // Holds the mutex until that many threads are going to sleep for it.
  static void HoldUntilAsleep(BriefMutex& mutex, int sleepers, const std::function<void()>& body) {
    std::vector<std::thread> threads;
    {
      const std::lock_guard<BriefMutex> lock(mutex);
      for (int thread = 0; thread < sleepers; ++thread) {
        threads.emplace_back(body);
      }
      while (sleeps < sleepers) {
        std::this_thread::yield();
      }
    }
    for (std::thread& thread : threads) {
      thread.join();
    }
  }
};

// Now and then the thread that holds the mutex gives up its processor, so that others wait for it.
TEST_F(BriefMutexTest, LetsOneThreadInAtATime) {
  BriefMutex mutex;
  std::atomic<bool> inside{false};
  std::atomic<int> met{0};
  long count = 0;
  OnThreads(8, [&] {
    for (int i = 0; i < 20'000; ++i) {
      const std::lock_guard<BriefMutex> lock(mutex);
      if (inside.exchange(true, std::memory_order_relaxed)) {
        ++met;
      }
      ++count;
      if (i % 64 == 0) {
        std::this_thread::yield();
      }
      inside.store(false, std::memory_order_relaxed);
    }
  });
  EXPECT_EQ(met, 0);
  EXPECT_EQ(count, 160'000);
}

TEST_F(BriefMutexTest, IsHandedToEveryThreadThatSleepsForIt) {
  BriefMutex mutex;
  int count = 0;
  for (int round = 0; round < 50; ++round) {
    sleeps = 0;
    HoldUntilAsleep(mutex, 3, [&] {
      const std::lock_guard<BriefMutex> lock(mutex);
      ++count;
    });
  }
  EXPECT_EQ(count, 150);
}

TEST_F(BriefMutexTest, MakesNoSystemCallWhereNobodyWaits) {
  BriefMutex mutex;
  for (int i = 0; i < 1000; ++i) {
    const std::lock_guard<BriefMutex> lock(mutex);
  }
  EXPECT_EQ(sleeps, 0);
  EXPECT_EQ(wakes, 0);
  EXPECT_EQ(otherCalls, 0);
}

TEST_F(BriefMutexTest, IsFreeAgainAfterSleepersAreGone) {
  BriefMutex mutex;
  HoldUntilAsleep(mutex, 2, [&] { const std::lock_guard<BriefMutex> lock(mutex); });
  ForgetCalls();
  for (int i = 0; i < 1000; ++i) {
    const std::lock_guard<BriefMutex> lock(mutex);
  }
  EXPECT_EQ(sleeps, 0);
  EXPECT_EQ(wakes, 0);
}

// The second wake call is the woken thread's own: it cannot know that it was the only one.
TEST_F(BriefMutexTest, WakesASleeperOnceHoweverLongItTakesToRun) {
  BriefMutex mutex;
  std::promise<void> gate;
  std::shared_future<void> opened = gate.get_future().share();
  wokenThreadsWaitFor = &opened;
  std::thread sleeper;
  {
    const std::lock_guard<BriefMutex> lock(mutex);
    sleeper = std::thread([&] { const std::lock_guard<BriefMutex> own(mutex); });
    while (sleeps < 1) {
      std::this_thread::yield();
    }
  }
  for (int i = 0; i < 1000; ++i) {
    const std::lock_guard<BriefMutex> lock(mutex);
  }
  EXPECT_EQ(wakes, 1);
  wokenThreadsWaitFor = nullptr;
  gate.set_value();
  sleeper.join();
  EXPECT_EQ(sleeps, 1);
  EXPECT_EQ(wakes, 2);
}

// A thread that finds the mutex taken asks for the processors first, and meanwhile the mutex is
// given back. If it spins, it takes the mutex as it is. If it goes to sleep, it takes it with the
// note that threads sleep, and makes a wake call when it gives it back.
void ReportHowItWaits() {
  BriefMutex mutex;
  beforeProcessorsAreAsked = [&mutex] { mutex.unlock(); };
  mutex.lock();
  mutex.lock();
  mutex.unlock();
  Report(wakes == 0 ? "spins" : "sleeps");
}

PROCESS_CASE(waitsOnOneProcessor) {
  processors = Processors::One;
  ReportHowItWaits();
}
PROCESS_CASE(waitsOnOneProcessorForEachThread) {
  processors = Processors::OneEach;
  ReportHowItWaits();
}
PROCESS_CASE(waitsOnSeveralProcessors) {
  processors = Processors::Several;
  ReportHowItWaits();
}
PROCESS_CASE(waitsWhereTheKernelDoesNotSay) {
  processors = Processors::Refused;
  ReportHowItWaits();
}
PROCESS_CASE(waitsKeptToOneProcessor) {
  cpu_set_t one;
  CPU_ZERO(&one);
  CPU_SET(static_cast<std::size_t>(sched_getcpu()), &one);
  Report(sched_setaffinity(0, sizeof one, &one));
  ReportHowItWaits();
}

std::vector<std::string> ReportOf(const std::string& name) {
  const Ferrolink::Tests::InstallationTree tree;
  return Ferrolink::Tests::RunCase(name, tree).report;
}

using Lines = std::vector<std::string>;

TEST(BriefMutexProcessorsTest, SleepsAtOnceOnOneProcessor) {
  EXPECT_EQ(ReportOf("waitsOnOneProcessor"), Lines{"sleeps"});
}

TEST(BriefMutexProcessorsTest, SleepsAtOnceInAProcessThatIsKeptToOneProcessor) {
  EXPECT_EQ(ReportOf("waitsKeptToOneProcessor"), (Lines{"0", "sleeps"}));
}

TEST(BriefMutexProcessorsTest, SpinsOnSeveralProcessors) {
  EXPECT_EQ(ReportOf("waitsOnSeveralProcessors"), Lines{"spins"});
}

TEST(BriefMutexProcessorsTest, SpinsWhereThreadsAreKeptToProcessorsOfTheirOwn) {
  EXPECT_EQ(ReportOf("waitsOnOneProcessorForEachThread"), Lines{"spins"});
}

TEST(BriefMutexProcessorsTest, SpinsWhereTheKernelDoesNotSayHowManyProcessors) {
  EXPECT_EQ(ReportOf("waitsWhereTheKernelDoesNotSay"), Lines{"spins"});
}

PROCESS_CASE(waitsTwice) {
  processors = Processors::One;
  ReportHowItWaits();
  Report(askedForProcessors);
  BriefMutex mutex;
  std::thread waiter;
  {
    const std::lock_guard<BriefMutex> lock(mutex);
    waiter = std::thread([&] { const std::lock_guard<BriefMutex> own(mutex); });
    while (sleeps < 1) {
      std::this_thread::yield();
    }
  }
  waiter.join();
  Report(askedForProcessors);
}

TEST(BriefMutexProcessorsTest, AsksForTheProcessorsOnce) {
  EXPECT_EQ(ReportOf("waitsTwice"), (Lines{"sleeps", "2", "2"}));
}

}  // namespace
