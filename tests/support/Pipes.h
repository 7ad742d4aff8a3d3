#ifndef FERROLINK_TESTS_SUPPORT_PIPES_H
#define FERROLINK_TESTS_SUPPORT_PIPES_H

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <stdexcept>

namespace Ferrolink::Tests {

/// For bodies: makes the descriptor the end of a pipe that nobody reads any more. A write to it
/// ends a process that does not guard against it.
inline void ClosePipeBehind(int descriptor) {
  std::array<int, 2> ends{};
  if (pipe2(ends.data(), O_CLOEXEC) != 0 || dup2(ends[1], descriptor) < 0) {
    throw std::runtime_error("cannot make a pipe");
  }
  close(ends[0]);
  close(ends[1]);
  std::signal(SIGPIPE, SIG_DFL);
}

}  // namespace Ferrolink::Tests

#endif
