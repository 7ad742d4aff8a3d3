// Lifetimes of handles and functions, without a JVM.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <latch>
#include <thread>

#include "tests/companions/objects/FakeBroker.h"

namespace Ferrolink::Tests {
namespace {

using namespace Ferrolink::Objects;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;
namespace Typed = Ferrolink::Objects::detail;

constexpr std::uint8_t kResolve = 1;
constexpr std::uint8_t kTest = 10;
constexpr std::uint8_t kName = 16;

/// A broker that returns the handles 1, 2, 3 and so on.
struct Fixture {
  Fixture()
      : broker([this](const BrokerRequest& request) -> Bytes {
          switch (request.operation) {
            case kResolve:
              return ByteList(U8(0), std::uint32_t{3});
            case kTest:
              return {0, 2};
            case kName:
              return ByteList(U8(0)).Text("C");
            default:
              return HandleReply(++handles);
          }
        }) {}

  Java TheJava() {
    FakePeer peer(broker);
    return Java(peer);
  }

  std::atomic<std::uint64_t> handles{0};
  FakeBroker broker;
};

// Never freed: the keepers of the sessions run on.
Fixture& NewFixture() {
  return *new Fixture;
}

TEST(ObjectHandles, AHandleIsReleasedWithTheNextCommandOnceItsLastCopyIsGone) {
  Fixture& f = NewFixture();
  const Java java = f.TheJava();
  {
    Object first = java.FindClass("C");
    const Object copy = first;
    const Object moved = std::move(first);
    EXPECT_EQ(copy.ClassName(), "C");
    EXPECT_THAT(f.broker.Released(), IsEmpty());
  }
  const Object second = java.FindClass("C");
  EXPECT_THAT(f.broker.Released(), ElementsAre(1));
  EXPECT_EQ(f.broker.ReleaseCommands(), 0);
}

TEST(ObjectHandles, AnObjectMayBeDroppedOnAnotherThread) {
  Fixture& f = NewFixture();
  const Java java = f.TheJava();
  std::thread([object = java.FindClass("C")] {}).join();
  const Object second = java.FindClass("C");
  EXPECT_THAT(f.broker.Released(), ElementsAre(1));
}

TEST(ObjectHandles, WhatNoCommandTakesAlongIsSentByItself) {
  Fixture& f = NewFixture();
  f.TheJava().FindClass("C");
  f.broker.WaitForReleases(1);
  EXPECT_EQ(f.broker.ReleaseCommands(), 1);
}

TEST(ObjectHandles, ManyHandlesAreAllReleased) {
  Fixture& f = NewFixture();
  const Java java = f.TheJava();
  constexpr int kMany = 70'000;  // more than a command takes along
  {
    std::vector<Object> objects;
    for (int count = 0; count < kMany; ++count) {
      objects.push_back(java.FindClass("C"));
    }
  }
  f.broker.WaitForReleases(kMany);
  std::vector<std::uint64_t> released = f.broker.Released();
  std::sort(released.begin(), released.end());
  ASSERT_EQ(released.size(), kMany);
  EXPECT_EQ(std::unique(released.begin(), released.end()), released.end());
}

TEST(ObjectHandles, ACommandThatFailsLeavesItsReleasesToALaterOne) {
  Fixture& f = NewFixture();
  const Java java = f.TheJava();
  const Object kept = java.FindClass("C");
  java.FindClass("C");
  f.broker.FailNext(1);
  EXPECT_THROW(kept.ClassName(), Ferrolink::Host::LibraryError);
  EXPECT_THAT(f.broker.Released(), IsEmpty());
  EXPECT_EQ(kept.ClassName(), "C");
  EXPECT_THAT(f.broker.Released(), ElementsAre(2));
}

TEST(ObjectHandles, EightThreadsReleaseEachHandleOnce) {
  Fixture& f = NewFixture();
  const Java java = f.TheJava();
  constexpr int kThreads = 8;
  constexpr int kEach = 2000;
  std::latch start(kThreads);
  std::vector<std::thread> threads;
  for (int number = 0; number < kThreads; ++number) {
    threads.emplace_back([&] {
      start.arrive_and_wait();
      for (int count = 0; count < kEach; ++count) {
        const Object object = java.FindClass("C");
        const Object copy = object;
        EXPECT_EQ(copy.ClassName(), "C");
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  f.broker.WaitForReleases(kThreads * kEach);
  std::vector<std::uint64_t> released = f.broker.Released();
  std::sort(released.begin(), released.end());
  ASSERT_EQ(released.size(), kThreads * kEach);
  EXPECT_EQ(released.front(), 1U);
  EXPECT_EQ(released.back(), kThreads * kEach);
}

TEST(ObjectHandles, AScopeReleasesWhatWasMadeInItWithOneCommand) {
  Fixture& f = NewFixture();
  const Java java = f.TheJava();
  const Object before = java.FindClass("C");
  Object outlives;
  Object kept;
  {
    Scope scope(java);
    outlives = java.FindClass("C");
    kept = scope.Keep(java.FindClass("C"));
    java.FindClass("C");
    EXPECT_THAT(f.broker.Released(), IsEmpty());
  }
  EXPECT_THAT(f.broker.Released(), UnorderedElementsAre(2, 4));
  EXPECT_EQ(f.broker.ReleaseCommands(), 1);
  EXPECT_EQ(kept.ClassName(), "C");
  try {
    outlives.ClassName();
    ADD_FAILURE() << "a released handle was used";
  } catch (const ObjectError& error) {
    EXPECT_EQ(error.Why(), ObjectError::Reason::StaleHandle);
  }
}

TEST(ObjectHandles, AnInnerScopeReleasesItsOwn) {
  Fixture& f = NewFixture();
  const Java java = f.TheJava();
  const Scope outer(java);
  const Object first = java.FindClass("C");
  {
    const Scope inner(java);
    java.FindClass("C");
  }
  EXPECT_THAT(f.broker.Released(), ElementsAre(2));
  EXPECT_EQ(first.ClassName(), "C");
}

TEST(ObjectHandles, AScopeWhoseCommandFailsLeavesItsHandlesToALaterOne) {
  Fixture& f = NewFixture();
  const Java java = f.TheJava();
  const Object other = java.FindClass("C");
  {
    const Scope scope(java);
    const Object object = java.FindClass("C");
    f.broker.FailNext(1);
  }
  EXPECT_EQ(other.ClassName(), "C");
  f.broker.WaitForReleases(1);
  EXPECT_THAT(f.broker.Released(), ElementsAre(2));
}

TEST(ObjectHandles, ANullObjectHasNoMembers) {
  const Object null;
  EXPECT_TRUE(null.IsNull());
  EXPECT_TRUE(null.Equals(Object()));
  EXPECT_TRUE(null.Equals(nullptr));
  EXPECT_FALSE(null.Equals(1));
  EXPECT_FALSE(null.InstanceOf("java.lang.Object"));
  EXPECT_EQ(null.ToString(), "null");
  EXPECT_EQ(null.HashCode(), 0);
  EXPECT_THROW(null.Call("m"), ObjectError);
  EXPECT_THROW(null.Get("f"), ObjectError);
  EXPECT_THROW(null.As<int>(), ConversionError);
  EXPECT_EQ(null.As<std::optional<int>>(), std::nullopt);
}

/// The same as FunctionTable::Sending in an IMPLEMENT that succeeds.
void Send(FakeBroker& broker, const std::shared_ptr<Typed::FunctionBody>& body) {
  Typed::FunctionTable::Sending(Typed::SessionOf(broker), body).Succeeded();
}

Bytes Answer(const Bytes& payload) {
  Typed::Buffer out;
  Typed::FunctionHandler::Answer(payload, out);
  return {out.View().begin(), out.View().end()};
}

template <class F>
std::shared_ptr<Typed::FunctionBody> Body(F function) {
  auto body = std::make_shared<Typed::FunctionBody>();
  body->Add("", Typed::MakeCallable(std::move(function)));
  return body;
}

Bytes CallOf(std::uint64_t id, std::initializer_list<Bytes> values = {}) {
  ByteList call(U8(1), id);
  call.Text("m").Add(U8(static_cast<int>(values.size())));
  Bytes bytes = call;
  for (const Bytes& value : values) {
    bytes.insert(bytes.end(), value.begin(), value.end());
  }
  return bytes;
}

Bytes DroppedOf(std::uint64_t id, std::uint32_t arrivals) {
  return ByteList(U8(2), std::uint32_t{1}, id, arrivals);
}

TEST(ObjectFunctions, AFunctionIsFreedWhenAsManySendingsCameBackAsWereSent) {
  Fixture& f = NewFixture();
  auto captured = std::make_shared<int>(5);
  const std::weak_ptr<int> alive = captured;
  auto body = Body([captured = std::move(captured)] { return *captured; });
  const std::uint64_t id = body->Id();
  Send(f.broker, body);
  Send(f.broker, body);
  body.reset();
  EXPECT_EQ(Answer(CallOf(id)), Bytes(ByteList(U8(0), U8(6), std::int32_t{5})));
  Answer(DroppedOf(id, 1));
  EXPECT_FALSE(alive.expired());
  Answer(DroppedOf(id, 1));
  EXPECT_TRUE(alive.expired());
}

TEST(ObjectFunctions, ACallOfAFunctionThatWasFreedIsAClearFailure) {
  Fixture& f = NewFixture();
  const auto body = Body([] {});
  Send(f.broker, body);
  Answer(DroppedOf(body->Id(), 1));
  EXPECT_EQ(Answer(CallOf(body->Id(), {Value(11, std::uint64_t{99}, std::uint32_t{1})})),
            Bytes(ByteList(U8(1))
                      .Text("The C++ function for m was freed: Java had no object of it any more.")
                      .Add(std::uint64_t{0})));
  f.broker.WaitForReleases(1);
  EXPECT_THAT(f.broker.Released(), ElementsAre(99));
}

TEST(ObjectFunctions, ASendingThatFailedIsTakenBack) {
  Fixture& f = NewFixture();
  auto captured = std::make_shared<int>(5);
  const std::weak_ptr<int> alive = captured;
  auto body = Body([captured = std::move(captured)] {});
  { const Typed::FunctionTable::Sending failed(Typed::SessionOf(f.broker), body); }
  body.reset();
  EXPECT_TRUE(alive.expired());
}

TEST(ObjectFunctions, ArgumentsThatDoNotFitAreToldByPlaceAndTypesAndLetGo) {
  Fixture& f = NewFixture();
  const auto body = Body([](int /*a*/, const std::string& /*b*/) {});
  Send(f.broker, body);
  const Bytes text = ByteList(U8(10)).Text("x");
  const Bytes object = Value(11, std::uint64_t{42}, std::uint32_t{1});
  const auto failure = [](const std::string& what) {
    return Bytes(ByteList(U8(1)).Text(what).Add(std::uint64_t{0}));
  };
  EXPECT_EQ(Answer(CallOf(body->Id(), {text, object})),
            failure("Parameter 1 of the C++ function (int, std::string): A value of kind String "
                    "does not fit a C++ int."));
  EXPECT_EQ(
      Answer(CallOf(body->Id(), {object})),
      failure("The C++ function takes 2 parameters: int, std::string; it was called with 1."));
  f.broker.WaitForReleases(2);
  EXPECT_THAT(f.broker.Released(), ElementsAre(42, 42));
}

TEST(ObjectFunctions, AResultIsGivenAwayOrADuplicateIfItIsKept) {
  Fixture& f = NewFixture();
  f.handles = 100;
  Object kept;
  const auto giving = Body([](Object object) { return object; });
  const auto keeping = Body([&](Object object) {
    kept = object;
    return object;
  });
  Send(f.broker, giving);
  Send(f.broker, keeping);
  const Bytes object = Value(11, std::uint64_t{42}, std::uint32_t{1});
  EXPECT_EQ(Answer(CallOf(giving->Id(), {object})),
            Bytes(ByteList(U8(0), U8(11), std::uint64_t{42}, std::uint32_t{0})));
  EXPECT_EQ(Answer(CallOf(keeping->Id(), {object})),
            Bytes(ByteList(U8(0), U8(11), std::uint64_t{101}, std::uint32_t{0})));
  EXPECT_THAT(f.broker.Released(), IsEmpty());
  kept = nullptr;
  f.broker.WaitForReleases(1);
  EXPECT_THAT(f.broker.Released(), ElementsAre(42));
}

TEST(ObjectFunctions, ACppExceptionIsToldWithItsClassAndText) {
  Fixture& f = NewFixture();
  const auto body = Body([]() -> int { throw std::out_of_range("far away"); });
  Send(f.broker, body);
  EXPECT_EQ(Answer(CallOf(body->Id())),
            Bytes(ByteList(U8(1)).Text("std::out_of_range: far away").Add(std::uint64_t{0})));
}

TEST(ObjectFunctions, ObjectsOfAFunctionAreNotTheScopesOfItsCaller) {
  Fixture& f = NewFixture();
  Object kept;
  const auto keeping = Body([&](Object object) { kept = std::move(object); });
  Send(f.broker, keeping);
  {
    const Scope scope(f.TheJava());
    Answer(CallOf(keeping->Id(), {Value(11, std::uint64_t{42}, std::uint32_t{1})}));
  }
  EXPECT_EQ(kept.ClassName(), "C");
}

}  // namespace
}  // namespace Ferrolink::Tests
