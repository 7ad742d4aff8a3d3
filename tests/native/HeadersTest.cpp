#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <sstream>
#include <string>
#include <vector>

namespace {

std::vector<std::string> ListedHeaders() {
  std::vector<std::string> headers;
  std::istringstream list(FERROLINK_LISTED_HEADERS);
  for (std::string header; std::getline(list, header, ' ');) {
    headers.push_back(header);
  }
  std::sort(headers.begin(), headers.end());
  return headers;
}

std::vector<std::string> HeadersOnDisk() {
  const std::filesystem::path root = FERROLINK_SOURCE_ROOT;
  std::vector<std::string> headers;
  for (const char* directory : {"native", "jvm"}) {
    for (const auto& entry : std::filesystem::recursive_directory_iterator(root / directory)) {
      if (entry.path().extension() == ".h") {
        headers.push_back(entry.path().lexically_relative(root).string());
      }
    }
  }
  std::sort(headers.begin(), headers.end());
  return headers;
}

}  // namespace

// Each listed header is compiled alone, and a second time after itself, as part of this executable.
TEST(Headers, AreAllAmongThoseThatAreCompiledAlone) {
  EXPECT_EQ(ListedHeaders(), HeadersOnDisk());
}
