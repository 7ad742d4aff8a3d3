#ifndef FERROLINK_TESTS_JVM_JAVAHOST_H
#define FERROLINK_TESTS_JVM_JAVAHOST_H

#include <jni.h>

#include <functional>
#include <string>

#include "tests/jvm/LauncherFixture.h"
#include "tests/transport/TransportFixture.h"

/// Java code that calls the native methods of TransmitterWrapper, on the fake JVM.
namespace FerrolinkTest {

/// A thread of the JVM: attached as long as this lives, with the native methods as Java calls them.
class JavaThread {
 public:
  explicit JavaThread(JavaVM* vm);
  JavaThread(const JavaThread&) = delete;
  JavaThread& operator=(const JavaThread&) = delete;
  ~JavaThread();

  [[nodiscard]] JNIEnv* env() const { return m_env; }

  [[nodiscard]] jbyteArray array(const Bytes& bytes) const;
  [[nodiscard]] jstring string(const std::string& modifiedUtf8) const;
  [[nodiscard]] Bytes contents(jbyteArray array) const;

  jint sendCommand(jbyteArray message) const;
  jint readResponse(jbyteArray buffer) const;
  jint setEmbeddedRuntime(jint calling, jint called, jint argument, jstring path) const;
  jint deployRuntime(jbyteArray message, jstring path, jint flag) const;
  jint setConfigSource(jstring source) const;
  jint setWorkingDirectory(jstring path) const;
  [[nodiscard]] jstring getNativeError() const;
  void setCallback(jobject callback) const;

  /// What getNativeError returns, as modified UTF-8.
  [[nodiscard]] std::string nativeError() const;
  /// "<result>", and what getNativeError then says where it is negative: "-2: <text>".
  [[nodiscard]] std::string outcome(jint result) const;

 private:
  JavaVM* m_vm;
  JNIEnv* m_env = nullptr;
};

/// The process's JVM, and its main thread.
struct JavaHost {
  /// Reports what one call of a native method came to, in three entries: its outcome, the JNI calls
  /// it made (joined by blanks), and what it left behind: "nothing", or counts of references,
  /// elements, characters and exceptions.
  void reportCall(const std::function<jint()>& method);
  /// The same without an outcome.
  void reportVoidCall(const std::function<void()>& method);

  FakeJvmClient jvm{FAKEJVM_PATH};
  JavaVM* vm = jvm.startJvm();
  JavaThread thread{vm};

 private:
  [[nodiscard]] std::string left(const FakeJvm::Counts& before);
};

/// A tree with the runtimes Cpp (8) and Jvm (2) and the TCP client, all fakes.
class CallerTree : public SiblingTree {
 public:
  CallerTree();

  /// Runs the case, which must end well and report this.
  void expect(const std::string& name, const Texts& expected, const CaseOptions& options = {});

  /// The last call on a sibling, "" where there was none.
  [[nodiscard]] std::string lastCall() const;
};

/// Has the fake Cpp runtime throw "<operation> failed" in that operation.
CaseOptions throwingIn(const char* operation);

/// Texts of the native methods' own errors.
inline const std::string kNoBytes =
    "JVM Lib: Exception code 001. Failed to access command byte array";
inline const std::string kNullArray = "JVM Lib: Exception code 002. Command byte array is null";
inline const std::string kTooShort = "Message byte array length is less than 11";
inline const std::string kNullString = "basic_string::_M_construct null not valid";

/// Blank-separated.
std::string words(const Texts& texts);

}  // namespace FerrolinkTest

#endif
