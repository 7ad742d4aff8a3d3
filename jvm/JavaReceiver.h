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

/// The Java side that answers commands: the static methods of
/// com.ferrolink.core.receiver.Receiver in a JVM that the launcher starts or adopts, else the
/// callback that Java registered.
///
/// Thread rule: any thread, in parallel. No thread ever uses another thread's JNIEnv or local
/// references. Errors: 006 to 010, 033 to 036 of the look-up; 019 to 027 and 032 of commands.
/// Lifetime: references in the JVM are not given back; they end with it.
class JavaReceiver {
 public:
  enum class Kind { ReceiverClass, Callback };

  /// Answers are stored in `responses`.
  JavaReceiver(Kind kind, const LauncherErrors& errors, JvmInstance& jvm,
               Ferrolink::Native::ThreadResponses& responses);
  JavaReceiver(const JavaReceiver&) = delete;
  JavaReceiver& operator=(const JavaReceiver&) = delete;
  ~JavaReceiver() = default;

  /// Whether the look-up has succeeded.
  [[nodiscard]] bool IsKnown() const { return m_known.load(std::memory_order_acquire); }

  /// Looks the class and its methods up. The caller holds the start-up lock.
  void LookUp();

  /// Executes a command and stores the answer, whose length it returns. The receiver class must be
  /// known.
  int Send(std::uint8_t* message, int length);

  /// As send, but looks the class up once if it is not known: after a start-up that failed, and in
  /// a JVM that was adopted.
  int SendAfterLookUp(std::uint8_t* message, int length);

  /// What the receiver class says of itself; empty for a callback, before the look-up, if anything
  /// fails, and while this thread asks already.
  std::string Describe();

 private:
  /// What a command needs of the receiver class on the calling thread.
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

  /// A reference to the receiver class that the calling thread may use; null if there is none.
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

  // Constant after construction; what is referred to provides its own synchronisation.
  const bool m_isClass;
  const LauncherErrors& m_errors;
  JvmInstance& m_jvm;
  Ferrolink::Native::ThreadResponses& m_responses;

  // Of the starting thread alone.
  bool m_startingThreadInJava = false;

  // What the look-up found. The methods are set together, and before m_known. m_class is the
  // starting thread's local reference, kept as FindClass returned it, and used only until there is
  // m_sharedClass: a global reference, made by the look-up if there is no starting thread, else by
  // the first other thread.
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

#endif
