#ifndef FERROLINK_TESTS_FAULTS_FORKED_H
#define FERROLINK_TESTS_FAULTS_FORKED_H

#include <functional>
#include <string>
#include <vector>

/// Runs code in many child processes, each with a copy of the calling process's state: much cheaper
/// than a process case for each.
namespace Ferrolink::Tests {

struct ForkedRun {
  int exitCode = -1;  ///< -1 if a signal ended the process
  int signal = 0;     ///< SIGALRM: it took longer than its limit
  std::vector<std::string> notes;
  std::string output;  ///< standard output and standard error

  [[nodiscard]] bool EndedWell() const { return exitCode == 0 && signal == 0; }
  /// How it ended and what it printed, for failure messages.
  [[nodiscard]] std::string Describe() const;
};

/// Runs `body` in a child of this process, which must be single-threaded. The child ends by exit,
/// so sanitizers check it. An exception that leaves the body gives exit code 70.
ForkedRun RunForked(const std::function<void()>& body, unsigned limitSeconds = 30);

/// For bodies: adds one entry to ForkedRun::notes.
void Note(const std::string& text);

}  // namespace Ferrolink::Tests

#endif
