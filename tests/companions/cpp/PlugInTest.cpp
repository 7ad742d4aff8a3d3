#include <dlfcn.h>

#include <atomic>
#include <latch>
#include <thread>

#include "tests/companions/cpp/CppMemberCases.h"

namespace Ferrolink::Tests {
namespace {

constexpr const char* kLoaded = "08 00 00 00 00 00 00 00 00 08 00 02 04 00 00 00 00";

PROCESS_CASE(loadPlugIns) {
  IReceiver* receiver = OpenReceiver();
  Report(Hex(Exchange(receiver, LoadOf(CPPPLUGIN_PATH))));
  Report(Outcome(receiver, CallOf("plug-in upper", "abc")));
  Report(Outcome(receiver, CallOf("plug-in count")));
  // The path ends at a zero byte. The second load registers again in the same library.
  Report(Hex(Exchange(receiver, LoadOf(std::string(CPPPLUGIN_PATH) + '\0' + "junk"))));
  Report(Outcome(receiver, CallOf("plug-in count")));
  OpenRegistrar().Unregister("plug-in upper");
  Report(Outcome(receiver, CallOf("plug-in upper")).substr(0, 35));
  OpenCaller().LoadLibrary(Runtime::Cpp, CPPPLUGININC_PATH);
  Report(Outcome(receiver, CallOf("c twice", "ab")));
  Report(Outcome(receiver, CallOf("c refuse", "no such thing")));
}

TEST(CppPlugIns, BringHandlersAndTheCommandIsAnsweredWithFixedBytes) {
  ExpectReport(RunMemberCase("loadPlugIns"),
               {kLoaded, "0:ABC", "0:1", kLoaded, "0:2", "10:Unknown handler 'plug-in upper'.",
                "0:abab", "10:no such thing"});
}

PROCESS_CASE(refuseLibraries) {
  IReceiver* receiver = OpenReceiver();
  Bytes shortest = LoadOf("/");
  Report(Outcome(receiver, Bytes(shortest.begin(), shortest.begin() + 24)));
  Report(Outcome(receiver, Bytes(shortest.begin(), shortest.begin() + 11)));
  Report(Outcome(receiver, LoadOf(std::string_view("\0/lib", 5))));
  Report(Outcome(receiver, LoadOf("missing.so")));
  Report(Outcome(receiver, LoadOf("/nowhere/../nowhere/x.so")));
  Report(Outcome(receiver, LoadOf(CPPPLUGINWITHOUTHANDLERS_PATH)));
  const char* unloaded = std::getenv("TEST_UNLOADED");
  Report(unloaded != nullptr ? unloaded : "no");
  Report(Outcome(receiver, LoadOf(CPPPLUGINFAILING_PATH)));
  Report(Outcome(receiver, CallOf("kept")));
  Report(Outcome(receiver, LoadOf(CPPPLUGINTHROWING_PATH)));
  Report(Outcome(receiver, Command(11, "alive")));
}

TEST(CppPlugIns, AreRefusedWithTheReason) {
  const InstallationTree tree;
  InstallMember(tree);
  CaseOptions options;
  options.environment["FERROLINK_LOGGING_LEVEL"] = "off";
  const std::string cannotLoad =
      "10:FerrolinkNativeException: Ferrolink Native Exception: Exception code 001. \nCannot "
      "load: ";
  ExpectReport(
      RunCase("refuseLibraries", tree, options),
      {"10:Malformed command: a load-library command of 24 bytes, at least 25 are needed.",
       "10:Malformed command: a load-library command of 11 bytes, at least 25 are needed.",
       "10:Malformed command: the library's path is empty.",
       cannotLoad + (tree.Root() / "missing.so").string() + ". \nError: File not found.",
       cannotLoad + "/nowhere/x.so. \nError: File not found.",
       std::string("10:") + CPPPLUGINWITHOUTHANDLERS_PATH +
           " does not export ferrolink_register_handlers: it is no plug-in library with C++ "
           "handlers.",
       "yes",
       std::string("10:ferrolink_register_handlers of ") + CPPPLUGINFAILING_PATH + " returned -7.",
       "0:still here", "10:std::domain_error: no licence", "0:alive"});
}

PROCESS_CASE(loadRelative) {
  std::filesystem::copy_file(CPPPLUGIN_PATH, std::filesystem::current_path() / "plain.so");
  IReceiver* receiver = OpenReceiver();
  // A plain file name means the current directory. The system's directories are not searched.
  Report(Hex(Exchange(receiver, LoadOf("plain.so"))));
  Report(Hex(Exchange(receiver, LoadOf("./plain.so"))));
  Report(Outcome(receiver, CallOf("plug-in count")));
}

TEST(CppPlugIns, AreFoundRelativeToTheCurrentDirectory) {
  ExpectReport(RunMemberCase("loadRelative"), {kLoaded, kLoaded, "0:2"});
}

PROCESS_CASE(describePlugIns) {
  OpenRegistrar();
  auto* create = Exported<IReceiver*(RuntimeOperationMode)>("CreateReceiver");
  IReceiver* receiver = create(RuntimeOperationMode::CalledRuntime);
  Exchange(receiver, LoadOf(CPPPLUGIN_PATH));
  Exchange(receiver, LoadOf(CPPPLUGIN_PATH));
  receiver->Initialize(2, 8, 0);
}

TEST(CppPlugIns, AreNamedOnceInTheRuntimeInformation) {
  const InstallationTree tree;
  InstallMember(tree);
  const CaseResult result = RunCase("describePlugIns", tree, {});
  EXPECT_EQ(result.exitCode, 0) << result.err;
  EXPECT_EQ(result.out, std::string("Loaded plug-in libraries:\n") + CPPPLUGIN_PATH +
                            "\n\nCpp Native Launcher Runtime Info: \nHandlers: plug-in count, "
                            "plug-in upper\n");
}

PROCESS_CASE(loadOnManyThreads) {
  constexpr int kThreads = 8;
  IReceiver* receiver = OpenReceiver();
  std::latch start(kThreads);
  std::atomic<int> right{0};
  std::vector<std::thread> threads;
  for (int number = 0; number < kThreads; ++number) {
    threads.emplace_back([&] {
      start.arrive_and_wait();
      for (int round = 0; round < 50; ++round) {
        right += Hex(Exchange(receiver, LoadOf(CPPPLUGIN_PATH))) == kLoaded ? 1 : 0;
        right += Outcome(receiver, CallOf("plug-in upper", "x")) == "0:X" ? 1 : 0;
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  Report(right.load());
  Report(Outcome(receiver, CallOf("plug-in count")));
}

TEST(CppPlugIns, AreLoadedOnManyThreadsAtOnce) {
  ExpectReport(RunMemberCase("loadOnManyThreads"), {"800", "0:400"});
}

}  // namespace
}  // namespace Ferrolink::Tests
