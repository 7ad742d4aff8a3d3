// The buffers of calls: those that threads keep, and those of callers.
#include <array>
#include <functional>
#include <numeric>
#include <thread>

#include "tests/companions/cpp/CppMemberCases.h"

namespace Ferrolink::Tests {
namespace {

using Ferrolink::Host::AnswerTooLong;
using Ferrolink::Host::detail::ThreadBuffer;

constexpr std::size_t kMebibyte = std::size_t{1} << 20U;

void OnNewThread(const std::function<void()>& body) {
  std::thread(body).join();
}

TEST(CallBuffers, AreKeptByTheirThreadForItsNextCommand) {
  OnNewThread([] {
    std::uint8_t* first = nullptr;
    {
      ThreadBuffer buffer;
      first = buffer.Room(1000);
      EXPECT_EQ(buffer.Room(10), first);
      EXPECT_EQ(ThreadBuffer::SizeKept(), 0U);
    }
    EXPECT_GE(ThreadBuffer::SizeKept(), 1000U);
    OnNewThread([] { EXPECT_EQ(ThreadBuffer::SizeKept(), 0U); });
    ThreadBuffer next;
    EXPECT_EQ(next.Room(1000), first);
  });
}

TEST(CallBuffers, AreKeptForAPayloadOfAMebibyteAndNotForMore) {
  OnNewThread([] {
    { EXPECT_NE(ThreadBuffer().Room(kMebibyte + 11 + 1 + 255), nullptr); }
    EXPECT_EQ(ThreadBuffer::SizeKept(), ThreadBuffer::kMostKept);
    { EXPECT_NE(ThreadBuffer().Room(kMebibyte + 513), nullptr); }
    EXPECT_EQ(ThreadBuffer::SizeKept(), 0U);
  });
}

TEST(CallBuffers, OfNestedCommandsAreDifferentOnes) {
  OnNewThread([] {
    {
      ThreadBuffer outer;
      outer.Room(100)[0] = 'o';
      {
        ThreadBuffer inner;
        inner.Room(100)[0] = 'i';
        EXPECT_EQ(outer.Room(100)[0], 'o');
      }
      EXPECT_GT(ThreadBuffer::SizeKept(), 0U);
      EXPECT_EQ(outer.Room(100)[0], 'o');
      EXPECT_NE(outer.Room(5000), nullptr);
    }
    EXPECT_GE(ThreadBuffer::SizeKept(), 5000U);
  });
}

/// A role that runs `inside` while it executes a command, and answers with its bytes.
struct EchoingRole {
  std::function<void()> inside = [] {};
  Bytes seenBefore = {};
  Bytes seenAfter = {};
  Bytes reply = {};

  int SendCommand(const std::uint8_t* command, int size) {
    seenBefore.assign(command, command + size);
    inside();
    seenAfter.assign(command, command + size);
    reply = seenBefore;
    reply[10] = 0;
    return size;
  }
  int ReadResponse(std::uint8_t* buffer, int size) const {
    EXPECT_EQ(buffer[0], reply[0]);
    std::copy(reply.begin(), reply.begin() + size, buffer);
    return 0;
  }
};

Bytes CallIn(EchoingRole& role, std::string_view payload) {
  ThreadBuffer buffer;
  const std::size_t size = Ferrolink::Host::detail::WriteCallIn(buffer, Runtime::Jvm, "name",
                                                                Ferrolink::Host::AsBytes(payload));
  const auto body =
      Ferrolink::Host::detail::ExchangeIn(buffer, role, buffer.Room(size), size, "A role");
  return {body.begin(), body.end()};
}

TEST(CallBuffers, HoldACommandUnchangedWhileItsHandlerSendsOthers) {
  OnNewThread([] {
    EchoingRole inner;
    EchoingRole outer;
    outer.inside = [&] { CallIn(inner, std::string(100000, 'i')); };
    for (int round = 0; round < 3; ++round) {
      EXPECT_EQ(ToText(CallIn(outer, "payload")), std::string("\x04name") + "payload");
      EXPECT_EQ(outer.seenBefore,
                Ferrolink::Host::CallCommand(Runtime::Jvm, "name", ToBytes("payload")));
      EXPECT_EQ(outer.seenAfter, outer.seenBefore);
    }
  });
}

TEST(CallBuffers, AreKeptWhenACommandFails) {
  OnNewThread([] {
    EchoingRole role;
    role.inside = [] { throw std::runtime_error("broken"); };
    EXPECT_EQ(ThrownBy([&] { CallIn(role, std::string(10000, 'x')); }), "broken");
    EXPECT_GE(ThreadBuffer::SizeKept(), 10000U);
  });
}

/// Sends a command when its thread ends.
struct LastCommand {
  LastCommand() = default;
  LastCommand(const LastCommand&) = delete;
  LastCommand& operator=(const LastCommand&) = delete;
  ~LastCommand() {
    EchoingRole role;
    EXPECT_EQ(ToText(CallIn(role, "last")), "\x04namelast");
    EXPECT_EQ(ThreadBuffer::SizeKept(), 0U);
    *done = true;
  }
  bool* done = nullptr;
};

TEST(CallBuffers, ServeCommandsOfDestructorsThatRunAtTheThreadsEnd) {
  bool done = false;
  OnNewThread([&] {
    static thread_local LastCommand last;
    last.done = &done;
    EchoingRole role;
    EXPECT_EQ(ToText(CallIn(role, "first")), "\x04namefirst");
    EXPECT_GT(ThreadBuffer::SizeKept(), 0U);
  });
  EXPECT_TRUE(done);
}

void RegisterHandlers() {
  const Registrar registrar = OpenRegistrar();
  registrar.Register("twice", [](Span payload) {
    Bytes answer(payload.begin(), payload.end());
    answer.insert(answer.end(), payload.begin(), payload.end());
    return answer;
  });
  registrar.Register("fail",
                     [](Span payload) -> Bytes { throw std::runtime_error(ToText(payload)); });
}

PROCESS_CASE(callInto) {
  RegisterHandlers();
  const Caller caller = OpenCaller();
  std::array<std::uint8_t, 8> room{};
  room.fill('.');
  const auto into = [&](std::string_view payload, std::size_t size) {
    return static_cast<long>(caller.CallInto(Runtime::Cpp, "twice", Host::AsBytes(payload),
                                             std::span(room).first(size)));
  };
  Report(into("abc", 8));
  Report(ToText(room));
  Report(into("de", 4));
  Report(ToText(room));
  Report(into("", 0));
  Report(ToText(room));
  try {
    into("fgh", 5);
  } catch (const AnswerTooLong& error) {
    const AnswerTooLong copy = error;
    Report(copy.what());
    Report(ToText(copy.Answer()) +
           (copy.MayHaveExecuted() ? " was executed" : " was not executed"));
  }
  Report(ToText(room));
  Report(ThrownBy([&] { caller.CallInto(Runtime::Cpp, "fail", Host::AsBytes("no"), room); }));
  // The payload lies in the buffer of the answer.
  Report(static_cast<long>(caller.CallInto(Runtime::Cpp, "twice", Span(room).subspan(1, 2), room)));
  Report(ToText(room));
}

TEST(CallInto, FillsTheCallersBufferIfTheWholeAnswerFits) {
  ExpectReport(RunMemberCase("callInto"),
               {"6", "abcabc..", "4", "dedebc..", "0", "dedebc..",
                "The answer has 6 bytes, and the buffer has 5. The handler was executed.",
                "fghfgh was executed", "dedebc..", "std::runtime_error: no", "4", "ededbc.."});
}

PROCESS_CASE(callIntoVector) {
  RegisterHandlers();
  const Caller caller = OpenCaller();
  Bytes answer = ToBytes("payload");
  Report(static_cast<long>(caller.CallInto(Runtime::Cpp, "twice", answer, answer)));
  Report(ToText(answer));
  Report(ThrownBy([&] { caller.CallInto(Runtime::Cpp, "fail", answer, answer); }));
  Report(ToText(answer));
  const auto* memory = answer.data();
  Report(static_cast<long>(caller.CallInto(Runtime::Cpp, "twice", ToBytes("p"), answer)));
  Report(ToText(answer) + (answer.data() == memory ? " in the same memory" : " elsewhere"));
}

TEST(CallInto, GivesAVectorTheSizeOfTheAnswerAndReusesItsMemory) {
  ExpectReport(RunMemberCase("callIntoVector"),
               {"14", "payloadpayload", "std::runtime_error: payloadpayload", "payloadpayload", "2",
                "pp in the same memory"});
}

PROCESS_CASE(nestedPayloads) {
  const Registrar registrar = OpenRegistrar();
  const Caller caller = OpenCaller();
  registrar.Register("down", [caller](Span payload) {
    const Bytes before(payload.begin(), payload.end());
    if (payload.size() > 1) {
      Bytes inner(4 * payload.size());
      caller.CallInto(Runtime::Cpp, "down", payload.subspan(1), inner);
    }
    const bool same = std::equal(before.begin(), before.end(), payload.begin(), payload.end());
    return same ? before : ToBytes("overwritten");
  });
  Bytes payload(100);
  std::iota(payload.begin(), payload.end(), std::uint8_t{0});
  for (int round = 0; round < 3; ++round) {
    Report(caller.Call(Runtime::Cpp, "down", payload) == payload ? "right" : "wrong");
  }
}

TEST(CallInto, LeavesThePayloadOfARunningHandlerAlone) {
  ExpectReport(RunMemberCase("nestedPayloads"), {"right", "right", "right"});
}

}  // namespace
}  // namespace Ferrolink::Tests
