#ifndef FERROLINK_COMPANIONS_TCP_SERVER_STREAMWRITER_H
#define FERROLINK_COMPANIONS_TCP_SERVER_STREAMWRITER_H

#include <atomic>
#include <chrono>
#include <string_view>

#include "companions/utils/FileDescriptor.h"

namespace Ferrolink::Companions::Tcp::Server {

/// Writes lines to a stream of the process, standard error or standard output, that somebody else
/// may have closed or may not read. Raises no signal. Waits for room, but never beyond a time that
/// EndWithin has set.
///
/// Thread rule: one thread writes; EndWithin may come from any.
class StreamWriter {
 public:
  /// Lines up to this length go into a pipe in one piece, whoever else writes there.
  static constexpr std::size_t kLongestLine = 4096;

  /// The descriptor stays the caller's. One that is not open takes nothing. Errors:
  /// std::system_error.
  explicit StreamWriter(int descriptor);

  /// Whether the line was written as a whole. Where it was not, the next one begins on a new line.
  bool Write(std::string_view line);

  /// From now on nothing is waited for longer than this, all lines taken together.
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

  // The writing thread's.
  bool m_torn = false;  ///< a part of a line was written

  // Any thread's. Since the clock's epoch; 0 is none.
  std::atomic<Clock::rep> m_end{0};
};

}  // namespace Ferrolink::Companions::Tcp::Server

#endif
