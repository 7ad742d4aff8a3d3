#ifndef FERROLINK_JVM_JAVARECEIVER_H
#define FERROLINK_JVM_JAVARECEIVER_H

#include <jni.h>

#include <atomic>
#include <cstdint>
#include <string>

#include "jvm/JniReferences.h"
#include "jvm/JvmInstance.h"
#include "jvm/LauncherErrors.h"
#include "jvm/ThreadJniEnv.h"
#include "native/BriefMutex.h"
#include "native/ThreadResponses.h"

namespace Ferrolink::Runtimes::Jvm::Native {

/// The Java side that answers commands: the static methods of com.ferrolink.core.receiver.Receiver
/// in a JVM that the launcher starts or adopts, or else the callback that Java registered.
///
/// Thread rule: any thread, in parallel. No thread uses another thread's JNIEnv or local
/// references. Errors: look-up 006 to 010 and 033 to 036; commands 019 to 027 and 032. Ownership:
/// references into the JVM are not released; they end with the JVM.
class JavaReceiver {
 public:
  enum class Kind { ReceiverClass, Callback };

  /// Responses are stored in `responses`. The three references outlive this object.
  JavaReceiver(Kind kind, const LauncherErrors& errors, JvmInstance& jvm,
               Ferrolink::Native::ThreadResponses& responses);
  JavaReceiver(const JavaReceiver&) = delete;
  JavaReceiver& operator=(const JavaReceiver&) = delete;
  ~JavaReceiver() = default;

  /// Whether the look-up has succeeded.
  [[nodiscard]] bool IsKnown() const { return m_known.load(std::memory_order_acquire); }

  /// Looks up the class and its methods. The caller holds the start-up lock.
  void LookUp();

  /// Executes a command of `length` bytes, stores the response and returns the response's length.
  /// The receiver class must be known.
  int Send(std::uint8_t* message, int length);

  /// As Send, but first looks up the class if it is not known: after a failed start-up, and in an
  /// adopted JVM.
  int SendAfterLookUp(std::uint8_t* message, int length);

  /// The receiver class's description of itself. Empty for a callback, before the look-up, after
  /// any failure, and if this thread is asking already.
  std::string Describe();

 private:
  /// The receiver class as the calling thread may use it.
  struct UsableClass {
    jclass usable = nullptr;
    Jni::LocalReference<jclass> own;  ///< set if the thread found the class for this use only
  };

  class InsideJava;

  void LookUpOnce(JNIEnv* env);
  void LookUpWith(JNIEnv* env);
  Jni::LocalReference<jclass> FindClass(JNIEnv* env);
  jmethodID FindMethod(JNIEnv* env, jclass receiverClass, const char* name, const char* signature,
                       const char* checkCode, const char* nullCode);
  UsableClass ClassFor(JNIEnv* env);
  jclass ShareClass(JNIEnv* env, jclass found);

  /// The class reference that the calling thread may use; null if there is none.
  [[nodiscard]] jclass KnownClassFor(JNIEnv* env) const {
    if (jclass shared = m_sharedClass.load(std::memory_order_acquire)) {
      return shared;
    }
    return m_jvm.IsStartingThread(env) && !m_startingThreadInJava
               ? m_class.load(std::memory_order_relaxed)
               : nullptr;
  }

  ThreadJniEnv EnterJvm();
  [[noreturn]] void RaiseFailedAttach();
  int Dispatch(JNIEnv* env, std::uint8_t* message, int length);
  Jni::LocalReference<jbyteArray> MakeCommandArray(JNIEnv* env, const std::uint8_t* message,
                                                   int length);
  jobject CallReceiver(JNIEnv* env, jbyteArray command, bool heartBeat);
  Jni::LocalReference<jbyteArray> CallJava(JNIEnv* env, jbyteArray command, bool heartBeat);
  int StoreResponse(JNIEnv* env, jbyteArray response);
  std::string AskForInfo(JNIEnv* env);

  // Constant after construction. The referenced objects have their own synchronisation.
  const bool m_isClass;
  const LauncherErrors& m_errors;
  JvmInstance& m_jvm;
  Ferrolink::Native::ThreadResponses& m_responses;

  // Used by the starting thread only.
  bool m_startingThreadInJava = false;

  // The result of the look-up. The methods are set together, before m_known. m_class is the
  // starting thread's local reference, kept as FindClass returned it and used until m_sharedClass
  // exists. m_sharedClass is a global reference, made by the look-up if there is no starting
  // thread, and by the first other thread otherwise.
  std::atomic<bool> m_known{false};
  std::atomic<jclass> m_class{nullptr};
  std::atomic<jclass> m_sharedClass{nullptr};
  std::atomic<bool> m_sharingClass{false};
  std::atomic<jmethodID> m_sendCommandMethod{nullptr};
  std::atomic<jmethodID> m_heartBeatMethod{nullptr};
  std::atomic<jmethodID> m_runtimeInfoMethod{nullptr};

  // Held while a Java array is created and filled.
  Ferrolink::Native::BriefMutex m_arrayMutex;
};

}  // namespace Ferrolink::Runtimes::Jvm::Native

#endif
