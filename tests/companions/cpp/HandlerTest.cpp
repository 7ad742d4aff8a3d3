#include <latch>
#include <memory>
#include <thread>

#include "tests/companions/cpp/CppMemberCases.h"

namespace Ferrolink::Tests {
namespace {

PROCESS_CASE(registerNames) {
  const Registrar registrar = OpenRegistrar();
  IReceiver* receiver = OpenReceiver();
  const auto answer = [](const char* text) { return [text](Span) { return ToBytes(text); }; };
  registrar.Register("name", answer("first"));
  Report(Outcome(receiver, CallOf("name")));
  registrar.Register("name", answer("second"));
  Report(Outcome(receiver, CallOf("name")));
  const std::string longest(255, 'n');
  registrar.Register(longest, answer("longest"));
  registrar.Register("n\xC3\xA4me\n", answer("UTF-8"));
  registrar.Register(std::string_view("zero\0byte", 9), answer("zero"));
  Report(Outcome(receiver, CallOf(longest)));
  Report(Outcome(receiver, CallOf("n\xC3\xA4me\n")));
  Report(Outcome(receiver, CallOf(std::string_view("zero\0byte", 9))));
  Report(Outcome(receiver, CallOf("Name")).substr(0, 26));
  Report(registrar.Unregister("name") ? "gone" : "never there");
  Report(registrar.Unregister("name") ? "gone" : "never there");
  Report(Outcome(receiver, CallOf("name")).substr(0, 26));
}

TEST(CppHandlers, AreKnownByTheirLastRegistrationUntilTheyAreUnregistered) {
  ExpectReport(RunMemberCase("registerNames"),
               {"0:first", "0:second", "0:longest", "0:UTF-8", "0:zero",
                "10:Unknown handler 'Name'.", "gone", "never there", "10:Unknown handler 'name'."});
}

PROCESS_CASE(refuseNames) {
  const Registrar registrar = OpenRegistrar();
  const auto nothing = [](Span) { return Bytes(); };
  Report(ThrownBy([&] { registrar.Register("", nothing); }));
  Report(ThrownBy([&] { registrar.Register(std::string(256, 'n'), nothing); }).substr(0, 40));
  Report(ThrownBy([&] { registrar.Register("name", nullptr); }));
  const ferrolink_registrar* table = OpenTable();
  const ferrolink_handler valid{
      [](void*, const std::uint8_t*, std::size_t, ferrolink_reply*) -> std::int32_t { return 0; },
      nullptr, [](void*) { Report("released"); }};
  ferrolink_handler withoutCall = valid;
  withoutCall.call = nullptr;
  Report(table->register_handler(nullptr, 4, &valid));
  Report(table->register_handler("name", 0, &valid));
  Report(table->register_handler("name", 256, &valid));
  Report(table->register_handler("name", 4, nullptr));
  Report(table->register_handler("name", 4, &withoutCall));
  Report(table->unregister_handler(nullptr, 4));
  Report(table->unregister_handler("name", 0));
  Report(table->unregister_handler("name", 256));
  Report(table->unregister_handler("name", 4));
  Report(table->version);
  Report(table->size == sizeof(ferrolink_registrar) ? "this size" : "another size");
}

TEST(CppHandlers, AreRefusedWithoutAUsableNameOrFunctionAndThenNotReleased) {
  ExpectReport(RunMemberCase("refuseNames"), {"A handler's name has 1 to 255 bytes: ''.",
                                              "A handler's name has 1 to 255 bytes: 'nn",
                                              "The handler 'name' is an empty function.", "1", "1",
                                              "1", "1", "1", "1", "1", "1", "2", "1", "this size"});
}

struct Releases {
  int count = 0;
};

PROCESS_CASE(releaseOnce) {
  const ferrolink_registrar* table = OpenTable();
  Releases releases;
  const ferrolink_handler handler{
      [](void*, const std::uint8_t*, std::size_t, ferrolink_reply*) -> std::int32_t { return 0; },
      &releases, [](void* context) { ++static_cast<Releases*>(context)->count; }};
  table->register_handler("a", 1, &handler);
  table->register_handler("b", 1, &handler);
  Exchange(OpenReceiver(), CallOf("a"));
  Report(releases.count);
  table->register_handler("a", 1, &handler);
  Report(releases.count);
  table->unregister_handler("a", 1);
  Report(releases.count);
  table->unregister_handler("b", 1);
  Report(releases.count);
  auto shared = std::make_shared<int>(1);
  OpenRegistrar().Register("c", [shared](Span) { return Bytes(); });
  Report(shared.use_count());
  OpenRegistrar().Unregister("c");
  Report(shared.use_count());
}

TEST(CppHandlers, AreReleasedOnceWhenReplacedOrUnregistered) {
  ExpectReport(RunMemberCase("releaseOnce"), {"0", "1", "2", "3", "2", "1"});
}

PROCESS_CASE(outliveUnregistering) {
  const Registrar registrar = OpenRegistrar();
  IReceiver* receiver = OpenReceiver();
  std::latch entered(2);
  std::latch leave(1);
  auto alive = std::make_shared<std::string>("alive");
  const std::weak_ptr<std::string> watched = alive;
  registrar.Register("wait", [alive = std::move(alive), &entered, &leave](Span) {
    entered.count_down();
    leave.wait();
    return ToBytes(*alive);
  });
  std::thread first([&] { Report(Outcome(receiver, CallOf("wait"))); });
  std::thread second([&] { Report(Outcome(receiver, CallOf("wait"))); });
  entered.wait();
  Report(CaseArguments().at(0) == "replace" ? "replace" : "unregister");
  if (CaseArguments().at(0) == "replace") {
    registrar.Register("wait", [](Span) { return ToBytes("new"); });
  } else {
    registrar.Unregister("wait");
  }
  // Running calls hold no lock, and the look-up no longer finds the old handler.
  Report(Outcome(receiver, CallOf("wait")).substr(0, 19));
  Report(watched.expired() ? "destroyed" : "kept");
  leave.count_down();
  first.join();
  second.join();
  Report(watched.expired() ? "destroyed" : "kept");
}

TEST(CppHandlers, StayAliveForTheCallsThatRun) {
  ExpectReport(RunMemberCase("outliveUnregistering", {"unregister"}),
               {"unregister", "10:Unknown handler ", "kept", "0:alive", "0:alive", "destroyed"});
  ExpectReport(RunMemberCase("outliveUnregistering", {"replace"}),
               {"replace", "0:new", "kept", "0:alive", "0:alive", "destroyed"});
}

/// Calls the handler "leaf" when it is destroyed.
class Farewell {
 public:
  explicit Farewell(IReceiver* receiver) : m_receiver(receiver) {}
  Farewell(const Farewell&) = delete;
  Farewell& operator=(const Farewell&) = delete;
  ~Farewell() {
    Bytes call = CallOf("leaf", "farewell");
    Report(m_receiver->SendCommand(call.data(), static_cast<int>(call.size())));
  }

 private:
  IReceiver* m_receiver;
};

PROCESS_CASE(commandFromRelease) {
  const Registrar registrar = OpenRegistrar();
  IReceiver* receiver = OpenReceiver();
  registrar.Register("leaf", [](Span b) { return Bytes(b.begin(), b.end()); });
  auto farewell = std::make_shared<Farewell>(receiver);
  registrar.Register("once", [registrar, farewell](Span) {
    registrar.Unregister("once");
    return ToBytes("mine");
  });
  farewell.reset();
  Report(Outcome(receiver, CallOf("once")));
  // The registry's lock is not held while a handler is released or registered.
  registrar.Register("a", [f = std::make_shared<Farewell>(receiver)](Span) { return Bytes(); });
  registrar.Register("a", [registrar](Span) {
    registrar.Register("b", [](Span) { return ToBytes("registered inside"); });
    return Bytes();
  });
  Report(Outcome(receiver, CallOf("a")));
  Report(Outcome(receiver, CallOf("b")));
  registrar.Register("c", [f = std::make_shared<Farewell>(receiver)](Span) { return Bytes(); });
  registrar.Unregister("c");
}

TEST(CppHandlers, MaySendCommandsWhileTheyAreReleasedAndRegisterOthersWhileTheyRun) {
  ExpectReport(RunMemberCase("commandFromRelease"),
               {"19", "0:mine", "19", "0:", "0:registered inside", "19"});
}

}  // namespace
}  // namespace Ferrolink::Tests
