#include "jvm/JvmLauncher.h"

#include <cstdlib>
#include <string>
#include <vector>

#include "jvm/JavaCallback.h"
#include "native/Console.h"
#include "native/LowerCase.h"
#include "native/interfaces/CommandHeader.h"

using Ferrolink::Native::Console::printOut;
using Ferrolink::Native::Definitions::RuntimeOperationMode;
namespace CommandHeader = Ferrolink::Native::Definitions::CommandHeader;

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

// A command without a complete header has no command type.
bool isLoadLibraryCommand(const std::uint8_t* message, int length) {
  return length >= CommandHeader::kSize &&
         message[CommandHeader::kCommandType] == CommandHeader::kTypeLoadLibrary;
}

// Four bits of each half are the version; the others are dropped.
std::string versionText(jint version) {
  const auto bits = static_cast<unsigned>(version);
  return std::to_string((bits >> 16U) & 0xFU) + "." + std::to_string(bits & 0xFU);
}

}  // namespace

JvmLauncher::JvmLauncher(RuntimeOperationMode mode)
    : NativeLauncher(mode),
      m_launching(mode == RuntimeOperationMode::CalledRuntime),
      m_debugMode(readDebugMode()),
      m_errors([this] { return GetRuntimeInfo(); }),
      m_finder(m_errors),
      m_libraries(m_errors, m_debugMode),
      m_jvm(m_errors),
      m_receiver(m_launching ? JavaReceiver::Kind::ReceiverClass : JavaReceiver::Kind::Callback,
                 m_errors, m_jvm, m_responses) {}

// The JVM ends while all parts are there: Java code that runs at its end may still send commands.
// A JVM that this launcher did not create, bound or adopted, is left running.
JvmLauncher::~JvmLauncher() {
  if (m_launching) {
    m_jvm.destroy();
  }
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

int JvmLauncher::SendCommand(std::uint8_t* message, int length) {
  if (!m_launching) {
    return sendToCallback(message, length);
  }
  if (isLoadLibraryCommand(message, length)) [[unlikely]] {
    return HandleLoadLibraryCommand(message, length);
  }
  if (!m_receiver.isKnown()) [[unlikely]] {
    return sendUnprepared(message, length);
  }
  return m_receiver.send(message, length);
}

// A command that comes before the receiver is known. While start-up prints what the receiver says
// of itself, the receiver is known: commands do not pass here, so they do not wait for start-up,
// which may be waiting for them. A command out of the receiver's class initialiser would wait for
// itself: it fails instead.
int JvmLauncher::sendUnprepared(std::uint8_t* message, int length) {
  if (m_jvm.isStartingUpHere()) {
    m_errors.raise("018. JVM not initialized");
  }
  const JvmInstance::AdoptersAttachment attachment(m_jvm);
  if (!m_jvm.isInitialized()) {
    initializeJvmOnce();
  }
  if (m_jvm.knownVm() == nullptr) {
    m_errors.raise("018. JVM not initialized");
  }
  return m_receiver.sendAfterLookUp(message, length);
}

void JvmLauncher::initializeJvmOnce() {
  const JvmInstance::StartUpLock lock(m_jvm);
  if (!m_jvm.isInitialized()) {
    InitializeJvm();
    m_jvm.setInitialized();
  }
}

int JvmLauncher::sendToCallback(std::uint8_t* message, int length) {
  if (!TryBindToCallingRuntimeJavaVm()) {
    m_errors.raise("018. JVM not initialized");
  }
  if (!JavaCallback::isSet()) {
    m_errors.raise("032. Java callback is not set");
  }
  return m_receiver.send(message, length);
}

int JvmLauncher::ReadResponse(std::uint8_t* buffer, int length) {
  if (!m_responses.read(buffer, length)) {
    m_errors.raise("017.\nError while reading response");
  }
  return 0;
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

bool JvmLauncher::TryBindToCallingRuntimeJavaVm() {
  return m_jvm.bind();
}

void JvmLauncher::CreateClassPath() {
  m_libraries.createClassPath();
}

// The command that adopts a JVM looks the receiver up itself, right after this.
int JvmLauncher::InitializeJvm() {
  if (m_jvm.adopt(m_finder.getCreatedJavaVMs())) {
    return 0;
  }
  if (m_launching) {
    startJvm();
  }
  if (!m_jvm.hasEnvironment()) {
    m_errors.raise("005. Cannot get m_JvmEnv.\nReinstall Ferrolink package");
  }
  m_jvm.keepVersion();
  GetReceiverClass();
  printOut(GetRuntimeInfoFromManagedRuntime() + "\n");
  return 0;
}

void JvmLauncher::startJvm() {
  if (m_finder.createJavaVM() == nullptr) {
    m_errors.raise("018. JVM not initialized");
  }
  m_libraries.buildOptions(m_finder.runtimePath());
  JvmInstance::runStartUpThread([this] { createJavaVM(this); });
  m_libraries.releaseOptions();
  m_jvm.attachStartingThread();
}

void createJavaVM(JvmLauncher* launcher) {
  launcher->m_jvm.create(launcher->m_finder.createJavaVM(), launcher->m_libraries.arguments());
  launcher->HandleLaunchJvmError();
}

void JvmLauncher::HandleLaunchJvmError() {
  m_jvm.raiseCreateError();
}

void JvmLauncher::GetReceiverClass() {
  m_receiver.lookUp();
}

int JvmLauncher::HandleLoadLibraryCommand(std::uint8_t* message, int length) {
  m_libraries.load(message, length);
  m_responses.store(ClassPathLibraries::kLoaded.data(), ClassPathLibraries::kLoaded.size());
  return static_cast<int>(ClassPathLibraries::kLoaded.size());
}

void JvmLauncher::AddToLibrariesToLoad(std::string path) {
  m_libraries.add(path);
}

std::string JvmLauncher::GetRuntimeName() {
  return m_runtimeName;
}

int JvmLauncher::GetVersion() {
  return m_jvm.version();
}

std::string JvmLauncher::GetVersionString() {
  return versionText(GetVersion());
}

std::string JvmLauncher::GetRuntimeInfo() {
  const std::vector<std::string> libraries = m_libraries.list();
  std::string info;
  if (!libraries.empty()) {
    info += "Loaded custom libraries:\n";
    for (const std::string& library : libraries) {
      info += library + "\n";
    }
  }
  info += "\n";
  return info + GetRuntimeInfoFromManagedRuntime() + GetRuntimeInfoFromNativeLevel();
}

std::string JvmLauncher::GetRuntimeInfoFromNativeLevel() {
  return "JVM Native Launcher Runtime Info: \nJVM shared library search path: " +
         m_finder.libraryPath();
}

std::string JvmLauncher::GetRuntimeInfoFromManagedRuntime() {
  return m_receiver.describe();
}

bool JvmLauncher::CheckAndHandleJvmException(JNIEnv* env, const std::string& code, bool clear) {
  return m_errors.raisePending(env, code, clear);
}

void JvmLauncher::HandleException(FerrolinkNativeException e) {
  m_errors.raiseAnew(e);
}
