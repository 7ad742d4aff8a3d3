// The blocks that threads keep for their next response, and what becomes of them when threads end.
#include <gtest/gtest.h>
#include <malloc.h>
#include <pthread.h>

#include <atomic>
#include <barrier>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <memory>
#include <new>
#include <string>
#include <thread>
#include <vector>

#include "native/ThreadResponses.h"
#include "tests/support/ProcessCase.h"

using namespace FerrolinkTest;
using Ferrolink::Native::ThreadResponses;

namespace {

constexpr std::size_t kMebibyte = std::size_t{1} << 20U;

std::atomic<long> largeAllocations{0};

void* allocate(std::size_t size) {
  if (size >= kMebibyte) {
    ++largeAllocations;
  }
  if (void* memory = std::malloc(size != 0 ? size : 1)) {
    return memory;
  }
  throw std::bad_alloc();
}

}  // namespace

// Not inlined: the compiler would see a block of operator new given to free.
[[gnu::noinline]] void* operator new(std::size_t size) {
  return allocate(size);
}
[[gnu::noinline]] void operator delete(void* memory) noexcept {
  std::free(memory);
}
[[gnu::noinline]] void operator delete(void* memory, std::size_t) noexcept {
  std::free(memory);
}

namespace {

const std::vector<std::uint8_t>& large() {
  static const auto& bytes = *new std::vector<std::uint8_t>(kMebibyte, 'x');
  return bytes;
}

bool read(ThreadResponses& responses) {
  std::uint8_t byte = 0;
  return responses.read(&byte, 1) && byte == 'x';
}

void exchange(ThreadResponses& responses) {
  responses.store(large().data(), large().size());
  EXPECT_TRUE(read(responses));
}

// On as many threads at once, whose ids differ therefore; returns after the last has ended.
void onThreadsAtOnce(int count, const std::function<void()>& action) {
  std::barrier<> together(count);
  std::vector<std::thread> threads;
  for (int thread = 0; thread < count; ++thread) {
    threads.emplace_back([&] {
      action();
      together.arrive_and_wait();
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
}

void onNewThread(const std::function<void()>& action) {
  std::thread(action).join();
}

// How often ten large responses of this thread allocate their block anew, after a first one.
long allocationsOfTen(ThreadResponses& responses) {
  exchange(responses);
  const long before = largeAllocations;
  for (int call = 0; call < 10; ++call) {
    exchange(responses);
  }
  return largeAllocations - before;
}

TEST(ThreadResponsesBlocks, OfEndedThreadsLeaveTheirShareToLivingOnes) {
  ThreadResponses responses;
  onThreadsAtOnce(64, [&] { exchange(responses); });
  EXPECT_EQ(allocationsOfTen(responses), 0);
  onNewThread([&] { EXPECT_EQ(allocationsOfTen(responses), 0); });
}

TEST(ThreadResponsesBlocks, OfThreadsThatLiveAreKeptByAsManyAsShareSixteenMebibytes) {
  ThreadResponses responses;
  std::atomic<int> keep{0};
  std::barrier<> all(20);
  onThreadsAtOnce(20, [&] {
    exchange(responses);
    all.arrive_and_wait();
    keep += responses.room().capacity() != 0 ? 1 : 0;
    all.arrive_and_wait();
  });
  EXPECT_EQ(keep, 16);
}

TEST(ThreadResponsesBlocks, OfEndedThreadsGiveTheirShareBackWithAResponseUnread) {
  ThreadResponses responses;
  std::atomic<long> stored{0};
  onThreadsAtOnce(20, [&] {
    exchange(responses);
    responses.store(large().data(), large().size());
    ++stored;
  });
  EXPECT_EQ(stored, 20);
  EXPECT_EQ(allocationsOfTen(responses), 0);
}

TEST(ThreadResponsesBlocks, OfALargeResponseLeftUnreadAreReadByALaterThreadWithTheSameId) {
  ThreadResponses responses;
  std::thread::id left;
  onNewThread([&] {
    left = std::this_thread::get_id();
    exchange(responses);
    responses.store(large().data(), large().size());
  });
  bool met = false;
  while (!met) {
    onNewThread([&] {
      met = std::this_thread::get_id() == left;
      EXPECT_EQ(read(responses), met);
    });
  }
}

TEST(ThreadResponsesBlocks, OfAllOwnersAreGivenBackByAThreadThatUsedThemInTurn) {
  ThreadResponses first;
  ThreadResponses second;
  onThreadsAtOnce(10, [&] {
    exchange(first);
    exchange(second);
    exchange(first);
  });
  EXPECT_EQ(allocationsOfTen(second), 0);
  EXPECT_EQ(allocationsOfTen(first), 0);
}

TEST(ThreadResponsesBlocks, OfAnOwnerThatIsGoneAreNoConcernOfAThreadThatEndsLater) {
  auto gone = std::make_unique<ThreadResponses>();
  ThreadResponses stays;
  onThreadsAtOnce(1, [&] {
    exchange(stays);
    exchange(*gone);
    gone.reset();
  });
  EXPECT_EQ(allocationsOfTen(stays), 0);
}

ThreadResponses* usedAtTheEnd = nullptr;

TEST(ThreadResponsesBlocks, OfAThreadThatAnswersWhileItEndsAreGivenBackToo) {
  ThreadResponses responses;
  usedAtTheEnd = &responses;
  pthread_key_t key{};
  ASSERT_EQ(pthread_key_create(&key, [](void*) { exchange(*usedAtTheEnd); }), 0);
  onThreadsAtOnce(32, [&] {
    exchange(responses);
    pthread_setspecific(key, &responses);
  });
  pthread_key_delete(key);
  EXPECT_EQ(allocationsOfTen(responses), 0);
}

TEST(ThreadResponsesBlocks, OfManyOwnersAndThreadsComeAndGoAtTheSameTime) {
  ThreadResponses shared;
  onThreadsAtOnce(4, [&] {
    for (int round = 0; round < 50; ++round) {
      ThreadResponses own;
      onNewThread([&] {
        exchange(own);
        exchange(shared);
      });
      exchange(own);
    }
  });
  EXPECT_EQ(allocationsOfTen(shared), 0);
}

// The sanitizers keep freed memory for a while.
#if !defined(FERROLINK_SANITIZED)
long residentKilobytes() {
  std::FILE* file = std::fopen("/proc/self/statm", "re");
  long total = 0;
  long resident = 0;
  const int fields = std::fscanf(file, "%ld %ld", &total, &resident);
  std::fclose(file);
  return fields == 2 ? resident * 4 : -1;
}

PROCESS_CASE(manyThreads) {
  mallopt(M_MMAP_THRESHOLD, 128 * 1024);  // large blocks go back to the kernel at once
  ThreadResponses responses;
  onThreadsAtOnce(50, [&] {
    responses.store(large().data(), 1);
    read(responses);
  });
  const long before = residentKilobytes();
  for (int batch = 0; batch < 200; ++batch) {
    onThreadsAtOnce(50, [&] { exchange(responses); });
  }
  report(residentKilobytes() - before);
}

TEST(ThreadResponsesBlocks, OfTenThousandEndedThreadsAreGone) {
  const InstallationTree tree;
  const CaseResult result = runCase("manyThreads", tree);
  ASSERT_EQ(result.report.size(), 1U) << result.err;
  EXPECT_LT(std::stol(result.report.front()), 4096) << "KiB more than before";
}
#endif

}  // namespace
