// A JVM that runs in the process already, and commands that come while the launcher starts up.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>

#include "tests/jvm/LauncherFixture.h"

namespace fs = std::filesystem;

namespace FerrolinkTest {
namespace {

const std::string kEcho14 = "14: " + numbers(command());
const std::string kOnlyShared = "local 0 global 1 elements 0 characters 0 attached 0 dropped 0";

JNIEnv* attach(JavaVM* vm) {
  JNIEnv* env = nullptr;
  vm->AttachCurrentThread(reinterpret_cast<void**>(&env), nullptr);
  return env;
}

// For bodies: another JVM library, as a second JDK would bring.
std::string otherJvmLibrary(const std::string& name = "libjvm.so") {
  const fs::path file = caseRoot() / "other" / name;
  fs::create_directories(file.parent_path());
  fs::copy_file(FAKEJVM_PATH, file);
  return file.string();
}

}  // namespace

PROCESS_CASE(javaThreadAdopts) {
  Launched launched;
  attach(launched.jvm.startJvm());
  for (int i = 0; i < 3; ++i) {
    report(launched.exchange(command()));
    report(launched.launcher.GetRuntimeInfo());
    launched.jvm.returnToJava();
  }
  report(outstanding(launched.jvm));
}

TEST(LauncherAdoption, AJavaThreadThatAdoptsKeepsNoReferenceBeyondItsNativeMethod) {
  expectReport("javaThreadAdopts",
               {kEcho14, runtimeInfo(), kEcho14, runtimeInfo(), kEcho14, runtimeInfo(),
                "local 0 global 1 elements 0 characters 0 attached 1 dropped 0"});
}

PROCESS_CASE(shortLivedThreadAdopts) {
  Launched launched;
  launched.jvm.startJvm();
  onNewThread([&] { report(launched.exchange(command())); });
  report(outstanding(launched.jvm));
  report(launched.exchange(command()));
  report(outstanding(launched.jvm));
}

TEST(LauncherAdoption, AThreadThatAdoptionAttachedIsDetachedWhenItsCommandEnds) {
  expectReport("shortLivedThreadAdopts", {kEcho14, kOnlyShared, kEcho14, kOnlyShared});
}

PROCESS_CASE(adoptingCommandFails) {
  Launched launched;
  launched.jvm.startJvm();
  launched.jvm.inject({.call = "FindClass", .occurrence = 1, .null = true, .exception = true});
  report(launched.exchange(command()));
  report(launched.jvm.counts().attachedThreads);
  report(launched.exchange(command()));
  report(outstanding(launched.jvm));
}

TEST(LauncherAdoption, AnAdoptingCommandThatFailsDetachesItsThreadToo) {
  expectReport("adoptingCommandFails",
               {launcherError("033. JVM exception occurred", ""), "0", kEcho14, kOnlyShared});
}

PROCESS_CASE(sharingFailsInLookUp) {
  Launched launched;
  launched.jvm.startJvm();
  launched.jvm.inject({.call = "NewGlobalRef", .occurrence = 1, .null = true, .exception = true});
  report(launched.exchange(command()));
  report(launched.exchange(command()));
  report(outstanding(launched.jvm));
}

TEST(LauncherAdoption, WithoutAGlobalReferenceTheCommandUsesItsOwnLookUp) {
  expectReport("sharingFailsInLookUp", {kEcho14, kEcho14, kOnlyShared});
}

PROCESS_CASE(otherLibrarysJvm) {
  FakeJvmClient other(otherJvmLibrary());
  other.startJvm();
  Launched launched;
  report(launched.exchange(command()));
  report(launched.jvm.countCalls("JNI_CreateJavaVM"));
  report(other.countCalls("CallStaticObjectMethodV(sendCommand)"));
  report(other.counts().attachedThreads);
}

TEST(LauncherAdoption, AJvmThatRunsUnderAnotherJvmLibraryIsAdopted) {
  expectReport("otherLibrarysJvm", {kEcho14, "0", "1", "0"});
}

PROCESS_CASE(linkedLibrarysJvm) {
  const fs::path link = caseRoot() / "libmyvm.so.1";
  fs::create_symlink(otherJvmLibrary(), link);
  FakeJvmClient other(link.string());
  other.startJvm();
  Launched launched;
  report(launched.exchange(command()));
  report(other.countCalls("CallStaticObjectMethodV(sendCommand)"));
}

TEST(LauncherAdoption, ThatLibraryMayHaveBeenOpenedThroughALinkOfAnotherName) {
  expectReport("linkedLibrarysJvm", {kEcho14, "1"});
}

PROCESS_CASE(idleOtherLibrary) {
  FakeJvmClient other(otherJvmLibrary());
  Launched launched;
  report(launched.exchange(command()));
  report(launched.jvm.countCalls("JNI_CreateJavaVM"));
  report(other.countCalls("JNI_GetCreatedJavaVMs"));
}

TEST(LauncherAdoption, AnotherJvmLibraryWithoutAJvmIsNoHindrance) {
  expectReport("idleOtherLibrary", {kEcho14, "1", "1"});
}

PROCESS_CASE(unlistedJvm) {
  Launched launched;
  launched.jvm.startJvm();
  launched.jvm.script().unlistedJvms = 1;
  report(launched.exchange(command()));
  launched.jvm.script().unlistedJvms = 0;
  report(launched.exchange(command()));
}

TEST(LauncherAdoption, AJvmThatIsCountedButNotListedRaises018AndTheNextCommandAsksAgain) {
  expectReport("unlistedJvm", {launcherError("018. JVM not initialized", ""), kEcho14});
}

PROCESS_CASE(holderWithoutJvm) {
  FakeJvmClient other(otherJvmLibrary("libelsewhere.so"));
  getJniEnvForThread(other.startJvm());
  Launched launched;
  launched.jvm.script().createResult = 7;
  report(launched.exchange(command()));
}

TEST(LauncherAdoption, ACreationThatYieldsNoJvmRaises005WhereTheThreadHasAnEnvironment) {
  expectReport("holderWithoutJvm",
               {launcherError("005. Cannot get m_JvmEnv.\nReinstall Ferrolink package", "")});
}

PROCESS_CASE(sendsWhilePrinting) {
  Launched launched;
  bool sent = false;
  launched.jvm.script().insideRuntimeInfo = [&] {
    if (!std::exchange(sent, true)) {
      report(launched.exchange(command(2, 12)));
      onNewThread([&] { report(launched.exchange(command(2, 13))); });
    }
  };
  report(launched.exchange(command()));
  report(static_cast<long>(launched.jvm.creations().size()));
  report(outstanding(launched.jvm));
}

TEST(LauncherAdoption, CommandsThatTheReceiverSendsWhileStartUpPrintsDoNotWaitForStartUp) {
  expectReport("sendsWhilePrinting",
               {"12: " + numbers(command(2, 12)), "13: " + numbers(command(2, 13)), kEcho14, "1",
                kStartedAndShared});
}

PROCESS_CASE(initialiserSends) {
  Launched launched;
  launched.jvm.script().insideFindClass = [&] {
    launched.jvm.script().insideFindClass = nullptr;
    report(launched.exchange(command()));
  };
  report(launched.exchange(command()));
  report(outstanding(launched.jvm));
}

TEST(LauncherAdoption, ACommandOutOfTheReceiversClassInitialiserRaises018) {
  expectReport("initialiserSends",
               {launcherError("018. JVM not initialized", ""), kEcho14, kOnlyStarted});
}

PROCESS_CASE(adoptedInitialiserSends) {
  Launched launched;
  launched.jvm.startJvm();
  launched.jvm.script().insideFindClass = [&] {
    launched.jvm.script().insideFindClass = nullptr;
    report(launched.exchange(command()));
  };
  report(launched.exchange(command()));
  report(outstanding(launched.jvm));
}

TEST(LauncherAdoption, SoDoesOneInAnAdoptedJvm) {
  expectReport("adoptedInitialiserSends",
               {launcherError("018. JVM not initialized", ""), kEcho14, kOnlyShared});
}

}  // namespace FerrolinkTest
