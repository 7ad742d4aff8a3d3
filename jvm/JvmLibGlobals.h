#ifndef FERROLINK_JVM_JVMLIBGLOBALS_H
#define FERROLINK_JVM_JVMLIBGLOBALS_H

#include <jni.h>

#include <atomic>
#include <shared_mutex>

#include "native/interfaces/IReceiver.h"
#include "native/interfaces/RuntimeOperationMode.h"

/// Process-wide state that the exported functions, the JNI methods and the launcher share. Hidden,
/// in no namespace, never freed.

/// Fixed by the first creator of a role and never changed afterwards. Read without a lock.
extern std::atomic<Ferrolink::Native::Definitions::RuntimeOperationMode> operationMode;

/// Created under createReceiverMutex, read without a lock, never deleted.
extern std::atomic<Ferrolink::Native::Interfaces::IReceiver*> receiver;

/// Taken exclusively by the creators of both roles, so that whichever role comes first fixes the
/// mode that the other one sees.
extern std::shared_mutex createReceiverMutex;

/// Written by setCallback, without a lock; which writer wins is open.
extern std::atomic<JNIEnv*> javaEnv;
extern std::atomic<JavaVM*> callbackJavaVM;
extern std::atomic<jobject> sendCommandCallbackObject;    ///< a JNI global reference
extern std::atomic<jmethodID> sendCommandCallbackMethod;  ///< its apply(Object)

#endif
