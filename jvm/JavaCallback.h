#ifndef FERROLINK_JVM_JAVACALLBACK_H
#define FERROLINK_JVM_JAVACALLBACK_H

#include <jni.h>

#include "jvm/JniReferences.h"

/// The Java object through which the JVM side of a receiver answers commands while the JVM is the
/// calling runtime; registered by TransmitterWrapper.setCallback, used by a binding JvmLauncher.
///
/// One per process. Thread rule: any thread; which of two registrations wins is open. A command
/// that has borrowed the callback finishes with it, whatever is registered meanwhile.
namespace JavaCallback {

/// A callback in use: a local reference of the borrowing thread, and its apply(Object).
struct Borrowed {
  Jni::LocalReference<jobject> object;
  jmethodID method = nullptr;
};

/// Replaces the callback; the previous global reference is dropped first. A null `callback`
/// unregisters. Stores code 007 or 008 as the last native error where the JVM cannot be had or
/// `callback` has no apply(Object), and leaves no Java exception pending.
void Set(JNIEnv* env, jobject callback);

/// Whether both object and method are there. Takes no lock: a command asks again when it borrows.
bool IsSet();

/// The callback, for one call on this thread; empty where none is set.
Borrowed Borrow(JNIEnv* env);

/// Whether a callback's result is what a command is answered with. apply may return any object, and
/// reading the elements of one that is no byte array would crash the JVM. Never true unless the JVM
/// was asked; false where it cannot be.
bool IsByteArray(JNIEnv* env, jobject result);

}  // namespace JavaCallback

#endif
