#include "companions/utils/TelemetryFile.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <ctime>

#include "companions/utils/FileDescriptor.h"

namespace Ferrolink::Companions {
namespace {

// Keeps a write beyond the process's file size limit from ending the host: SIGXFSZ is blocked for
// this thread, and one that such a write raised is taken away again.
class FileSizeSignalBlocker {
 public:
  FileSizeSignalBlocker() {
    sigemptyset(&signal);
    sigaddset(&signal, SIGXFSZ);
    sigset_t pending;
    wasPending = sigpending(&pending) == 0 && sigismember(&pending, SIGXFSZ) == 1;
    blocks = pthread_sigmask(SIG_BLOCK, &signal, &previous) == 0;
  }
  FileSizeSignalBlocker(const FileSizeSignalBlocker&) = delete;
  FileSizeSignalBlocker& operator=(const FileSizeSignalBlocker&) = delete;
  FileSizeSignalBlocker(FileSizeSignalBlocker&&) = delete;
  FileSizeSignalBlocker& operator=(FileSizeSignalBlocker&&) = delete;
  ~FileSizeSignalBlocker() {
    if (!blocks) {
      return;
    }
    const timespec atOnce{};
    while (!wasPending && sigtimedwait(&signal, nullptr, &atOnce) < 0 && errno == EINTR) {
    }
    pthread_sigmask(SIG_SETMASK, &previous, nullptr);
  }

 private:
  sigset_t signal{};
  sigset_t previous{};
  bool wasPending = false;
  bool blocks = false;
};

// The lock that all writers of the file share. Whoever keeps it to himself (a tool, a stopped
// process) costs each event a tenth of a second but not the event: an appending write is whole
// without the lock, which only makes the repair of a short one safe.
class WritersLock {
 public:
  explicit WritersLock(const FileDescriptor& lockedFile) : file(lockedFile) {
    constexpr int kAttempts = 100;
    constexpr timespec kPause{0, 1'000'000};
    for (int attempt = 0; attempt < kAttempts; ++attempt) {
      if (flock(file.get(), LOCK_EX | LOCK_NB) == 0 || (errno != EWOULDBLOCK && errno != EINTR)) {
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
  ~WritersLock() { flock(file.get(), LOCK_UN); }

 private:
  const FileDescriptor& file;
};

// A full disk or a size limit took part of a line only: takes it back, unless somebody has already
// written behind it.
void takeBack(const FileDescriptor& file, off_t sizeBefore, ssize_t written) {
  struct stat status {};
  if (fstat(file.get(), &status) == 0 && status.st_size == sizeBefore + written &&
      ftruncate(file.get(), sizeBefore) != 0) {
    return;  // the fragment stays; there is nobody to tell
  }
}

}  // namespace

void appendToTelemetryFile(const char* path, const std::string& line) noexcept {
  // Not blocking, since the name may be that of a pipe that nobody reads.
  constexpr int kFlags = O_WRONLY | O_APPEND | O_CREAT | O_NONBLOCK | O_NOCTTY;
  const FileDescriptor file = FileDescriptor::open(path, kFlags, S_IRUSR | S_IWUSR);
  struct stat status {};
  if (!file.owns() || fstat(file.get(), &status) != 0 || !S_ISREG(status.st_mode)) {
    return;
  }
  const FileSizeSignalBlocker blocker;
  const WritersLock lock(file);
  if (fstat(file.get(), &status) != 0) {
    return;
  }
  ssize_t written = -1;
  do {
    written = ::write(file.get(), line.data(), line.size());
  } while (written < 0 && errno == EINTR);
  if (written > 0 && written < static_cast<ssize_t>(line.size())) {
    takeBack(file, status.st_size, written);
  }
}

}  // namespace Ferrolink::Companions
