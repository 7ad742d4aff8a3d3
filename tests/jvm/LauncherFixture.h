#ifndef FERROLINK_TESTS_JVM_LAUNCHERFIXTURE_H
#define FERROLINK_TESTS_JVM_LAUNCHERFIXTURE_H

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "jvm/JvmLauncher.h"
#include "tests/fakes/jvm/FakeJvmClient.h"
#include "tests/support/ProcessCase.h"

/// What the launcher's tests share. Bodies of process cases use the fake JVM library that the test
/// named in FERROLINK_JVM_RUNTIME_PATH.
namespace Ferrolink::Tests {

using Bytes = std::vector<std::uint8_t>;
using Texts = std::vector<std::string>;

/// The fake JVM as the JVM to launch, and no echo of errors.
CaseOptions FakeJvmOptions();

/// The fake's settings in which errors are logged in the tree's working directory: see errorLines.
CaseOptions LoggedOptions(const InstallationTree& tree);

/// The errors in the tree's error log, each as its message without the stamp.
Texts LoggedErrors(const InstallationTree& tree);

/// Runs the case in a new tree with FakeJvmOptions; expects that it ends well and reports
/// `expected`. Returns the result for further questions.
CaseResult ExpectReport(const std::string& name, const Texts& expected);
CaseResult ExpectReport(const std::string& name, const Texts& expected,
                        const InstallationTree& tree, const CaseOptions& options);

/// A complete command: byte i holds 100 + i, byte 10 the type.
Bytes Command(std::uint8_t type = 2, std::size_t size = 14);
Bytes LoadLibraryCommand(const std::string& path);

/// A launcher and its fake JVM library.
struct Launched {
  explicit Launched(Ferrolink::Native::Definitions::RuntimeOperationMode mode =
                        Ferrolink::Native::Definitions::RuntimeOperationMode::CalledRuntime);

  /// The response length, or the text of what was thrown.
  std::string Send(Bytes message);
  /// The response as text, one space-separated number a byte; or the text of what was thrown.
  std::string Read(int length = 64);
  /// send, then read.
  std::string Exchange(const Bytes& message);

  FakeJvmClient jvm;
  JvmLauncher launcher;
};

/// As Launched, with the JVM started by a command of the calling thread and the calls forgotten.
struct Started : Launched {
  Started();
};

std::string Numbers(const Bytes& bytes);
Bytes Filled(std::size_t size, std::uint8_t value);

/// What is outstanding: "local 1 global 0 elements 0 characters 0 attached 2 dropped 0".
std::string Outstanding(FakeJvmClient& jvm);
/// Where only the starting thread has sent: its class reference, it and the start-up thread
/// attached.
inline const std::string kOnlyStarted =
    "local 1 global 0 elements 0 characters 0 attached 2 dropped 0";
/// Where other threads have sent as well: their shared class reference on top.
inline const std::string kStartedAndShared =
    "local 1 global 1 elements 0 characters 0 attached 2 dropped 0";

void ReportAll(const Texts& texts);
void OnNewThread(const std::function<void()>& action);
void OnNewThreads(int count, const std::function<void(int)>& action);

/// The whole text of a launcher's error: "JVM Launcher: Exception code " + `text` + what follows.
std::string LauncherError(const std::string& text, const std::string& managed = "Fake JVM\n",
                          const std::string& libraryPath = FAKEJVM_PATH);
std::string RuntimeInfo(const std::string& managed = "Fake JVM\n",
                        const std::string& libraryPath = FAKEJVM_PATH);

/// Stretches of JNI calls, in the order in which they are made.
Texts Joined(const std::vector<Texts>& stretches);
Texts ClassLookUpCalls();
Texts MethodLookUpCalls();
Texts RuntimeInfoCalls();  ///< on a thread that is attached, with the class at hand
Texts MakeArrayCalls(int length);
Texts CallJavaCalls(const std::string& method);
Texts StoreResponseCalls();
Texts RaisedCalls();  ///< from the check that finds a Java exception to its clearing
Texts Deletions(int count);

}  // namespace Ferrolink::Tests

#endif
