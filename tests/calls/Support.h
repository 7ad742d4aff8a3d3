#ifndef FERROLINK_TESTS_CALLS_SUPPORT_H
#define FERROLINK_TESTS_CALLS_SUPPORT_H

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "tests/calls/JavaHost.h"
#include "tests/support/Jdks.h"

/// Helpers for tests of Java programs that call other runtimes.
namespace FerrolinkTest {

/// A tree with both members, their companions, the archive, the mirroring network clients and the
/// handlers of the C++ member.
void installEverything(const InstallationTree& tree);

/// Runs the case once on each JDK, in a tree that holds everything, with a further option of the
/// JVM.
void onEveryJdk(const std::string& name, const std::vector<std::string>& arguments,
                const std::string& javaOption, const std::function<void(const CaseResult&)>& check);

/// For bodies: where a program of the tests finds what it loads.
std::filesystem::path caseArchive();
std::filesystem::path casePrograms();
std::filesystem::path caseHandlers();

/// For bodies: starts a JVM in this process with the archive and the programs on its class path.
JavaHost startJava(const std::vector<std::string>& options = {});

/// Lines of the text, without an empty last one.
std::vector<std::string> linesOf(const std::string& text);

}  // namespace FerrolinkTest

#endif
