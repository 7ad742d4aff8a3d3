#include "native/ThreadResponses.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <thread>
#include <vector>

using Ferrolink::Native::ThreadResponses;

namespace {

void Store(ThreadResponses& responses, const std::string& text) {
  responses.Store(reinterpret_cast<const std::uint8_t*>(text.data()), text.size());
}

// As much of the response as `room` bytes hold, before bytes that stay as they were.
std::optional<std::string> Read(ThreadResponses& responses, std::size_t room) {
  std::string buffer(room, '-');
  const bool found =
      responses.Read(reinterpret_cast<std::uint8_t*>(buffer.data()), static_cast<int>(room));
  return found ? std::optional(buffer) : std::nullopt;
}

TEST(ThreadResponses, AreReadOnce) {
  ThreadResponses responses;
  EXPECT_EQ(Read(responses, 3), std::nullopt);
  Store(responses, "abc");
  EXPECT_EQ(Read(responses, 3), "abc");
  EXPECT_EQ(Read(responses, 3), std::nullopt);
}

TEST(ThreadResponses, AreReplacedByLaterOnesOfTheirThread) {
  ThreadResponses responses;
  Store(responses, "the first one");
  Store(responses, "second");
  EXPECT_EQ(Read(responses, 8), "second--");
  Store(responses, "third");
  responses.Store(ThreadResponses::Response{'4', 't', 'h'});
  EXPECT_EQ(Read(responses, 4), "4th-");
}

TEST(ThreadResponses, AreCutToTheBufferAndForgottenWhole) {
  ThreadResponses responses;
  Store(responses, "a tail");
  EXPECT_EQ(Read(responses, 2), "a ");
  EXPECT_EQ(Read(responses, 6), std::nullopt);
  Store(responses, "a tail");
  EXPECT_EQ(Read(responses, 0), "");
  EXPECT_EQ(Read(responses, 6), std::nullopt);
}

TEST(ThreadResponses, AreCopiedWholeForANegativeLength) {
  ThreadResponses responses;
  Store(responses, "all of it");
  std::string buffer(9, '-');
  EXPECT_TRUE(responses.Read(reinterpret_cast<std::uint8_t*>(buffer.data()), -1));
  EXPECT_EQ(buffer, "all of it");
}

TEST(ThreadResponses, MayBeEmpty) {
  ThreadResponses responses;
  responses.Store(nullptr, 0);
  EXPECT_EQ(Read(responses, 2), "--");
  EXPECT_EQ(Read(responses, 2), std::nullopt);
}

TEST(ThreadResponses, AreGoneWhenForgotten) {
  ThreadResponses responses;
  Store(responses, "abc");
  responses.Forget();
  EXPECT_EQ(Read(responses, 3), std::nullopt);
}

TEST(ThreadResponses, OfLargeSizesComeWholeAndLeaveSmallOnesAlone) {
  ThreadResponses responses;
  const std::string large(5'000'000, 'x');
  Store(responses, large);
  EXPECT_EQ(Read(responses, large.size()), large);
  Store(responses, "small");
  EXPECT_EQ(Read(responses, 5), "small");
}

TEST(ThreadResponses, LeaveTheirRoomToTheNextOneOnceTheyWereRead) {
  ThreadResponses responses;
  EXPECT_EQ(responses.Room().capacity(), 0U);
  for (const std::size_t size : {std::size_t{100}, std::size_t{1} << 20U}) {
    Store(responses, std::string(size, 'x'));
    EXPECT_EQ(responses.Room().capacity(), 0U);
    Read(responses, size);
    const ThreadResponses::Response room = responses.Room();
    EXPECT_EQ(room.size(), 0U);
    EXPECT_GE(room.capacity(), size);
  }
}

TEST(ThreadResponses, LeaveTheirBytesToThoseWhoOverwriteThem) {
  ThreadResponses responses;
  EXPECT_EQ(responses.UsedRoom().size(), 0U);
  Store(responses, "not read");
  EXPECT_EQ(responses.UsedRoom().size(), 0U);
  EXPECT_EQ(Read(responses, 8), "not read");
  EXPECT_EQ(responses.UsedRoom(),
            (ThreadResponses::Response{'n', 'o', 't', ' ', 'r', 'e', 'a', 'd'}));
  EXPECT_EQ(responses.UsedRoom().size(), 0U);
}

TEST(ThreadResponses, LeaveNoMoreThanSixteenMebibytesToAllThreadsTogether) {
  ThreadResponses responses;
  const std::string large((std::size_t{16} << 20U) + 1, 'x');
  Store(responses, large);
  Read(responses, large.size());
  EXPECT_EQ(responses.Room().capacity(), 0U);
  const std::string half(std::size_t{8} << 20U, 'x');
  const auto keep = [&](ThreadResponses& owner) {
    Store(owner, half);
    Read(owner, half.size());
    return owner.Room().capacity();
  };
  ThreadResponses first;
  EXPECT_EQ(keep(first), half.size());
  {
    ThreadResponses second;
    EXPECT_EQ(keep(second), half.size());
    ThreadResponses third;
    EXPECT_EQ(keep(third), 0U);
  }
  ThreadResponses fourth;
  EXPECT_EQ(keep(fourth), half.size());
}

TEST(ThreadResponses, OfOneThreadAreKeptApartByOwner) {
  ThreadResponses first;
  ThreadResponses second;
  Store(first, "one");
  Store(second, "two");
  EXPECT_EQ(Read(first, 3), "one");
  EXPECT_EQ(Read(first, 3), std::nullopt);
  EXPECT_EQ(Read(second, 3), "two");
}

TEST(ThreadResponses, OfAnOwnerThatIsGoneAreNotSeenByTheNextOne) {
  for (int round = 0; round < 3; ++round) {
    ThreadResponses responses;
    EXPECT_EQ(Read(responses, 3), std::nullopt);
    Store(responses, "abc");
  }
}

TEST(ThreadResponses, AreTheirThreadsOwn) {
  ThreadResponses responses;
  std::vector<std::thread> threads;
  std::vector<long> right(8);
  for (std::size_t number = 0; number < right.size(); ++number) {
    threads.emplace_back([&, number] {
      for (int call = 0; call < 5000; ++call) {
        const std::string text = std::to_string(number) + "/" + std::to_string(call);
        Store(responses, text);
        right[number] += Read(responses, text.size()) == text ? 1 : 0;
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  EXPECT_EQ(right, std::vector<long>(8, 5000));
}

TEST(ThreadResponses, LeftUnreadAreReadByALaterThreadWithTheSameId) {
  ThreadResponses responses;
  std::thread::id left;
  std::thread([&] {
    left = std::this_thread::get_id();
    Store(responses, "left");
  }).join();
  std::optional<std::string> found;
  bool met = false;
  while (!met) {
    std::thread([&] {
      met = std::this_thread::get_id() == left;
      const std::optional<std::string> mine = Read(responses, 4);
      found = met ? mine : found;
      EXPECT_TRUE(met || mine == std::nullopt);
    }).join();
  }
  EXPECT_EQ(found, "left");
}

}  // namespace
