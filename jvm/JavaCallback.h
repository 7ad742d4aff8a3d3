#ifndef FERROLINK_JVM_JAVACALLBACK_H
#define FERROLINK_JVM_JAVACALLBACK_H

#include <jni.h>

#include "jvm/JniReferences.h"

/// The Java object that answers commands while the JVM is the calling runtime.
/// TransmitterWrapper.setCallback registers it; a binding JvmLauncher calls it. One per process.
///
/// Thread rule: thread-safe. Of two concurrent registrations, it is unspecified which one wins. A
/// command that has borrowed a callback keeps using it, even if another one is registered
/// meanwhile.
namespace Ferrolink::Runtimes::Jvm::Native::JavaCallback {

/// A callback in use: a local reference of the borrowing thread, and its method apply(Object).
struct Borrowed {
  Jni::LocalReference<jobject> object;
  jmethodID method = nullptr;
};

/// Replaces the callback. Deletes the previous global reference first. A null `callback`
/// unregisters. Stores code 007 or 008 as the last native error if there is no JVM, or if
/// `callback` has no apply(Object). Leaves no Java exception pending.
void Set(JNIEnv* env, jobject callback);

/// Whether a callback with its method is registered. Takes no lock; Borrow checks again.
bool IsSet();

/// Borrows the callback for one call on this thread; empty if none is registered.
Borrowed Borrow(JNIEnv* env);

/// Whether `result` is a byte array. apply may return any object, and reading the elements of
/// another object as bytes would crash the JVM. Also false if the JVM cannot answer.
bool IsByteArray(JNIEnv* env, jobject result);

}  // namespace Ferrolink::Runtimes::Jvm::Native::JavaCallback

#endif
