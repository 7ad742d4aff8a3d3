#ifndef FERROLINK_COMPANIONS_UTILS_FILEDESCRIPTOR_H
#define FERROLINK_COMPANIONS_UTILS_FILEDESCRIPTOR_H

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

namespace Ferrolink::Companions {

/// Owns one file descriptor, or none, and closes it. Not thread-safe.
class FileDescriptor {
 public:
  FileDescriptor() = default;

  /// Takes ownership of `descriptor`; a negative number means none.
  explicit FileDescriptor(int descriptor) : m_number(descriptor) {}

  FileDescriptor(FileDescriptor&& other) noexcept : m_number(std::exchange(other.m_number, -1)) {}
  FileDescriptor& operator=(FileDescriptor&& other) noexcept {
    std::swap(m_number, other.m_number);
    return *this;
  }
  FileDescriptor(const FileDescriptor&) = delete;
  FileDescriptor& operator=(const FileDescriptor&) = delete;

  ~FileDescriptor() {
    if (m_number >= 0) {
      ::close(m_number);
    }
  }

  /// Opens `path` as open(2) does, and repeats that after a signal. Programs that the host starts
  /// do not inherit the descriptor. Owns none on failure, with errno set.
  static FileDescriptor Open(const char* path, int flags, mode_t mode = 0) {
    int descriptor = -1;
    do {
      descriptor = ::open(path, flags | O_CLOEXEC, mode);
    } while (descriptor < 0 && errno == EINTR);
    return FileDescriptor(descriptor);
  }

  [[nodiscard]] bool Owns() const { return m_number >= 0; }
  [[nodiscard]] int get() const { return m_number; }

 private:
  int m_number = -1;
};

}  // namespace Ferrolink::Companions

#endif
