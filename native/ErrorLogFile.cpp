#include "native/ErrorLogFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <ext/stdio_filebuf.h>

#include <atomic>
#include <cerrno>
#include <cstddef>
#include <locale>
#include <utility>

#include "native/WriteSignalGuard.h"

namespace Ferrolink::Native::ErrorLogFile {
namespace {

// The open function of a stream would wait for the reader of a pipe and follow links. Unbuffered:
// each line is one write, and closing the stream does not write the rest again.
using FileBuffer = __gnu_cxx::stdio_filebuf<char>;
constexpr std::size_t kUnbuffered = 1;

int OpenDescriptor(const char* path, int access) {
  constexpr int kFlags = O_APPEND | O_CREAT | O_NONBLOCK | O_NOFOLLOW | O_NOCTTY | O_CLOEXEC;
  constexpr mode_t kMode = 0666;
  int descriptor = -1;
  do {
    descriptor = ::open(path, access | kFlags, kMode);
  } while (descriptor < 0 && errno == EINTR);
  return descriptor;
}

// Opened for reading too, to see how the file ends; write-only if reading is not permitted.
FileBuffer OpenFile(const char* path) {
  int descriptor = OpenDescriptor(path, O_RDWR);
  if (descriptor < 0 && errno == EACCES) {
    descriptor = OpenDescriptor(path, O_WRONLY);
  }
  if (descriptor < 0) {
    return {};
  }
  FileBuffer buffer(descriptor, std::ios::out | std::ios::app, kUnbuffered);
  if (!buffer.is_open()) {
    ::close(descriptor);
  }
  return buffer;
}

// Whether the last line of this process was cut. Looking at the file instead would mistake a line
// that another writer is still appending for a cut one.
std::atomic<bool> lineWasCut{false};

bool EndsWithinALine(int descriptor, off_t size) {
  char last = '\n';
  return size > 0 && pread(descriptor, &last, 1, size - 1) == 1 && last != '\n';
}

}  // namespace

void Append(std::ofstream& file, const std::string& path, const std::string& line) {
  FileBuffer buffer = OpenFile(path.c_str());
  struct stat status {};
  if (!buffer.is_open() || fstat(buffer.fd(), &status) != 0 || !S_ISREG(status.st_mode)) {
    file.setstate(std::ios::failbit);
    return;
  }
  const bool unfinished = lineWasCut.load() && EndsWithinALine(buffer.fd(), status.st_size);
  *file.rdbuf() = std::move(buffer);
  file.imbue(std::locale::classic());  // the buffer came with the host's
  WriteSignalGuard guard;
  file << (unfinished ? "\n" + line : line);
  lineWasCut.store(!file);
  if (!file) {
    guard.Failed(EFBIG);
  }
}

}  // namespace Ferrolink::Native::ErrorLogFile
