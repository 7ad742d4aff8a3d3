#ifndef FERROLINK_JVM_THREADJNIENV_H
#define FERROLINK_JVM_THREADJNIENV_H

#include <jni.h>

#include "native/Export.h"

namespace Ferrolink::Runtimes::Jvm::Native {

/// A number that is unique among all threads of the process, including ended ones. Thread ids are
/// reused, so only a token tells whether the calling thread is the one that stored it.
using ThreadToken = unsigned long;
ThreadToken CurrentThreadToken();

}  // namespace Ferrolink::Runtimes::Jvm::Native

/// Scoped JNI environment of the calling thread. Attaches the thread if it is not attached, and
/// detaches it only in that case.
///
/// Lives on the stack of its thread and is not passed on. Errors (FerrolinkNativeException):
/// "ThreadJniEnv: " and the failure. If the JVM refused, the same line also goes to standard
/// output.
class ThreadJniEnv {
 public:
  FERROLINK_EXPORT explicit ThreadJniEnv(JavaVM* vm);
  ThreadJniEnv(const ThreadJniEnv&) = delete;
  ThreadJniEnv& operator=(const ThreadJniEnv&) = delete;
  FERROLINK_EXPORT ~ThreadJniEnv();

  /// Never null after construction. Public and the first member: callers read it directly.
  JNIEnv* m_jniEnv = nullptr;

  /// Whether the constructor attached the thread.
  [[nodiscard]] bool AttachedThread() const { return m_attached; }

 private:
  JavaVM* m_javaVM;
  bool m_attached = false;
  // DetachCurrentThread detaches whichever thread calls it. The process-wide holder below may be
  // destroyed on another thread (the one that runs exit; after System.exit the JVM's own VM
  // thread), which must stay attached.
  Ferrolink::Runtimes::Jvm::Native::ThreadToken m_thread = 0;  ///< set if attached
};

/// The environment of the process-wide holder. The first call makes the holder for its own thread.
///
/// All later callers receive the environment of the first caller: neither `vm` nor the calling
/// thread is compared. That there is one holder per process, not per thread, is on purpose: it
/// keeps the thread that starts the JVM attached until static destruction. All other code uses a
/// scoped ThreadJniEnv.
FERROLINK_EXPORT JNIEnv* getJniEnvForThread(JavaVM* vm);

#endif
