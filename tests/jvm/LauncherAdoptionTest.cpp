// A JVM that runs in the process already, and commands that come while the launcher starts up.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>

#include "tests/jvm/LauncherFixture.h"

namespace fs = std::filesystem;

namespace Ferrolink::Tests {
namespace {

const std::string kEcho14 = "14: " + Numbers(Command());
const std::string kOnlyShared = "local 0 global 1 elements 0 characters 0 attached 0 dropped 0";

JNIEnv* Attach(JavaVM* vm) {
  JNIEnv* env = nullptr;
  vm->AttachCurrentThread(reinterpret_cast<void**>(&env), nullptr);
  return env;
}

// For bodies: another JVM library, as a second JDK would bring.
std::string OtherJvmLibrary(const std::string& name = "libjvm.so") {
  const fs::path file = CaseRoot() / "other" / name;
  fs::create_directories(file.parent_path());
  fs::copy_file(FAKEJVM_PATH, file);
  return file.string();
}

}  // namespace

PROCESS_CASE(javaThreadAdopts) {
  Launched launched;
  Attach(launched.jvm.StartJvm());
  for (int i = 0; i < 3; ++i) {
    Report(launched.Exchange(Command()));
    Report(launched.launcher.GetRuntimeInfo());
    launched.jvm.ReturnToJava();
  }
  Report(Outstanding(launched.jvm));
}

TEST(LauncherAdoption, AJavaThreadThatAdoptsKeepsNoReferenceBeyondItsNativeMethod) {
  ExpectReport("javaThreadAdopts",
               {kEcho14, RuntimeInfo(), kEcho14, RuntimeInfo(), kEcho14, RuntimeInfo(),
                "local 0 global 1 elements 0 characters 0 attached 1 dropped 0"});
}

PROCESS_CASE(shortLivedThreadAdopts) {
  Launched launched;
  launched.jvm.StartJvm();
  OnNewThread([&] { Report(launched.Exchange(Command())); });
  Report(Outstanding(launched.jvm));
  Report(launched.Exchange(Command()));
  Report(Outstanding(launched.jvm));
}

TEST(LauncherAdoption, AThreadThatAdoptionAttachedIsDetachedWhenItsCommandEnds) {
  ExpectReport("shortLivedThreadAdopts", {kEcho14, kOnlyShared, kEcho14, kOnlyShared});
}

PROCESS_CASE(adoptingCommandFails) {
  Launched launched;
  launched.jvm.StartJvm();
  launched.jvm.Inject({.call = "FindClass", .occurrence = 1, .null = true, .exception = true});
  Report(launched.Exchange(Command()));
  Report(launched.jvm.Counts().attachedThreads);
  Report(launched.Exchange(Command()));
  Report(Outstanding(launched.jvm));
}

TEST(LauncherAdoption, AnAdoptingCommandThatFailsDetachesItsThreadToo) {
  ExpectReport("adoptingCommandFails",
               {LauncherError("033. JVM exception occurred", ""), "0", kEcho14, kOnlyShared});
}

PROCESS_CASE(sharingFailsInLookUp) {
  Launched launched;
  launched.jvm.StartJvm();
  launched.jvm.Inject({.call = "NewGlobalRef", .occurrence = 1, .null = true, .exception = true});
  Report(launched.Exchange(Command()));
  Report(launched.Exchange(Command()));
  Report(Outstanding(launched.jvm));
}

TEST(LauncherAdoption, WithoutAGlobalReferenceTheCommandUsesItsOwnLookUp) {
  ExpectReport("sharingFailsInLookUp", {kEcho14, kEcho14, kOnlyShared});
}

PROCESS_CASE(otherLibrarysJvm) {
  FakeJvmClient other(OtherJvmLibrary());
  other.StartJvm();
  Launched launched;
  Report(launched.Exchange(Command()));
  Report(launched.jvm.CountCalls("JNI_CreateJavaVM"));
  Report(other.CountCalls("CallStaticObjectMethodV(sendCommand)"));
  Report(other.Counts().attachedThreads);
}

TEST(LauncherAdoption, AJvmThatRunsUnderAnotherJvmLibraryIsAdopted) {
  ExpectReport("otherLibrarysJvm", {kEcho14, "0", "1", "0"});
}

PROCESS_CASE(linkedLibrarysJvm) {
  const fs::path link = CaseRoot() / "libmyvm.so.1";
  fs::create_symlink(OtherJvmLibrary(), link);
  FakeJvmClient other(link.string());
  other.StartJvm();
  Launched launched;
  Report(launched.Exchange(Command()));
  Report(other.CountCalls("CallStaticObjectMethodV(sendCommand)"));
}

TEST(LauncherAdoption, ThatLibraryMayHaveBeenOpenedThroughALinkOfAnotherName) {
  ExpectReport("linkedLibrarysJvm", {kEcho14, "1"});
}

PROCESS_CASE(idleOtherLibrary) {
  FakeJvmClient other(OtherJvmLibrary());
  Launched launched;
  Report(launched.Exchange(Command()));
  Report(launched.jvm.CountCalls("JNI_CreateJavaVM"));
  Report(other.CountCalls("JNI_GetCreatedJavaVMs"));
}

TEST(LauncherAdoption, AnotherJvmLibraryWithoutAJvmIsNoHindrance) {
  ExpectReport("idleOtherLibrary", {kEcho14, "1", "1"});
}

PROCESS_CASE(unlistedJvm) {
  Launched launched;
  launched.jvm.StartJvm();
  launched.jvm.Script().unlistedJvms = 1;
  Report(launched.Exchange(Command()));
  launched.jvm.Script().unlistedJvms = 0;
  Report(launched.Exchange(Command()));
}

TEST(LauncherAdoption, AJvmThatIsCountedButNotListedRaises018AndTheNextCommandAsksAgain) {
  ExpectReport("unlistedJvm", {LauncherError("018. JVM not initialized", ""), kEcho14});
}

PROCESS_CASE(holderWithoutJvm) {
  FakeJvmClient other(OtherJvmLibrary("libelsewhere.so"));
  getJniEnvForThread(other.StartJvm());
  Launched launched;
  launched.jvm.Script().createResult = 7;
  Report(launched.Exchange(Command()));
}

TEST(LauncherAdoption, ACreationThatYieldsNoJvmRaises005WhereTheThreadHasAnEnvironment) {
  ExpectReport("holderWithoutJvm",
               {LauncherError("005. Cannot get m_JvmEnv.\nReinstall Ferrolink package", "")});
}

PROCESS_CASE(sendsWhilePrinting) {
  Launched launched;
  bool sent = false;
  launched.jvm.Script().insideRuntimeInfo = [&] {
    if (!std::exchange(sent, true)) {
      Report(launched.Exchange(Command(2, 12)));
      OnNewThread([&] { Report(launched.Exchange(Command(2, 13))); });
    }
  };
  Report(launched.Exchange(Command()));
  Report(static_cast<long>(launched.jvm.Creations().size()));
  Report(Outstanding(launched.jvm));
}

TEST(LauncherAdoption, CommandsThatTheReceiverSendsWhileStartUpPrintsDoNotWaitForStartUp) {
  ExpectReport("sendsWhilePrinting",
               {"12: " + Numbers(Command(2, 12)), "13: " + Numbers(Command(2, 13)), kEcho14, "1",
                kStartedAndShared});
}

PROCESS_CASE(initialiserSends) {
  Launched launched;
  launched.jvm.Script().insideFindClass = [&] {
    launched.jvm.Script().insideFindClass = nullptr;
    Report(launched.Exchange(Command()));
  };
  Report(launched.Exchange(Command()));
  Report(Outstanding(launched.jvm));
}

TEST(LauncherAdoption, ACommandOutOfTheReceiversClassInitialiserRaises018) {
  ExpectReport("initialiserSends",
               {LauncherError("018. JVM not initialized", ""), kEcho14, kOnlyStarted});
}

PROCESS_CASE(adoptedInitialiserSends) {
  Launched launched;
  launched.jvm.StartJvm();
  launched.jvm.Script().insideFindClass = [&] {
    launched.jvm.Script().insideFindClass = nullptr;
    Report(launched.Exchange(Command()));
  };
  Report(launched.Exchange(Command()));
  Report(Outstanding(launched.jvm));
}

TEST(LauncherAdoption, SoDoesOneInAnAdoptedJvm) {
  ExpectReport("adoptedInitialiserSends",
               {LauncherError("018. JVM not initialized", ""), kEcho14, kOnlyShared});
}

}  // namespace Ferrolink::Tests
