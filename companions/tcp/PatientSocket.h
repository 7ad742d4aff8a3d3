#ifndef FERROLINK_COMPANIONS_TCP_PATIENTSOCKET_H
#define FERROLINK_COMPANIONS_TCP_PATIENTSOCKET_H

#include <poll.h>

#include <asio/ip/tcp.hpp>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <utility>

namespace Ferrolink::Companions::Tcp {

/// Keeps a descriptor from programs that the process starts.
void closeOnExec(int descriptor);

/// A TCP socket that waits for its peer until a deadline, and that signals do not disturb. Runs on
/// the calling thread alone; nobody needs to run the socket's io_context. Also the lower layer of a
/// TLS stream, hence the names that Asio asks for.
///
/// Thread rule: one thread at a time, but for endReading. Operations report errors; one that is not
/// done at the deadline reports asio::error::timed_out.
class PatientSocket {
 public:
  using Socket = asio::ip::tcp::socket;
  using lowest_layer_type = Socket::lowest_layer_type;
  using executor_type = Socket::executor_type;
  using Clock = std::chrono::steady_clock;

  /// An open socket, connected or not. Errors: std::system_error.
  explicit PatientSocket(Socket socket);

  lowest_layer_type& lowest_layer() { return m_socket.lowest_layer(); }
  executor_type get_executor() { return m_socket.get_executor(); }

  /// From now on operations end after that time; without one they never do.
  void limitTime(std::optional<std::chrono::milliseconds> limit) {
    m_deadline = limit ? std::optional(Clock::now() + *limit) : std::nullopt;
  }

  void connect(const asio::ip::tcp::endpoint& endpoint, asio::error_code& error);

  /// Sends small pieces at once and finds out about peers that are gone.
  void tune(asio::error_code& error);

  template <class Buffers>
  std::size_t read_some(const Buffers& buffers, asio::error_code& error) {
    return retry(POLLIN, error, [&] { return m_socket.read_some(buffers, error); });
  }

  template <class Buffers>
  std::size_t write_some(const Buffers& buffers, asio::error_code& error) {
    return retry(POLLOUT, error, [&] { return m_socket.write_some(buffers, error); });
  }

  /// The next byte, which stays to be read.
  std::uint8_t peek(asio::error_code& error);

  /// Whether a peer that has nothing to say is still there: neither has it closed, nor sent
  /// anything.
  bool isQuiet();

  /// Reads and forgets what comes until the peer closes. Closing before that could cost the peer
  /// what was written last.
  void drain();

  /// Any thread: whoever waits for bytes, or will, finds the end of the stream. Writing goes on.
  void endReading();

 private:
  bool wait(short events, asio::error_code& error);

  template <class Operation>
  std::size_t retry(short events, asio::error_code& error, Operation operation) {
    for (;;) {
      const std::size_t done = operation();
      if (error == asio::error::would_block || error == asio::error::try_again) {
        if (!wait(events, error)) {
          return 0;
        }
      } else if (error != asio::error::interrupted) {
        return done;
      }
    }
  }

  Socket m_socket;
  std::optional<Clock::time_point> m_deadline;
};

}  // namespace Ferrolink::Companions::Tcp

#endif
