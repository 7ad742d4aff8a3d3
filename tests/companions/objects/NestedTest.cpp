// Nested calls on one thread, without a JVM.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <thread>

#include "tests/companions/objects/FakeBroker.h"

namespace Ferrolink::Tests {
namespace {

using namespace Ferrolink::Objects;

constexpr std::uint8_t kResolve = 1;

// Each call sends another one from inside the broker, until depth 0. The texts are so long that
// buffers grow, and differ at each depth.
struct Nest {
  Nest()
      : broker([this](const BrokerRequest& request) -> Bytes {
          if (request.operation == kResolve) {
            return ByteList(U8(0), std::uint32_t{3});
          }
          Ferrolink::Objects::detail::Reader rest(request.rest);
          rest.TakeBytes(4 + 1 + 8 + 8 + 1);
          rest.TakeTag();
          const std::string text(rest.TakeText());
          const auto depth = static_cast<int>(text.size() / 1000);
          const std::string inner = depth == 0 ? "" : CallAt(depth - 1);
          return ByteList(U8(0), U8(10)).Text(text + inner);
        }) {}

  std::string CallAt(int depth) {
    FakePeer peer(broker);
    const std::string text(static_cast<std::size_t>(depth) * 1000 + 1,
                           static_cast<char>('a' + depth));
    return Java(peer).CallStatic<std::string>("C", "m", text);
  }

  static std::string Expected(int depth) {
    const std::string text(static_cast<std::size_t>(depth) * 1000 + 1,
                           static_cast<char>('a' + depth));
    return depth == 0 ? text : text + Expected(depth - 1);
  }

  FakeBroker broker;
};

// Never freed: the keepers of the sessions run on.
Nest& NewNest() {
  return *new Nest;
}

TEST(ObjectNesting, CallsWithinCallsKeepTheirArgumentsAndResults) {
  Nest& nest = NewNest();
  for (int round = 0; round < 3; ++round) {
    EXPECT_EQ(nest.CallAt(12), Nest::Expected(12));
  }
}

// A thread-local object of a program may do the same.
struct CallsAtItsEnd {
  Nest* nest = nullptr;
  std::string* result = nullptr;
  ~CallsAtItsEnd() {
    if (nest != nullptr) {
      *result = nest->CallAt(3);
    }
  }
};
thread_local CallsAtItsEnd t_callsAtItsEnd;

TEST(ObjectNesting, AThreadMayMakeCallsWhileItsThreadLocalObjectsAreDestroyed) {
  Nest& nest = NewNest();
  std::string result;
  std::thread([&] {
    t_callsAtItsEnd.nest = &nest;  // made before the buffers, destroyed after them
    t_callsAtItsEnd.result = &result;
    nest.CallAt(2);
  }).join();
  EXPECT_EQ(result, Nest::Expected(3));
}

}  // namespace
}  // namespace Ferrolink::Tests
