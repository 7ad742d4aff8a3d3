// JVMs that were there before the library, threads that leave their JVM, and commands that come
// while it starts; on every JDK.
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <jni.h>

#include <cstdlib>
#include <filesystem>
#include <thread>

#include "tests/integration/RealJvmCases.h"

using namespace Ferrolink::Tests;
using Ferrolink::Host::ToText;

namespace fs = std::filesystem;

namespace {

constexpr int kCommands = 100;

void ExpectReportOnEveryJdk(const std::string& name, const std::vector<std::string>& expected,
                            const fs::path& archive = FERROLINK_JAR) {
  for (const fs::path& jdk : InstalledJdks()) {
    for (const char* checked : {"", " -Xcheck:jni"}) {
      const InstallationTree tree;
      InstallLibrary(tree);
      InstallArchive(tree, archive);
      CaseOptions options =
          OnJdk(tree, jdk, "-Dsender.library=" SENDER_PATH + std::string(checked));
      options.arguments = {jdk.string()};
      options.environment["SENDER_MEMBER"] =
          (tree.NativeDirectory() / "libFerrolinkJvmRuntimeNative.so").string();
      const CaseResult result = RunCase(name, tree, options);
      EXPECT_EQ(result.signal, 0) << jdk << checked << result.err;
      EXPECT_EQ(result.exitCode, 0) << jdk << checked << result.err;
      EXPECT_EQ(result.report, expected) << jdk << checked << result.err;
    }
  }
}

/// For bodies: a JVM that the host starts by itself, with the tree's archive on its class path.
struct OwnJvm {
  explicit OwnJvm(const fs::path& home) {
    void* library = dlopen((home / "lib/server/libjvm.so").c_str(), RTLD_NOW);
    auto* create =
        reinterpret_cast<jint (*)(JavaVM**, void**, void*)>(dlsym(library, "JNI_CreateJavaVM"));
    std::string classPath =
        "-Djava.class.path=" + (CaseRoot() / "Binaries/Jvm/FerrolinkJvmRuntime.jar").string();
    JavaVMOption option{classPath.data(), nullptr};
    JavaVMInitArgs arguments{JNI_VERSION_1_8, 1, &option, JNI_FALSE};
    if (create(&vm, reinterpret_cast<void**>(&env), &arguments) != JNI_OK) {
      throw std::runtime_error("no JVM could be started");
    }
  }
  JavaVM* vm = nullptr;
  JNIEnv* env = nullptr;
};

Bytes Echo(const std::string& text) {
  return Command(2, "\4echo" + text);
}

std::string Body(const Bytes& answer) {
  return ToText(Bytes(answer.begin() + 11, answer.end()));
}

void CollectGarbage(JNIEnv* env) {
  jclass system = env->FindClass("java/lang/System");
  env->CallStaticVoidMethod(system, env->GetStaticMethodID(system, "gc", "()V"));
  env->DeleteLocalRef(system);
}

}  // namespace

PROCESS_CASE(javaThreadAdoptsRealJvm) {
  const OwnJvm jvm(CaseArguments().at(0));
  IReceiver* receiver = OpenReceiver();
  int right = 0;
  for (int i = 0; i < kCommands; ++i) {
    jvm.env->PushLocalFrame(16);  // what a native method that Java calls runs in
    right += Body(Exchange(receiver, Echo(std::to_string(i)))) == std::to_string(i) ? 1 : 0;
    jvm.env->PopLocalFrame(nullptr);
    if (i % 10 == 0) {
      CollectGarbage(jvm.env);
    }
  }
  Report(right);
}

TEST(RealJvmAdoption, AJavaThreadThatAdoptsSendsAgainFromItsNextNativeMethod) {
  ExpectReportOnEveryJdk("javaThreadAdoptsRealJvm", {std::to_string(kCommands)});
}

PROCESS_CASE(shortLivedThreadAdoptsRealJvm) {
  const OwnJvm jvm(CaseArguments().at(0));
  IReceiver* receiver = OpenReceiver();
  std::thread([&] { Report(Body(Exchange(receiver, Echo("adopted")))); }).join();
  Report(jvm.vm->DestroyJavaVM());  // waits for every attached thread
}

TEST(RealJvmAdoption, AThreadThatAdoptedAndEndedDoesNotKeepTheJvmFromEnding) {
  ExpectReportOnEveryJdk("shortLivedThreadAdoptsRealJvm", {"adopted", "0"});
}

PROCESS_CASE(hostDetachesStartingThread) {
  IReceiver* receiver = OpenReceiver();
  Report(Body(Exchange(receiver, Echo("started"))));
  void* library = dlopen(Ferrolink::Host::JvmLibraryPath().c_str(), RTLD_NOW);
  JavaVM* vm = nullptr;
  jsize count = 0;
  reinterpret_cast<jint (*)(JavaVM**, jsize, jsize*)>(dlsym(library, "JNI_GetCreatedJavaVMs"))(
      &vm, 1, &count);
  vm->DetachCurrentThread();
  int right = 0;
  for (int i = 0; i < kCommands; ++i) {
    right += Body(Exchange(receiver, Echo(std::to_string(i)))) == std::to_string(i) ? 1 : 0;
    JNIEnv* env = nullptr;
    if (i % 10 == 0) {
      vm->AttachCurrentThread(reinterpret_cast<void**>(&env), nullptr);
      CollectGarbage(env);
      right += Body(Exchange(receiver, Echo("attached"))) == "attached" ? 0 : -1;
      vm->DetachCurrentThread();
    }
  }
  Report(right);
}

TEST(RealJvmAdoption, AStartingThreadThatTheHostDetachedGoesOnSending) {
  ExpectReportOnEveryJdk("hostDetachesStartingThread", {"started", std::to_string(kCommands)});
}

namespace {

// For bodies: a JDK of its own to the loader: all of `home`, but a JVM library that is another
// file.
fs::path TwinOf(const fs::path& home) {
  const fs::path twin = CaseRoot() / "twin";
  fs::create_directories(twin / "lib/server");
  for (const fs::path& from : {home, home / "lib", home / "lib/server"}) {
    for (const auto& entry : fs::directory_iterator(from)) {
      const fs::path to = twin / entry.path().lexically_relative(home);
      if (entry.path().filename() == "libjvm.so") {
        fs::copy_file(entry.path(), to);
      } else if (!fs::exists(to)) {
        fs::create_symlink(entry.path(), to);
      }
    }
  }
  return twin;
}

}  // namespace

PROCESS_CASE(otherLibjvm) {
  const fs::path home = CaseArguments().at(0);
  const OwnJvm jvm(TwinOf(home));
  IReceiver* receiver = OpenReceiver();  // JAVA_HOME names the other one
  Report(Body(Exchange(receiver, Echo("adopted"))));
  std::thread([&] { Report(Body(Exchange(receiver, Echo("on another thread")))); }).join();
}

TEST(RealJvmAdoption, AJvmThatRunsUnderAnotherLibjvmThanTheConfiguredOneIsAdopted) {
  ExpectReportOnEveryJdk("otherLibjvm", {"adopted", "on another thread"});
}

PROCESS_CASE(constructorSends) {
  IReceiver* receiver = OpenReceiver();
  Exchange(receiver, Command(1, std::string(13, '\0') + SENDING_HANDLER_JAR));
  Report(Body(Exchange(receiver, Command(2, "\7sending"))));
}

TEST(RealJvmAdoption, AHandlersConstructorMaySendOnItsOwnThreadAndOnOneThatItJoins) {
  ExpectReportOnEveryJdk("constructorSends", {"own thread, joined thread"});
}

PROCESS_CASE(realInitialiserSends) {
  IReceiver* receiver = OpenReceiver();
  const std::string text = ToText(Exchange(receiver, Command(2, "")));
  Report(text.substr(0, text.find('\n')));
}

TEST(RealJvmAdoption, ACommandOutOfTheReceiversClassInitialiserFailsWith018) {
  ExpectReportOnEveryJdk("realInitialiserSends",
                         {"JVM Launcher: Exception code 018. JVM not initialized"},
                         EARLY_RECEIVER_JAR);
}
