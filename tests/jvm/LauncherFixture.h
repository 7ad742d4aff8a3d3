#ifndef FERROLINK_TESTS_JVM_LAUNCHERFIXTURE_H
#define FERROLINK_TESTS_JVM_LAUNCHERFIXTURE_H

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "jvm/JvmLauncher.h"
#include "tests/fakes/jvm/FakeJvmClient.h"
#include "tests/support/ProcessCase.h"

/// Helpers for the launcher's tests. Bodies of process cases use the fake JVM library that the test
/// named in FERROLINK_JVM_RUNTIME_PATH.
namespace Ferrolink::Tests {

using Bytes = std::vector<std::uint8_t>;
using Texts = std::vector<std::string>;

/// Launches the fake JVM and does not echo errors.
CaseOptions FakeJvmOptions();

/// The same as FakeJvmOptions, with an error log in the tree's working directory; see LoggedErrors.
CaseOptions LoggedOptions(const InstallationTree& tree);

/// The errors in the tree's error log, each as its message without the stamp.
Texts LoggedErrors(const InstallationTree& tree);

/// Runs the case in a new tree with FakeJvmOptions, expects that it ends well and reports
/// `expected`, and returns the result.
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

  /// The response length, or the text of the exception.
  std::string Send(Bytes message);
  /// The response as text, one space-separated number a byte; or the text of the exception.
  std::string Read(int length = 64);
  /// send, then read.
  std::string Exchange(const Bytes& message);

  FakeJvmClient jvm;
  JvmLauncher launcher;
};

/// The same as Launched, after a command of the calling thread has started the JVM. The fake
/// forgets earlier calls.
struct Started : Launched {
  Started();
};

std::string Numbers(const Bytes& bytes);
Bytes Filled(std::size_t size, std::uint8_t value);

/// The resources that are not released: "local 1 global 0 elements 0 characters 0 attached 2
/// dropped 0".
std::string Outstanding(FakeJvmClient& jvm);
/// The resources if only the starting thread has sent commands: its class reference; that thread
/// and the start-up thread are attached.
inline const std::string kOnlyStarted =
    "local 1 global 0 elements 0 characters 0 attached 2 dropped 0";
/// If other threads have sent too: the shared class reference in addition.
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
