#include <pthread.h>

#include <exception>
#include <stdexcept>
#include <string>
#include <system_error>

#include "tests/companions/cpp/CppMemberCases.h"

namespace Ferrolink::Tests {
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

void Nest(int depth) {
  try {
    if (depth == 0) {
      throw OwnError("innermost");
    }
    Nest(depth - 1);
  } catch (...) {
    std::throw_with_nested(std::logic_error("level " + std::to_string(depth)));
  }
}

[[noreturn]] void NestPlain() {
  try {
    throw 42;
  } catch (...) {
    std::throw_with_nested(PlainError{1});
  }
}

Bytes FailAs(Span payload) {
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
    NestPlain();
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
  Nest(std::stoi(kind));
  return {};
}

std::int32_t ThrowThroughC(void* /*context*/, const std::uint8_t* payload, std::size_t length,
                           ferrolink_reply* /*reply*/) {
  FailAs({payload, length});
  return 0;
}

// The same exceptions through the wrapper, which catches them itself, and past the C interface.
std::string Failure(const std::string& kind) {
  static IReceiver* const receiver = [] {
    OpenRegistrar().Register("wrapped", FailAs);
    const ferrolink_handler raw{ThrowThroughC, nullptr, nullptr};
    OpenTable()->register_handler("raw", 3, &raw);
    return OpenReceiver();
  }();
  const std::string wrapped = Outcome(receiver, CallOf("wrapped", kind));
  const std::string raw = Outcome(receiver, CallOf("raw", kind));
  return wrapped == raw ? wrapped : "wrapped " + wrapped + ", raw " + raw;
}

PROCESS_CASE(reportExceptions) {
  for (const char* kind : {"runtime", "own", "system", "int", "text", "plain", "nested plain",
                           "silent", "not UTF-8", "0", "1"}) {
    Report(Failure(kind));
  }
}

TEST(CppErrors, HandlersExceptionsBecomeReportsWithClassTextAndCauses) {
  const std::string here = "Ferrolink::Tests::(anonymous namespace)::";
  ExpectReport(
      RunMemberCase("reportExceptions"),
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
  Report(Failure("long"));
  const std::string deep = Failure("100");
  Report(deep.substr(deep.rfind('\n') - std::string("logic_error: level 37").size()));
  OpenRegistrar().Unregister("wrapped");
  const ferrolink_handler raw{[](void*, const std::uint8_t*, std::size_t, ferrolink_reply* reply) {
                                const std::string text(2000000, 'y');
                                return reply->fail(reply, text.data(), text.size());
                              },
                              nullptr, nullptr};
  OpenTable()->register_handler("raw", 3, &raw);
  Report(static_cast<long>(Exchange(OpenReceiver(), CallOf("raw")).size()));
}

TEST(CppErrors, ReportsAreBounded) {
  ExpectReport(RunMemberCase("boundReports"),
               {"10:std::runtime_error: " + std::string(65536, 'x') + "...",
                "logic_error: level 37\n... further causes are left out", "1048587"});
}

using RawCall = std::int32_t(void*, const std::uint8_t*, std::size_t, ferrolink_reply*);

PROCESS_CASE(failInC) {
  IReceiver* receiver = OpenReceiver();
  const auto outcomeOf = [&](RawCall* call) {
    const ferrolink_handler handler{call, nullptr, nullptr};
    OpenTable()->register_handler("raw", 3, &handler);
    Report(Outcome(receiver, CallOf("raw", "payload")));
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
    Report(reply->append(reply, payload, 2147483637));
    return 0;
  });
  outcomeOf([](void*, const std::uint8_t* payload, std::size_t, ferrolink_reply* reply) {
    return reply->append(reply, payload, SIZE_MAX);
  });
  outcomeOf([](void*, const std::uint8_t* payload, std::size_t length, ferrolink_reply* reply) {
    Report(reply->append(reply, nullptr, 1));
    Report(reply->append(reply, nullptr, 0));
    Report(reply->fail(reply, nullptr, 1));
    Report(reply->append(nullptr, payload, 1));
    Report(reply->fail(nullptr, "x", 1));
    return reply->append(reply, payload, length) + reply->append(reply, payload, 3);
  });
}

TEST(CppErrors, HandlersInCFailByResultOrText) {
  const std::string tooLong = "10:The handler's answer is longer than a reply may be (2 GiB).";
  ExpectReport(RunMemberCase("failInC"),
               {"10:Handler 'raw' failed with result 9 and no text.", "10:last", "10:after bytes",
                "4", tooLong, tooLong, "1", "0", "1", "1", "1", "0:payloadpay"});
}

void* CallExit(void* receiver) {
  Outcome(static_cast<IReceiver*>(receiver), CallOf("exit"));
  Report("not reached");
  return nullptr;
}

PROCESS_CASE(endThread) {
  IReceiver* receiver = OpenReceiver();
  bool unwound = false;
  struct Unwinding {
    bool& flag;
    ~Unwinding() { flag = true; }
  };
  const auto runThread = [&] {
    pthread_t thread{};
    pthread_create(&thread, nullptr, CallExit, receiver);
    void* result = nullptr;
    pthread_join(thread, &result);
    Report(result == &unwound ? "ended by its handler" : "ended otherwise");
  };
  OpenRegistrar().Register("exit", [&](Span) -> Bytes {
    const Unwinding unwinding{unwound};
    pthread_exit(&unwound);
  });
  runThread();
  Report(unwound ? "unwound" : "not unwound");
  const ferrolink_handler raw{[](void* context, const std::uint8_t*, std::size_t,
                                 ferrolink_reply*) -> std::int32_t { pthread_exit(context); },
                              &unwound, nullptr};
  OpenTable()->register_handler("exit", 4, &raw);
  runThread();
  Report(Outcome(receiver, Command(11, "alive")));
}

TEST(CppErrors, AHandlerMayEndItsThread) {
  ExpectReport(RunMemberCase("endThread"),
               {"ended by its handler", "unwound", "ended by its handler", "0:alive"});
}

PROCESS_CASE(remoteErrors) {
  OpenRegistrar().Register("fail", FailAs);
  const Caller caller = OpenCaller();
  try {
    caller.Call(Runtime::Cpp, "fail", "own");
  } catch (const Ferrolink::Cpp::RemoteError& error) {
    Report(error.what());
  }
  Report(ThrownBy([&] { caller.Call(Runtime::Cpp, std::string(256, 'n'), ""); }).substr(0, 46));
  Report(ThrownBy([&] { caller.LoadLibrary(Runtime::Cpp, "/no/such/library.so"); }));
  Report(ThrownBy([&] { caller.Heartbeat(Runtime::Ruby); }));
}

TEST(CppErrors, ReachACppCallerAsExceptions) {
  const InstallationTree tree;
  InstallMember(tree);
  CaseOptions options;
  options.environment["FERROLINK_LOGGING_LEVEL"] = "off";
  ExpectReport(
      RunCase("remoteErrors", tree, options),
      {"Ferrolink::Tests::(anonymous namespace)::OwnError: line 1\nline 2",
       "The handler's name is longer than 255 bytes: n",
       "FerrolinkNativeException: Ferrolink Native Exception: Exception code 001. \nCannot load: "
       "/no/such/library.so. \nError: File not found.",
       "Ferrolink Native Exception: Exception code 001. \nCannot load: " +
           (tree.NativeDirectory() / "libFerrolinkRubyRuntimeNative.so").string() +
           ". \nError: File not found."});
}

}  // namespace
}  // namespace Ferrolink::Tests
