#ifndef FERROLINK_JVM_JVMLIBGLOBALS_H
#define FERROLINK_JVM_JVMLIBGLOBALS_H

#include <jni.h>

#include <atomic>

#include "native/RoleSingletons.h"

/// Process-wide state that the JNI methods and the launcher share. Hidden, never freed. The roles'
/// own state is in native/RoleSingletons.h.

using Ferrolink::Native::createReceiverMutex;
using Ferrolink::Native::operationMode;
using Ferrolink::Native::receiver;
using Ferrolink::Native::transmitter;

/// Written by setCallback; which writer wins is open.
extern std::atomic<JNIEnv*> javaEnv;
extern std::atomic<JavaVM*> callbackJavaVM;
extern std::atomic<jobject> sendCommandCallbackObject;    ///< a JNI global reference
extern std::atomic<jmethodID> sendCommandCallbackMethod;  ///< its apply(Object)

/// Handed to the JVM as the is-copy out-parameter; the JVM writes it and nobody reads it.
extern jboolean isCopy;

#endif
