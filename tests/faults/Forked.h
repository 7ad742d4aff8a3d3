#ifndef FERROLINK_TESTS_FAULTS_FORKED_H
#define FERROLINK_TESTS_FAULTS_FORKED_H

#include <functional>
#include <string>
#include <vector>

/// Runs of one stretch of code in many processes, each of which starts with the state that the
/// calling process has: cheaper by far than a process case for each.
namespace Ferrolink::Tests {

struct ForkedRun {
  int exitCode = -1;  ///< -1 where a signal ended the process
  int signal = 0;     ///< SIGALRM: it took longer than its limit
  std::vector<std::string> notes;
  std::string output;  ///< standard output and standard error

  [[nodiscard]] bool EndedWell() const { return exitCode == 0 && signal == 0; }
  /// How it ended and what it printed, for a reader of a failed test.
  [[nodiscard]] std::string Describe() const;
};

/// Runs `body` in a child of this process, which must have one thread alone. The child ends by
/// exit, so that sanitizers check it; an exception out of the body ends it with exit code 70.
ForkedRun RunForked(const std::function<void()>& body, unsigned limitSeconds = 30);

/// For bodies: adds one entry to ForkedRun::notes.
void Note(const std::string& text);

}  // namespace Ferrolink::Tests

#endif
