// The native methods of com.ferrolink.core.transmitter.TransmitterWrapper, bound by the JVM's
// default look-up. Each translates its arguments, calls one operation, and turns an error into its
// own negative result and the text that getNativeError returns; none leaves a Java exception
// pending. Exceptions that are not standard exceptions are not caught.
#include <jni.h>

#include <array>
#include <cstring>
#include <exception>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "jvm/JavaCallback.h"
#include "jvm/JniReferences.h"
#include "jvm/JvmLib.h"
#include "jvm/JvmLibGlobals.h"
#include "jvm/ModifiedUtf8.h"
#include "jvm/NativeError.h"
#include "native/FerrolinkNativeException.h"
#include "native/RoleSingletons.h"

namespace {

using Ferrolink::Native::transmitter;
using Ferrolink::Native::Interfaces::ITransmitter;

// The shortest command whose header names a channel and two runtimes.
constexpr jsize kShortestDeployment = 10;

template <class Body>
jint guarded(jint failure, Body body) {
  try {
    return body();
  } catch (const std::exception& error) {
    NativeError::store(error.what());
    return failure;
  }
}

[[noreturn]] void raise(const char* text) {
  throw FerrolinkNativeException(std::string("JVM Lib: Exception code ") + text, "Unknown");
}

void requireArray(jbyteArray array) {
  if (array == nullptr) {
    raise("002. Command byte array is null");
  }
}

ITransmitter& currentTransmitter() {
  ITransmitter* current = transmitter.load();
  if (current == nullptr) {
    throw FerrolinkNativeException(
        "Ferrolink Native Exception: Exception code 020. \nNo channel selected", "Unknown");
  }
  return *current;
}

/// A Java string as a method's argument. A null one fails with the text that a C++ string makes of
/// it, here in our own words since the standard libraries differ. The JVM's characters are released
/// after the call that the text is for.
class TextArgument {
 public:
  TextArgument() = default;
  TextArgument(JNIEnv* env, jstring string, jboolean* copied) { take(env, string, copied); }

  void take(JNIEnv* env, jstring string, jboolean* copied) {
    if (string != nullptr) {
      m_characters.emplace(env, string, copied);
      if (m_characters->get() != nullptr) {
        return;
      }
      Jni::clearPendingException(env);
    }
    throw std::logic_error("basic_string::_M_construct null not valid");
  }

  [[nodiscard]] std::string copy() const { return fromModifiedUtf8(m_characters->get()); }

 private:
  std::optional<Jni::StringCharacters> m_characters;
};

void requireElements(JNIEnv* env, const Jni::ByteArrayElements& elements) {
  if (elements.get() == nullptr) {
    Jni::clearPendingException(env);
    raise("001. Failed to access command byte array");
  }
}

std::uint8_t* bytesOf(const Jni::ByteArrayElements& elements) {
  return reinterpret_cast<std::uint8_t*>(elements.get());
}

jint sendCommand(JNIEnv* env, jbyteArray message) {
  AtStartUp();
  requireArray(message);
  const jsize length = env->GetArrayLength(message);
  if (length == 0) {
    return 0;
  }
  jboolean copied = JNI_FALSE;
  const Jni::ByteArrayElements elements(env, message, &copied);
  requireElements(env, elements);
  return currentTransmitter().SendCommand(bytesOf(elements), length);
}

/// Zeroed bytes for one response; small ones lie in the object itself.
class ResponseBuffer {
 public:
  explicit ResponseBuffer(std::size_t size) {
    if (size <= m_small.size()) {
      std::memset(m_small.data(), 0, size);
    } else {
      m_large.resize(size);
      m_bytes = m_large.data();
    }
  }
  ResponseBuffer(const ResponseBuffer&) = delete;
  ResponseBuffer& operator=(const ResponseBuffer&) = delete;
  ~ResponseBuffer() = default;

  [[nodiscard]] std::uint8_t* bytes() { return m_bytes; }
  [[nodiscard]] jbyte* javaBytes() { return reinterpret_cast<jbyte*>(m_bytes); }

 private:
  std::array<std::uint8_t, 2048> m_small;
  std::vector<std::uint8_t> m_large;
  std::uint8_t* m_bytes = m_small.data();
};

// One byte comes down: the target runtime, by which in-process channels route the read.
jint readResponse(JNIEnv* env, jbyteArray buffer) {
  requireArray(buffer);
  const jsize length = env->GetArrayLength(buffer);
  if (length == 0) {
    return 0;
  }
  ResponseBuffer response(static_cast<std::size_t>(length));
  env->GetByteArrayRegion(buffer, 0, 1, response.javaBytes());
  currentTransmitter().ReadResponse(response.bytes(), length);
  env->SetByteArrayRegion(buffer, 0, length, response.javaBytes());
  return 0;
}

jint deployRuntime(JNIEnv* env, jbyteArray message, jstring path, jint flag) {
  AtStartUp();
  requireArray(message);
  const jsize length = env->GetArrayLength(message);
  TextArgument pathText;  // released after the elements
  const Jni::ByteArrayElements elements(env, message, &isCopy);
  requireElements(env, elements);
  pathText.take(env, path, &isCopy);
  if (length < kShortestDeployment) {
    throw FerrolinkNativeException("Message byte array length is less than 11", "Unknown");
  }
  return currentTransmitter().DeployRuntime(bytesOf(elements), length, pathText.copy(),
                                            static_cast<std::uint8_t>(flag));
}

}  // namespace

#define TRANSMITTER_WRAPPER(result, method) \
  extern "C" JNIEXPORT result JNICALL       \
      Java_com_ferrolink_core_transmitter_TransmitterWrapper_##method

TRANSMITTER_WRAPPER(jint, sendCommand)(JNIEnv* env, jobject /*self*/, jbyteArray message) {
  return guarded(-2, [&] { return sendCommand(env, message); });
}

TRANSMITTER_WRAPPER(jint, readResponse)(JNIEnv* env, jobject /*self*/, jbyteArray buffer) {
  return guarded(-3, [&] { return readResponse(env, buffer); });
}

TRANSMITTER_WRAPPER(jint, setEmbeddedRuntime)
(JNIEnv* env, jobject /*self*/, jint callingRuntime, jint calledRuntime, jint launchArgument,
 jstring path) {
  return guarded(-4, [&] {
    AtStartUp();
    const TextArgument pathText(env, path, &isCopy);
    return currentTransmitter().SetEmbeddedRuntime(
        static_cast<std::uint8_t>(callingRuntime), static_cast<std::uint8_t>(calledRuntime),
        static_cast<std::uint8_t>(launchArgument), pathText.copy());
  });
}

TRANSMITTER_WRAPPER(jint, deployRuntime)
(JNIEnv* env, jobject /*self*/, jbyteArray message, jstring path, jint flag) {
  return guarded(-5, [&] { return deployRuntime(env, message, path, flag); });
}

TRANSMITTER_WRAPPER(jint, setConfigSource)(JNIEnv* env, jobject /*self*/, jstring source) {
  return guarded(-6, [&] {
    const TextArgument text(env, source, nullptr);
    return SetConfigSource(text.copy());
  });
}

TRANSMITTER_WRAPPER(jint, setWorkingDirectory)(JNIEnv* env, jobject /*self*/, jstring path) {
  return guarded(-7, [&] {
    const TextArgument text(env, path, nullptr);
    return SetWorkingDirectoryPath(text.copy());
  });
}

TRANSMITTER_WRAPPER(jstring, getNativeError)(JNIEnv* env, jobject /*self*/) {
  try {
    jstring text = env->NewStringUTF(toModifiedUtf8(NativeError::text()).c_str());
    Jni::clearPendingException(env);
    if (text != nullptr) {
      NativeError::forgetOwn();
    }
    return text;
  } catch (const std::exception&) {
    return nullptr;  // no memory for it, as where the JVM has none
  }
}

TRANSMITTER_WRAPPER(void, setCallback)(JNIEnv* env, jobject /*self*/, jobject callback) {
  JavaCallback::set(env, callback);
}
