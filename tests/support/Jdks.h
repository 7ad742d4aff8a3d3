#ifndef FERROLINK_TESTS_SUPPORT_JDKS_H
#define FERROLINK_TESTS_SUPPORT_JDKS_H

#include <filesystem>
#include <string>
#include <vector>

#include "tests/support/ProcessCase.h"

namespace Ferrolink::Tests {

/// The JDKs of this machine: those under /usr/lib/jvm, each once, and JAVA_HOME. If TEST_JAVA_HOMES
/// is set, the homes in it instead, separated by ":".
std::vector<std::filesystem::path> InstalledJdks();

/// Options of a case that runs on `jdk`, logs into the tree and passes `javaOptions`, and then
/// those of TEST_JAVA_OPTIONS, to its JVM.
CaseOptions OnJdk(const InstallationTree& tree, const std::filesystem::path& jdk,
                  const std::string& javaOptions = "");

}  // namespace Ferrolink::Tests

#endif
