#ifndef FERROLINK_COMPANIONS_UTILS_FILEDESCRIPTOR_H
#define FERROLINK_COMPANIONS_UTILS_FILEDESCRIPTOR_H

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

namespace Ferrolink::Companions {

/// Owns one file descriptor, or none, and closes it. Not shared between threads.
class FileDescriptor {
 public:
  FileDescriptor() = default;

  /// Takes ownership of `descriptor`; a negative number stands for none.
  explicit FileDescriptor(int descriptor) : number(descriptor) {}

  FileDescriptor(FileDescriptor&& other) noexcept : number(std::exchange(other.number, -1)) {}
  FileDescriptor& operator=(FileDescriptor&& other) noexcept {
    std::swap(number, other.number);
    return *this;
  }
  FileDescriptor(const FileDescriptor&) = delete;
  FileDescriptor& operator=(const FileDescriptor&) = delete;

  ~FileDescriptor() {
    if (number >= 0) {
      ::close(number);
    }
  }

  /// Opens `path` as open(2) does, and again when a signal interrupted it. The descriptor never
  /// passes to a program that the host starts. Owns none on failure, with errno set.
  static FileDescriptor open(const char* path, int flags, mode_t mode = 0) {
    int descriptor = -1;
    do {
      descriptor = ::open(path, flags | O_CLOEXEC, mode);
    } while (descriptor < 0 && errno == EINTR);
    return FileDescriptor(descriptor);
  }

  [[nodiscard]] bool owns() const { return number >= 0; }
  [[nodiscard]] int get() const { return number; }

 private:
  int number = -1;
};

}  // namespace Ferrolink::Companions

#endif
