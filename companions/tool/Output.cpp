#include "companions/tool/Output.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <system_error>

namespace Ferrolink::Companions::Tool {
namespace {

[[noreturn]] void Fail(const char* what) {
  throw std::system_error(errno, std::generic_category(), what);
}

}  // namespace

ReservedOutput::ReservedOutput(Others others)
    : m_output(fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1)) {
  const FileDescriptor nowhere = FileDescriptor::Open("/dev/null", O_WRONLY);
  const int target = others == Others::Discarded ? nowhere.get() : STDERR_FILENO;
  if (!m_output.Owns() || dup2(target, STDOUT_FILENO) < 0) {
    Fail("Cannot set standard output aside");
  }
}

void ReservedOutput::Write(std::span<const std::uint8_t> bytes) const {
  while (!bytes.empty()) {
    const ssize_t size = write(m_output.get(), bytes.data(), bytes.size());
    if (size < 0 && errno != EINTR) {
      Fail("Cannot write to standard output");
    }
    bytes = bytes.subspan(size < 0 ? 0 : static_cast<std::size_t>(size));
  }
}

std::vector<std::uint8_t> ReadInput() {
  std::vector<std::uint8_t> bytes;
  std::array<std::uint8_t, 65536> buffer{};
  while (true) {
    const ssize_t size = read(STDIN_FILENO, buffer.data(), buffer.size());
    if (size == 0) {
      return bytes;
    }
    if (size < 0 && errno != EINTR) {
      Fail("Cannot read standard input");
    }
    bytes.insert(bytes.end(), buffer.begin(), buffer.begin() + (size < 0 ? 0 : size));
  }
}

}  // namespace Ferrolink::Companions::Tool
