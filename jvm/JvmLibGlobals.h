#ifndef FERROLINK_JVM_JVMLIBGLOBALS_H
#define FERROLINK_JVM_JVMLIBGLOBALS_H

#include <jni.h>

#include <atomic>

#include "native/RoleSingletons.h"

/// Process-wide state that the JNI methods and the launcher share. Hidden; never freed. The state
/// of the roles is in native/RoleSingletons.h.

using Ferrolink::Native::receiver;
using Ferrolink::Native::transmitter;

/// Written by setCallback. Which of two concurrent writers wins is unspecified.
extern std::atomic<JNIEnv*> javaEnv;
extern std::atomic<JavaVM*> callbackJavaVM;
extern std::atomic<jobject> sendCommandCallbackObject;    ///< a JNI global reference
extern std::atomic<jmethodID> sendCommandCallbackMethod;  ///< its apply(Object)

/// The JVM writes its is-copy flags here. Nothing reads it, on purpose: the flag changes nothing.
extern jboolean isCopy;

#endif
