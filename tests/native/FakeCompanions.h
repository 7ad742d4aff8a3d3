#ifndef FERROLINK_TESTS_NATIVE_FAKECOMPANIONS_H
#define FERROLINK_TESTS_NATIVE_FAKECOMPANIONS_H

#include <algorithm>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "tests/support/InstallationTree.h"
#include "tests/support/ProcessCase.h"

/// What tests with the fake configuration and utilities libraries share: the settings that steer
/// them, and what they recorded in files of the test's tree.
namespace Ferrolink::Tests {

using Texts = std::vector<std::string>;

inline constexpr const char* kSupportHint =
    "\nIf the error persists, contact support on: support@ferrolink.example";

inline std::string FileText(const std::filesystem::path& file) {
  std::ostringstream text;
  text << std::ifstream(file, std::ios::binary).rdbuf();
  return text.str();
}

/// The fakes' settings: the tree's work directory for the error log, files for their records.
inline CaseOptions FakeSettings(const InstallationTree& tree) {
  CaseOptions options;
  options.environment["FAKE_CONFIGS_GetWorkingDirectory"] = tree.WorkDirectory().string();
  options.environment["FAKE_CONFIGS_CALLS"] = (tree.Root() / "calls").string();
  options.environment["FAKE_UTILS_EVENTS"] = (tree.Root() / "events").string();
  return options;
}

/// The telemetry events that the fake utilities library received, one line each.
inline std::string Events(const InstallationTree& tree) {
  return FileText(tree.Root() / "events");
}

/// The calls that the fake configuration library received, one line each.
inline std::string Calls(const InstallationTree& tree) {
  return FileText(tree.Root() / "calls");
}

/// For bodies: forgets the calls recorded so far.
inline void ForgetCalls() {
  std::filesystem::remove(CaseRoot() / "calls");
}

/// For bodies: puts the library that the test passed as its argument into the tree.
inline void AddLibraryNow(const std::string& library, const std::string& name) {
  std::filesystem::copy_file(library, CaseNativeDirectory() / name);
}

/// `text` with "# " for the date, time and thread id that open a line of the error log or the echo.
inline std::string WithoutStamps(const std::string& text) {
  const std::string form = "0000-00-00 00:00:00\tThread ID: ";
  const auto isDigit = [](char byte) { return byte >= '0' && byte <= '9'; };
  std::string result;
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line); result += line + "\n") {
    const bool opens = line.size() > form.size() &&
                       std::equal(form.begin(), form.end(), line.begin(), [&](char f, char byte) {
                         return f == '0' ? isDigit(byte) : f == byte;
                       });
    const auto end = std::find_if_not(line.begin() + static_cast<long>(opens ? form.size() : 0),
                                      line.end(), isDigit);
    if (opens && end != line.end() && *end == '\t' && isDigit(*(end - 1))) {
      line = "# " + std::string(end + 1, line.end());
    }
  }
  return result;
}

inline std::string Repeated(const std::string& text, int times) {
  std::string result;
  for (int i = 0; i < times; ++i) {
    result += text;
  }
  return result;
}

}  // namespace Ferrolink::Tests

#endif
