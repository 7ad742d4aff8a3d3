#ifndef FERROLINK_TESTS_SUPPORT_PROCESSCASE_H
#define FERROLINK_TESTS_SUPPORT_PROCESSCASE_H

#include <filesystem>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "tests/support/InstallationTree.h"

/// The library's state is process-wide, so a test of it runs its body in a process of its own:
///
///   PROCESS_CASE(readsTwice) { report(launcher.ReadResponse(...)); }
///   TEST(Launcher, ReadsTwice) {
///     InstallationTree tree;
///     const CaseResult result = RunCase("readsTwice", tree);
///     EXPECT_EQ(result.exitCode, 0);
///     EXPECT_EQ(result.report, std::vector<std::string>{"0"});
///   }
///
/// The tests link the library's objects, so the child's own executable is what the loader names as
/// "this library's file": the child runs with argv[0] inside the tree's native directory, and the
/// library finds the companions that the test put there.
namespace Ferrolink::Tests {

struct CaseResult {
  int exitCode = -1;  ///< -1 where a signal ended the process
  int signal = 0;
  std::string out;
  std::string err;
  std::vector<std::string> report;  ///< what the body reported, one entry a call
};

/// Variables to set; an empty optional value cannot be told from unset, so removal is by `unset`.
struct CaseOptions {
  std::map<std::string, std::string> environment;
  std::vector<std::string> unset;
  std::vector<std::string> arguments;
  std::filesystem::path workingDirectory;  ///< of the process; the tree's root where empty
};

/// Runs a registered body in a new process. The environment is the test's own without JAVA_HOME and
/// all FERROLINK_ variables, plus the options'. A body that takes longer than 120 s, or than
/// TEST_CASE_SECONDS says, ends by SIGALRM; an exception that leaves the body ends it with exit
/// code 70 and its text on standard error.
CaseResult RunCase(const std::string& name, const InstallationTree& tree,
                   const CaseOptions& options = {});

/// For bodies: adds one entry to CaseResult::report. Any thread; survives an abort that follows.
void Report(std::string_view text);
void Report(long value);

/// For bodies: the arguments that the test passed, and the tree's directories.
const std::vector<std::string>& CaseArguments();
std::filesystem::path CaseNativeDirectory();
std::filesystem::path CaseRoot();

/// For bodies: the text of the std::exception that `action` throws; "(nothing thrown)" otherwise.
template <class Action>
std::string ThrownBy(Action action) {
  try {
    action();
  } catch (const std::exception& error) {
    return error.what();
  }
  return "(nothing thrown)";
}

class CaseRegistration {
 public:
  CaseRegistration(const char* name, void (*body)());
};

/// Runs the process case that the arguments ask for; -1 where they ask for none.
int RunRequestedCase(int argc, char** argv);

}  // namespace Ferrolink::Tests

#define PROCESS_CASE(name)                                                                        \
  static void processCase_##name();                                                               \
  static const Ferrolink::Tests::CaseRegistration registration_##name(#name, processCase_##name); \
  static void processCase_##name()

#endif
