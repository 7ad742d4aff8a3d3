// Both members in one process with a real JVM.
#include <atomic>
#include <thread>

#include "tests/companions/cpp/CppMemberCases.h"

namespace Ferrolink::Tests {
namespace {

CaseResult RunJavaCase(const std::string& name) {
  const InstallationTree tree;
  InstallMember(tree, true);
  tree.AddLibrary(FERROLINKJVMRUNTIMENATIVE_PATH, "libFerrolinkJvmRuntimeNative.so");
  std::filesystem::copy_file(CPP_TEST_RECEIVER_JAR,
                             tree.JvmDirectory() / "FerrolinkJvmRuntime.jar");
  CaseOptions options;
  options.environment["JAVA_HOME"] = TEST_JDK;
  options.environment["FERROLINK_LOGGING_LEVEL"] = "off";
  options.environment["TEST_JVM_MEMBER"] =
      (tree.NativeDirectory() / "libFerrolinkJvmRuntimeNative.so").string();
  options.workingDirectory = tree.WorkDirectory();
  return RunCase(name, tree, options);
}

void RegisterDown(const Caller& caller) {
  OpenRegistrar().Register("down", [caller](Span payload) {
    if (payload[0] == 0) {
      return Bytes{0};
    }
    const Bytes next{static_cast<std::uint8_t>(payload[0] - 1)};
    return With(caller.Call(Runtime::Jvm, "down", next), 'C');
  });
}

// With an even number of frames Java is the outermost, with an odd one the innermost.
std::string Descent(int depth) {
  std::string bytes(1, '\0');
  for (int level = 1; level <= depth; ++level) {
    bytes += (depth - level) % 2 == 0 ? 'J' : 'C';
  }
  return bytes;
}

PROCESS_CASE(nestThroughJava) {
  const Caller caller = OpenCaller();
  RegisterDown(caller);
  for (const std::uint8_t depth : Bytes{0, 1, 2, 3, 50}) {
    const Bytes reply = caller.Call(Runtime::Jvm, "down", Bytes{depth});
    Report(ToText(reply) == Descent(depth) ? "right" : Hex(reply));
  }
}

TEST(CppAndJava, CallOneAnotherFiftyDeepOnOneThread) {
  ExpectReport(RunJavaCase("nestThroughJava"), std::vector<std::string>(5, "right"));
}

PROCESS_CASE(relayThroughJava) {
  const Caller caller = OpenCaller();
  OpenRegistrar().Register("fail", [](Span) -> Bytes { throw std::out_of_range("far away"); });
  const auto relay = [&](const Bytes& command) {
    const Bytes reply = caller.Call(Runtime::Jvm, "relay", command);
    Report(Hex(Span(reply).first(11)));
    Report(ToText(Span(reply).subspan(11)));
  };
  caller.Heartbeat(Runtime::Jvm);
  relay(Command(11, "12"));
  relay(CallOf("fail"));
  relay(CallOf("unknown"));
}

TEST(CppAndJava, JavaGetsTheRepliesOfCppByteForByte) {
  ExpectReport(RunJavaCase("relayThroughJava"),
               {"02 00 00 00 00 00 00 00 00 08 00", "12", "02 00 00 00 00 00 00 00 00 08 0A",
                "std::out_of_range: far away", "02 00 00 00 00 00 00 00 00 08 0A",
                "Unknown handler 'unknown'. Known handlers: fail."});
}

PROCESS_CASE(nestOnThreads) {
  const Caller caller = OpenCaller();
  RegisterDown(caller);
  caller.Heartbeat(Runtime::Jvm);
  std::atomic<int> right{0};
  std::vector<std::thread> threads;
  for (int number = 0; number < 8; ++number) {
    threads.emplace_back([&, number] {
      const Ferrolink::Host::ThreadAttachment attachment;
      for (int call = 0; call < 1000; ++call) {
        const int depth = (number + call) % 8;
        const Bytes reply =
            caller.Call(Runtime::Jvm, "down", Bytes{static_cast<std::uint8_t>(depth)});
        right += ToText(reply) == Descent(depth) ? 1 : 0;
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  Report(right.load());
}

TEST(CppAndJava, CallOneAnotherOnManyThreadsAtOnce) {
  ExpectReport(RunJavaCase("nestOnThreads"), {"8000"});
}

}  // namespace
}  // namespace Ferrolink::Tests
