#include "native/BriefMutex.h"

#include <gtest/gtest.h>
#include <linux/futex.h>
#include <linux/membarrier.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

using Ferrolink::Native::BriefMutex;

namespace {

std::atomic<bool> barrierRefused{false};
std::atomic<int> sleepsWithoutLimit{0};
std::atomic<int> sleepsWithLimit{0};

}  // namespace

// The mutex's own system calls come by here.
extern "C" {
long __real_syscall(long number, ...);  // NOLINT(bugprone-reserved-identifier)
long __wrap_syscall(long number, ...);  // NOLINT(bugprone-reserved-identifier)

long __wrap_syscall(long number, ...) {  // NOLINT(bugprone-reserved-identifier)
  std::array<long, 6> arguments{};
  va_list list;
  va_start(list, number);
  for (long& argument : arguments) {
    argument = va_arg(list, long);
  }
  va_end(list);
  if (number == SYS_membarrier && barrierRefused) {
    errno = ENOSYS;
    return -1;
  }
  if (number == SYS_futex && (arguments[1] & ~FUTEX_PRIVATE_FLAG) == FUTEX_WAIT) {
    ++(arguments[3] == 0 ? sleepsWithoutLimit : sleepsWithLimit);
  }
  return __real_syscall(number, arguments[0], arguments[1], arguments[2], arguments[3],
                        arguments[4], arguments[5]);
}
}

namespace {

class BriefMutexTest : public testing::TestWithParam<bool> {
 protected:
  BriefMutexTest() {
    barrierRefused = GetParam();
    sleepsWithoutLimit = 0;
    sleepsWithLimit = 0;
  }

  static void onThreads(int count, const std::function<void()>& body) {
    std::vector<std::thread> threads;
    for (int thread = 0; thread < count; ++thread) {
      threads.emplace_back(body);
    }
    for (std::thread& thread : threads) {
      thread.join();
    }
  }

  // Holds the mutex until that many threads have gone to sleep for it.
  static void holdUntilAsleep(BriefMutex& mutex, int sleepers, const std::function<void()>& body) {
    std::vector<std::thread> threads;
    {
      const std::lock_guard<BriefMutex> lock(mutex);
      for (int thread = 0; thread < sleepers; ++thread) {
        threads.emplace_back(body);
      }
      while (sleepsWithoutLimit + sleepsWithLimit < sleepers) {
        std::this_thread::yield();
      }
    }
    for (std::thread& thread : threads) {
      thread.join();
    }
  }
};

TEST_P(BriefMutexTest, LetsOneThreadInAtATime) {
  BriefMutex mutex;
  long count = 0;
  onThreads(8, [&] {
    for (int i = 0; i < 20'000; ++i) {
      const std::lock_guard<BriefMutex> lock(mutex);
      ++count;
    }
  });
  EXPECT_EQ(count, 160'000);
}

TEST_P(BriefMutexTest, IsHandedToEveryThreadThatSleepsForIt) {
  BriefMutex mutex;
  int count = 0;
  for (int round = 0; round < 50; ++round) {
    sleepsWithoutLimit = 0;
    sleepsWithLimit = 0;
    holdUntilAsleep(mutex, 3, [&] {
      const std::lock_guard<BriefMutex> lock(mutex);
      ++count;
    });
  }
  EXPECT_EQ(count, 150);
}

TEST_P(BriefMutexTest, LimitsSleepsOnlyWhereTheKernelHasNoBarrier) {
  BriefMutex mutex;
  holdUntilAsleep(mutex, 1, [&] { const std::lock_guard<BriefMutex> lock(mutex); });
  EXPECT_EQ(sleepsWithLimit > 0, GetParam());
  EXPECT_EQ(sleepsWithoutLimit > 0, !GetParam());
}

TEST_P(BriefMutexTest, IsFreeAgainAfterSleepersAreGone) {
  BriefMutex mutex;
  holdUntilAsleep(mutex, 2, [&] { const std::lock_guard<BriefMutex> lock(mutex); });
  sleepsWithoutLimit = 0;
  sleepsWithLimit = 0;
  for (int i = 0; i < 1000; ++i) {
    const std::lock_guard<BriefMutex> lock(mutex);
  }
  EXPECT_EQ(sleepsWithLimit + sleepsWithoutLimit, 0);
}

INSTANTIATE_TEST_SUITE_P(WithBarrier, BriefMutexTest, testing::Values(false));
INSTANTIATE_TEST_SUITE_P(WithoutBarrier, BriefMutexTest, testing::Values(true));

}  // namespace
