#ifndef FERROLINK_TESTS_FAULTS_JNISCENARIOS_H
#define FERROLINK_TESTS_FAULTS_JNISCENARIOS_H

#include <memory>
#include <string>
#include <vector>

#include "tests/fakes/jvm/FakeJvmClient.h"

/// Stretches of the library's work, each with what must work after any failure in it.
namespace Ferrolink::Tests {

/// One stretch, set up when it is made.
class JniScenario {
 public:
  JniScenario() = default;
  JniScenario(const JniScenario&) = delete;
  JniScenario& operator=(const JniScenario&) = delete;
  virtual ~JniScenario() = default;

  /// The stretch in which a call fails: its results, or the texts of its errors.
  virtual std::string Act() = 0;
  /// Work that needs the same parts, on this thread and on another: its results.
  virtual std::string Recover() = 0;
  /// The exceptions that this thread has pending: 0 or 1.
  [[nodiscard]] virtual int PendingExceptions() = 0;
  virtual FakeJvmClient& Jvm() = 0;
};

struct JniScenarioEntry {
  const char* name;
  /// Whether its calls are the launcher's, which checks for exceptions after calls that by JNI's
  /// rules raise none.
  bool launcher;
  std::unique_ptr<JniScenario> (*make)();
  /// Threads that may stay attached in addition: the one that adopts a JVM whose start-up another
  /// thread had not ended well.
  int furtherAttachments = 0;
};

/// Both lists are the scenarios of one file each; see JniScenarios for all.
std::vector<JniScenarioEntry> LauncherScenarios();
std::vector<JniScenarioEntry> NativeMethodScenarios();

std::vector<JniScenarioEntry> JniScenarios();

}  // namespace Ferrolink::Tests

#endif
