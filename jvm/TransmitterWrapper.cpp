// The native methods of com.ferrolink.core.transmitter.TransmitterWrapper, bound by the JVM's
// default look-up. Each converts its arguments and calls one operation. An error becomes the
// method's own negative result and the text that getNativeError returns. No method leaves a Java
// exception pending. Exceptions that are not standard exceptions are not caught.
#include <jni.h>

#include <array>
#include <cstddef>
#include <cstdint>
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
#include "native/interfaces/ITransmitter.h"

using Ferrolink::Runtimes::Jvm::Native::FromModifiedUtf8;
using Ferrolink::Runtimes::Jvm::Native::ToModifiedUtf8;
namespace NativeError = Ferrolink::Runtimes::Jvm::Native::NativeError;
namespace JavaCallback = Ferrolink::Runtimes::Jvm::Native::JavaCallback;
namespace Jni = Ferrolink::Runtimes::Jvm::Native::Jni;

namespace {

using Ferrolink::Native::transmitter;
using Ferrolink::Native::Interfaces::ITransmitter;

// The shortest message that names a channel and both runtimes, in bytes.
constexpr jsize kShortestDeployment = 10;

template <class Body>
jint Guarded(jint failure, Body body) {
  try {
    return body();
  } catch (const std::exception& error) {
    NativeError::Store(error.what());
    return failure;
  }
}

[[noreturn]] void Raise(const char* text) {
  throw FerrolinkNativeException(std::string("JVM Lib: Exception code ") + text, "Unknown");
}

void RequireArray(jbyteArray array) {
  if (array == nullptr) {
    Raise("002. Command byte array is null");
  }
}

ITransmitter& CurrentTransmitter() {
  ITransmitter* current = transmitter.load();
  if (current == nullptr) {
    throw FerrolinkNativeException(
        "Ferrolink Native Exception: Exception code 020. \nNo channel selected", "Unknown");
  }
  return *current;
}

/// A Java string as an argument. A null string fails with the text of libstdc++ for a null pointer,
/// written out here because standard libraries differ. The JVM's characters are released after the
/// call that uses the text.
class TextArgument {
 public:
  TextArgument() = default;
  TextArgument(JNIEnv* env, jstring string, jboolean* copied) { Take(env, string, copied); }

  void Take(JNIEnv* env, jstring string, jboolean* copied) {
    if (string != nullptr) {
      m_characters.emplace(env, string, copied);
      if (m_characters->get() != nullptr) {
        return;
      }
      Jni::ClearPendingException(env);
    }
    throw std::logic_error("basic_string::_M_construct null not valid");
  }

  [[nodiscard]] std::string Copy() const { return FromModifiedUtf8(m_characters->get()); }

 private:
  std::optional<Jni::StringCharacters> m_characters;
};

void RequireElements(JNIEnv* env, const Jni::ByteArrayElements& elements) {
  if (elements.get() == nullptr) {
    Jni::ClearPendingException(env);
    Raise("001. Failed to access command byte array");
  }
}

std::uint8_t* BytesOf(const Jni::ByteArrayElements& elements) {
  return reinterpret_cast<std::uint8_t*>(elements.get());
}

jint sendCommand(JNIEnv* env, jbyteArray message) {
  AtStartUp();
  RequireArray(message);
  const jsize length = env->GetArrayLength(message);
  if (length == 0) {
    return 0;
  }
  jboolean copied = JNI_FALSE;
  const Jni::ByteArrayElements elements(env, message, &copied);
  RequireElements(env, elements);
  return CurrentTransmitter().SendCommand(BytesOf(elements), length);
}

/// Zeroed bytes for one response. Small ones are stored in the object itself.
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

  [[nodiscard]] std::uint8_t* Bytes() { return m_bytes; }
  [[nodiscard]] jbyte* JavaBytes() { return reinterpret_cast<jbyte*>(m_bytes); }

 private:
  std::array<std::uint8_t, 2048> m_small;
  std::vector<std::uint8_t> m_large;
  std::uint8_t* m_bytes = m_small.data();
};

// Only the first byte is read from Java: the target runtime, by which the in-memory channel routes.
jint readResponse(JNIEnv* env, jbyteArray buffer) {
  RequireArray(buffer);
  const jsize length = env->GetArrayLength(buffer);
  if (length == 0) {
    return 0;
  }
  ResponseBuffer response(static_cast<std::size_t>(length));
  env->GetByteArrayRegion(buffer, 0, 1, response.JavaBytes());
  CurrentTransmitter().ReadResponse(response.Bytes(), length);
  env->SetByteArrayRegion(buffer, 0, length, response.JavaBytes());
  return 0;
}

jint deployRuntime(JNIEnv* env, jbyteArray message, jstring path, jint flag) {
  AtStartUp();
  RequireArray(message);
  const jsize length = env->GetArrayLength(message);
  TextArgument pathText;  // released after the elements
  const Jni::ByteArrayElements elements(env, message, &isCopy);
  RequireElements(env, elements);
  pathText.Take(env, path, &isCopy);
  if (length < kShortestDeployment) {
    // The text gives the limit of sendCommand; error texts are an interface.
    throw FerrolinkNativeException("Message byte array length is less than 11", "Unknown");
  }
  return CurrentTransmitter().DeployRuntime(BytesOf(elements), length, pathText.Copy(),
                                            static_cast<std::uint8_t>(flag));
}

}  // namespace

#define TRANSMITTER_WRAPPER(result, method) \
  extern "C" JNIEXPORT result JNICALL       \
      Java_com_ferrolink_core_transmitter_TransmitterWrapper_##method

TRANSMITTER_WRAPPER(jint, sendCommand)(JNIEnv* env, jobject /*self*/, jbyteArray message) {
  return Guarded(-2, [&] { return sendCommand(env, message); });
}

TRANSMITTER_WRAPPER(jint, readResponse)(JNIEnv* env, jobject /*self*/, jbyteArray buffer) {
  return Guarded(-3, [&] { return readResponse(env, buffer); });
}

TRANSMITTER_WRAPPER(jint, setEmbeddedRuntime)
(JNIEnv* env, jobject /*self*/, jint callingRuntime, jint calledRuntime, jint launchArgument,
 jstring path) {
  return Guarded(-4, [&] {
    AtStartUp();
    const TextArgument pathText(env, path, &isCopy);
    return CurrentTransmitter().SetEmbeddedRuntime(
        static_cast<std::uint8_t>(callingRuntime), static_cast<std::uint8_t>(calledRuntime),
        static_cast<std::uint8_t>(launchArgument), pathText.Copy());
  });
}

TRANSMITTER_WRAPPER(jint, deployRuntime)
(JNIEnv* env, jobject /*self*/, jbyteArray message, jstring path, jint flag) {
  return Guarded(-5, [&] { return deployRuntime(env, message, path, flag); });
}

TRANSMITTER_WRAPPER(jint, setConfigSource)(JNIEnv* env, jobject /*self*/, jstring source) {
  return Guarded(-6, [&] {
    const TextArgument text(env, source, nullptr);
    return SetConfigSource(text.Copy());
  });
}

TRANSMITTER_WRAPPER(jint, setWorkingDirectory)(JNIEnv* env, jobject /*self*/, jstring path) {
  return Guarded(-7, [&] {
    const TextArgument text(env, path, nullptr);
    return SetWorkingDirectoryPath(text.Copy());
  });
}

TRANSMITTER_WRAPPER(jstring, getNativeError)(JNIEnv* env, jobject /*self*/) {
  try {
    jstring text = env->NewStringUTF(ToModifiedUtf8(NativeError::Text()).c_str());
    Jni::ClearPendingException(env);
    if (text != nullptr) {
      NativeError::ForgetOwn();
    }
    return text;
  } catch (const std::exception&) {
    return nullptr;  // no memory for the text, here or in the JVM
  }
}

TRANSMITTER_WRAPPER(void, setCallback)(JNIEnv* env, jobject /*self*/, jobject callback) {
  JavaCallback::Set(env, callback);
}
