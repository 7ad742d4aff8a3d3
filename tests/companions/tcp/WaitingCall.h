#ifndef FERROLINK_TESTS_COMPANIONS_TCP_WAITINGCALL_H
#define FERROLINK_TESTS_COMPANIONS_TCP_WAITINGCALL_H

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <fstream>
#include <string>

#include "tests/companions/tcp/Support.h"
#include "tests/support/TemporaryDirectory.h"

namespace FerrolinkTest {

inline constexpr std::string_view kGoingAway =
    "The server is going away. The command was not executed.";
inline constexpr std::string_view kFull =
    "The server is busy: it serves as many clients as it may (--max-connections). The command was "
    "not executed.";

/// A call of the handler "wait", which runs from awaitRunning to release.
class WaitingCall {
 public:
  WaitingCall() {
    mkfifo(path("running").c_str(), 0600);
    mkfifo(path("go").c_str(), 0600);
  }
  [[nodiscard]] std::string command() const {
    return callOf("wait", path("running") + "\n" + path("go"));
  }
  void awaitRunning() const {
    std::string line;
    std::getline(std::ifstream(path("running")), line);
    EXPECT_EQ(line, "running");
  }
  void release(const std::string& word) const { std::ofstream(path("go")) << word << "\n"; }

 private:
  [[nodiscard]] std::string path(const std::string& name) const {
    return (m_directory.path() / name).string();
  }
  TemporaryDirectory m_directory;
};

}  // namespace FerrolinkTest

#endif
