#ifndef FERROLINK_TESTS_COMPANIONS_CONFIGS_CONFIGSFIXTURE_H
#define FERROLINK_TESTS_COMPANIONS_CONFIGS_CONFIGSFIXTURE_H

#include <gtest/gtest.h>

#include <array>
#include <cstddef>
#include <string>

#include "tests/companions/utils/ScratchDirectory.h"
#include "tests/companions/utils/SharedLibrary.h"

namespace Ferrolink::Tests {

/// The configuration library in its initial state. That state is process-wide, so each test has a
/// process of its own.
class Configs : public ::testing::Test {
 protected:
  using SetFunction = int(const char*);
  using NumberFunction = int();
  using ChannelNumberFunction = int(const char*, const char*);
  using TextFunction = int(char*, std::size_t);
  using ChannelTextFunction = int(const char*, const char*, char*, std::size_t);

  template <class Function>
  [[nodiscard]] Function* Find(const char* name) const {
    return m_library.Find<Function>(name);
  }

  [[nodiscard]] int SetSource(const std::string& source) const {
    return Find<SetFunction>("SetConfigSource")(source.c_str());
  }
  [[nodiscard]] int SetDirectory(const std::string& path) const {
    return Find<SetFunction>("SetWorkingDirectory")(path.c_str());
  }

  /// The text on standard error while `set` refuses `argument`.
  [[nodiscard]] std::string Refusal(const char* set, const char* argument) const {
    testing::internal::CaptureStderr();
    const int result = Find<SetFunction>(set)(argument);
    std::string printed = testing::internal::GetCapturedStderr();
    EXPECT_GT(0, result);
    return printed;
  }
  [[nodiscard]] std::string Refusal(const std::string& source) const {
    return Refusal("SetConfigSource", source.c_str());
  }

  [[nodiscard]] int Number(const char* name) const { return Find<NumberFunction>(name)(); }
  [[nodiscard]] int Port(const char* runtime, const char* config) const {
    return Find<ChannelNumberFunction>("GetChannelPort")(runtime, config);
  }

  /// The result of the query `name`; "error: " and the error text if it fails.
  [[nodiscard]] std::string Text(const char* name) const {
    return Ask(
        [&](char* buffer, std::size_t size) { return Find<TextFunction>(name)(buffer, size); });
  }
  [[nodiscard]] std::string Text(const char* name, const char* runtime, const char* config) const {
    return Ask([&](char* buffer, std::size_t size) {
      return Find<ChannelTextFunction>(name)(runtime, config, buffer, size);
    });
  }

  ScratchDirectory m_directory;

 private:
  template <class Query>
  static std::string Ask(Query query) {
    std::array<char, 8192> buffer;
    buffer.fill('#');
    const int result = query(buffer.data(), buffer.size());
    std::string text = buffer.data();
    if (result < 0) {
      return "error: " + text;
    }
    EXPECT_EQ(text.size(), static_cast<std::size_t>(result));
    return text;
  }

  SharedLibrary m_library{"libConfigs.so"};
};

}  // namespace Ferrolink::Tests

#endif
