#ifndef FERROLINK_TESTS_COMPANIONS_TCP_LIBRARIES_EXECUTIONRECORD_H
#define FERROLINK_TESTS_COMPANIONS_TCP_LIBRARIES_EXECUTIONRECORD_H

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>
#include <system_error>

#include "companions/utils/FileDescriptor.h"

namespace Ferrolink::Tests {

/// Counts the executions of each numbered command, in a file that servers and their test map into
/// memory. The file survives a killed server. Thread-safe, also among processes.
class ExecutionRecord {
 public:
  static constexpr std::size_t kNumbers = std::size_t{1} << 27U;
  /// The environment variable with the path, for servers.
  static constexpr const char* kVariable = "TEST_EXECUTIONS";

  /// Creates the file if it does not exist.
  explicit ExecutionRecord(const std::string& path) {
    const auto file =
        Ferrolink::Companions::FileDescriptor::Open(path.c_str(), O_RDWR | O_CREAT, 0600);
    if (!file.Owns() || ftruncate(file.get(), kNumbers) != 0) {
      throw std::system_error(errno, std::system_category(), path);
    }
    void* mapped = mmap(nullptr, kNumbers, PROT_READ | PROT_WRITE, MAP_SHARED, file.get(), 0);
    if (mapped == MAP_FAILED) {
      throw std::system_error(errno, std::system_category(), path);
    }
    m_counts = static_cast<std::uint8_t*>(mapped);
  }
  ExecutionRecord(const ExecutionRecord&) = delete;
  ExecutionRecord& operator=(const ExecutionRecord&) = delete;
  ~ExecutionRecord() { munmap(m_counts, kNumbers); }

  void Count(std::size_t number) { At(number).fetch_add(1); }
  [[nodiscard]] int Times(std::size_t number) const { return At(number).load(); }

 private:
  [[nodiscard]] std::atomic_ref<std::uint8_t> At(std::size_t number) const {
    if (number >= kNumbers) {
      throw std::out_of_range("no number " + std::to_string(number));
    }
    return std::atomic_ref<std::uint8_t>(m_counts[number]);
  }

  std::uint8_t* m_counts = nullptr;
};

/// The payload for the handler "count": the number of the command, and `rest`.
inline std::string CountedPayload(std::uint64_t number, std::string_view rest) {
  std::string payload;
  for (int shift = 0; shift < 64; shift += 8) {
    payload.push_back(static_cast<char>(number >> static_cast<unsigned>(shift) & 0xFFU));
  }
  return payload.append(rest);
}

inline std::uint64_t NumberOf(std::string_view payload) {
  std::uint64_t number = 0;
  for (std::size_t i = 0; i < 8; ++i) {
    number |= std::uint64_t{static_cast<std::uint8_t>(payload.at(i))} << 8 * i;
  }
  return number;
}

/// Its answer: the second half of the payload, the first half, and a mark.
inline std::string CountedAnswer(std::string_view payload) {
  const std::size_t half = payload.size() / 2;
  return std::string(payload.substr(half)).append(payload.substr(0, half)) + '!';
}

}  // namespace Ferrolink::Tests

#endif
