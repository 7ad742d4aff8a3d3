#ifndef FERROLINK_JVM_JVMLAUNCHER_H
#define FERROLINK_JVM_JVMLAUNCHER_H

#include <jni.h>

#include <cstdint>
#include <string>

#include "jvm/ClassPathLibraries.h"
#include "jvm/JavaReceiver.h"
#include "jvm/JvmFinder.h"
#include "jvm/JvmInstance.h"
#include "jvm/LauncherErrors.h"
#include "native/Export.h"
#include "native/FerrolinkNativeException.h"
#include "native/NativeLauncher.h"
#include "native/ThreadResponses.h"

/// Gives the receiver role a JVM to call into. Launching (mode 1): finds a JVM library, starts a
/// JVM on the first command, or adopts one that runs in the process already, under whichever JVM
/// library, and calls the static methods of com.ferrolink.core.receiver.Receiver.
/// Binding (mode 0): adopts the JVM whose Java side registered a callback, and calls that callback.
/// A front: each duty is that of one part, below, and the launcher puts them in order.
///
/// Thread rule: Initialize once, serialised by the caller; all else on any thread, in parallel. A
/// SendCommand and its ReadResponse run on the same thread. No thread ever uses another thread's
/// JNIEnv or local references.
/// Errors: FerrolinkNativeException, raised through HandleException, so that every text ends with
/// "\nRUNTIME INFO:\n" and what GetRuntimeInfo says.
/// Lifetime: until the process ends. The thread that creates the JVM ends without detaching from
/// it, so DestroyJavaVM in the destructor of a launched one waits for ever on HotSpot.
class FERROLINK_EXPORT JvmLauncher : public Ferrolink::Native::Launcher::NativeLauncher {
 public:
  explicit JvmLauncher(Ferrolink::Native::Definitions::RuntimeOperationMode mode);
  JvmLauncher(const JvmLauncher&) = delete;
  JvmLauncher& operator=(const JvmLauncher&) = delete;
  ~JvmLauncher() override;

  /// The JVM itself starts with the first command. `launchArgument` means nothing to a JVM.
  int Initialize(std::uint8_t launchArgument) override;

  /// Errors: 018 to 024, 026, 027, 032; 025; those of start-up; 004 for a load-library command.
  int SendCommand(std::uint8_t* message, int length) override;

  /// Moves the calling thread's response into `buffer` and forgets it, with what did not fit; a
  /// negative length copies all of it. Errors: 017 where the thread has none. Returns 0.
  int ReadResponse(std::uint8_t* buffer, int length) override;

  /// These three do nothing and return 1.
  int LoadOptimizedMethod(std::string name) override;
  int SetPath(std::uint8_t runtime, std::string path) override;
  int DeployRuntime(std::uint8_t* message, int length, std::string path,
                    std::uint8_t flag) override;

  /// "Jvm".
  std::string GetRuntimeName() override;

  /// Custom libraries, what the Java receiver says of itself, where the JVM library was found.
  std::string GetRuntimeInfo() override;
  std::string GetRuntimeInfoFromManagedRuntime();
  std::string GetRuntimeInfoFromNativeLevel();

  /// The JNI version number of the JVM; 0 before it runs or where it cannot be asked.
  int GetVersion();
  /// The JNI version as text. Four bits of either half are kept: 0x00150000 reads "5.0".
  std::string GetVersionString();

  // Steps of Initialize and of the first command, in the order in which they run.
  void SetJvmRuntimePath();
  void LoadJvmSharedLibraryAndExportedFunctions();
  void GetFunctionsPointers();
  bool TryBindToCallingRuntimeJavaVm();
  void CreateClassPath();
  int InitializeJvm();
  void HandleLaunchJvmError();
  void GetReceiverClass();

  // The load-library command, answered without entering Java.
  [[gnu::noinline]] int HandleLoadLibraryCommand(std::uint8_t* message, int length);
  void AddToLibrariesToLoad(std::string path);

  /// False when no Java exception is pending; otherwise the JVM describes it on standard error, it
  /// is cleared if `clear`, and the code is raised.
  bool CheckAndHandleJvmException(JNIEnv* env, const std::string& code, bool clear);

  /// Raises `e` anew with the runtime information appended. Never returns.
  [[noreturn]] void HandleException(FerrolinkNativeException e);

 private:
  friend FERROLINK_EXPORT void createJavaVM(JvmLauncher* launcher);

  // Not inlined, so that SendCommand has no frame: it jumps to one of these or to the receiver.
  [[gnu::cold]] FERROLINK_LOCAL int SendUnprepared(std::uint8_t* message, int length);
  [[gnu::noinline]] FERROLINK_LOCAL int SendToCallback(std::uint8_t* message, int length);

  FERROLINK_LOCAL void InitializeJvmOnce();
  FERROLINK_LOCAL void StartJvm();

  // Constant after construction.
  const bool m_launching;
  const bool m_debugMode;
  const std::string m_runtimeName = "Jvm";
  const LauncherErrors m_errors;

  // Each provides its own synchronisation. A part knows those before it that it is given, and no
  // part knows the launcher.
  JvmFinder m_finder;
  ClassPathLibraries m_libraries;
  JvmInstance m_jvm;
  Ferrolink::Native::ThreadResponses m_responses;
  JavaReceiver m_receiver;
};

/// Body of the short-lived thread on which a launcher creates its JVM. A failure is raised here,
/// where nothing catches it: it is logged and the process ends.
FERROLINK_EXPORT void createJavaVM(JvmLauncher* launcher);

#endif
