#include <dlfcn.h>

#include <atomic>
#include <latch>
#include <thread>

#include "tests/companions/cpp/Support.h"

namespace FerrolinkTest {
namespace {

constexpr const char* kLoaded = "08 00 00 00 00 00 00 00 00 08 00 02 04 00 00 00 00";

PROCESS_CASE(loadPlugIns) {
  IReceiver* receiver = openReceiver();
  report(hex(exchange(receiver, loadOf(CPPPLUGIN_PATH))));
  report(outcome(receiver, callOf("plug-in upper", "abc")));
  report(outcome(receiver, callOf("plug-in count")));
  // The path ends at a zero byte; the second load registers again in the same library.
  report(hex(exchange(receiver, loadOf(std::string(CPPPLUGIN_PATH) + '\0' + "junk"))));
  report(outcome(receiver, callOf("plug-in count")));
  openRegistrar().Unregister("plug-in upper");
  report(outcome(receiver, callOf("plug-in upper")).substr(0, 35));
  openCaller().LoadLibrary(Runtime::Cpp, CPPPLUGININC_PATH);
  report(outcome(receiver, callOf("c twice", "ab")));
  report(outcome(receiver, callOf("c refuse", "no such thing")));
}

TEST(CppPlugIns, BringHandlersAndTheCommandIsAnsweredWithFixedBytes) {
  expectReport(runMemberCase("loadPlugIns"),
               {kLoaded, "0:ABC", "0:1", kLoaded, "0:2", "10:Unknown handler 'plug-in upper'.",
                "0:abab", "10:no such thing"});
}

PROCESS_CASE(refuseLibraries) {
  IReceiver* receiver = openReceiver();
  Bytes shortest = loadOf("/");
  report(outcome(receiver, Bytes(shortest.begin(), shortest.begin() + 24)));
  report(outcome(receiver, Bytes(shortest.begin(), shortest.begin() + 11)));
  report(outcome(receiver, loadOf(std::string_view("\0/lib", 5))));
  report(outcome(receiver, loadOf("missing.so")));
  report(outcome(receiver, loadOf("/nowhere/../nowhere/x.so")));
  report(outcome(receiver, loadOf(CPPPLUGINWITHOUTHANDLERS_PATH)));
  const char* unloaded = std::getenv("TEST_UNLOADED");
  report(unloaded != nullptr ? unloaded : "no");
  report(outcome(receiver, loadOf(CPPPLUGINFAILING_PATH)));
  report(outcome(receiver, callOf("kept")));
  report(outcome(receiver, loadOf(CPPPLUGINTHROWING_PATH)));
  report(outcome(receiver, command(11, "alive")));
}

TEST(CppPlugIns, AreRefusedWithTheReason) {
  const InstallationTree tree;
  installMember(tree);
  CaseOptions options;
  options.environment["FERROLINK_LOGGING_LEVEL"] = "off";
  const std::string cannotLoad =
      "10:FerrolinkNativeException: Ferrolink Native Exception: Exception code 001. \nCannot "
      "load: ";
  expectReport(
      runCase("refuseLibraries", tree, options),
      {"10:Malformed command: a load-library command of 24 bytes, at least 25 are needed.",
       "10:Malformed command: a load-library command of 11 bytes, at least 25 are needed.",
       "10:Malformed command: the library's path is empty.",
       cannotLoad + (tree.root() / "missing.so").string() + ". \nError: File not found.",
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
  IReceiver* receiver = openReceiver();
  // A mere file name lies in the current directory; the system's directories are not searched.
  report(hex(exchange(receiver, loadOf("plain.so"))));
  report(hex(exchange(receiver, loadOf("./plain.so"))));
  report(outcome(receiver, callOf("plug-in count")));
}

TEST(CppPlugIns, AreFoundRelativeToTheCurrentDirectory) {
  expectReport(runMemberCase("loadRelative"), {kLoaded, kLoaded, "0:2"});
}

PROCESS_CASE(describePlugIns) {
  openRegistrar();
  auto* create = exported<IReceiver*(RuntimeOperationMode)>("CreateReceiver");
  IReceiver* receiver = create(RuntimeOperationMode::CalledRuntime);
  exchange(receiver, loadOf(CPPPLUGIN_PATH));
  exchange(receiver, loadOf(CPPPLUGIN_PATH));
  receiver->Initialize(2, 8, 0);
}

TEST(CppPlugIns, AreNamedOnceInTheRuntimeInformation) {
  const InstallationTree tree;
  installMember(tree);
  const CaseResult result = runCase("describePlugIns", tree, {});
  EXPECT_EQ(result.exitCode, 0) << result.err;
  EXPECT_EQ(result.out, std::string("Loaded plug-in libraries:\n") + CPPPLUGIN_PATH +
                            "\n\nCpp Native Launcher Runtime Info: \nHandlers: plug-in count, "
                            "plug-in upper\n");
}

PROCESS_CASE(loadOnManyThreads) {
  constexpr int kThreads = 8;
  IReceiver* receiver = openReceiver();
  std::latch start(kThreads);
  std::atomic<int> right{0};
  std::vector<std::thread> threads;
  for (int number = 0; number < kThreads; ++number) {
    threads.emplace_back([&] {
      start.arrive_and_wait();
      for (int round = 0; round < 50; ++round) {
        right += hex(exchange(receiver, loadOf(CPPPLUGIN_PATH))) == kLoaded ? 1 : 0;
        right += outcome(receiver, callOf("plug-in upper", "x")) == "0:X" ? 1 : 0;
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  report(right.load());
  report(outcome(receiver, callOf("plug-in count")));
}

TEST(CppPlugIns, AreLoadedOnManyThreadsAtOnce) {
  expectReport(runMemberCase("loadOnManyThreads"), {"800", "0:400"});
}

}  // namespace
}  // namespace FerrolinkTest
