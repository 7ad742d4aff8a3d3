#ifndef FERROLINK_COMPANIONS_TCP_SERVER_STREAMWRITER_H
#define FERROLINK_COMPANIONS_TCP_SERVER_STREAMWRITER_H

#include <atomic>
#include <chrono>
#include <cstddef>
#include <string_view>

#include "companions/utils/FileDescriptor.h"

namespace Ferrolink::Companions::Tcp::Server {

/// Writes lines to standard error or standard output, even if the stream is closed or nobody reads
/// it. Raises no signal. Blocks until there is room, but not beyond the time of EndWithin.
///
/// Thread rule: one thread writes. EndWithin is thread-safe.
class StreamWriter {
 public:
  /// Lines up to this length are written to a pipe atomically.
  static constexpr std::size_t kLongestLine = 4096;

  /// The caller keeps ownership of the descriptor. A closed one is allowed; its lines are dropped.
  /// Errors: std::system_error.
  explicit StreamWriter(int descriptor);

  /// Returns whether the whole line was written. If not, the next one begins on a new line.
  bool Write(std::string_view line);

  /// Limits the remaining waiting time, for all lines together.
  void EndWithin(std::chrono::milliseconds time);

 private:
  using Clock = std::chrono::steady_clock;

  [[nodiscard]] int Target() const { return m_own.Owns() ? m_own.get() : m_descriptor; }
  bool WriteAll(std::string_view bytes);
  bool AwaitRoom();
  [[nodiscard]] int MillisecondsLeft() const;

  // Constant after construction.
  const int m_descriptor;
  FileDescriptor m_own;  ///< the same pipe or terminal, opened anew so that it does not block
  bool m_isSocket = false;
  FileDescriptor m_ending;  ///< readable once there is an end

  // Used by the writing thread only.
  bool m_torn = false;  ///< a part of a line was written

  // Used by any thread. Time since the clock's epoch; 0 means none.
  std::atomic<Clock::rep> m_end{0};
};

}  // namespace Ferrolink::Companions::Tcp::Server

#endif
