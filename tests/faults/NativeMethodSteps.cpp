// Java on the fake JVM, as the native methods of the built library see it. An exception that left
// one of them would end the process.
#include <jni.h>

#include "tests/faults/LibcScenarios.h"

namespace Ferrolink::Tests {
namespace {

class NativeMethods : public LibcScenario {
 public:
  explicit NativeMethods(const BuiltLibrary& library) : m_library(library) {}

  std::vector<Step> Steps() override {
    m_vm = m_jvm.StartJvm();
    m_vm->AttachCurrentThread(reinterpret_cast<void**>(&m_own), nullptr);
    return {
        {"error text",
         [this] { return Method([this](JNIEnv* env) { return TextOf(Error(env)); }); }},
        {"callback", [this] { return setCallback(true); }},
        {"callback without apply", [this] { return setCallback(false); }},
        {"callback again", [this] { return setCallback(true); }},
        {"in memory", [this] { return SendAndRead(8); }},
        {"missing runtime", [this] { return SendAndRead(4); }},
        {"embed", [this] { return Embed(); }},
        {"deploy", [this] { return Deploy(); }},
        {"configure", [this] { return Configure(); }},
        {"called", [this] { return Called(); }},
    };
  }

  std::string Left() override {
    const FakeJvm::Counts counts = m_jvm.Counts();
    std::string text;
    for (const long count : {counts.localReferences, counts.globalReferences, counts.elements,
                             counts.characters, counts.droppedByDetach, counts.attachedThreads}) {
      text += std::to_string(count) + " ";
    }
    return text;
  }

 private:
  template <class... Arguments>
  auto Native(const char* name) const {
    const std::string prefix = "Java_com_ferrolink_core_transmitter_TransmitterWrapper_";
    return m_library.Find<Arguments...>((prefix + name).c_str());
  }

  /// On a thread of Java's, whose local references end with it; a pending exception is told.
  std::string Method(const std::function<std::string(JNIEnv*)>& body) {
    JNIEnv* env = nullptr;
    const bool known = m_vm->GetEnv(reinterpret_cast<void**>(&env), JNI_VERSION_1_8) == JNI_OK;
    if (!known) {
      m_vm->AttachCurrentThread(reinterpret_cast<void**>(&env), nullptr);
    }
    std::string text = body(env);
    if (env->ExceptionCheck() != JNI_FALSE) {
      text = "an exception is pending";
      env->ExceptionClear();
    }
    if (!known) {
      m_vm->DetachCurrentThread();
    }
    return text;
  }

  std::string Outcome(JNIEnv* env, jint result) {
    return std::to_string(result) + (result < 0 ? ": " + TextOf(env) : "");
  }

  /// What getNativeError says, while nothing fails.
  std::string TextOf(JNIEnv* env) {
    jstring text = Native<jstring(JNIEnv*, jobject)>("getNativeError")(env, nullptr);
    if (text == nullptr) {
      return "null";
    }
    const char* characters = env->GetStringUTFChars(text, nullptr);
    std::string copy = characters;
    env->ReleaseStringUTFChars(text, characters);
    env->DeleteLocalRef(text);
    return copy;
  }

  // The call that fails is not among those with which the error is made.
  JNIEnv* Error(JNIEnv* env) {
    Native<jint(JNIEnv*, jobject, jbyteArray)>("sendCommand")(env, nullptr, nullptr);
    return env;
  }

  std::string setCallback(bool withApply) {
    return Method([&](JNIEnv* env) {
      jobject callback = m_jvm.MakeObject(withApply);
      Native<void(JNIEnv*, jobject, jobject)>("setCallback")(env, nullptr, callback);
      env->DeleteLocalRef(callback);
      return std::string("registered");
    });
  }

  static jbyteArray Array(JNIEnv* env, const Bytes& bytes) {
    const auto size = static_cast<jsize>(bytes.size());
    jbyteArray made = env->NewByteArray(size);
    env->SetByteArrayRegion(made, 0, size, reinterpret_cast<const jbyte*>(bytes.data()));
    return made;
  }

  std::string SendAndRead(std::uint8_t runtime) {
    return Method([&](JNIEnv* env) {
      Bytes bytes = ToRuntime8(0);
      bytes[0] = runtime;
      jbyteArray command = Array(env, bytes);
      jbyteArray buffer = Array(env, {runtime, 0, 0});
      const jint sent =
          Native<jint(JNIEnv*, jobject, jbyteArray)>("sendCommand")(env, nullptr, command);
      std::string text = Outcome(env, sent);
      if (sent >= 0) {
        const jint read =
            Native<jint(JNIEnv*, jobject, jbyteArray)>("readResponse")(env, nullptr, buffer);
        text = read < 0 ? Outcome(env, read) : text + " " + std::to_string(read);
      }
      env->DeleteLocalRef(command);
      env->DeleteLocalRef(buffer);
      return text;
    });
  }

  std::string Embed() {
    return Method([&](JNIEnv* env) {
      jstring path = env->NewStringUTF("/some/path");
      const jint result = Native<jint(JNIEnv*, jobject, jint, jint, jint, jstring)>(
          "setEmbeddedRuntime")(env, nullptr, 2, 8, 0, path);
      std::string text = Outcome(env, result);
      env->DeleteLocalRef(path);
      return text;
    });
  }

  std::string Deploy() {
    return Method([&](JNIEnv* env) {
      jstring path = env->NewStringUTF("/some/path");
      jbyteArray command = Array(env, ToRuntime8(0));
      const jint result = Native<jint(JNIEnv*, jobject, jbyteArray, jstring, jint)>(
          "deployRuntime")(env, nullptr, command, path, 1);
      std::string text = Outcome(env, result);
      env->DeleteLocalRef(path);
      env->DeleteLocalRef(command);
      return text;
    });
  }

  std::string Configure() {
    return Method([&](JNIEnv* env) {
      jstring source = env->NewStringUTF("source");
      const jint result =
          Native<jint(JNIEnv*, jobject, jstring)>("setConfigSource")(env, nullptr, source);
      std::string text = Outcome(env, result);
      env->DeleteLocalRef(source);
      return text;
    });
  }

  /// What another runtime's command comes to, which the callback answers.
  std::string Called() {
    const std::string thrown = ThrownBy([this] { m_library.Receiver()->Initialize(2, 2, 0); });
    return thrown == "(nothing thrown)" ? Exchange(*m_library.Receiver(), ToJava(2)) : thrown;
  }

  const BuiltLibrary& m_library;
  FakeJvmClient m_jvm{FAKEJVM_PATH};
  JavaVM* m_vm = nullptr;
  JNIEnv* m_own = nullptr;
};

}  // namespace

std::unique_ptr<LibcScenario> MakeNativeMethods(const BuiltLibrary& library) {
  return std::make_unique<NativeMethods>(library);
}

}  // namespace Ferrolink::Tests
