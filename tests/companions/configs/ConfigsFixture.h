#ifndef FERROLINK_TESTS_COMPANIONS_CONFIGS_CONFIGSFIXTURE_H
#define FERROLINK_TESTS_COMPANIONS_CONFIGS_CONFIGSFIXTURE_H

#include <gtest/gtest.h>

#include <array>
#include <cstddef>
#include <string>

#include "tests/companions/utils/SharedLibrary.h"
#include "tests/companions/utils/TemporaryDirectory.h"

namespace Ferrolink::Tests {

/// The configuration library in its first state. That state is the process's, so each test has a
/// process of its own.
class Configs : public ::testing::Test {
 protected:
  using Set = int(const char*);
  using Number = int();
  using ChannelNumber = int(const char*, const char*);
  using Text = int(char*, std::size_t);
  using ChannelText = int(const char*, const char*, char*, std::size_t);

  template <class Function>
  [[nodiscard]] Function* find(const char* name) const {
    return library.find<Function>(name);
  }

  [[nodiscard]] int setSource(const std::string& source) const {
    return find<Set>("SetConfigSource")(source.c_str());
  }
  [[nodiscard]] int setDirectory(const std::string& path) const {
    return find<Set>("SetWorkingDirectory")(path.c_str());
  }

  /// What standard error gets while `set` is given `argument` and refuses it.
  [[nodiscard]] std::string refusal(const char* set, const char* argument) const {
    testing::internal::CaptureStderr();
    const int result = find<Set>(set)(argument);
    std::string printed = testing::internal::GetCapturedStderr();
    EXPECT_GT(0, result);
    return printed;
  }
  [[nodiscard]] std::string refusal(const std::string& source) const {
    return refusal("SetConfigSource", source.c_str());
  }

  [[nodiscard]] int number(const char* name) const { return find<Number>(name)(); }
  [[nodiscard]] int port(const char* runtime, const char* config) const {
    return find<ChannelNumber>("GetChannelPort")(runtime, config);
  }

  /// The text that the query `name` gives; "error: " and the error text where it fails.
  [[nodiscard]] std::string text(const char* name) const {
    return ask([&](char* buffer, std::size_t size) { return find<Text>(name)(buffer, size); });
  }
  [[nodiscard]] std::string text(const char* name, const char* runtime, const char* config) const {
    return ask([&](char* buffer, std::size_t size) {
      return find<ChannelText>(name)(runtime, config, buffer, size);
    });
  }

  TemporaryDirectory directory;

 private:
  template <class Query>
  static std::string ask(Query query) {
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

  SharedLibrary library{"libConfigs.so"};
};

}  // namespace Ferrolink::Tests

#endif
