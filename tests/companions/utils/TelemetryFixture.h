#ifndef FERROLINK_TESTS_COMPANIONS_UTILS_TELEMETRYFIXTURE_H
#define FERROLINK_TESTS_COMPANIONS_UTILS_TELEMETRYFIXTURE_H

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdlib>
#include <string>
#include <vector>

#include "tests/companions/utils/ScratchDirectory.h"
#include "tests/companions/utils/SharedLibrary.h"

namespace Ferrolink::Tests {

/// The utilities library. FERROLINK_TELEMETRY_FILE names a file that does not exist yet.
class Telemetry : public ::testing::Test {
 protected:
  Telemetry() : m_file(m_directory.Path("events.jsonl")) { WriteTo(m_file); }

  static void WriteTo(const std::string& path) {
    setenv("FERROLINK_TELEMETRY_FILE", path.c_str(), 1);
  }

  void Log(const char* first, const char* second, const char* third) const {
    m_logMessage(first, second, third);
  }

  /// The file's lines without their newlines. The test fails if the last line has none.
  [[nodiscard]] std::vector<std::string> Lines() const {
    const std::string text = ContentOf(m_file);
    std::vector<std::string> result;
    std::size_t begin = 0;
    for (std::size_t end = text.find('\n'); end != std::string::npos;
         end = text.find('\n', begin)) {
      result.push_back(text.substr(begin, end - begin));
      begin = end + 1;
    }
    EXPECT_EQ(text.size(), begin) << "the last line is not whole";
    return result;
  }

  ScratchDirectory m_directory;
  std::string m_file;

 private:
  using LogMessage = void(const char*, const char*, const char*);

  SharedLibrary m_library{"libUtils.so"};
  LogMessage* m_logMessage = m_library.Find<LogMessage>("LogMessage");
};

}  // namespace Ferrolink::Tests

#endif
