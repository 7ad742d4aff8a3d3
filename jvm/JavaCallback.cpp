#include "jvm/JavaCallback.h"

#include <atomic>
#include <mutex>
#include <utility>

#include "jvm/JvmLibGlobals.h"
#include "jvm/NativeError.h"
#include "native/BriefMutex.h"

namespace Ferrolink::Runtimes::Jvm::Native::JavaCallback {
namespace {

using Callback = Jni::GlobalReference<jobject>;

// Guards object and method, which change together. Held across JNI calls on references, never
// across calls into Java.
Ferrolink::Native::BriefMutex callbackMutex;

// A global reference to the class of byte[]. Made by the first registration, or later if that
// failed. Never deleted: it ends with the JVM.
std::atomic<jclass> byteArrayClass{nullptr};

void KeepByteArrayClass(JNIEnv* env) {
  if (byteArrayClass.load() != nullptr) {
    return;
  }
  const Jni::LocalReference<jclass> found(env, env->FindClass("[B"));
  auto global = found ? Jni::MakeGlobal(env, found.get()) : Jni::GlobalReference<jclass>();
  Jni::ClearPendingException(env);
  jclass expected = nullptr;
  if (global && byteArrayClass.compare_exchange_strong(expected, global.get())) {
    static_cast<void>(global.Release());
  }
}

// Registers `next`, which may be null. Returns the previous callback.
Callback Replace(JNIEnv* env, Callback next, jmethodID method) {
  const std::lock_guard<Ferrolink::Native::BriefMutex> lock(callbackMutex);
  sendCommandCallbackMethod.store(method);
  return {env, sendCommandCallbackObject.exchange(next.Release())};
}

// Null if the object has no apply(Object); code 008 is then stored.
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
  Replace(env, {}, nullptr).Reset();
  if (callback == nullptr) {
    return;
  }
  Callback global = Jni::MakeGlobal(env, callback);
  if (!global) {
    Jni::ClearPendingException(env);
    return;
  }
  const Jni::LocalReference<jclass> callbackClass(env, env->GetObjectClass(callback));
  if (!callbackClass) {
    Jni::ClearPendingException(env);
    return;
  }
  KeepByteArrayClass(env);
  jmethodID apply = FindApply(env, callbackClass.get());
  Replace(env, std::move(global), apply).Reset();
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

}  // namespace Ferrolink::Runtimes::Jvm::Native::JavaCallback
