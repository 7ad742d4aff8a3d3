#ifndef FERROLINK_TESTS_COMPANIONS_TCP_SERVERPROCESS_H
#define FERROLINK_TESTS_COMPANIONS_TCP_SERVERPROCESS_H

#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "companions/utils/FileDescriptor.h"
#include "tests/companions/tcp/TcpSupport.h"
#include "tests/support/TemporaryDirectory.h"

namespace Ferrolink::Tests {

/// The built server in a process of its own. The destructor kills it.
class ServerProcess {
 public:
  using Arguments = std::vector<std::string>;

  /// Starts the server and waits until it listens on a free port, or ends. It runs the C++ member
  /// with the tests' handlers, unless the arguments have a --runtime.
  explicit ServerProcess(Arguments arguments = {},
                         const std::filesystem::path& home = FERROLINK_INSTALLATION);

  /// The kind of its standard error. Errors() stays empty for pipes.
  enum class ErrorsInto { File, ClosedPipe, FullPipe };
  explicit ServerProcess(ErrorsInto errors);
  /// Calls `prepare` in the new process before the server's program begins.
  ServerProcess(Arguments arguments, std::function<void()> prepare);
  ServerProcess(const ServerProcess&) = delete;
  ServerProcess& operator=(const ServerProcess&) = delete;
  ~ServerProcess();

  [[nodiscard]] std::uint16_t Port() const { return m_port; }
  [[nodiscard]] std::string Name() const { return "127.0.0.1:" + std::to_string(m_port); }
  /// The port for probes and metrics.
  [[nodiscard]] std::uint16_t AdminPort() const { return m_adminPort; }
  /// The line that announces its address; empty if it ended instead.
  [[nodiscard]] const std::string& Listening() const { return m_listening; }

  void Signal(int number) const;
  /// Waits for its end. Returns the exit code, or minus the signal that ended it.
  int Wait();
  /// Its standard error so far; complete once it has ended.
  [[nodiscard]] std::string Errors() const;
  /// The rest of its standard output. Call it after Wait.
  std::string Output();

  /// Waits until the text is in errors(). Throws after a minute.
  void AwaitErrors(std::string_view text) const;

  /// The number of its open descriptors, and of its threads.
  [[nodiscard]] std::size_t Descriptors() const { return EntriesOf("fd"); }
  /// Once all its threads wait: without those for announcing its address and other short-lived
  /// ones.
  [[nodiscard]] std::size_t DescriptorsAtRest() const;
  [[nodiscard]] std::size_t Threads() const { return EntriesOf("task"); }
  /// Wait until it has exactly that many, or at most that much resident memory. Throw after a
  /// minute.
  void AwaitDescriptors(std::size_t count) const;
  void AwaitThreads(std::size_t count) const;
  void AwaitMemory(long kibibytes) const;
  /// A number of /proc/PID/status, such as VmRSS in KiB.
  [[nodiscard]] long Status(const std::string& name) const;

  /// A greeted client.
  [[nodiscard]] RawSocket GreetedClient() const;

 private:
  void Start(Arguments arguments, const std::filesystem::path& home, ErrorsInto errors);
  FileDescriptor PipeForErrors(bool isFull);
  void AwaitListening();
  void Await(const std::function<bool()>& isThere, const std::string& what) const;
  [[nodiscard]] bool AllThreadsWait() const;
  [[nodiscard]] std::size_t EntriesOf(const std::string& directory) const;
  std::string ReadLine();

  const std::function<void()> m_prepare;
  TemporaryDirectory m_directory;
  pid_t m_child = -1;
  FileDescriptor m_output;
  FileDescriptor m_unread;  ///< the end of a pipe that is full
  std::uint16_t m_port = 0;
  std::uint16_t m_adminPort = 0;
  std::string m_listening;
};

}  // namespace Ferrolink::Tests

#endif
