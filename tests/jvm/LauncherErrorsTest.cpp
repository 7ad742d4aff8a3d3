#include "jvm/LauncherErrors.h"

#include <gtest/gtest.h>

#include "tests/jvm/LauncherParts.h"

namespace Ferrolink::Tests {

PROCESS_CASE(raisesTwice) {
  int asked = 0;
  const LauncherErrors errors([&] { return "asked " + std::to_string(++asked); });
  Report(asked);
  Report(ThrownBy([&] { errors.Raise("001. First"); }));
  Report(ThrownBy([&] { errors.Raise(std::string("002. Second")); }));
}

TEST(LauncherErrors, TheRuntimeInformationIsAskedForWhenAnErrorIsRaised) {
  ExpectReport("raisesTwice",
               {"0", "JVM Launcher: Exception code 001. First\nRUNTIME INFO:\nasked 1",
                "JVM Launcher: Exception code 002. Second\nRUNTIME INFO:\nasked 2"});
}

PROCESS_CASE(raisesAnew) {
  const PartsFixture parts;
  Report(ThrownBy([&] { parts.errors.RaiseAnew(FerrolinkNativeException("Text", "Context")); }));
}

TEST(LauncherErrors, AnErrorRaisedAnewKeepsItsText) {
  ExpectReport("raisesAnew", {"Text\nRUNTIME INFO:\nthe information"});
}

TEST(LauncherErrors, AnErrorIsLoggedOnceWithoutAndOnceWithTheRuntimeInformation) {
  const InstallationTree tree;
  ExpectReport("raisesAnew", {"Text\nRUNTIME INFO:\nthe information"}, tree, LoggedOptions(tree));
  EXPECT_EQ(LoggedErrors(tree).size(), 2U);
}

PROCESS_CASE(checksJava) {
  PartsFixture parts;
  JNIEnv* env = PartsFixture::Attach(parts.jvm.StartJvm());
  Report(ThrownBy([&] { parts.errors.Check(env, "900"); }));
  Report(parts.errors.RaisePending(env, "901", true));
  for (const bool clear : {true, false}) {
    parts.jvm.Inject({.call = "FindClass", .null = true, .exception = true});
    env->FindClass("any/Class");
    parts.jvm.ClearCalls();
    Report(ThrownBy([&] { parts.errors.RaisePending(env, "902", clear); }));
    ReportAll(parts.jvm.Calls());
  }
  Report(ThrownBy([&] { parts.errors.Check(env, "903"); }));
  Report(env->ExceptionCheck());
}

TEST(LauncherErrors, APendingJavaExceptionIsDescribedAndRaisedAndClearedIfAskedFor) {
  ExpectReport("checksJava",
               {"(nothing thrown)", "0", Raised("902. JVM exception occurred"), "ExceptionCheck",
                "ExceptionDescribe", "ExceptionClear", Raised("902. JVM exception occurred"),
                "ExceptionCheck", "ExceptionDescribe", Raised("903. JVM exception occurred"), "0"});
}

}  // namespace Ferrolink::Tests
