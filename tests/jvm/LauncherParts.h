#ifndef FERROLINK_TESTS_JVM_LAUNCHERPARTS_H
#define FERROLINK_TESTS_JVM_LAUNCHERPARTS_H

#include <dlfcn.h>

#include <cstdlib>
#include <string>

#include "jvm/JvmEntryPoints.h"
#include "jvm/JvmInstance.h"
#include "jvm/LauncherErrors.h"
#include "native/Loader.h"
#include "tests/jvm/LauncherFixture.h"

/// Helpers for the tests of the launcher's parts.
namespace Ferrolink::Tests {

using Ferrolink::Runtimes::Jvm::Native::CreateJavaVMFunction;
using Ferrolink::Runtimes::Jvm::Native::GetCreatedJavaVMsFunction;
using Ferrolink::Runtimes::Jvm::Native::JvmInstance;
using Ferrolink::Runtimes::Jvm::Native::LauncherErrors;

/// The objects that every part needs, and the fake JVM library. For bodies of process cases.
struct PartsFixture {
  LauncherErrors errors{[] { return std::string("the information"); }};
  FakeJvmClient jvm{std::getenv("FERROLINK_JVM_RUNTIME_PATH")};

  /// The calling thread's environment in `vm`, to which it is attached.
  static JNIEnv* Attach(JavaVM* vm) {
    JNIEnv* env = nullptr;
    vm->AttachCurrentThread(reinterpret_cast<void**>(&env), nullptr);
    return env;
  }
};

/// The same as PartsFixture, with the entry points of the fake JVM library and a JVM for them.
struct InstanceFixture : PartsFixture {
  Ferrolink::Native::Loader::OwnedLibrary library;
  GetCreatedJavaVMsFunction* getCreatedJavaVMs = nullptr;
  CreateJavaVMFunction* createJavaVM = nullptr;
  JvmInstance instance{errors};

  InstanceFixture() {
    library.Adopt(dlopen(std::getenv("FERROLINK_JVM_RUNTIME_PATH"), RTLD_NOW));
    getCreatedJavaVMs = Ferrolink::Native::Loader::FindFunctionIn<GetCreatedJavaVMsFunction>(
        library.get(), "JNI_GetCreatedJavaVMs");
    createJavaVM = Ferrolink::Native::Loader::FindFunctionIn<CreateJavaVMFunction>(
        library.get(), "JNI_CreateJavaVM");
  }

  /// Creates the JVM as a launcher does: the calling thread is its starting thread.
  void Start() {
    JavaVMInitArgs arguments{};
    arguments.version = JNI_VERSION_1_8;
    JvmInstance::RunStartUpThread([&] { instance.Create(createJavaVM, &arguments); });
    instance.AttachStartingThread();
  }
};

/// The whole text of an error that PartsFixture::errors raises.
inline std::string Raised(const std::string& text) {
  return "JVM Launcher: Exception code " + text + "\nRUNTIME INFO:\nthe information";
}

}  // namespace Ferrolink::Tests

#endif
