#ifndef FERROLINK_JVM_JNIREFERENCES_H
#define FERROLINK_JVM_JNIREFERENCES_H

#include <jni.h>

#include <utility>

/// Owners of JNI resources. Each is tied to the environment, hence to the thread, that made it;
/// only its owner releases it. Releasing is allowed while a Java exception is pending and leaves it
/// so.
namespace Jni {

/// For codes that are raised for a null result: the Java exception behind it would disturb every
/// later JNI call of the thread.
inline void ClearPendingException(JNIEnv* env) {
  if (env->ExceptionCheck() != JNI_FALSE) {
    env->ExceptionClear();
  }
}

/// Owns one local reference.
template <class Reference>
class LocalReference {
 public:
  LocalReference() = default;
  LocalReference(JNIEnv* env, Reference adopted) : m_env(env), m_reference(adopted) {}
  LocalReference(LocalReference&& other) noexcept
      : m_env(other.m_env), m_reference(other.Release()) {}
  LocalReference& operator=(LocalReference&& other) noexcept {
    if (this != &other) {
      Reset();
      m_env = other.m_env;
      m_reference = other.Release();
    }
    return *this;
  }
  LocalReference(const LocalReference&) = delete;
  LocalReference& operator=(const LocalReference&) = delete;
  ~LocalReference() { Reset(); }

  [[nodiscard]] Reference get() const { return m_reference; }
  [[nodiscard]] explicit operator bool() const { return m_reference != nullptr; }
  [[nodiscard]] Reference Release() { return std::exchange(m_reference, nullptr); }

  void Reset() {
    if (m_reference != nullptr) {
      m_env->DeleteLocalRef(std::exchange(m_reference, nullptr));
    }
  }

 private:
  JNIEnv* m_env = nullptr;
  Reference m_reference = nullptr;
};

/// Owns the elements of a byte array, for reading: changes are never written back.
class ByteArrayElements {
 public:
  ByteArrayElements(JNIEnv* env, jbyteArray array, jboolean* copied = nullptr)
      : m_env(env), m_array(array), m_elements(env->GetByteArrayElements(array, copied)) {}
  ByteArrayElements(const ByteArrayElements&) = delete;
  ByteArrayElements& operator=(const ByteArrayElements&) = delete;
  ~ByteArrayElements() {
    if (m_elements != nullptr) {
      m_env->ReleaseByteArrayElements(m_array, m_elements, JNI_ABORT);
    }
  }

  /// Null where the JVM could not supply the elements.
  [[nodiscard]] jbyte* get() const { return m_elements; }

 private:
  JNIEnv* m_env;
  jbyteArray m_array;
  jbyte* m_elements;
};

/// Owns the modified UTF-8 characters of a string.
class StringCharacters {
 public:
  StringCharacters(JNIEnv* env, jstring string, jboolean* copied = nullptr)
      : m_env(env), m_string(string), m_characters(env->GetStringUTFChars(string, copied)) {}
  StringCharacters(const StringCharacters&) = delete;
  StringCharacters& operator=(const StringCharacters&) = delete;
  ~StringCharacters() { Reset(); }

  /// Null where the JVM could not supply the characters.
  [[nodiscard]] const char* get() const { return m_characters; }

  void Reset() {
    if (m_characters != nullptr) {
      m_env->ReleaseStringUTFChars(m_string, std::exchange(m_characters, nullptr));
    }
  }

 private:
  JNIEnv* m_env;
  jstring m_string;
  const char* m_characters;
};

}  // namespace Jni

#endif
