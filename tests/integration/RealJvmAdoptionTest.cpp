// JVMs that were there before the library, threads that leave their JVM, and commands that come
// while it starts; on every JDK.
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <jni.h>

#include <cstdlib>
#include <filesystem>
#include <thread>

#include "tests/integration/Support.h"

using namespace FerrolinkTest;
using Ferrolink::Host::ToText;

namespace fs = std::filesystem;

namespace {

constexpr int kCommands = 100;

void expectReportOnEveryJdk(const std::string& name, const std::vector<std::string>& expected,
                            const fs::path& archive = FERROLINK_JAR) {
  for (const fs::path& jdk : installedJdks()) {
    for (const char* checked : {"", " -Xcheck:jni"}) {
      const InstallationTree tree;
      installLibrary(tree);
      installArchive(tree, archive);
      CaseOptions options =
          onJdk(tree, jdk, "-Dsender.library=" SENDER_PATH + std::string(checked));
      options.arguments = {jdk.string()};
      options.environment["SENDER_MEMBER"] =
          (tree.nativeDirectory() / "libFerrolinkJvmRuntimeNative.so").string();
      const CaseResult result = runCase(name, tree, options);
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
        "-Djava.class.path=" + (caseRoot() / "Binaries/Jvm/FerrolinkJvmRuntime.jar").string();
    JavaVMOption option{classPath.data(), nullptr};
    JavaVMInitArgs arguments{JNI_VERSION_1_8, 1, &option, JNI_FALSE};
    if (create(&vm, reinterpret_cast<void**>(&env), &arguments) != JNI_OK) {
      throw std::runtime_error("no JVM could be started");
    }
  }
  JavaVM* vm = nullptr;
  JNIEnv* env = nullptr;
};

Bytes echo(const std::string& text) {
  return command(2, "\4echo" + text);
}

std::string body(const Bytes& answer) {
  return ToText(Bytes(answer.begin() + 11, answer.end()));
}

void collectGarbage(JNIEnv* env) {
  jclass system = env->FindClass("java/lang/System");
  env->CallStaticVoidMethod(system, env->GetStaticMethodID(system, "gc", "()V"));
  env->DeleteLocalRef(system);
}

}  // namespace

PROCESS_CASE(javaThreadAdoptsRealJvm) {
  const OwnJvm jvm(caseArguments().at(0));
  IReceiver* receiver = openReceiver();
  int right = 0;
  for (int i = 0; i < kCommands; ++i) {
    jvm.env->PushLocalFrame(16);  // what a native method that Java calls runs in
    right += body(exchange(receiver, echo(std::to_string(i)))) == std::to_string(i) ? 1 : 0;
    jvm.env->PopLocalFrame(nullptr);
    if (i % 10 == 0) {
      collectGarbage(jvm.env);
    }
  }
  report(right);
}

TEST(RealJvmAdoption, AJavaThreadThatAdoptsSendsAgainFromItsNextNativeMethod) {
  expectReportOnEveryJdk("javaThreadAdoptsRealJvm", {std::to_string(kCommands)});
}

PROCESS_CASE(shortLivedThreadAdoptsRealJvm) {
  const OwnJvm jvm(caseArguments().at(0));
  IReceiver* receiver = openReceiver();
  std::thread([&] { report(body(exchange(receiver, echo("adopted")))); }).join();
  report(jvm.vm->DestroyJavaVM());  // waits for every attached thread
}

TEST(RealJvmAdoption, AThreadThatAdoptedAndEndedDoesNotKeepTheJvmFromEnding) {
  expectReportOnEveryJdk("shortLivedThreadAdoptsRealJvm", {"adopted", "0"});
}

PROCESS_CASE(hostDetachesStartingThread) {
  IReceiver* receiver = openReceiver();
  report(body(exchange(receiver, echo("started"))));
  void* library = dlopen(Ferrolink::Host::JvmLibraryPath().c_str(), RTLD_NOW);
  JavaVM* vm = nullptr;
  jsize count = 0;
  reinterpret_cast<jint (*)(JavaVM**, jsize, jsize*)>(dlsym(library, "JNI_GetCreatedJavaVMs"))(
      &vm, 1, &count);
  vm->DetachCurrentThread();
  int right = 0;
  for (int i = 0; i < kCommands; ++i) {
    right += body(exchange(receiver, echo(std::to_string(i)))) == std::to_string(i) ? 1 : 0;
    JNIEnv* env = nullptr;
    if (i % 10 == 0) {
      vm->AttachCurrentThread(reinterpret_cast<void**>(&env), nullptr);
      collectGarbage(env);
      right += body(exchange(receiver, echo("attached"))) == "attached" ? 0 : -1;
      vm->DetachCurrentThread();
    }
  }
  report(right);
}

TEST(RealJvmAdoption, AStartingThreadThatTheHostDetachedGoesOnSending) {
  expectReportOnEveryJdk("hostDetachesStartingThread", {"started", std::to_string(kCommands)});
}

namespace {

// For bodies: a JDK of its own to the loader: all of `home`, but a JVM library that is another
// file.
fs::path twinOf(const fs::path& home) {
  const fs::path twin = caseRoot() / "twin";
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
  const fs::path home = caseArguments().at(0);
  const OwnJvm jvm(twinOf(home));
  IReceiver* receiver = openReceiver();  // JAVA_HOME names the other one
  report(body(exchange(receiver, echo("adopted"))));
  std::thread([&] { report(body(exchange(receiver, echo("on another thread")))); }).join();
}

TEST(RealJvmAdoption, AJvmThatRunsUnderAnotherLibjvmThanTheConfiguredOneIsAdopted) {
  expectReportOnEveryJdk("otherLibjvm", {"adopted", "on another thread"});
}

PROCESS_CASE(constructorSends) {
  IReceiver* receiver = openReceiver();
  exchange(receiver, command(1, std::string(13, '\0') + SENDING_HANDLER_JAR));
  report(body(exchange(receiver, command(2, "\7sending"))));
}

TEST(RealJvmAdoption, AHandlersConstructorMaySendOnItsOwnThreadAndOnOneThatItJoins) {
  expectReportOnEveryJdk("constructorSends", {"own thread, joined thread"});
}

PROCESS_CASE(realInitialiserSends) {
  IReceiver* receiver = openReceiver();
  const std::string text = ToText(exchange(receiver, command(2, "")));
  report(text.substr(0, text.find('\n')));
}

TEST(RealJvmAdoption, ACommandOutOfTheReceiversClassInitialiserFailsWith018) {
  expectReportOnEveryJdk("realInitialiserSends",
                         {"JVM Launcher: Exception code 018. JVM not initialized"},
                         EARLY_RECEIVER_JAR);
}
