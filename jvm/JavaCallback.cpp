#include "jvm/JavaCallback.h"

#include <atomic>
#include <mutex>
#include <utility>

#include "jvm/JvmLibGlobals.h"
#include "jvm/NativeError.h"
#include "native/BriefMutex.h"

namespace JavaCallback {
namespace {

// Object and method change together under it. JNI calls on references are made under it, calls into
// Java are not.
Ferrolink::Native::BriefMutex callbackMutex;

// A global reference to the class of byte[], made with the first registration, or later where
// that failed, and never dropped.
std::atomic<jclass> byteArrayClass{nullptr};

void KeepByteArrayClass(JNIEnv* env) {
  if (byteArrayClass.load() != nullptr) {
    return;
  }
  const Jni::LocalReference<jclass> found(env, env->FindClass("[B"));
  jobject global = found ? env->NewGlobalRef(found.get()) : nullptr;
  Jni::ClearPendingException(env);
  jclass expected = nullptr;
  if (global != nullptr &&
      !byteArrayClass.compare_exchange_strong(expected, static_cast<jclass>(global))) {
    env->DeleteGlobalRef(global);
  }
}

// Takes over the global reference, or null; returns the one that was held before.
jobject Replace(jobject object, jmethodID method) {
  const std::lock_guard<Ferrolink::Native::BriefMutex> lock(callbackMutex);
  sendCommandCallbackMethod.store(method);
  return sendCommandCallbackObject.exchange(object);
}

void Drop(JNIEnv* env, jobject global) {
  if (global != nullptr) {
    env->DeleteGlobalRef(global);
  }
}

// Null, with code 008 stored, where the object has no apply(Object).
jmethodID FindApply(JNIEnv* env, jclass callbackClass) {
  jmethodID method =
      env->GetMethodID(callbackClass, "apply", "(Ljava/lang/Object;)Ljava/lang/Object;");
  if (method == nullptr) {
    Jni::ClearPendingException(env);
    NativeError::Store("JVM Lib: Exception code 008. Callback must expose apply(Object)->Object");
  }
  return method;
}

}  // namespace

void Set(JNIEnv* env, jobject callback) {
  javaEnv.store(env);
  JavaVM* vm = nullptr;
  if (env->GetJavaVM(&vm) != JNI_OK) {
    vm = nullptr;
    NativeError::Store("JVM Lib: Exception code 007. Failed to obtain JavaVM in setCallback");
  }
  callbackJavaVM.store(vm);
  Drop(env, Replace(nullptr, nullptr));
  if (callback == nullptr) {
    return;
  }
  jobject global = env->NewGlobalRef(callback);
  if (global == nullptr) {
    Jni::ClearPendingException(env);
    return;
  }
  const Jni::LocalReference<jclass> callbackClass(env, env->GetObjectClass(callback));
  if (!callbackClass) {
    Jni::ClearPendingException(env);
    env->DeleteGlobalRef(global);
    return;
  }
  KeepByteArrayClass(env);
  Drop(env, Replace(global, FindApply(env, callbackClass.get())));
}

bool IsSet() {
  return sendCommandCallbackObject.load() != nullptr && sendCommandCallbackMethod.load() != nullptr;
}

Borrowed Borrow(JNIEnv* env) {
  const std::lock_guard<Ferrolink::Native::BriefMutex> lock(callbackMutex);
  jobject object = sendCommandCallbackObject.load();
  jmethodID method = sendCommandCallbackMethod.load();
  if (object == nullptr || method == nullptr) {
    return {};
  }
  Jni::LocalReference<jobject> local(env, env->NewLocalRef(object));
  if (!local) {
    Jni::ClearPendingException(env);
  }
  return {std::move(local), method};
}

bool IsByteArray(JNIEnv* env, jobject result) {
  jclass byteArray = byteArrayClass.load();
  if (byteArray == nullptr) [[unlikely]] {
    KeepByteArrayClass(env);
    byteArray = byteArrayClass.load();
  }
  return byteArray != nullptr && env->IsInstanceOf(result, byteArray) != JNI_FALSE;
}

}  // namespace JavaCallback
