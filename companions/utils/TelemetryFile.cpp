#include "companions/utils/TelemetryFile.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <ctime>

#include "companions/utils/FileDescriptor.h"
#include "native/WriteSignalGuard.h"

namespace Ferrolink::Companions {
namespace {

// The lock that all writers of the file share. Whoever keeps it to himself (a tool, a stopped
// process) costs each event a tenth of a second but not the event: an appending write is whole
// without the lock, which only makes the repair of a short one safe.
class WritersLock {
 public:
  explicit WritersLock(const FileDescriptor& lockedFile) : m_file(lockedFile) {
    constexpr int kAttempts = 100;
    constexpr timespec kPause{0, 1'000'000};
    for (int attempt = 0; attempt < kAttempts; ++attempt) {
      if (flock(m_file.get(), LOCK_EX | LOCK_NB) == 0 || (errno != EWOULDBLOCK && errno != EINTR)) {
        return;
      }
      nanosleep(&kPause, nullptr);
    }
  }
  WritersLock(const WritersLock&) = delete;
  WritersLock& operator=(const WritersLock&) = delete;
  WritersLock(WritersLock&&) = delete;
  WritersLock& operator=(WritersLock&&) = delete;

  // Not left to close(): a child that the host forks meanwhile has the descriptor too, and the lock
  // would last as long as the child.
  ~WritersLock() { flock(m_file.get(), LOCK_UN); }

 private:
  const FileDescriptor& m_file;
};

// A full disk or a size limit took part of a line only: takes it back, unless somebody has already
// written behind it.
void TakeBack(const FileDescriptor& file, off_t sizeBefore, ssize_t written) {
  struct stat status {};
  if (fstat(file.get(), &status) == 0 && status.st_size == sizeBefore + written &&
      ftruncate(file.get(), sizeBefore) != 0) {
    return;  // the fragment stays; there is nobody to tell
  }
}

}  // namespace

void AppendToTelemetryFile(const char* path, const std::string& line) noexcept {
  // Not blocking, since the name may be that of a pipe that nobody reads.
  constexpr int kFlags = O_WRONLY | O_APPEND | O_CREAT | O_NONBLOCK | O_NOCTTY;
  const FileDescriptor file = FileDescriptor::Open(path, kFlags, S_IRUSR | S_IWUSR);
  struct stat status {};
  if (!file.Owns() || fstat(file.get(), &status) != 0 || !S_ISREG(status.st_mode)) {
    return;
  }
  Native::WriteSignalGuard guard;
  const WritersLock lock(file);
  if (fstat(file.get(), &status) != 0) {
    return;
  }
  ssize_t written = -1;
  do {
    written = ::write(file.get(), line.data(), line.size());
  } while (written < 0 && errno == EINTR);
  if (written < 0) {
    guard.Failed(errno);
  } else if (written > 0 && written < static_cast<ssize_t>(line.size())) {
    TakeBack(file, status.st_size, written);
  }
}

}  // namespace Ferrolink::Companions
