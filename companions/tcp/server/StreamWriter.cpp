#include "companions/tcp/server/StreamWriter.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <string>
#include <system_error>

#include "native/WriteSignalGuard.h"

namespace Ferrolink::Companions::Tcp::Server {
namespace {

constexpr int kNoEnd = -1;
// The pause if a stream reported room but had none.
constexpr int kPauseMilliseconds = 10;

// Opens the same pipe or terminal again, to set its mode. The mode of `descriptor` is shared with
// other processes, such as the shell, and must not change.
FileDescriptor OpenedAnew(int descriptor, mode_t mode) {
  if (!S_ISFIFO(mode) && !S_ISCHR(mode)) {
    return {};
  }
  const std::string path = "/proc/self/fd/" + std::to_string(descriptor);
  return FileDescriptor::Open(path.c_str(), O_WRONLY | O_NONBLOCK | O_NOCTTY);
}

}  // namespace

StreamWriter::StreamWriter(int descriptor)
    : m_descriptor(descriptor), m_ending(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
  if (!m_ending.Owns()) {
    throw std::system_error(errno, std::generic_category(), "Cannot make an event descriptor");
  }
  struct stat status {};
  if (fstat(descriptor, &status) == 0) {
    m_isSocket = S_ISSOCK(status.st_mode);
    m_own = OpenedAnew(descriptor, status.st_mode);
  }
}

bool StreamWriter::Write(std::string_view line) {
  if (m_torn) {
    const bool mended = WriteAll("\n");
    if (!mended) {
      return false;
    }
    m_torn = false;
  }
  return WriteAll(line);
}

bool StreamWriter::WriteAll(std::string_view bytes) {
  Native::WriteSignalGuard guard;
  const std::size_t whole = bytes.size();
  while (!bytes.empty()) {
    if (!AwaitRoom()) {
      m_torn = m_torn || bytes.size() < whole;
      return false;
    }
    const std::size_t most = std::min(bytes.size(), kLongestLine);
    const ssize_t done = m_isSocket
                             ? ::send(Target(), bytes.data(), most, MSG_DONTWAIT | MSG_NOSIGNAL)
                             : ::write(Target(), bytes.data(), most);
    if (done >= 0) {
      bytes.remove_prefix(static_cast<std::size_t>(done));
    } else if (errno == EAGAIN) {
      pollfd ending{m_ending.get(), 0, 0};
      poll(&ending, 1, kPauseMilliseconds);
    } else if (errno != EINTR) {
      guard.Failed(errno);
      m_torn = m_torn || bytes.size() < whole;
      return false;
    }
  }
  return true;
}

// A broken stream reports room; the write then fails.
bool StreamWriter::AwaitRoom() {
  for (;;) {
    const bool ends = m_end.load() != 0;
    std::array<pollfd, 2> waiting{{{Target(), POLLOUT, 0}, {m_ending.get(), POLLIN, 0}}};
    const int ready = poll(waiting.data(), ends ? 1 : 2, MillisecondsLeft());
    if (ready > 0 && waiting[0].revents != 0) {
      return true;
    }
    if ((ready == 0 && ends) || (ready < 0 && errno != EINTR)) {
      return false;
    }
  }
}

int StreamWriter::MillisecondsLeft() const {
  const Clock::rep end = m_end.load();
  if (end == 0) {
    return kNoEnd;
  }
  const auto left = Clock::time_point(Clock::duration(end)) - Clock::now();
  return static_cast<int>(
      std::max<std::int64_t>(0, std::chrono::ceil<std::chrono::milliseconds>(left).count()));
}

void StreamWriter::EndWithin(std::chrono::milliseconds time) {
  m_end = (Clock::now() + time).time_since_epoch().count();
  // The counter has room for this; a failure does not matter.
  static_cast<void>(eventfd_write(m_ending.get(), 1));
}

}  // namespace Ferrolink::Companions::Tcp::Server
