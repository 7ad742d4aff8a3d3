#ifndef FERROLINK_TESTS_COMPANIONS_TCP_WAITINGCALL_H
#define FERROLINK_TESTS_COMPANIONS_TCP_WAITINGCALL_H

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <fstream>
#include <string>

#include "tests/companions/tcp/TcpSupport.h"
#include "tests/support/TemporaryDirectory.h"

namespace Ferrolink::Tests {

inline constexpr std::string_view kGoingAway =
    "The server is going away. The command was not executed.";
inline constexpr std::string_view kFull =
    "The server is busy: it serves as many clients as it may (--max-connections). The command was "
    "not executed.";

/// A call of the handler "wait", which runs from AwaitRunning to release.
class WaitingCall {
 public:
  WaitingCall() {
    mkfifo(Path("running").c_str(), 0600);
    mkfifo(Path("go").c_str(), 0600);
  }
  [[nodiscard]] std::string Command() const {
    return CallOf("wait", Path("running") + "\n" + Path("go"));
  }
  void AwaitRunning() const {
    std::string line;
    std::getline(std::ifstream(Path("running")), line);
    EXPECT_EQ(line, "running");
  }
  void Release(const std::string& word) const { std::ofstream(Path("go")) << word << "\n"; }

 private:
  [[nodiscard]] std::string Path(const std::string& name) const {
    return (m_directory.Path() / name).string();
  }
  TemporaryDirectory m_directory;
};

}  // namespace Ferrolink::Tests

#endif
