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

using namespace Ferrolink::Tests;
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

const std::vector<std::uint8_t>& Large() {
  static const auto& bytes = *new std::vector<std::uint8_t>(kMebibyte, 'x');
  return bytes;
}

bool Read(ThreadResponses& responses) {
  std::uint8_t byte = 0;
  return responses.Read(&byte, 1) && byte == 'x';
}

void Exchange(ThreadResponses& responses) {
  responses.Store(Large().data(), Large().size());
  EXPECT_TRUE(Read(responses));
}

// On as many threads at once, whose ids differ therefore; returns after the last has ended.
void OnThreadsAtOnce(int count, const std::function<void()>& action) {
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

void OnNewThread(const std::function<void()>& action) {
  std::thread(action).join();
}

// How often ten large responses of this thread allocate their block anew, after a first one.
long AllocationsOfTen(ThreadResponses& responses) {
  Exchange(responses);
  const long before = largeAllocations;
  for (int call = 0; call < 10; ++call) {
    Exchange(responses);
  }
  return largeAllocations - before;
}

TEST(ThreadResponsesBlocks, OfEndedThreadsLeaveTheirShareToLivingOnes) {
  ThreadResponses responses;
  OnThreadsAtOnce(64, [&] { Exchange(responses); });
  EXPECT_EQ(AllocationsOfTen(responses), 0);
  OnNewThread([&] { EXPECT_EQ(AllocationsOfTen(responses), 0); });
}

TEST(ThreadResponsesBlocks, OfThreadsThatLiveAreKeptByAsManyAsShareSixteenMebibytes) {
  ThreadResponses responses;
  std::atomic<int> keep{0};
  std::barrier<> all(20);
  OnThreadsAtOnce(20, [&] {
    Exchange(responses);
    all.arrive_and_wait();
    keep += responses.Room().capacity() != 0 ? 1 : 0;
    all.arrive_and_wait();
  });
  EXPECT_EQ(keep, 16);
}

TEST(ThreadResponsesBlocks, OfEndedThreadsGiveTheirShareBackWithAResponseUnread) {
  ThreadResponses responses;
  std::atomic<long> stored{0};
  OnThreadsAtOnce(20, [&] {
    Exchange(responses);
    responses.Store(Large().data(), Large().size());
    ++stored;
  });
  EXPECT_EQ(stored, 20);
  EXPECT_EQ(AllocationsOfTen(responses), 0);
}

TEST(ThreadResponsesBlocks, OfALargeResponseLeftUnreadAreReadByALaterThreadWithTheSameId) {
  ThreadResponses responses;
  std::thread::id left;
  OnNewThread([&] {
    left = std::this_thread::get_id();
    Exchange(responses);
    responses.Store(Large().data(), Large().size());
  });
  bool met = false;
  while (!met) {
    OnNewThread([&] {
      met = std::this_thread::get_id() == left;
      EXPECT_EQ(Read(responses), met);
    });
  }
}

TEST(ThreadResponsesBlocks, OfAllOwnersAreGivenBackByAThreadThatUsedThemInTurn) {
  ThreadResponses first;
  ThreadResponses second;
  OnThreadsAtOnce(10, [&] {
    Exchange(first);
    Exchange(second);
    Exchange(first);
  });
  EXPECT_EQ(AllocationsOfTen(second), 0);
  EXPECT_EQ(AllocationsOfTen(first), 0);
}

TEST(ThreadResponsesBlocks, OfAnOwnerThatIsGoneAreNoConcernOfAThreadThatEndsLater) {
  auto gone = std::make_unique<ThreadResponses>();
  ThreadResponses stays;
  OnThreadsAtOnce(1, [&] {
    Exchange(stays);
    Exchange(*gone);
    gone.reset();
  });
  EXPECT_EQ(AllocationsOfTen(stays), 0);
}

ThreadResponses* usedAtTheEnd = nullptr;

TEST(ThreadResponsesBlocks, OfAThreadThatAnswersWhileItEndsAreGivenBackToo) {
  ThreadResponses responses;
  usedAtTheEnd = &responses;
  pthread_key_t key{};
  ASSERT_EQ(pthread_key_create(&key, [](void*) { Exchange(*usedAtTheEnd); }), 0);
  OnThreadsAtOnce(32, [&] {
    Exchange(responses);
    pthread_setspecific(key, &responses);
  });
  pthread_key_delete(key);
  EXPECT_EQ(AllocationsOfTen(responses), 0);
}

TEST(ThreadResponsesBlocks, OfManyOwnersAndThreadsComeAndGoAtTheSameTime) {
  ThreadResponses shared;
  OnThreadsAtOnce(4, [&] {
    for (int round = 0; round < 50; ++round) {
      ThreadResponses own;
      OnNewThread([&] {
        Exchange(own);
        Exchange(shared);
      });
      Exchange(own);
    }
  });
  EXPECT_EQ(AllocationsOfTen(shared), 0);
}

// The sanitizers keep freed memory for a while.
#if !defined(FERROLINK_SANITIZED)
long ResidentKilobytes() {
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
  OnThreadsAtOnce(50, [&] {
    responses.Store(Large().data(), 1);
    Read(responses);
  });
  const long before = ResidentKilobytes();
  for (int batch = 0; batch < 200; ++batch) {
    OnThreadsAtOnce(50, [&] { Exchange(responses); });
  }
  Report(ResidentKilobytes() - before);
}

TEST(ThreadResponsesBlocks, OfTenThousandEndedThreadsAreGone) {
  const InstallationTree tree;
  const CaseResult result = RunCase("manyThreads", tree);
  ASSERT_EQ(result.report.size(), 1U) << result.err;
  EXPECT_LT(std::stol(result.report.front()), 4096) << "KiB more than before";
}
#endif

}  // namespace
