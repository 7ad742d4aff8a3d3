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
#include "native/interfaces/RuntimeOperationMode.h"

/// Gives the receiver role a JVM to call into. Launching (mode 1): finds a JVM library and starts a
/// JVM with the first command, or adopts the JVM that runs in the process, under whichever JVM
/// library. Calls the static methods of com.ferrolink.core.receiver.Receiver. Binding (mode 0):
/// takes the JVM whose Java side registered a callback, and calls that callback. A front over the
/// parts below: it has the operations of the contract and the order of the steps.
///
/// Thread rule: Initialize once, serialised by the caller; everything else on any thread, in
/// parallel. A SendCommand and its ReadResponse run on the same thread. No thread uses another
/// thread's JNIEnv or local references. Errors: FerrolinkNativeException, raised through
/// HandleException: every text ends with "\nRUNTIME INFO:\n" and the result of GetRuntimeInfo.
/// Lifetime: until the process ends. The thread that creates the JVM ends without detaching, so
/// DestroyJavaVM in the destructor of a launched one waits forever on HotSpot.
class FERROLINK_EXPORT JvmLauncher : public Ferrolink::Native::Launcher::NativeLauncher {
 public:
  explicit JvmLauncher(Ferrolink::Native::Definitions::RuntimeOperationMode mode);
  JvmLauncher(const JvmLauncher&) = delete;
  JvmLauncher& operator=(const JvmLauncher&) = delete;
  ~JvmLauncher() override;

  /// Prepares start-up; the JVM starts with the first command. Ignores `launchArgument`.
  int Initialize(std::uint8_t launchArgument) override;

  /// Executes one command of `length` bytes; returns the length of the response. Errors: 018 to 027
  /// and 032; those of start-up; 004 for a load-library command.
  int SendCommand(std::uint8_t* message, int length) override;

  /// Copies at most `length` bytes of the calling thread's response into `buffer` and discards all
  /// of it. A negative length copies the whole response. Returns 0. Errors: 017 if the thread has
  /// none.
  int ReadResponse(std::uint8_t* buffer, int length) override;

  /// Does nothing and returns 1, as do SetPath and DeployRuntime.
  int LoadOptimizedMethod(std::string name) override;
  int SetPath(std::uint8_t runtime, std::string path) override;
  int DeployRuntime(std::uint8_t* message, int length, std::string path,
                    std::uint8_t flag) override;

  /// "Jvm".
  std::string GetRuntimeName() override;

  /// The custom libraries, the Java receiver's description of itself, and the path of the JVM
  /// library.
  std::string GetRuntimeInfo() override;
  std::string GetRuntimeInfoFromManagedRuntime();
  std::string GetRuntimeInfoFromNativeLevel();

  /// The JNI version number of the JVM; 0 before it runs or if it cannot be asked.
  int GetVersion();
  /// The JNI version as text. Only four bits of each half are used: 0x00150000 gives "5.0". Called
  /// by other libraries only.
  std::string GetVersionString();

  // The steps of Initialize and of the first command, in order. Public because they are operations
  // of the class that other libraries may call; the library itself calls them in this order only.
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

  /// False if no Java exception is pending. Otherwise the JVM describes it on standard error, it is
  /// cleared if `clear` is true (which every caller passes), and "<code>. JVM exception occurred"
  /// is raised.
  bool CheckAndHandleJvmException(JNIEnv* env, const std::string& code, bool clear);

  /// Raises a new error with the text of `e` and the runtime information. Never returns.
  [[noreturn]] void HandleException(FerrolinkNativeException e);

 private:
  friend FERROLINK_EXPORT void createJavaVM(JvmLauncher* launcher);

  // Not inlined, so that SendCommand needs no stack frame: it jumps to one of these or to the
  // receiver.
  [[gnu::cold]] FERROLINK_LOCAL int SendUnprepared(std::uint8_t* message, int length);
  [[gnu::noinline]] FERROLINK_LOCAL int SendToCallback(std::uint8_t* message, int length);

  FERROLINK_LOCAL void InitializeJvmOnce();
  FERROLINK_LOCAL void StartJvm();

  // Constant after construction.
  const bool m_launching;
  const bool m_debugMode;
  const std::string m_runtimeName = "Jvm";
  const Ferrolink::Runtimes::Jvm::Native::LauncherErrors m_errors;

  // Each has its own synchronisation. A part knows only those before it that it is given; no part
  // knows the launcher.
  Ferrolink::Runtimes::Jvm::Native::JvmFinder m_finder;
  Ferrolink::Runtimes::Jvm::Native::ClassPathLibraries m_libraries;
  Ferrolink::Runtimes::Jvm::Native::JvmInstance m_jvm;
  Ferrolink::Native::ThreadResponses m_responses;
  Ferrolink::Runtimes::Jvm::Native::JavaReceiver m_receiver;
};

/// The body of the short-lived thread on which a launcher creates its JVM. An error is logged and,
/// since nothing catches it there, ends the process.
FERROLINK_EXPORT void createJavaVM(JvmLauncher* launcher);

#endif
