#include "companions/configs/SourceFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <system_error>

#include "companions/configs/Configuration.h"
#include "companions/utils/FileDescriptor.h"

namespace Ferrolink::Companions {

// Non-blocking, because the path may be a pipe without a writer.
std::string ReadSourceFile(const std::string& path) {
  const FileDescriptor file = FileDescriptor::Open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY);
  struct stat status {};
  if (!file.Owns() || fstat(file.get(), &status) != 0) {
    throw ConfigurationError("cannot open: " + std::generic_category().message(errno));
  }
  if (!S_ISREG(status.st_mode)) {
    throw ConfigurationError("not a regular file");
  }
  std::string text;
  std::array<char, 4096> block{};
  while (true) {
    const ssize_t count = ::read(file.get(), block.data(), block.size());
    if (count < 0 && errno != EINTR) {
      throw ConfigurationError("cannot read: " + std::generic_category().message(errno));
    }
    if (count == 0) {
      return text;
    }
    if (count > 0) {
      text.append(block.data(), static_cast<std::size_t>(count));
    }
    if (text.size() > kLargestSource) {
      throw ConfigurationError(std::string(kTooLarge));
    }
  }
}

}  // namespace Ferrolink::Companions
