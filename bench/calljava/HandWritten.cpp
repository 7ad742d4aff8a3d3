#include "bench/calljava/HandWritten.h"

#include <cstring>
#include <mutex>
#include <stdexcept>
#include <string>

#include "bench/harness/JavaHost.h"
#include "native/BriefMutex.h"

namespace Ferrolink::Bench {

JavaMethod FindMethod(JNIEnv* env, const char* className, const char* name) {
  JavaMethod method;
  env->GetJavaVM(&method.vm);
  jclass local = env->FindClass(className);
  if (local == nullptr) {
    throw std::runtime_error(std::string("no class ") + className);
  }
  method.receiver = static_cast<jclass>(env->NewGlobalRef(local));
  env->DeleteLocalRef(local);
  method.sendCommand = env->GetStaticMethodID(method.receiver, name, "([B)[B");
  return method;
}

JavaMethod FindReceiver(JavaVM* vm) {
  const Attached thread(vm);
  return FindMethod(thread.Env(), "com/ferrolink/core/receiver/Receiver", "sendCommand");
}

int CallWithFloor(JNIEnv* env, const JavaMethod& method, const std::uint8_t* message, int length,
                  std::uint8_t* answer) {
  jbyteArray command = env->NewByteArray(length);
  env->SetByteArrayRegion(command, 0, length, reinterpret_cast<const jbyte*>(message));
  auto response = static_cast<jbyteArray>(
      env->CallStaticObjectMethod(method.receiver, method.sendCommand, command));
  jsize answered = 0;
  if (env->ExceptionCheck() == JNI_FALSE) {
    answered = env->GetArrayLength(response);
    env->GetByteArrayRegion(response, 0, answered, reinterpret_cast<jbyte*>(answer));
  }
  env->DeleteLocalRef(response);
  env->DeleteLocalRef(command);
  return answered;
}

namespace {

// Only checks for an exception; the library would compose an error text.
void Check(JNIEnv* env) {
  if (env->ExceptionCheck() != JNI_FALSE) [[unlikely]] {
    throw std::runtime_error("an exception in Java");
  }
}

jbyteArray MakeCommand(JNIEnv* env, const std::uint8_t* message, int length) {
  jbyteArray command = env->NewByteArray(length);
  Check(env);
  env->SetByteArrayRegion(command, 0, length, reinterpret_cast<const jbyte*>(message));
  Check(env);
  return command;
}

jbyteArray MakeCommandUnderLock(JNIEnv* env, const std::uint8_t* message, int length) {
  static Ferrolink::Native::BriefMutex mutex;
  const std::lock_guard<Ferrolink::Native::BriefMutex> lock(mutex);
  return MakeCommand(env, message, length);
}

template <auto make>
int Send(JNIEnv* env, const JavaMethod& method, const std::uint8_t* message, int length,
         std::vector<std::uint8_t>& waiting) {
  jbyteArray command = make(env, message, length);
  auto response = static_cast<jbyteArray>(
      env->CallStaticObjectMethod(method.receiver, method.sendCommand, command));
  Check(env);
  jbyte* elements = env->GetByteArrayElements(response, nullptr);
  Check(env);
  const jsize answered = env->GetArrayLength(response);
  Check(env);
  if (waiting.size() < static_cast<std::size_t>(answered)) {
    waiting.resize(static_cast<std::size_t>(answered));
  }
  std::memcpy(waiting.data(), elements, static_cast<std::size_t>(answered));
  env->ReleaseByteArrayElements(response, elements, JNI_ABORT);
  env->DeleteLocalRef(command);
  env->DeleteLocalRef(response);
  return answered;
}

template <auto make>
int Call(const JavaMethod& method, const std::uint8_t* message, int length, std::uint8_t* answer,
         std::vector<std::uint8_t>& waiting) {
  JNIEnv* env = nullptr;
  const bool attach = method.vm->GetEnv(reinterpret_cast<void**>(&env), JNI_VERSION_1_8) != JNI_OK;
  if (attach) {
    method.vm->AttachCurrentThread(reinterpret_cast<void**>(&env), nullptr);
  }
  const int answered = Send<make>(env, method, message, length, waiting);
  if (attach) {
    method.vm->DetachCurrentThread();
  }
  std::memcpy(answer, waiting.data(), static_cast<std::size_t>(answered));
  return answered;
}

}  // namespace

int CallWithSameSequence(const JavaMethod& method, const std::uint8_t* message, int length,
                         std::uint8_t* answer, std::vector<std::uint8_t>& waiting) {
  return Call<MakeCommand>(method, message, length, answer, waiting);
}

int CallWithOneLock(const JavaMethod& method, const std::uint8_t* message, int length,
                    std::uint8_t* answer, std::vector<std::uint8_t>& waiting) {
  return Call<MakeCommandUnderLock>(method, message, length, answer, waiting);
}

}  // namespace Ferrolink::Bench
