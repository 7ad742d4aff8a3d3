#include <pthread.h>

#include <exception>
#include <stdexcept>
#include <string>
#include <system_error>

#include "tests/companions/cpp/Support.h"

namespace FerrolinkTest {
namespace {

struct PlainError {
  int code;
};

class OwnError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

class SilentError : public std::exception {
 public:
  [[nodiscard]] const char* what() const noexcept override { return nullptr; }
};

void nest(int depth) {
  try {
    if (depth == 0) {
      throw OwnError("innermost");
    }
    nest(depth - 1);
  } catch (...) {
    std::throw_with_nested(std::logic_error("level " + std::to_string(depth)));
  }
}

[[noreturn]] void nestPlain() {
  try {
    throw 42;
  } catch (...) {
    std::throw_with_nested(PlainError{1});
  }
}

Bytes failAs(Span payload) {
  const std::string kind = ToText(payload);
  if (kind == "runtime") {
    throw std::runtime_error("it broke");
  }
  if (kind == "own") {
    throw OwnError("line 1\nline 2");
  }
  if (kind == "system") {
    throw std::system_error(std::make_error_code(std::errc::permission_denied), "open");
  }
  if (kind == "int") {
    throw 42;
  }
  if (kind == "text") {
    throw "thrown text";
  }
  if (kind == "plain") {
    throw PlainError{7};
  }
  if (kind == "nested plain") {
    nestPlain();
  }
  if (kind == "silent") {
    throw SilentError();
  }
  if (kind == "not UTF-8") {
    throw std::runtime_error("caf\xE9 \xC3\xA9 \xED\xA0\x80 \xF0\x9F\x98\x80 \xE2\x82");
  }
  if (kind == "long") {
    throw std::runtime_error(std::string(100000, 'x'));
  }
  nest(std::stoi(kind));
  return {};
}

std::int32_t throwThroughC(void* /*context*/, const std::uint8_t* payload, std::size_t length,
                           ferrolink_reply* /*reply*/) {
  failAs({payload, length});
  return 0;
}

// The same exceptions by way of the wrapper, which catches them itself, and past the C interface.
std::string failure(const std::string& kind) {
  static IReceiver* const receiver = [] {
    openRegistrar().Register("wrapped", failAs);
    const ferrolink_handler raw{throwThroughC, nullptr, nullptr};
    openTable()->register_handler("raw", 3, &raw);
    return openReceiver();
  }();
  const std::string wrapped = outcome(receiver, callOf("wrapped", kind));
  const std::string raw = outcome(receiver, callOf("raw", kind));
  return wrapped == raw ? wrapped : "wrapped " + wrapped + ", raw " + raw;
}

PROCESS_CASE(reportExceptions) {
  for (const char* kind : {"runtime", "own", "system", "int", "text", "plain", "nested plain",
                           "silent", "not UTF-8", "0", "1"}) {
    report(failure(kind));
  }
}

TEST(CppErrors, HandlersExceptionsBecomeReportsWithClassTextAndCauses) {
  const std::string here = "FerrolinkTest::(anonymous namespace)::";
  expectReport(
      runMemberCase("reportExceptions"),
      {"10:std::runtime_error: it broke", "10:" + here + "OwnError: line 1\nline 2",
       "10:std::system_error: open: Permission denied", "10:int (not a std::exception)",
       "10:char const* (not a std::exception)", "10:" + here + "PlainError (not a std::exception)",
       "10:" + here + "PlainError (not a std::exception)\nCaused by: int (not a std::exception)",
       "10:" + here + "SilentError: ",
       "10:std::runtime_error: caf\xEF\xBF\xBD \xC3\xA9 "
       "\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD \xF0\x9F\x98\x80 \xEF\xBF\xBD\xEF\xBF\xBD",
       "10:std::logic_error: level 0\nCaused by: " + here + "OwnError: innermost",
       "10:std::logic_error: level 1\nCaused by: std::logic_error: level 0\nCaused by: " + here +
           "OwnError: innermost"});
}

PROCESS_CASE(boundReports) {
  report(failure("long"));
  const std::string deep = failure("100");
  report(deep.substr(deep.rfind('\n') - std::string("logic_error: level 37").size()));
  openRegistrar().Unregister("wrapped");
  const ferrolink_handler raw{[](void*, const std::uint8_t*, std::size_t, ferrolink_reply* reply) {
                                const std::string text(2000000, 'y');
                                return reply->fail(reply, text.data(), text.size());
                              },
                              nullptr, nullptr};
  openTable()->register_handler("raw", 3, &raw);
  report(static_cast<long>(exchange(openReceiver(), callOf("raw")).size()));
}

TEST(CppErrors, ReportsAreBounded) {
  expectReport(runMemberCase("boundReports"),
               {"10:std::runtime_error: " + std::string(65536, 'x') + "...",
                "logic_error: level 37\n... further causes are left out", "1048587"});
}

using RawCall = std::int32_t(void*, const std::uint8_t*, std::size_t, ferrolink_reply*);

PROCESS_CASE(failInC) {
  IReceiver* receiver = openReceiver();
  const auto outcomeOf = [&](RawCall* call) {
    const ferrolink_handler handler{call, nullptr, nullptr};
    openTable()->register_handler("raw", 3, &handler);
    report(outcome(receiver, callOf("raw", "payload")));
  };
  outcomeOf([](void*, const std::uint8_t*, std::size_t, ferrolink_reply*) { return 9; });
  outcomeOf([](void*, const std::uint8_t*, std::size_t, ferrolink_reply* reply) {
    return reply->fail(reply, "first", 5) + reply->fail(reply, "last", 4);
  });
  outcomeOf([](void*, const std::uint8_t* payload, std::size_t length, ferrolink_reply* reply) {
    reply->append(reply, payload, length);
    reply->fail(reply, "after bytes", 11);
    return 3;
  });
  outcomeOf([](void*, const std::uint8_t* payload, std::size_t, ferrolink_reply* reply) {
    report(reply->append(reply, payload, 2147483637));
    return 0;
  });
  outcomeOf([](void*, const std::uint8_t* payload, std::size_t, ferrolink_reply* reply) {
    return reply->append(reply, payload, SIZE_MAX);
  });
  outcomeOf([](void*, const std::uint8_t* payload, std::size_t length, ferrolink_reply* reply) {
    report(reply->append(reply, nullptr, 1));
    report(reply->append(reply, nullptr, 0));
    report(reply->fail(reply, nullptr, 1));
    report(reply->append(nullptr, payload, 1));
    report(reply->fail(nullptr, "x", 1));
    return reply->append(reply, payload, length) + reply->append(reply, payload, 3);
  });
}

TEST(CppErrors, HandlersInCFailByResultOrText) {
  const std::string tooLong = "10:The handler's answer is longer than a reply may be (2 GiB).";
  expectReport(runMemberCase("failInC"),
               {"10:Handler 'raw' failed with result 9 and no text.", "10:last", "10:after bytes",
                "4", tooLong, tooLong, "1", "0", "1", "1", "1", "0:payloadpay"});
}

void* callExit(void* receiver) {
  outcome(static_cast<IReceiver*>(receiver), callOf("exit"));
  report("not reached");
  return nullptr;
}

PROCESS_CASE(endThread) {
  IReceiver* receiver = openReceiver();
  bool unwound = false;
  struct Unwinding {
    bool& flag;
    ~Unwinding() { flag = true; }
  };
  const auto runThread = [&] {
    pthread_t thread{};
    pthread_create(&thread, nullptr, callExit, receiver);
    void* result = nullptr;
    pthread_join(thread, &result);
    report(result == &unwound ? "ended by its handler" : "ended otherwise");
  };
  openRegistrar().Register("exit", [&](Span) -> Bytes {
    const Unwinding unwinding{unwound};
    pthread_exit(&unwound);
  });
  runThread();
  report(unwound ? "unwound" : "not unwound");
  const ferrolink_handler raw{[](void* context, const std::uint8_t*, std::size_t,
                                 ferrolink_reply*) -> std::int32_t { pthread_exit(context); },
                              &unwound, nullptr};
  openTable()->register_handler("exit", 4, &raw);
  runThread();
  report(outcome(receiver, command(11, "alive")));
}

TEST(CppErrors, AHandlerMayEndItsThread) {
  expectReport(runMemberCase("endThread"),
               {"ended by its handler", "unwound", "ended by its handler", "0:alive"});
}

PROCESS_CASE(remoteErrors) {
  openRegistrar().Register("fail", failAs);
  const Caller caller = openCaller();
  try {
    caller.Call(Runtime::Cpp, "fail", "own");
  } catch (const Ferrolink::Cpp::RemoteError& error) {
    report(error.what());
  }
  report(thrownBy([&] { caller.Call(Runtime::Cpp, std::string(256, 'n'), ""); }).substr(0, 46));
  report(thrownBy([&] { caller.LoadLibrary(Runtime::Cpp, "/no/such/library.so"); }));
  report(thrownBy([&] { caller.Heartbeat(Runtime::Ruby); }));
}

TEST(CppErrors, ReachACppCallerAsExceptions) {
  const InstallationTree tree;
  installMember(tree);
  CaseOptions options;
  options.environment["FERROLINK_LOGGING_LEVEL"] = "off";
  expectReport(
      runCase("remoteErrors", tree, options),
      {"FerrolinkTest::(anonymous namespace)::OwnError: line 1\nline 2",
       "The handler's name is longer than 255 bytes: n",
       "FerrolinkNativeException: Ferrolink Native Exception: Exception code 001. \nCannot load: "
       "/no/such/library.so. \nError: File not found.",
       "Ferrolink Native Exception: Exception code 001. \nCannot load: " +
           (tree.nativeDirectory() / "libFerrolinkRubyRuntimeNative.so").string() +
           ". \nError: File not found."});
}

}  // namespace
}  // namespace FerrolinkTest
