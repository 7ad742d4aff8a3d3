#include "jvm/LauncherErrors.h"

#include <gtest/gtest.h>

#include "tests/jvm/LauncherParts.h"

namespace FerrolinkTest {

PROCESS_CASE(raisesTwice) {
  int asked = 0;
  const LauncherErrors errors([&] { return "asked " + std::to_string(++asked); });
  report(asked);
  report(thrownBy([&] { errors.raise("001. First"); }));
  report(thrownBy([&] { errors.raise(std::string("002. Second")); }));
}

TEST(LauncherErrors, TheRuntimeInformationIsAskedForWhenAnErrorIsRaised) {
  expectReport("raisesTwice",
               {"0", "JVM Launcher: Exception code 001. First\nRUNTIME INFO:\nasked 1",
                "JVM Launcher: Exception code 002. Second\nRUNTIME INFO:\nasked 2"});
}

PROCESS_CASE(raisesAnew) {
  const PartsFixture parts;
  report(thrownBy([&] { parts.errors.raiseAnew(FerrolinkNativeException("Text", "Context")); }));
}

TEST(LauncherErrors, AnErrorRaisedAnewKeepsItsText) {
  expectReport("raisesAnew", {"Text\nRUNTIME INFO:\nthe information"});
}

TEST(LauncherErrors, AnErrorIsLoggedOnceWithoutAndOnceWithTheRuntimeInformation) {
  const InstallationTree tree;
  expectReport("raisesAnew", {"Text\nRUNTIME INFO:\nthe information"}, tree, loggedOptions(tree));
  EXPECT_EQ(loggedErrors(tree).size(), 2U);
}

PROCESS_CASE(checksJava) {
  PartsFixture parts;
  JNIEnv* env = PartsFixture::attach(parts.jvm.startJvm());
  report(thrownBy([&] { parts.errors.check(env, "900"); }));
  report(parts.errors.raisePending(env, "901", true));
  for (const bool clear : {true, false}) {
    parts.jvm.inject({.call = "FindClass", .null = true, .exception = true});
    env->FindClass("any/Class");
    parts.jvm.clearCalls();
    report(thrownBy([&] { parts.errors.raisePending(env, "902", clear); }));
    reportAll(parts.jvm.calls());
  }
  report(thrownBy([&] { parts.errors.check(env, "903"); }));
  report(env->ExceptionCheck());
}

TEST(LauncherErrors, APendingJavaExceptionIsDescribedAndRaisedAndClearedIfAskedFor) {
  expectReport("checksJava",
               {"(nothing thrown)", "0", raised("902. JVM exception occurred"), "ExceptionCheck",
                "ExceptionDescribe", "ExceptionClear", raised("902. JVM exception occurred"),
                "ExceptionCheck", "ExceptionDescribe", raised("903. JVM exception occurred"), "0"});
}

}  // namespace FerrolinkTest
