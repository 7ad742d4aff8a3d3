#ifndef FERROLINK_TESTS_CALLS_JAVAPROGRAMCASES_H
#define FERROLINK_TESTS_CALLS_JAVAPROGRAMCASES_H

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "tests/calls/StartedJvm.h"
#include "tests/support/Jdks.h"

/// Helpers for tests of Java programs that call other runtimes.
namespace Ferrolink::Tests {

/// A tree with both members, their companions, the archive, the mirroring network clients and the
/// handlers of the C++ member.
void InstallEverything(const InstallationTree& tree);

/// Runs the case once on each JDK, in a tree that holds everything, with a further option of the
/// JVM.
void OnEveryJdk(const std::string& name, const std::vector<std::string>& arguments,
                const std::string& javaOption, const std::function<void(const CaseResult&)>& check);

/// For bodies: where a program of the tests finds what it loads.
std::filesystem::path CaseArchive();
std::filesystem::path CasePrograms();
std::filesystem::path CaseHandlers();

/// For bodies: starts a JVM in this process with the archive and the programs on its class path.
StartedJvm StartJava(const std::vector<std::string>& options = {});

/// Lines of the text, without an empty last one.
std::vector<std::string> LinesOf(const std::string& text);

}  // namespace Ferrolink::Tests

#endif
