// Java on the fake JVM, as the native methods of the built library see it. An exception that left
// one of them would end the process.
#include <jni.h>

#include "tests/faults/LibcScenarios.h"

namespace FerrolinkTest {
namespace {

class NativeMethods : public LibcScenario {
 public:
  explicit NativeMethods(const BuiltLibrary& library) : m_library(library) {}

  std::vector<Step> steps() override {
    m_vm = m_jvm.startJvm();
    m_vm->AttachCurrentThread(reinterpret_cast<void**>(&m_own), nullptr);
    return {
        {"error text",
         [this] { return method([this](JNIEnv* env) { return textOf(error(env)); }); }},
        {"callback", [this] { return setCallback(true); }},
        {"callback without apply", [this] { return setCallback(false); }},
        {"callback again", [this] { return setCallback(true); }},
        {"in memory", [this] { return sendAndRead(8); }},
        {"missing runtime", [this] { return sendAndRead(4); }},
        {"embed", [this] { return embed(); }},
        {"deploy", [this] { return deploy(); }},
        {"configure", [this] { return configure(); }},
        {"called", [this] { return called(); }},
    };
  }

  std::string left() override {
    const FakeJvm::Counts counts = m_jvm.counts();
    std::string text;
    for (const long count : {counts.localReferences, counts.globalReferences, counts.elements,
                             counts.characters, counts.droppedByDetach, counts.attachedThreads}) {
      text += std::to_string(count) + " ";
    }
    return text;
  }

 private:
  template <class... Arguments>
  auto native(const char* name) const {
    const std::string prefix = "Java_com_ferrolink_core_transmitter_TransmitterWrapper_";
    return m_library.find<Arguments...>((prefix + name).c_str());
  }

  /// On a thread of Java's, whose local references end with it; a pending exception is told.
  std::string method(const std::function<std::string(JNIEnv*)>& body) {
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

  std::string outcome(JNIEnv* env, jint result) {
    return std::to_string(result) + (result < 0 ? ": " + textOf(env) : "");
  }

  /// What getNativeError says, while nothing fails.
  std::string textOf(JNIEnv* env) {
    jstring text = native<jstring(JNIEnv*, jobject)>("getNativeError")(env, nullptr);
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
  JNIEnv* error(JNIEnv* env) {
    native<jint(JNIEnv*, jobject, jbyteArray)>("sendCommand")(env, nullptr, nullptr);
    return env;
  }

  std::string setCallback(bool withApply) {
    return method([&](JNIEnv* env) {
      jobject callback = m_jvm.makeObject(withApply);
      native<void(JNIEnv*, jobject, jobject)>("setCallback")(env, nullptr, callback);
      env->DeleteLocalRef(callback);
      return std::string("registered");
    });
  }

  static jbyteArray array(JNIEnv* env, const Bytes& bytes) {
    const auto size = static_cast<jsize>(bytes.size());
    jbyteArray made = env->NewByteArray(size);
    env->SetByteArrayRegion(made, 0, size, reinterpret_cast<const jbyte*>(bytes.data()));
    return made;
  }

  std::string sendAndRead(std::uint8_t runtime) {
    return method([&](JNIEnv* env) {
      Bytes bytes = toRuntime8(0);
      bytes[0] = runtime;
      jbyteArray command = array(env, bytes);
      jbyteArray buffer = array(env, {runtime, 0, 0});
      const jint sent =
          native<jint(JNIEnv*, jobject, jbyteArray)>("sendCommand")(env, nullptr, command);
      std::string text = outcome(env, sent);
      if (sent >= 0) {
        const jint read =
            native<jint(JNIEnv*, jobject, jbyteArray)>("readResponse")(env, nullptr, buffer);
        text = read < 0 ? outcome(env, read) : text + " " + std::to_string(read);
      }
      env->DeleteLocalRef(command);
      env->DeleteLocalRef(buffer);
      return text;
    });
  }

  std::string embed() {
    return method([&](JNIEnv* env) {
      jstring path = env->NewStringUTF("/some/path");
      const jint result = native<jint(JNIEnv*, jobject, jint, jint, jint, jstring)>(
          "setEmbeddedRuntime")(env, nullptr, 2, 8, 0, path);
      std::string text = outcome(env, result);
      env->DeleteLocalRef(path);
      return text;
    });
  }

  std::string deploy() {
    return method([&](JNIEnv* env) {
      jstring path = env->NewStringUTF("/some/path");
      jbyteArray command = array(env, toRuntime8(0));
      const jint result = native<jint(JNIEnv*, jobject, jbyteArray, jstring, jint)>(
          "deployRuntime")(env, nullptr, command, path, 1);
      std::string text = outcome(env, result);
      env->DeleteLocalRef(path);
      env->DeleteLocalRef(command);
      return text;
    });
  }

  std::string configure() {
    return method([&](JNIEnv* env) {
      jstring source = env->NewStringUTF("source");
      const jint result =
          native<jint(JNIEnv*, jobject, jstring)>("setConfigSource")(env, nullptr, source);
      std::string text = outcome(env, result);
      env->DeleteLocalRef(source);
      return text;
    });
  }

  /// What another runtime's command comes to, which the callback answers.
  std::string called() {
    const std::string thrown = thrownBy([this] { m_library.receiver()->Initialize(2, 2, 0); });
    return thrown == "(nothing thrown)" ? exchange(*m_library.receiver(), toJava(2)) : thrown;
  }

  const BuiltLibrary& m_library;
  FakeJvmClient m_jvm{FAKEJVM_PATH};
  JavaVM* m_vm = nullptr;
  JNIEnv* m_own = nullptr;
};

}  // namespace

std::unique_ptr<LibcScenario> nativeMethods(const BuiltLibrary& library) {
  return std::make_unique<NativeMethods>(library);
}

}  // namespace FerrolinkTest
