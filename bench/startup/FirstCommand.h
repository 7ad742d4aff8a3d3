#ifndef FERROLINK_BENCH_STARTUP_FIRSTCOMMAND_H
#define FERROLINK_BENCH_STARTUP_FIRSTCOMMAND_H

#include <unistd.h>

#include <cstdint>
#include <string_view>
#include <vector>

namespace Ferrolink::Bench {

/// A call of the handler "echo". The benchmark's receiver echoes it as well.
inline std::vector<std::uint8_t> FirstCommand() {
  std::vector<std::uint8_t> command(64);
  constexpr std::uint8_t kJvm = 2;
  constexpr std::uint8_t kCpp = 8;
  constexpr std::uint8_t kCall = 2;
  command[0] = kJvm;
  command[9] = kCpp;
  command[10] = kCall;
  constexpr std::string_view kEcho = "\4echo";
  for (std::size_t i = 0; i < kEcho.size(); ++i) {
    command[11 + i] = static_cast<std::uint8_t>(kEcho[i]);
  }
  return command;
}

/// Reports the answer to bench/driver, and ends the process without destroying the JVM.
[[noreturn]] inline void Answered(bool right) {
  constexpr std::string_view kLine = "\nanswered\n";
  if (right && write(STDOUT_FILENO, kLine.data(), kLine.size()) < 0) {
    _exit(1);
  }
  _exit(right ? 0 : 1);
}

}  // namespace Ferrolink::Bench

#endif
