#ifndef FERROLINK_JVM_JNIREFERENCES_H
#define FERROLINK_JVM_JNIREFERENCES_H

#include <jni.h>

#include <utility>

/// Owners of JNI resources. Each belongs to the thread of the environment that it was made with,
/// and alone releases its resource. Releasing is allowed while a Java exception is pending and
/// leaves it pending.
namespace Ferrolink::Runtimes::Jvm::Native::Jni {

/// For errors that are raised for a null result: a pending Java exception would disturb every later
/// JNI call of the thread.
inline void ClearPendingException(JNIEnv* env) {
  if (env->ExceptionCheck() != JNI_FALSE) {
    env->ExceptionClear();
  }
}

/// Owns one reference, which `Delete` releases. See LocalReference and GlobalReference.
template <class Reference, void (JNIEnv::*Delete)(jobject)>
class OwnedReference {
 public:
  OwnedReference() = default;
  /// Takes ownership of `adopted`, which may be null.
  OwnedReference(JNIEnv* env, Reference adopted) : m_env(env), m_reference(adopted) {}
  OwnedReference(OwnedReference&& other) noexcept
      : m_env(other.m_env), m_reference(other.Release()) {}
  OwnedReference& operator=(OwnedReference&& other) noexcept {
    if (this != &other) {
      Reset();
      m_env = other.m_env;
      m_reference = other.Release();
    }
    return *this;
  }
  OwnedReference(const OwnedReference&) = delete;
  OwnedReference& operator=(const OwnedReference&) = delete;
  ~OwnedReference() { Reset(); }

  [[nodiscard]] Reference get() const { return m_reference; }
  [[nodiscard]] explicit operator bool() const { return m_reference != nullptr; }
  /// Gives up ownership.
  [[nodiscard]] Reference Release() { return std::exchange(m_reference, nullptr); }

  void Reset() {
    if (m_reference != nullptr) {
      (m_env->*Delete)(std::exchange(m_reference, nullptr));
    }
  }

 private:
  JNIEnv* m_env = nullptr;
  Reference m_reference = nullptr;
};

/// Owns one local reference.
template <class Reference>
using LocalReference = OwnedReference<Reference, &JNIEnv::DeleteLocalRef>;

/// Owns one global reference while one thread handles it. A reference that several threads share is
/// given up with Release and kept in an atomic; the last owner adopts it again, with an environment
/// of its own thread. A reference that is never adopted again ends with the JVM.
template <class Reference>
using GlobalReference = OwnedReference<Reference, &JNIEnv::DeleteGlobalRef>;

/// A new global reference to the object of `reference`. Null if the JVM cannot make one; a Java
/// exception may then be pending.
template <class Reference>
GlobalReference<Reference> MakeGlobal(JNIEnv* env, Reference reference) {
  return {env, static_cast<Reference>(env->NewGlobalRef(reference))};
}

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

  /// Null if the JVM cannot supply the elements.
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

  /// Null if the JVM cannot supply the characters.
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

}  // namespace Ferrolink::Runtimes::Jvm::Native::Jni

#endif
