#ifndef FERROLINK_JVM_THREADJNIENV_H
#define FERROLINK_JVM_THREADJNIENV_H

#include <jni.h>

#include "native/Export.h"

/// A value that no other thread of the process has or ever had. Unlike a thread id it is not given
/// again to a later thread, so it tells whether the calling thread is the one that left it.
using ThreadToken = unsigned long;
ThreadToken CurrentThreadToken();

/// Scoped JNI environment of the calling thread: attaches the thread where the JVM does not know it
/// yet, and detaches it again only if it did so itself. A Java thread, or one attached elsewhere,
/// is left as it was.
///
/// Lives on the stack of its thread and is not passed on. Errors (FerrolinkNativeException):
/// "ThreadJniEnv: " and what failed, after the same line on standard output where the JVM refused.
class ThreadJniEnv {
 public:
  FERROLINK_EXPORT explicit ThreadJniEnv(JavaVM* vm);
  ThreadJniEnv(const ThreadJniEnv&) = delete;
  ThreadJniEnv& operator=(const ThreadJniEnv&) = delete;
  FERROLINK_EXPORT ~ThreadJniEnv();

  /// Never null after construction. Public and first: callers read it directly.
  JNIEnv* m_jniEnv = nullptr;

  /// Whether the JVM did not know the thread before this holder was made.
  [[nodiscard]] bool AttachedThread() const { return m_attached; }

 private:
  JavaVM* m_javaVM;
  bool m_attached = false;
  // DetachCurrentThread detaches whichever thread calls it. The process-wide holder below can be
  // destroyed on another thread (the one that runs exit, the JVM's own VM thread after
  // System.exit), which must not be detached in its stead.
  ThreadToken m_thread = 0;  ///< set where attached
};

/// The environment of the process-wide holder, which the first call builds for its own thread.
///
/// Neither `vm` nor the calling thread is compared with the holder's: whichever thread called first
/// owns the environment that all later callers receive. It keeps the thread that starts the JVM
/// attached until the library's static destruction; everything else uses a scoped ThreadJniEnv.
FERROLINK_EXPORT JNIEnv* getJniEnvForThread(JavaVM* vm);

#endif
