#ifndef FERROLINK_JVM_JVMLAUNCHER_H
#define FERROLINK_JVM_JVMLAUNCHER_H

#include <jni.h>

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "jvm/ClassPathLibraries.h"
#include "jvm/JniReferences.h"
#include "jvm/JvmFinder.h"
#include "jvm/LauncherErrors.h"
#include "jvm/ThreadJniEnv.h"
#include "native/BriefMutex.h"
#include "native/Export.h"
#include "native/FerrolinkNativeException.h"
#include "native/NativeLauncher.h"
#include "native/ThreadResponses.h"

/// Gives the receiver role a JVM to call into. Launching (mode 1): finds a JVM library, starts a
/// JVM on the first command, or adopts one that runs in the process already, under whichever JVM
/// library, and calls the static methods of com.ferrolink.core.receiver.Receiver.
/// Binding (mode 0): adopts the JVM whose Java side registered a callback, and calls that callback.
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
  int HandleLoadLibraryCommand(std::uint8_t* message, int length);
  void AddToLibrariesToLoad(std::string path);

  /// False when no Java exception is pending; otherwise the JVM describes it on standard error, it
  /// is cleared if `clear`, and the code is raised.
  bool CheckAndHandleJvmException(JNIEnv* env, const std::string& code, bool clear);

  /// Raises `e` anew with the runtime information appended. Never returns.
  [[noreturn]] void HandleException(FerrolinkNativeException e);

 private:
  friend FERROLINK_EXPORT void createJavaVM(JvmLauncher* launcher);

  /// What a command needs of the receiver class on the calling thread.
  struct ReceiverClass {
    jclass usable = nullptr;
    Jni::LocalReference<jclass> own;  ///< set where the thread found the class for this use only
  };

  [[noreturn]] FERROLINK_LOCAL void raiseFailedAttach();

  FERROLINK_LOCAL bool adoptRunningJvm();
  FERROLINK_LOCAL bool ownLibrarysJvm(JavaVM*& vm);
  FERROLINK_LOCAL void attachAdopter(JavaVM* vm);
  FERROLINK_LOCAL void startJvm();
  FERROLINK_LOCAL void takeStartingThreadEnvironment();

  FERROLINK_LOCAL void lookUpReceiver(JNIEnv* env);
  FERROLINK_LOCAL jclass shareReceiverClass(JNIEnv* env, jclass found);
  FERROLINK_LOCAL jmethodID findReceiverMethod(JNIEnv* env, jclass receiverClass, const char* name,
                                               const char* signature, const char* checkCode,
                                               const char* nullCode);
  FERROLINK_LOCAL Jni::LocalReference<jclass> findReceiverClass(JNIEnv* env);
  FERROLINK_LOCAL ReceiverClass receiverClassFor(JNIEnv* env);

  // Another environment says that the thread's first attachment ended. The same one says nothing:
  // a JVM hands the address out again, to this thread or to a later one.
  [[nodiscard]] FERROLINK_LOCAL bool isStartingThread(JNIEnv* env) const {
    return m_JvmEnv.load(std::memory_order_relaxed) == env &&
           m_startingThread.load(std::memory_order_relaxed) == currentThreadToken();
  }

  // A thread that had to be attached is no longer in the attachment in which it started the JVM:
  // the class reference that it kept has died with that one.
  FERROLINK_LOCAL void noteAttachment(const ThreadJniEnv& thread) {
    if (thread.attachedThread()) [[unlikely]] {
      forgetStartingThread();
    }
  }
  FERROLINK_LOCAL void forgetStartingThread();

  /// A reference to the receiver class that the calling thread may use; null where there is none.
  [[nodiscard]] FERROLINK_LOCAL jclass knownReceiverClassFor(JNIEnv* env) const {
    if (jclass shared = m_sharedReceiverClass.load(std::memory_order_acquire)) {
      return shared;
    }
    return isStartingThread(env) && !m_startingThreadInJava
               ? m_receiverClass.load(std::memory_order_relaxed)
               : nullptr;
  }

  [[nodiscard]] FERROLINK_LOCAL bool isReceiverKnown() const {
    return m_receiverKnown.load(std::memory_order_acquire);
  }

  class StartUpLock;
  class AdoptersAttachment;
  class InsideJava;

  [[gnu::cold]] FERROLINK_LOCAL int sendUnprepared(std::uint8_t* message, int length);
  FERROLINK_LOCAL void initializeJvmOnce();
  FERROLINK_LOCAL void requireCallback();
  FERROLINK_LOCAL void lookUpReceiverOnce(JNIEnv* env);
  FERROLINK_LOCAL void enterJvm(std::optional<ThreadJniEnv>& thread);
  FERROLINK_LOCAL int dispatch(JNIEnv* env, std::uint8_t* message, int length);
  FERROLINK_LOCAL Jni::LocalReference<jbyteArray> makeCommandArray(JNIEnv* env,
                                                                   const std::uint8_t* message,
                                                                   int length);
  FERROLINK_LOCAL jobject callReceiver(JNIEnv* env, jbyteArray command, bool heartBeat);
  FERROLINK_LOCAL Jni::LocalReference<jbyteArray> callJava(JNIEnv* env, jbyteArray command,
                                                           bool heartBeat);
  FERROLINK_LOCAL int storeJavaResponse(JNIEnv* env, jbyteArray response);
  FERROLINK_LOCAL std::string askReceiverForInfo(JNIEnv* env);

  // Constant after construction.
  const bool m_launching;
  const bool m_debugMode;
  const std::string m_receiverClassName = "com/ferrolink/core/receiver/Receiver";
  const std::string m_runtimeName = "Jvm";

  // Each provides its own synchronisation.
  const LauncherErrors m_errors;
  JvmFinder m_finder;
  ClassPathLibraries m_libraries;

  // Guarded by m_startUpMutex, which is also held while the JVM is created and the receiver class
  // is first looked up, so that both happen once.
  std::mutex m_startUpMutex;
  std::atomic<ThreadToken> m_startUpOwner{0};  ///< the thread that holds it; read without it
  jint m_createResult = 0;
  jint m_jniVersion = 0;
  bool m_createdJvm = false;

  // Written under m_startUpMutex, read by every thread without it.
  std::atomic<bool> m_jvmInitialized{false};
  std::atomic<JavaVM*> m_javaVM{nullptr};
  std::atomic<JNIEnv*> m_JvmEnv{
      nullptr};  ///< of the thread that ran InitializeJvm, and of use only there

  // The thread that created the JVM, for as long as its attachment is known to last; 0 where the
  // JVM was adopted. Only that thread resets it.
  std::atomic<ThreadToken> m_startingThread{0};
  bool m_startingThreadInJava = false;  ///< of use to the starting thread alone
  // The thread that adoption attached, until the command that adopted ends; 0 otherwise.
  std::atomic<ThreadToken> m_attachedAdopter{0};

  // The receiver, as the look-up found it. The methods are set together, and before
  // m_receiverKnown. m_receiverClass is the starting thread's local reference, kept as FindClass
  // returned it, and used only until there is m_sharedReceiverClass: a global reference, made by
  // the look-up where there is no starting thread, else by the first other thread.
  std::atomic<bool> m_receiverKnown{false};
  std::atomic<jclass> m_receiverClass{nullptr};
  std::atomic<jclass> m_sharedReceiverClass{nullptr};
  std::atomic<bool> m_sharingReceiverClass{false};
  std::atomic<jmethodID> m_sendCommandMethod{nullptr};
  std::atomic<jmethodID> m_heartBeatMethod{nullptr};
  std::atomic<jmethodID> m_runtimeInfoMethod{nullptr};

  // Held while a Java array is created and filled.
  Ferrolink::Native::BriefMutex m_arrayMutex;

  Ferrolink::Native::ThreadResponses m_responses;
};

/// Marks a call into Java that is made with the starting thread's own class reference. What that
/// call runs may send again on this thread: the reference then belongs to an outer frame, of which
/// checked JNI ends the process, and the command uses the shared one.
class JvmLauncher::InsideJava {
 public:
  InsideJava(JvmLauncher& launcher, jclass used)
      : m_inside(used == launcher.m_receiverClass.load(std::memory_order_relaxed)
                     ? &launcher.m_startingThreadInJava
                     : nullptr) {
    if (m_inside != nullptr) {
      *m_inside = true;
    }
  }
  InsideJava(const InsideJava&) = delete;
  InsideJava& operator=(const InsideJava&) = delete;
  ~InsideJava() {
    if (m_inside != nullptr) {
      *m_inside = false;
    }
  }

 private:
  bool* m_inside;
};

/// Body of the short-lived thread on which a launcher creates its JVM. A failure is raised here,
/// where nothing catches it: it is logged and the process ends.
FERROLINK_EXPORT void createJavaVM(JvmLauncher* launcher);

#endif
