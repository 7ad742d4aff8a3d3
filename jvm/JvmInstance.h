#ifndef FERROLINK_JVM_JVMINSTANCE_H
#define FERROLINK_JVM_JVMINSTANCE_H

#include <jni.h>

#include <atomic>
#include <functional>
#include <mutex>

#include "jvm/JvmEntryPoints.h"
#include "jvm/LauncherErrors.h"
#include "jvm/ThreadJniEnv.h"

/// The JVM of a launcher: created, adopted or bound. Knows which thread created it, and has the
/// lock that makes start-up happen once.
///
/// Thread rule: create, adopt and the steps around them under the start-up lock; everything else on
/// any thread. Errors: 011 to 016, 018; those of ThreadJniEnv.
/// Lifetime: nothing ends the JVM but destroy.
class JvmInstance {
 public:
  /// Holds the start-up lock, and records which thread holds it.
  class StartUpLock;
  /// Detaches the calling thread at its end if adopt attached it. A thread that stayed attached
  /// would keep a Java program from ending.
  class AdoptersAttachment;

  explicit JvmInstance(const LauncherErrors& errors);
  JvmInstance(const JvmInstance&) = delete;
  JvmInstance& operator=(const JvmInstance&) = delete;
  ~JvmInstance() = default;

  /// Takes the JVM whose Java side registered a callback, unless there is a JVM already. False if
  /// there is none. Attaches nothing.
  bool Bind() { return m_javaVM.load() != nullptr || BindToCallbacksJvm(); }

  /// Takes the JVM that the process has, under whichever JVM library, and attaches the calling
  /// thread. False if there is none. There is no starting thread then: a class that FindClass gives
  /// to a thread that Java called is valid only until that native method returns.
  bool Adopt(GetCreatedJavaVMsFunction* getCreatedJavaVMs);

  /// Runs `create` on a thread that does nothing else, and waits for it to end. What leaves
  /// `create` ends the process.
  static void RunStartUpThread(const std::function<void()>& create);

  /// Creates the JVM on the calling thread, which stays attached. The result is kept.
  void Create(CreateJavaVMFunction* createJavaVM, JavaVMInitArgs* arguments);

  /// Raises the error of create's result, if it is one.
  void RaiseCreateError() const;

  /// Makes the calling thread the starting thread of a JVM that was created.
  void AttachStartingThread();

  /// Keeps the JNI version for destroy.
  void KeepVersion() { m_jniVersion = Version(); }

  /// Ends the JVM if create made it.
  void Destroy();

  [[nodiscard]] bool IsInitialized() const { return m_initialized.load(std::memory_order_acquire); }
  void SetInitialized() { m_initialized.exchange(true); }

  /// Null before a JVM was created, adopted or bound.
  [[nodiscard]] JavaVM* Vm() const { return m_javaVM.load(); }
  /// As vm, for threads that know from elsewhere that there is a JVM.
  [[nodiscard]] JavaVM* KnownVm() const { return m_javaVM.load(std::memory_order_relaxed); }

  /// Whether create, adopt or AttachStartingThread got an environment, which is of use only to the
  /// thread that called them.
  [[nodiscard]] bool HasEnvironment() const { return m_JvmEnv.load() != nullptr; }

  /// The JNI version number; 0 without an environment or if the JVM cannot be asked.
  [[nodiscard]] jint Version() const;

  /// Whether the calling thread holds the start-up lock.
  [[nodiscard]] bool IsStartingUpHere() const {
    return m_startUpOwner.load(std::memory_order_relaxed) == CurrentThreadToken();
  }

  /// Whether the calling thread, whose environment is `env`, is the starting thread. A different
  /// environment proves that it is not; the same one proves nothing, since a JVM reuses addresses.
  [[nodiscard]] bool IsStartingThread(JNIEnv* env) const {
    return m_JvmEnv.load(std::memory_order_relaxed) == env &&
           m_startingThread.load(std::memory_order_relaxed) == CurrentThreadToken();
  }

  /// A starting thread that had to be attached again is one no more: the local references of its
  /// first attachment are gone.
  void NoteAttachment(const ThreadJniEnv& thread) {
    if (thread.AttachedThread()) [[unlikely]] {
      ForgetStartingThread();
    }
  }

 private:
  bool BindToCallbacksJvm();
  void AttachAdopter(JavaVM* vm);
  void ForgetStartingThread();

  const LauncherErrors& m_errors;

  // Guarded by m_startUpMutex, which is also held while the JVM is created and the receiver class
  // is looked up first, so that both happen once.
  std::mutex m_startUpMutex;
  jint m_createResult = 0;
  jint m_jniVersion = 0;
  bool m_created = false;

  // Written under m_startUpMutex (m_javaVM also by bind), read by every thread without it.
  std::atomic<ThreadToken> m_startUpOwner{0};  ///< the thread that holds m_startUpMutex; else 0
  std::atomic<bool> m_initialized{false};
  std::atomic<JavaVM*> m_javaVM{nullptr};
  std::atomic<JNIEnv*> m_JvmEnv{nullptr};

  // The thread that created the JVM, for as long as its attachment is known to last; 0 if the JVM
  // was adopted. Only that thread resets it.
  std::atomic<ThreadToken> m_startingThread{0};
  // The thread that adoption attached, until the command that adopted ends; 0 otherwise.
  std::atomic<ThreadToken> m_attachedAdopter{0};
};

class JvmInstance::StartUpLock {
 public:
  explicit StartUpLock(JvmInstance& jvm);
  StartUpLock(const StartUpLock&) = delete;
  StartUpLock& operator=(const StartUpLock&) = delete;
  ~StartUpLock();

 private:
  JvmInstance& m_jvm;
};

class JvmInstance::AdoptersAttachment {
 public:
  explicit AdoptersAttachment(JvmInstance& jvm) : m_jvm(jvm) {}
  AdoptersAttachment(const AdoptersAttachment&) = delete;
  AdoptersAttachment& operator=(const AdoptersAttachment&) = delete;
  ~AdoptersAttachment();

 private:
  JvmInstance& m_jvm;
};

#endif
