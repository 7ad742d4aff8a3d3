#include "native/ThreadResponses.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <thread>
#include <vector>

using Ferrolink::Native::ThreadResponses;

namespace {

void store(ThreadResponses& responses, const std::string& text) {
  responses.store(reinterpret_cast<const std::uint8_t*>(text.data()), text.size());
}

// As much of the response as `room` bytes hold, before bytes that stay as they were.
std::optional<std::string> read(ThreadResponses& responses, std::size_t room) {
  std::string buffer(room, '-');
  const bool found =
      responses.read(reinterpret_cast<std::uint8_t*>(buffer.data()), static_cast<int>(room));
  return found ? std::optional(buffer) : std::nullopt;
}

TEST(ThreadResponses, AreReadOnce) {
  ThreadResponses responses;
  EXPECT_EQ(read(responses, 3), std::nullopt);
  store(responses, "abc");
  EXPECT_EQ(read(responses, 3), "abc");
  EXPECT_EQ(read(responses, 3), std::nullopt);
}

TEST(ThreadResponses, AreReplacedByLaterOnesOfTheirThread) {
  ThreadResponses responses;
  store(responses, "the first one");
  store(responses, "second");
  EXPECT_EQ(read(responses, 8), "second--");
  store(responses, "third");
  responses.store(ThreadResponses::Response{'4', 't', 'h'});
  EXPECT_EQ(read(responses, 4), "4th-");
}

TEST(ThreadResponses, AreCutToTheBufferAndForgottenWhole) {
  ThreadResponses responses;
  store(responses, "a tail");
  EXPECT_EQ(read(responses, 2), "a ");
  EXPECT_EQ(read(responses, 6), std::nullopt);
  store(responses, "a tail");
  EXPECT_EQ(read(responses, 0), "");
  EXPECT_EQ(read(responses, 6), std::nullopt);
}

TEST(ThreadResponses, AreCopiedWholeForANegativeLength) {
  ThreadResponses responses;
  store(responses, "all of it");
  std::string buffer(9, '-');
  EXPECT_TRUE(responses.read(reinterpret_cast<std::uint8_t*>(buffer.data()), -1));
  EXPECT_EQ(buffer, "all of it");
}

TEST(ThreadResponses, MayBeEmpty) {
  ThreadResponses responses;
  responses.store(nullptr, 0);
  EXPECT_EQ(read(responses, 2), "--");
  EXPECT_EQ(read(responses, 2), std::nullopt);
}

TEST(ThreadResponses, AreGoneWhenForgotten) {
  ThreadResponses responses;
  store(responses, "abc");
  responses.forget();
  EXPECT_EQ(read(responses, 3), std::nullopt);
}

TEST(ThreadResponses, OfLargeSizesComeWholeAndLeaveSmallOnesAlone) {
  ThreadResponses responses;
  const std::string large(5'000'000, 'x');
  store(responses, large);
  EXPECT_EQ(read(responses, large.size()), large);
  store(responses, "small");
  EXPECT_EQ(read(responses, 5), "small");
}

TEST(ThreadResponses, LeaveTheirRoomToTheNextOneOnceTheyWereRead) {
  ThreadResponses responses;
  EXPECT_EQ(responses.room().capacity(), 0U);
  for (const std::size_t size : {std::size_t{100}, std::size_t{1} << 20U}) {
    store(responses, std::string(size, 'x'));
    EXPECT_EQ(responses.room().capacity(), 0U);
    read(responses, size);
    const ThreadResponses::Response room = responses.room();
    EXPECT_EQ(room.size(), 0U);
    EXPECT_GE(room.capacity(), size);
  }
}

TEST(ThreadResponses, LeaveTheirBytesToThoseWhoOverwriteThem) {
  ThreadResponses responses;
  EXPECT_EQ(responses.usedRoom().size(), 0U);
  store(responses, "not read");
  EXPECT_EQ(responses.usedRoom().size(), 0U);
  EXPECT_EQ(read(responses, 8), "not read");
  EXPECT_EQ(responses.usedRoom(),
            (ThreadResponses::Response{'n', 'o', 't', ' ', 'r', 'e', 'a', 'd'}));
  EXPECT_EQ(responses.usedRoom().size(), 0U);
}

TEST(ThreadResponses, LeaveNoMoreThanSixteenMebibytesToAllThreadsTogether) {
  ThreadResponses responses;
  const std::string large((std::size_t{16} << 20U) + 1, 'x');
  store(responses, large);
  read(responses, large.size());
  EXPECT_EQ(responses.room().capacity(), 0U);
  const std::string half(std::size_t{8} << 20U, 'x');
  const auto keep = [&](ThreadResponses& owner) {
    store(owner, half);
    read(owner, half.size());
    return owner.room().capacity();
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
  store(first, "one");
  store(second, "two");
  EXPECT_EQ(read(first, 3), "one");
  EXPECT_EQ(read(first, 3), std::nullopt);
  EXPECT_EQ(read(second, 3), "two");
}

TEST(ThreadResponses, OfAnOwnerThatIsGoneAreNotSeenByTheNextOne) {
  for (int round = 0; round < 3; ++round) {
    ThreadResponses responses;
    EXPECT_EQ(read(responses, 3), std::nullopt);
    store(responses, "abc");
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
        store(responses, text);
        right[number] += read(responses, text.size()) == text ? 1 : 0;
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
    store(responses, "left");
  }).join();
  std::optional<std::string> found;
  bool met = false;
  while (!met) {
    std::thread([&] {
      met = std::this_thread::get_id() == left;
      const std::optional<std::string> mine = read(responses, 4);
      found = met ? mine : found;
      EXPECT_TRUE(met || mine == std::nullopt);
    }).join();
  }
  EXPECT_EQ(found, "left");
}

}  // namespace
