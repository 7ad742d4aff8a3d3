#include <thread>

#include "tests/companions/cpp/CppMemberCases.h"

namespace Ferrolink::Tests {
namespace {

// The answer of `levels` nested handlers, in which each adds its depth.
std::string Descent(int levels) {
  std::string bytes(1, '\0');
  for (int level = 1; level <= levels; ++level) {
    bytes += static_cast<char>('a' + level % 26);
  }
  return bytes;
}

PROCESS_CASE(nestOnOneThread) {
  const Registrar registrar = OpenRegistrar();
  const Caller caller = OpenCaller();
  registrar.Register("down", [caller](Span payload) {
    const std::uint8_t depth = payload[0];
    if (depth == 0) {
      return Bytes{0};
    }
    const Bytes next{static_cast<std::uint8_t>(depth - 1)};
    return With(caller.Call(Runtime::Cpp, "down", next), static_cast<char>('a' + depth % 26));
  });
  for (const std::uint8_t depth : Bytes{0, 1, 2, 50, 200}) {
    const Bytes reply = caller.Call(Runtime::Cpp, "down", Bytes{depth});
    Report(ToText(reply) == Descent(depth) ? "right" : Hex(reply));
  }
  std::thread([&] {
    Report(ToText(caller.Call(Runtime::Cpp, "down", Bytes{50})) == Descent(50) ? "right" : "wrong");
  }).join();
}

TEST(CppNesting, HandlersCallHandlersThroughTheTransmitterOnTheSameThread) {
  ExpectReport(RunMemberCase("nestOnOneThread"), std::vector<std::string>(6, "right"));
}

PROCESS_CASE(nestInAllWays) {
  const Registrar registrar = OpenRegistrar();
  IReceiver* receiver = OpenReceiver();
  registrar.Register("leaf", [](Span) { return ToBytes("a leaf of some length"); });
  registrar.Register("fail", [](Span) -> Bytes { throw std::runtime_error("inside"); });
  registrar.Register("unread", [receiver](Span) {
    Bytes inner = CallOf("leaf");
    receiver->SendCommand(inner.data(), static_cast<int>(inner.size()));
    return ToBytes("outer");
  });
  registrar.Register("read twice", [receiver](Span) {
    return ToBytes(Outcome(receiver, CallOf("leaf")) + "," + Outcome(receiver, CallOf("fail")));
  });
  registrar.Register("inner failure", [receiver](Span) -> Bytes {
    throw std::runtime_error(Outcome(receiver, CallOf("leaf")));
  });
  registrar.Register("other thread", [receiver](Span) {
    std::string inner;
    std::thread([&] { inner = Outcome(receiver, CallOf("leaf")); }).join();
    return ToBytes(inner);
  });
  registrar.Register("pass on",
                     [](Span payload) { return OpenCaller().Call(Runtime::Cpp, "fail", payload); });
  for (const char* name : {"unread", "read twice", "inner failure", "other thread", "pass on"}) {
    Report(Outcome(receiver, CallOf(name)));
  }
  std::uint8_t byte = 0;
  Report(ThrownBy([&] { receiver->ReadResponse(&byte, 1); }).substr(0, 33));
}

TEST(CppNesting, TheOuterResponseIsItsOwnWhateverHappensInside) {
  ExpectReport(RunMemberCase("nestInAllWays"),
               {"0:outer", "0:0:a leaf of some length,10:std::runtime_error: inside",
                "10:std::runtime_error: 0:a leaf of some length", "0:0:a leaf of some length",
                "10:Ferrolink::Host::RemoteError: std::runtime_error: inside",
                "Cpp Launcher: Exception code 017."});
}

PROCESS_CASE(callBothWays) {
  OpenRegistrar().Register("echo", [](Span b) { return Bytes(b.begin(), b.end()); });
  const Caller caller = OpenCaller();
  caller.Heartbeat(Runtime::Cpp);
  Report(ToText(caller.Call(Runtime::Cpp, "echo", "through the transmitter")));
  Report(Outcome(OpenReceiver(), CallOf("echo", "and by the receiver")));
  Report(static_cast<long>(caller.Call(Runtime::Cpp, "echo", std::string(5000000, 'x')).size()));
  Report(static_cast<long>(caller.Call(Runtime::Cpp, "echo", "").size()));
}

TEST(CppNesting, ACallerReachesItsOwnHandlersInModeZero) {
  ExpectReport(RunMemberCase("callBothWays"),
               {"through the transmitter", "0:and by the receiver", "5000000", "0"});
}

}  // namespace
}  // namespace Ferrolink::Tests
