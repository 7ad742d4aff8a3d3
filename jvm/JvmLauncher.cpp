#include "jvm/JvmLauncher.h"

#include <cstdlib>
#include <string>
#include <vector>

#include "jvm/JavaCallback.h"
#include "native/Console.h"
#include "native/LowerCase.h"
#include "native/interfaces/CommandHeader.h"

using Ferrolink::Native::Console::PrintOut;
using Ferrolink::Native::Definitions::RuntimeOperationMode;
namespace CommandHeader = Ferrolink::Native::Definitions::CommandHeader;

namespace {

// "true" in any mix of case; a variable that is set is announced.
bool ReadDebugMode() {
  const char* value = std::getenv("FERROLINK_DEBUG_MODE");
  if (value == nullptr) {
    return false;
  }
  PrintOut(std::string("FERROLINK_DEBUG_MODE found: ") + value + "\n");
  return Ferrolink::Native::LowerCase(value) == "true";
}

// A command without a complete header has no command type.
bool IsLoadLibraryCommand(const std::uint8_t* message, int length) {
  return length >= CommandHeader::kSize &&
         message[CommandHeader::kCommandType] == CommandHeader::kTypeLoadLibrary;
}

// Four bits of each half are the version; the others are dropped.
std::string VersionText(jint version) {
  const auto bits = static_cast<unsigned>(version);
  return std::to_string((bits >> 16U) & 0xFU) + "." + std::to_string(bits & 0xFU);
}

}  // namespace

JvmLauncher::JvmLauncher(RuntimeOperationMode mode)
    : NativeLauncher(mode),
      m_launching(mode == RuntimeOperationMode::CalledRuntime),
      m_debugMode(ReadDebugMode()),
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
    m_jvm.Destroy();
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
    PrintOut(
        "Jvm Launcher: Debug mode enabled. Listening on port 8988. Waiting for debugger to "
        "attach...\n");
  }
  return 0;
}

int JvmLauncher::SendCommand(std::uint8_t* message, int length) {
  if (!m_launching) {
    return SendToCallback(message, length);
  }
  if (IsLoadLibraryCommand(message, length)) [[unlikely]] {
    return HandleLoadLibraryCommand(message, length);
  }
  if (!m_receiver.IsKnown()) [[unlikely]] {
    return SendUnprepared(message, length);
  }
  return m_receiver.Send(message, length);
}

// A command that comes before the receiver is known. While start-up prints what the receiver says
// of itself, the receiver is known: commands do not pass here, so they do not wait for start-up,
// which may be waiting for them. A command out of the receiver's class initialiser would wait for
// itself: it fails instead.
int JvmLauncher::SendUnprepared(std::uint8_t* message, int length) {
  if (m_jvm.IsStartingUpHere()) {
    m_errors.Raise("018. JVM not initialized");
  }
  const JvmInstance::AdoptersAttachment attachment(m_jvm);
  if (!m_jvm.IsInitialized()) {
    InitializeJvmOnce();
  }
  if (m_jvm.KnownVm() == nullptr) {
    m_errors.Raise("018. JVM not initialized");
  }
  return m_receiver.SendAfterLookUp(message, length);
}

void JvmLauncher::InitializeJvmOnce() {
  const JvmInstance::StartUpLock lock(m_jvm);
  if (!m_jvm.IsInitialized()) {
    InitializeJvm();
    m_jvm.SetInitialized();
  }
}

int JvmLauncher::SendToCallback(std::uint8_t* message, int length) {
  if (!TryBindToCallingRuntimeJavaVm()) {
    m_errors.Raise("018. JVM not initialized");
  }
  if (!JavaCallback::IsSet()) {
    m_errors.Raise("032. Java callback is not set");
  }
  return m_receiver.Send(message, length);
}

int JvmLauncher::ReadResponse(std::uint8_t* buffer, int length) {
  if (!m_responses.Read(buffer, length)) {
    m_errors.Raise("017.\nError while reading response");
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
  m_finder.SetRuntimePath();
}

void JvmLauncher::LoadJvmSharedLibraryAndExportedFunctions() {
  m_finder.OpenLibrary();
}

void JvmLauncher::GetFunctionsPointers() {
  m_finder.FindEntryPoints();
}

bool JvmLauncher::TryBindToCallingRuntimeJavaVm() {
  return m_jvm.Bind();
}

void JvmLauncher::CreateClassPath() {
  m_libraries.CreateClassPath();
}

// The command that adopts a JVM looks the receiver up itself, right after this.
int JvmLauncher::InitializeJvm() {
  if (m_jvm.Adopt(m_finder.GetCreatedJavaVMs())) {
    return 0;
  }
  if (m_launching) {
    StartJvm();
  }
  if (!m_jvm.HasEnvironment()) {
    m_errors.Raise("005. Cannot get m_JvmEnv.\nReinstall Ferrolink package");
  }
  m_jvm.KeepVersion();
  GetReceiverClass();
  PrintOut(GetRuntimeInfoFromManagedRuntime() + "\n");
  return 0;
}

void JvmLauncher::StartJvm() {
  if (m_finder.CreateJavaVm() == nullptr) {
    m_errors.Raise("018. JVM not initialized");
  }
  m_libraries.BuildOptions(m_finder.RuntimePath());
  JvmInstance::RunStartUpThread([this] { createJavaVM(this); });
  m_libraries.ReleaseOptions();
  m_jvm.AttachStartingThread();
}

void createJavaVM(JvmLauncher* launcher) {
  launcher->m_jvm.Create(launcher->m_finder.CreateJavaVm(), launcher->m_libraries.Arguments());
  launcher->HandleLaunchJvmError();
}

void JvmLauncher::HandleLaunchJvmError() {
  m_jvm.RaiseCreateError();
}

void JvmLauncher::GetReceiverClass() {
  m_receiver.LookUp();
}

int JvmLauncher::HandleLoadLibraryCommand(std::uint8_t* message, int length) {
  m_libraries.Load(message, length);
  m_responses.Store(ClassPathLibraries::kLoaded.data(), ClassPathLibraries::kLoaded.size());
  return static_cast<int>(ClassPathLibraries::kLoaded.size());
}

void JvmLauncher::AddToLibrariesToLoad(std::string path) {
  m_libraries.Add(path);
}

std::string JvmLauncher::GetRuntimeName() {
  return m_runtimeName;
}

int JvmLauncher::GetVersion() {
  return m_jvm.Version();
}

std::string JvmLauncher::GetVersionString() {
  return VersionText(GetVersion());
}

std::string JvmLauncher::GetRuntimeInfo() {
  const std::vector<std::string> libraries = m_libraries.List();
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
         m_finder.LibraryPath();
}

std::string JvmLauncher::GetRuntimeInfoFromManagedRuntime() {
  return m_receiver.Describe();
}

bool JvmLauncher::CheckAndHandleJvmException(JNIEnv* env, const std::string& code, bool clear) {
  return m_errors.RaisePending(env, code, clear);
}

void JvmLauncher::HandleException(FerrolinkNativeException e) {
  m_errors.RaiseAnew(e);
}
