// The native methods of com.ferrolink.bench.HandWritten: JNI written by hand to call the echo
// sibling from Java, and Java from the sibling.
#include <dlfcn.h>
#include <jni.h>

#include <cstring>
#include <stdexcept>
#include <string>
#include <vector>

#include "bench/callcpp/EchoSibling.h"
#include "native/interfaces/RuntimeOperationMode.h"

namespace {

using namespace Ferrolink::Bench;
using Ferrolink::Native::Definitions::RuntimeOperationMode;

JavaVM* javaVm = nullptr;
IReceiver* sibling = nullptr;
jobject callback = nullptr;
jmethodID apply = nullptr;
jclass byteArray = nullptr;

std::uint8_t* BytesOf(jbyte* elements) {
  return reinterpret_cast<std::uint8_t*>(elements);
}

void Check(JNIEnv* env) {
  if (env->ExceptionCheck() != JNI_FALSE) [[unlikely]] {
    throw std::runtime_error("an exception in Java");
  }
}

/// Calls the registered callback with exactly the JNI calls of the library, in its order, without
/// its locks and its table of responses.
class JavaByHand final : public IReceiver {
 public:
  int SendCommand(std::uint8_t* message, int length) override {
    JNIEnv* env = nullptr;
    javaVm->GetEnv(reinterpret_cast<void**>(&env), JNI_VERSION_1_8);
    jbyteArray command = env->NewByteArray(length);
    Check(env);
    env->SetByteArrayRegion(command, 0, length, reinterpret_cast<const jbyte*>(message));
    Check(env);
    jobject kept = env->NewLocalRef(callback);
    auto response = static_cast<jbyteArray>(env->CallObjectMethod(kept, apply, command));
    env->DeleteLocalRef(kept);
    Check(env);
    if (env->IsInstanceOf(response, byteArray) == JNI_FALSE) {
      throw std::runtime_error("no bytes");
    }
    const int answered = Keep(env, response);
    env->DeleteLocalRef(command);
    env->DeleteLocalRef(response);
    return answered;
  }
  int ReadResponse(std::uint8_t* buffer, int length) override {
    std::memcpy(buffer, m_waiting.data(), static_cast<std::size_t>(length));
    return 0;
  }

  int SetConfigSource(std::string) override { return 0; }
  int Initialize(std::uint8_t, std::uint8_t, std::uint8_t) override { return 0; }
  void LogException(std::uint8_t*, int) override {}
  int LoadOptimizedMethod(std::string) override { return 0; }
  int SetEmbeddedRuntime(std::uint8_t, std::string) override { return 0; }
  int DeployRuntime(std::uint8_t*, int, std::string, std::uint8_t) override { return 0; }

 private:
  static int Keep(JNIEnv* env, jbyteArray response) {
    jbyte* elements = env->GetByteArrayElements(response, nullptr);
    Check(env);
    const jsize length = env->GetArrayLength(response);
    Check(env);
    if (m_waiting.size() < static_cast<std::size_t>(length)) {
      m_waiting.resize(static_cast<std::size_t>(length));
    }
    std::memcpy(m_waiting.data(), elements, static_cast<std::size_t>(length));
    env->ReleaseByteArrayElements(response, elements, JNI_ABORT);
    return length;
  }

  static thread_local std::vector<std::uint8_t> m_waiting;
};

thread_local std::vector<std::uint8_t> JavaByHand::m_waiting;

}  // namespace

#define HAND_WRITTEN(result, method) \
  extern "C" JNIEXPORT result JNICALL Java_com_ferrolink_bench_HandWritten_##method

HAND_WRITTEN(void, open)(JNIEnv* env, jclass /*self*/, jstring path) {
  const char* file = env->GetStringUTFChars(path, nullptr);
  void* library = dlopen(file, RTLD_NOW | RTLD_LOCAL);
  env->ReleaseStringUTFChars(path, file);
  using CreateReceiver = IReceiver*(RuntimeOperationMode);
  sibling = reinterpret_cast<CreateReceiver*>(dlsym(library, "CreateReceiver"))(
      RuntimeOperationMode::CalledRuntime);
  reinterpret_cast<SetHandWritten*>(dlsym(library, "BenchSetHandWritten"))(new JavaByHand);
  env->GetJavaVM(&javaVm);
  byteArray = static_cast<jclass>(env->NewGlobalRef(env->FindClass("[B")));
}

HAND_WRITTEN(void, setCallback)(JNIEnv* env, jclass /*self*/, jobject object) {
  callback = env->NewGlobalRef(object);
  apply = env->GetMethodID(env->GetObjectClass(object), "apply",
                           "(Ljava/lang/Object;)Ljava/lang/Object;");
}

// The JNI calls of the library's sendCommand and readResponse, in their order.
HAND_WRITTEN(jint, sendCommand)(JNIEnv* env, jclass /*self*/, jbyteArray message) {
  const jsize length = env->GetArrayLength(message);
  jboolean copied = JNI_FALSE;
  jbyte* elements = env->GetByteArrayElements(message, &copied);
  const int answered = sibling->SendCommand(BytesOf(elements), length);
  env->ReleaseByteArrayElements(message, elements, JNI_ABORT);
  return answered;
}

HAND_WRITTEN(jint, readResponse)(JNIEnv* env, jclass /*self*/, jbyteArray buffer) {
  const jsize length = env->GetArrayLength(buffer);
  std::vector<std::uint8_t> response(static_cast<std::size_t>(length));
  env->GetByteArrayRegion(buffer, 0, 1, reinterpret_cast<jbyte*>(response.data()));
  sibling->ReadResponse(response.data(), length);
  env->SetByteArrayRegion(buffer, 0, length, reinterpret_cast<const jbyte*>(response.data()));
  return 0;
}

// The least that JNI can do: one copy in, one copy out, into a new array for the answer.
HAND_WRITTEN(jbyteArray, call)(JNIEnv* env, jclass /*self*/, jbyteArray message) {
  static thread_local std::vector<std::uint8_t> bytes(std::size_t{1} << 20U);
  const jsize length = env->GetArrayLength(message);
  env->GetByteArrayRegion(message, 0, length, reinterpret_cast<jbyte*>(bytes.data()));
  const int answered = sibling->SendCommand(bytes.data(), length);
  sibling->ReadResponse(bytes.data(), answered);
  jbyteArray answer = env->NewByteArray(answered);
  env->SetByteArrayRegion(answer, 0, answered, reinterpret_cast<const jbyte*>(bytes.data()));
  return answer;
}
