#ifndef FERROLINK_TESTS_COMPANIONS_TCP_SERVER_LOGPIPE_H
#define FERROLINK_TESTS_COMPANIONS_TCP_SERVER_LOGPIPE_H

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <sstream>
#include <string>
#include <vector>

#include "companions/utils/FileDescriptor.h"

namespace Ferrolink::Tests {

using Ferrolink::Companions::FileDescriptor;

/// A pipe that replaces standard error.
class LogPipe {
 public:
  LogPipe() {
    std::array<int, 2> ends{};
    EXPECT_EQ(pipe2(ends.data(), O_CLOEXEC), 0);
    m_reading = FileDescriptor(ends[0]);
    m_writing = FileDescriptor(ends[1]);
  }

  [[nodiscard]] int WritingEnd() const { return m_writing.get(); }
  void CloseReadingEnd() { m_reading = FileDescriptor(); }
  void CloseWritingEnd() { m_writing = FileDescriptor(); }

  /// Fills the pipe.
  void Fill() const {
    fcntl(WritingEnd(), F_SETPIPE_SZ, 4096);
    const int flags = fcntl(WritingEnd(), F_GETFL);
    fcntl(WritingEnd(), F_SETFL, flags | O_NONBLOCK);
    while (::write(WritingEnd(), ".", 1) == 1) {
    }
    fcntl(WritingEnd(), F_SETFL, flags);
  }

  /// The bytes, without those of Fill, up to `mark` or to the end.
  std::string ReadUntil(std::string_view mark) {
    std::array<char, 4096> block{};
    while (mark.empty() || m_text.find(mark) == std::string::npos) {
      const ssize_t got = ::read(m_reading.get(), block.data(), block.size());
      if (got <= 0) {
        break;
      }
      m_text.append(block.data(), static_cast<std::size_t>(got));
      m_text.erase(0, m_text.find_first_not_of('.'));
    }
    return m_text;
  }

  /// All lines. Precondition: nobody writes any more.
  std::vector<std::string> Lines() {
    CloseWritingEnd();
    std::vector<std::string> all;
    std::istringstream text(ReadUntil(""));
    for (std::string line; std::getline(text, line);) {
      all.push_back(line);
    }
    return all;
  }

 private:
  FileDescriptor m_reading;
  FileDescriptor m_writing;
  std::string m_text;
};

}  // namespace Ferrolink::Tests

#endif
