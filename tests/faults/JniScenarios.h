#ifndef FERROLINK_TESTS_FAULTS_JNISCENARIOS_H
#define FERROLINK_TESTS_FAULTS_JNISCENARIOS_H

#include <memory>
#include <string>
#include <vector>

#include "tests/fakes/jvm/FakeJvmClient.h"

/// Scenarios of the library's work, each with the calls that must work after a failure in it.
namespace Ferrolink::Tests {

/// One scenario. The constructor sets it up.
class JniScenario {
 public:
  JniScenario() = default;
  JniScenario(const JniScenario&) = delete;
  JniScenario& operator=(const JniScenario&) = delete;
  virtual ~JniScenario() = default;

  /// The calls of which one fails: their results, or the error texts.
  virtual std::string Act() = 0;
  /// Calls that need the same parts, on this thread and on another: their results.
  virtual std::string Recover() = 0;
  /// How many exceptions are pending on this thread: 0 or 1.
  [[nodiscard]] virtual int PendingExceptions() = 0;
  virtual FakeJvmClient& Jvm() = 0;
};

struct JniScenarioEntry {
  const char* name;
  /// Whether the calls are the launcher's, which also checks for exceptions that JNI's rules
  /// exclude.
  bool launcher;
  std::unique_ptr<JniScenario> (*make)();
  /// How many more threads may stay attached: one, if it adopts a JVM after another thread's failed
  /// start-up.
  int furtherAttachments = 0;
};

/// The scenarios of one file each; JniScenarios has all.
std::vector<JniScenarioEntry> LauncherScenarios();
std::vector<JniScenarioEntry> NativeMethodScenarios();

std::vector<JniScenarioEntry> JniScenarios();

}  // namespace Ferrolink::Tests

#endif
