#include <thread>

#include "tests/companions/cpp/Support.h"

namespace FerrolinkTest {
namespace {

// The bytes that `levels` handlers inside one another make of their depth.
std::string descent(int levels) {
  std::string bytes(1, '\0');
  for (int level = 1; level <= levels; ++level) {
    bytes += static_cast<char>('a' + level % 26);
  }
  return bytes;
}

PROCESS_CASE(nestOnOneThread) {
  const Registrar registrar = openRegistrar();
  const Caller caller = openCaller();
  registrar.Register("down", [caller](Span payload) {
    const std::uint8_t depth = payload[0];
    if (depth == 0) {
      return Bytes{0};
    }
    const Bytes next{static_cast<std::uint8_t>(depth - 1)};
    return with(caller.Call(Runtime::Cpp, "down", next), static_cast<char>('a' + depth % 26));
  });
  for (const std::uint8_t depth : Bytes{0, 1, 2, 50, 200}) {
    const Bytes reply = caller.Call(Runtime::Cpp, "down", Bytes{depth});
    report(ToText(reply) == descent(depth) ? "right" : hex(reply));
  }
  std::thread([&] {
    report(ToText(caller.Call(Runtime::Cpp, "down", Bytes{50})) == descent(50) ? "right" : "wrong");
  }).join();
}

TEST(CppNesting, HandlersCallHandlersThroughTheTransmitterOnTheSameThread) {
  expectReport(runMemberCase("nestOnOneThread"), std::vector<std::string>(6, "right"));
}

PROCESS_CASE(nestInAllWays) {
  const Registrar registrar = openRegistrar();
  IReceiver* receiver = openReceiver();
  registrar.Register("leaf", [](Span) { return ToBytes("a leaf of some length"); });
  registrar.Register("fail", [](Span) -> Bytes { throw std::runtime_error("inside"); });
  registrar.Register("unread", [receiver](Span) {
    Bytes inner = callOf("leaf");
    receiver->SendCommand(inner.data(), static_cast<int>(inner.size()));
    return ToBytes("outer");
  });
  registrar.Register("read twice", [receiver](Span) {
    return ToBytes(outcome(receiver, callOf("leaf")) + "," + outcome(receiver, callOf("fail")));
  });
  registrar.Register("inner failure", [receiver](Span) -> Bytes {
    throw std::runtime_error(outcome(receiver, callOf("leaf")));
  });
  registrar.Register("other thread", [receiver](Span) {
    std::string inner;
    std::thread([&] { inner = outcome(receiver, callOf("leaf")); }).join();
    return ToBytes(inner);
  });
  registrar.Register("pass on",
                     [](Span payload) { return openCaller().Call(Runtime::Cpp, "fail", payload); });
  for (const char* name : {"unread", "read twice", "inner failure", "other thread", "pass on"}) {
    report(outcome(receiver, callOf(name)));
  }
  std::uint8_t byte = 0;
  report(thrownBy([&] { receiver->ReadResponse(&byte, 1); }).substr(0, 33));
}

TEST(CppNesting, TheOuterResponseIsItsOwnWhateverHappensInside) {
  expectReport(runMemberCase("nestInAllWays"),
               {"0:outer", "0:0:a leaf of some length,10:std::runtime_error: inside",
                "10:std::runtime_error: 0:a leaf of some length", "0:0:a leaf of some length",
                "10:Ferrolink::Host::RemoteError: std::runtime_error: inside",
                "Cpp Launcher: Exception code 017."});
}

PROCESS_CASE(callBothWays) {
  openRegistrar().Register("echo", [](Span b) { return Bytes(b.begin(), b.end()); });
  const Caller caller = openCaller();
  caller.Heartbeat(Runtime::Cpp);
  report(ToText(caller.Call(Runtime::Cpp, "echo", "through the transmitter")));
  report(outcome(openReceiver(), callOf("echo", "and by the receiver")));
  report(static_cast<long>(caller.Call(Runtime::Cpp, "echo", std::string(5000000, 'x')).size()));
  report(static_cast<long>(caller.Call(Runtime::Cpp, "echo", "").size()));
}

TEST(CppNesting, ACallerReachesItsOwnHandlersInModeZero) {
  expectReport(runMemberCase("callBothWays"),
               {"through the transmitter", "0:and by the receiver", "5000000", "0"});
}

}  // namespace
}  // namespace FerrolinkTest
