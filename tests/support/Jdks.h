#ifndef FERROLINK_TESTS_SUPPORT_JDKS_H
#define FERROLINK_TESTS_SUPPORT_JDKS_H

#include <filesystem>
#include <string>
#include <vector>

#include "tests/support/ProcessCase.h"

namespace Ferrolink::Tests {

/// The JDKs of this machine: every one under /usr/lib/jvm, each once, and JAVA_HOME. Where
/// TEST_JAVA_HOMES is set, the homes that it names instead, separated by ":".
std::vector<std::filesystem::path> InstalledJdks();

/// Options of a case that runs on `jdk`, logs into the tree and hands `javaOptions` to its JVM, and
/// those of TEST_JAVA_OPTIONS after them.
CaseOptions OnJdk(const InstallationTree& tree, const std::filesystem::path& jdk,
                  const std::string& javaOptions = "");

}  // namespace Ferrolink::Tests

#endif
