// The ABI of the installed libraries, compared with the record in tests/installation/abi.
#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <string>

namespace {

struct Finished {
  int status = -1;
  std::string output;
};

Finished run(const std::string& command) {
  Finished finished;
  std::FILE* output = popen((command + " 2>&1").c_str(), "re");
  if (output == nullptr) {
    return finished;
  }
  std::array<char, 4096> piece{};
  while (const std::size_t size = std::fread(piece.data(), 1, piece.size(), output)) {
    finished.output.append(piece.data(), size);
  }
  finished.status = pclose(output);
  return finished;
}

class Abi : public testing::TestWithParam<std::string> {};

}  // namespace

TEST_P(Abi, WhatOtherLibrariesBindToIsWhatIsRecorded) {
  const Finished check = run(std::string(FERROLINK_CHECK_ABI) + " '" + GetParam() + "'");
  EXPECT_EQ(check.status, 0);
  EXPECT_EQ(check.output, "");
}

INSTANTIATE_TEST_SUITE_P(Installed, Abi,
                         testing::Values(FERROLINKJVMRUNTIMENATIVE_PATH,
                                         FERROLINKCPPRUNTIMENATIVE_PATH, CONFIGS_PATH, UTILS_PATH,
                                         FERROLINKTCPCLIENT_PATH, FERROLINKTCPTLSCLIENT_PATH),
                         [](const auto& each) {
                           const std::string path = each.param;
                           const auto start = path.rfind("/lib") + 4;
                           return path.substr(start, path.rfind('.') - start);
                         });
