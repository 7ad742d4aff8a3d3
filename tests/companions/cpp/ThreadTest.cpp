#include <atomic>
#include <functional>
#include <latch>
#include <thread>

#include "tests/companions/cpp/CppMemberCases.h"

namespace Ferrolink::Tests {
namespace {

constexpr int kThreads = 8;
constexpr int kCalls = 20000;

void OnThreads(const std::function<void(int)>& body) {
  std::latch start(kThreads);
  std::vector<std::thread> threads;
  for (int number = 0; number < kThreads; ++number) {
    threads.emplace_back([&, number] {
      start.arrive_and_wait();
      body(number);
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
}

// Every 200th call fails; every tenth is nested.
std::string HandlerOf(int call) {
  if (call % 200 == 0) {
    return "fail";
  }
  return call % 10 == 0 ? "nested" : "echo";
}

std::string ExpectedOf(const std::string& handler, const std::string& payload) {
  if (handler == "fail") {
    return "10:std::runtime_error: " + payload;
  }
  return handler == "nested" ? "0:" + payload + "!" : "0:" + payload;
}

PROCESS_CASE(callOnManyThreads) {
  const Registrar registrar = OpenRegistrar();
  const Caller caller = OpenCaller();
  IReceiver* receiver = OpenReceiver();
  std::atomic<long> running{0};
  std::atomic<long> right{0};
  registrar.Register("echo", [&](Span b) {
    ++running;
    return Bytes(b.begin(), b.end());
  });
  registrar.Register("fail", [](Span b) -> Bytes { throw std::runtime_error(ToText(b)); });
  registrar.Register("nested",
                     [&](Span b) { return With(caller.Call(Runtime::Cpp, "echo", b), '!'); });
  OnThreads([&](int number) {
    long mine = 0;
    for (int call = 0; call < kCalls; ++call) {
      const std::string handler = HandlerOf(call);
      const std::string payload = std::to_string(number) + ":" + std::to_string(call) +
                                  std::string(static_cast<std::size_t>(call % 97), '.');
      mine += Outcome(receiver, CallOf(handler, payload)) == ExpectedOf(handler, payload) ? 1 : 0;
    }
    right += mine;
  });
  Report(right.load());
  Report(running.load());
}

TEST(CppThreads, EightThreadsGetTheirOwnAnswersToTwentyThousandCallsEach) {
  ExpectReport(
      RunMemberCase("callOnManyThreads"),
      {std::to_string(kThreads * kCalls), std::to_string(kThreads * (kCalls - kCalls / 200))});
}

// One thread keeps replacing and removing the handler. Each call gets a complete answer.
PROCESS_CASE(replaceWhileCalling) {
  const Registrar registrar = OpenRegistrar();
  IReceiver* receiver = OpenReceiver();
  std::atomic<bool> stop{false};
  std::atomic<long> odd{0};
  std::thread registering([&] {
    for (int round = 0; !stop; ++round) {
      const std::string text(static_cast<std::size_t>(round % 64),
                             static_cast<char>('a' + round % 26));
      registrar.Register("moving", [text](Span) { return ToBytes(text); });
      registrar.Register("other " + std::to_string(round % 16), [](Span) { return Bytes(); });
      if (round % 3 == 0) {
        registrar.Unregister("moving");
      }
    }
  });
  OnThreads([&](int) {
    for (int call = 0; call < kCalls / 4; ++call) {
      const std::string answer = Outcome(receiver, CallOf("moving"));
      const bool whole =
          answer.starts_with("0:") &&
          answer.find_first_not_of(answer.size() > 2 ? answer[2] : ' ', 2) == std::string::npos;
      odd += whole || answer.starts_with("10:Unknown handler 'moving'.") ? 0 : 1;
    }
  });
  stop = true;
  registering.join();
  Report(odd.load());
}

TEST(CppThreads, HandlersMayBeReplacedAndRemovedWhileTheyAreCalled) {
  ExpectReport(RunMemberCase("replaceWhileCalling"), {"0"});
}

PROCESS_CASE(createOnManyThreads) {
  std::atomic<IReceiver*> first{nullptr};
  std::atomic<int> others{0};
  OnThreads([&](int number) {
    if (number % 2 == 0) {
      IReceiver* expected = nullptr;
      IReceiver* mine = OpenReceiver();
      others += first.compare_exchange_strong(expected, mine) || expected == mine ? 0 : 1;
    } else {
      OpenCaller().Heartbeat(Runtime::Cpp);
    }
  });
  Report(others.load());
}

TEST(CppThreads, FirstCallsOfAllKindsMayComeAtOnce) {
  ExpectReport(RunMemberCase("createOnManyThreads"), {"0"});
}

PROCESS_CASE(keepResponsesApart) {
  IReceiver* receiver = OpenReceiver();
  const auto send = [&](const char* text) {
    Bytes heartbeat = Command(11, text);
    receiver->SendCommand(heartbeat.data(), static_cast<int>(heartbeat.size()));
  };
  const auto read = [&] {
    Bytes reply(13);
    const std::string error = ThrownBy([&] { receiver->ReadResponse(reply.data(), 13); });
    Report(error == "(nothing thrown)" ? ToText(Span(reply).subspan(11)) : error.substr(0, 33));
  };
  send("m1");
  std::latch sent(1);
  std::latch read1(1);
  std::thread other([&] {
    read();
    send("o1");
    sent.count_down();
    read1.wait();
    read();
  });
  sent.wait();
  read();
  read();
  read1.count_down();
  other.join();
}

TEST(CppThreads, AResponseWaitsForItsOwnThread) {
  ExpectReport(RunMemberCase("keepResponsesApart"), {"Cpp Launcher: Exception code 017.", "m1",
                                                     "Cpp Launcher: Exception code 017.", "o1"});
}

}  // namespace
}  // namespace Ferrolink::Tests
