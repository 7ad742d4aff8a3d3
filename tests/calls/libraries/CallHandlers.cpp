// Handlers that the tests' Java programs call.
#include <ferrolink/Caller.h>
#include <ferrolink/CppRuntime.h>
#include <pthread.h>

#include <stdexcept>
#include <string>
#include <thread>

#include "tests/calls/Endings.h"

namespace {

using Ferrolink::Cpp::Bytes;
using Ferrolink::Cpp::Caller;
using Ferrolink::Cpp::Registrar;
using Ferrolink::Cpp::Runtime;
using Ferrolink::Cpp::ToText;
using Span = std::span<const std::uint8_t>;

Bytes Mirror(Span payload) {
  Bytes answer = Ferrolink::Cpp::ToBytes("cpp ");
  answer.insert(answer.end(), payload.begin(), payload.end());
  return answer;
}

Bytes Refuse(Span payload) {
  const std::string reason = ToText(payload);
  throw std::runtime_error("cpp refuses " + std::string(500, reason.at(0)) + " " + reason);
}

// Calls the Java program back until the depth that the first byte says is used up.
Bytes Down(const Caller& caller, Span payload) {
  Bytes answer;
  if (payload[0] > 0) {
    answer = caller.Call(Runtime::Jvm, "down", Bytes{static_cast<std::uint8_t>(payload[0] - 1)});
  }
  answer.push_back('C');
  return answer;
}

// Ends the process in the way that the payload names.
Bytes end(Span payload) {
  Ferrolink::Tests::EndProcess(ToText(payload));
  return {};
}

// Calls Java twice on a thread of its own that stays attached; answers what the second call did.
Bytes CallTwice(Span payload) {
  Bytes answer;
  std::thread([&] {
    const Ferrolink::Host::ThreadAttachment attachment;
    const Caller caller;
    caller.Call(Runtime::Jvm, "echo", payload);
    answer = caller.Call(Runtime::Jvm, "echo", payload);
  }).join();
  return answer;
}

// Ends the thread in the way that the payload names.
Bytes EndThread(Span payload) {
  const std::string way = ToText(payload);
  if (way == "nested") {
    return Caller().Call(Runtime::Cpp, "end-thread", "pthread_exit");
  }
  if (way == "cancel") {
    pthread_cancel(pthread_self());
    pthread_testcancel();
  }
  pthread_exit(nullptr);
}

std::int32_t EndThreadInC(void* /*context*/, const std::uint8_t* /*payload*/,
                          std::size_t /*length*/, ferrolink_reply* /*reply*/) {
  pthread_exit(nullptr);
}

}  // namespace

std::int32_t ferrolink_register_handlers(const ferrolink_registrar* table) {
  const Registrar registrar(table);
  registrar.Register("mirror", Mirror);
  registrar.Register("refuse", Refuse);
  registrar.Register("end", end);
  registrar.Register("end-thread", EndThread);
  const ferrolink_handler inC{EndThreadInC, nullptr, nullptr};
  table->register_handler("end-thread-in-C", 15, &inC);
  registrar.Register("call-twice", CallTwice);
  registrar.Register("back", [](Span payload) {
    static const Caller caller;
    return caller.Call(Runtime::Jvm, "echo", payload);
  });
  registrar.Register("down", [](Span payload) {
    static const Caller caller;
    return Down(caller, payload);
  });
  return FERROLINK_OK;
}
