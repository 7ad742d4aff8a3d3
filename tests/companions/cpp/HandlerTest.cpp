#include <latch>
#include <memory>
#include <thread>

#include "tests/companions/cpp/Support.h"

namespace FerrolinkTest {
namespace {

PROCESS_CASE(registerNames) {
  const Registrar registrar = openRegistrar();
  IReceiver* receiver = openReceiver();
  const auto answer = [](const char* text) { return [text](Span) { return ToBytes(text); }; };
  registrar.Register("name", answer("first"));
  report(outcome(receiver, callOf("name")));
  registrar.Register("name", answer("second"));
  report(outcome(receiver, callOf("name")));
  const std::string longest(255, 'n');
  registrar.Register(longest, answer("longest"));
  registrar.Register("n\xC3\xA4me\n", answer("UTF-8"));
  registrar.Register(std::string_view("zero\0byte", 9), answer("zero"));
  report(outcome(receiver, callOf(longest)));
  report(outcome(receiver, callOf("n\xC3\xA4me\n")));
  report(outcome(receiver, callOf(std::string_view("zero\0byte", 9))));
  report(outcome(receiver, callOf("Name")).substr(0, 26));
  report(registrar.Unregister("name") ? "gone" : "never there");
  report(registrar.Unregister("name") ? "gone" : "never there");
  report(outcome(receiver, callOf("name")).substr(0, 26));
}

TEST(CppHandlers, AreKnownByTheirLastRegistrationUntilTheyAreUnregistered) {
  expectReport(runMemberCase("registerNames"),
               {"0:first", "0:second", "0:longest", "0:UTF-8", "0:zero",
                "10:Unknown handler 'Name'.", "gone", "never there", "10:Unknown handler 'name'."});
}

PROCESS_CASE(refuseNames) {
  const Registrar registrar = openRegistrar();
  const auto nothing = [](Span) { return Bytes(); };
  report(thrownBy([&] { registrar.Register("", nothing); }));
  report(thrownBy([&] { registrar.Register(std::string(256, 'n'), nothing); }).substr(0, 40));
  report(thrownBy([&] { registrar.Register("name", nullptr); }));
  const ferrolink_registrar* table = openTable();
  const ferrolink_handler valid{
      [](void*, const std::uint8_t*, std::size_t, ferrolink_reply*) -> std::int32_t { return 0; },
      nullptr, [](void*) { report("released"); }};
  ferrolink_handler withoutCall = valid;
  withoutCall.call = nullptr;
  report(table->register_handler(nullptr, 4, &valid));
  report(table->register_handler("name", 0, &valid));
  report(table->register_handler("name", 256, &valid));
  report(table->register_handler("name", 4, nullptr));
  report(table->register_handler("name", 4, &withoutCall));
  report(table->unregister_handler(nullptr, 4));
  report(table->unregister_handler("name", 0));
  report(table->unregister_handler("name", 256));
  report(table->unregister_handler("name", 4));
  report(table->version);
  report(table->size == sizeof(ferrolink_registrar) ? "this size" : "another size");
}

TEST(CppHandlers, AreRefusedWithoutAUsableNameOrFunctionAndThenNotReleased) {
  expectReport(runMemberCase("refuseNames"), {"A handler's name has 1 to 255 bytes: ''.",
                                              "A handler's name has 1 to 255 bytes: 'nn",
                                              "The handler 'name' is an empty function.", "1", "1",
                                              "1", "1", "1", "1", "1", "1", "2", "1", "this size"});
}

struct Releases {
  int count = 0;
};

PROCESS_CASE(releaseOnce) {
  const ferrolink_registrar* table = openTable();
  Releases releases;
  const ferrolink_handler handler{
      [](void*, const std::uint8_t*, std::size_t, ferrolink_reply*) -> std::int32_t { return 0; },
      &releases, [](void* context) { ++static_cast<Releases*>(context)->count; }};
  table->register_handler("a", 1, &handler);
  table->register_handler("b", 1, &handler);
  exchange(openReceiver(), callOf("a"));
  report(releases.count);
  table->register_handler("a", 1, &handler);
  report(releases.count);
  table->unregister_handler("a", 1);
  report(releases.count);
  table->unregister_handler("b", 1);
  report(releases.count);
  auto shared = std::make_shared<int>(1);
  openRegistrar().Register("c", [shared](Span) { return Bytes(); });
  report(shared.use_count());
  openRegistrar().Unregister("c");
  report(shared.use_count());
}

TEST(CppHandlers, AreReleasedOnceWhenReplacedOrUnregistered) {
  expectReport(runMemberCase("releaseOnce"), {"0", "1", "2", "3", "2", "1"});
}

PROCESS_CASE(outliveUnregistering) {
  const Registrar registrar = openRegistrar();
  IReceiver* receiver = openReceiver();
  std::latch entered(2);
  std::latch leave(1);
  auto alive = std::make_shared<std::string>("alive");
  const std::weak_ptr<std::string> watched = alive;
  registrar.Register("wait", [alive = std::move(alive), &entered, &leave](Span) {
    entered.count_down();
    leave.wait();
    return ToBytes(*alive);
  });
  std::thread first([&] { report(outcome(receiver, callOf("wait"))); });
  std::thread second([&] { report(outcome(receiver, callOf("wait"))); });
  entered.wait();
  report(caseArguments().at(0) == "replace" ? "replace" : "unregister");
  if (caseArguments().at(0) == "replace") {
    registrar.Register("wait", [](Span) { return ToBytes("new"); });
  } else {
    registrar.Unregister("wait");
  }
  // No lock is held by the calls that run, and the look-up does not see the old one any more.
  report(outcome(receiver, callOf("wait")).substr(0, 19));
  report(watched.expired() ? "destroyed" : "kept");
  leave.count_down();
  first.join();
  second.join();
  report(watched.expired() ? "destroyed" : "kept");
}

TEST(CppHandlers, StayAliveForTheCallsThatRun) {
  expectReport(runMemberCase("outliveUnregistering", {"unregister"}),
               {"unregister", "10:Unknown handler ", "kept", "0:alive", "0:alive", "destroyed"});
  expectReport(runMemberCase("outliveUnregistering", {"replace"}),
               {"replace", "0:new", "kept", "0:alive", "0:alive", "destroyed"});
}

/// Calls the handler "leaf" when it is destroyed.
class Farewell {
 public:
  explicit Farewell(IReceiver* receiver) : m_receiver(receiver) {}
  Farewell(const Farewell&) = delete;
  Farewell& operator=(const Farewell&) = delete;
  ~Farewell() {
    Bytes call = callOf("leaf", "farewell");
    report(m_receiver->SendCommand(call.data(), static_cast<int>(call.size())));
  }

 private:
  IReceiver* m_receiver;
};

PROCESS_CASE(commandFromRelease) {
  const Registrar registrar = openRegistrar();
  IReceiver* receiver = openReceiver();
  registrar.Register("leaf", [](Span b) { return Bytes(b.begin(), b.end()); });
  auto farewell = std::make_shared<Farewell>(receiver);
  registrar.Register("once", [registrar, farewell](Span) {
    registrar.Unregister("once");
    return ToBytes("mine");
  });
  farewell.reset();
  report(outcome(receiver, callOf("once")));
  // The lock of the registry is not held while a handler is released, nor while one registers.
  registrar.Register("a", [f = std::make_shared<Farewell>(receiver)](Span) { return Bytes(); });
  registrar.Register("a", [registrar](Span) {
    registrar.Register("b", [](Span) { return ToBytes("registered inside"); });
    return Bytes();
  });
  report(outcome(receiver, callOf("a")));
  report(outcome(receiver, callOf("b")));
  registrar.Register("c", [f = std::make_shared<Farewell>(receiver)](Span) { return Bytes(); });
  registrar.Unregister("c");
}

TEST(CppHandlers, MaySendCommandsWhileTheyAreReleasedAndRegisterOthersWhileTheyRun) {
  expectReport(runMemberCase("commandFromRelease"),
               {"19", "0:mine", "19", "0:", "0:registered inside", "19"});
}

}  // namespace
}  // namespace FerrolinkTest
