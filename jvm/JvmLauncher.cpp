#include "jvm/JvmLauncher.h"

#include <cstdlib>

#include "jvm/JvmLibGlobals.h"
#include "native/Console.h"
#include "native/LowerCase.h"

using Ferrolink::Native::Console::printOut;
using Ferrolink::Native::Definitions::RuntimeOperationMode;

namespace {

// "true" in any mix of case; a variable that is set is announced.
bool readDebugMode() {
  const char* value = std::getenv("FERROLINK_DEBUG_MODE");
  if (value == nullptr) {
    return false;
  }
  printOut(std::string("FERROLINK_DEBUG_MODE found: ") + value + "\n");
  return Ferrolink::Native::lowerCase(value) == "true";
}

}  // namespace

JvmLauncher::JvmLauncher(RuntimeOperationMode mode)
    : NativeLauncher(mode),
      m_launching(mode == RuntimeOperationMode::CalledRuntime),
      m_debugMode(readDebugMode()),
      m_errors([this] { return GetRuntimeInfo(); }),
      m_finder(m_errors),
      m_libraries(m_errors, m_debugMode) {}

// A JVM that this launcher did not create, bound or adopted, is left running.
JvmLauncher::~JvmLauncher() {
  JavaVM* vm = m_javaVM.load();
  if (vm == nullptr || !m_launching || !m_createdJvm) {
    return;
  }
  JNIEnv* env = nullptr;
  const jint version = m_jniVersion != 0 ? m_jniVersion : JNI_VERSION_1_8;
  if (vm->GetEnv(reinterpret_cast<void**>(&env), version) == JNI_EDETACHED) {
    vm->AttachCurrentThread(reinterpret_cast<void**>(&env), nullptr);
  }
  vm->DestroyJavaVM();
}

int JvmLauncher::Initialize(std::uint8_t /*launchArgument*/) {
  if (m_launching) {
    SetJvmRuntimePath();
    LoadJvmSharedLibraryAndExportedFunctions();
    GetFunctionsPointers();
  } else {
    TryBindToCallingRuntimeJavaVm();
  }
  if (m_debugMode) {
    printOut(
        "Jvm Launcher: Debug mode enabled. Listening on port 8988. Waiting for debugger to "
        "attach...\n");
  }
  return 0;
}

bool JvmLauncher::TryBindToCallingRuntimeJavaVm() {
  if (m_javaVM.load() != nullptr) {
    return true;
  }
  JavaVM* callback = callbackJavaVM.load();
  if (callback == nullptr) {
    return false;
  }
  m_javaVM.store(callback);
  return true;
}

int JvmLauncher::LoadOptimizedMethod(std::string /*name*/) {
  return 1;
}

int JvmLauncher::SetPath(std::uint8_t /*runtime*/, std::string /*path*/) {
  return 1;
}

int JvmLauncher::DeployRuntime(std::uint8_t* /*message*/, int /*length*/, std::string /*path*/,
                               std::uint8_t /*flag*/) {
  return 1;
}

void JvmLauncher::SetJvmRuntimePath() {
  m_finder.setRuntimePath();
}

void JvmLauncher::LoadJvmSharedLibraryAndExportedFunctions() {
  m_finder.openLibrary();
}

void JvmLauncher::GetFunctionsPointers() {
  m_finder.findEntryPoints();
}

void JvmLauncher::CreateClassPath() {
  m_libraries.createClassPath();
}

int JvmLauncher::HandleLoadLibraryCommand(std::uint8_t* message, int length) {
  m_libraries.load(message, length);
  m_responses.store(ClassPathLibraries::kLoaded.data(), ClassPathLibraries::kLoaded.size());
  return static_cast<int>(ClassPathLibraries::kLoaded.size());
}

void JvmLauncher::AddToLibrariesToLoad(std::string path) {
  m_libraries.add(path);
}

bool JvmLauncher::CheckAndHandleJvmException(JNIEnv* env, const std::string& code, bool clear) {
  return m_errors.raisePending(env, code, clear);
}

void JvmLauncher::HandleException(FerrolinkNativeException e) {
  m_errors.raiseAnew(e);
}
