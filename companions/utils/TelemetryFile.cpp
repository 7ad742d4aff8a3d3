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

// The lock that all writers of the file share. If another holder (a tool, a stopped process) keeps
// it, each event waits a tenth of a second and is then written without the lock. That is safe,
// because an appending write is atomic; only the repair of a short one needs the lock.
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

  // Unlocks explicitly: a child that the host forks meanwhile shares the descriptor, so close()
  // would not end the lock.
  ~WritersLock() { flock(m_file.get(), LOCK_UN); }

 private:
  const FileDescriptor& m_file;
};

// Removes a line that a full disk or a size limit has cut, unless somebody has already written
// behind it.
void TakeBack(const FileDescriptor& file, off_t sizeBefore, ssize_t written) {
  struct stat status {};
  if (fstat(file.get(), &status) == 0 && status.st_size == sizeBefore + written &&
      ftruncate(file.get(), sizeBefore) != 0) {
    return;  // the fragment stays; there is nobody to tell
  }
}

}  // namespace

void AppendToTelemetryFile(const char* path, const std::string& line) noexcept {
  // Non-blocking, because the path may be a pipe without a reader.
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
