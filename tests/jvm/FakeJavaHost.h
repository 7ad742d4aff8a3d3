#ifndef FERROLINK_TESTS_JVM_FAKEJAVAHOST_H
#define FERROLINK_TESTS_JVM_FAKEJAVAHOST_H

#include <jni.h>

#include <functional>
#include <string>

#include "tests/jvm/LauncherFixture.h"
#include "tests/transport/TransportFixture.h"

/// Java code that calls the native methods of TransmitterWrapper, on the fake JVM.
namespace Ferrolink::Tests {

/// A thread of the JVM, attached while this object lives, with the native methods as Java calls
/// them.
class JavaThread {
 public:
  explicit JavaThread(JavaVM* vm);
  JavaThread(const JavaThread&) = delete;
  JavaThread& operator=(const JavaThread&) = delete;
  ~JavaThread();

  [[nodiscard]] JNIEnv* Env() const { return m_env; }

  [[nodiscard]] jbyteArray Array(const Bytes& bytes) const;
  [[nodiscard]] jstring String(const std::string& modifiedUtf8) const;
  [[nodiscard]] Bytes Contents(jbyteArray array) const;

  jint sendCommand(jbyteArray message) const;
  jint readResponse(jbyteArray buffer) const;
  jint setEmbeddedRuntime(jint calling, jint called, jint argument, jstring path) const;
  jint deployRuntime(jbyteArray message, jstring path, jint flag) const;
  jint setConfigSource(jstring source) const;
  jint setWorkingDirectory(jstring path) const;
  [[nodiscard]] jstring getNativeError() const;
  void setCallback(jobject callback) const;

  /// The result of getNativeError, as modified UTF-8.
  [[nodiscard]] std::string NativeError() const;
  /// "<result>"; for a negative one followed by the text of getNativeError: "-2: <text>".
  [[nodiscard]] std::string Outcome(jint result) const;

 private:
  JavaVM* m_vm;
  JNIEnv* m_env = nullptr;
};

/// The JVM of the process, and its main thread.
struct FakeJavaHost {
  /// Reports one call of a native method in three entries: its outcome, its JNI calls (joined by
  /// blanks), and what it left behind: "nothing", or counts of references, elements, characters and
  /// exceptions.
  void ReportCall(const std::function<jint()>& method);
  /// The same without an outcome.
  void ReportVoidCall(const std::function<void()>& method);

  FakeJvmClient jvm{FAKEJVM_PATH};
  JavaVM* vm = jvm.StartJvm();
  JavaThread thread{vm};

 private:
  [[nodiscard]] std::string Left(const FakeJvm::Counts& before);
};

/// A tree with the runtimes Cpp (8) and Jvm (2) and the TCP client, all fakes.
class CallerTree : public SiblingTree {
 public:
  CallerTree();

  /// Runs the case and expects that it ends well and reports this.
  void Expect(const std::string& name, const Texts& expected, const CaseOptions& options = {});

  /// The last call on a sibling; "" if there was none.
  [[nodiscard]] std::string LastCall() const;
};

/// Makes the fake Cpp runtime throw "<operation> failed" in that operation.
CaseOptions ThrowingIn(const char* operation);

/// Texts of the native methods' own errors.
inline const std::string kNoBytes =
    "JVM Lib: Exception code 001. Failed to access command byte array";
inline const std::string kNullArray = "JVM Lib: Exception code 002. Command byte array is null";
inline const std::string kTooShort = "Message byte array length is less than 11";
inline const std::string kNullString = "basic_string::_M_construct null not valid";

/// Blank-separated.
std::string Words(const Texts& texts);

}  // namespace Ferrolink::Tests

#endif
