#include "tests/support/ProcessCase.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <fstream>
#include <sstream>
#include <stdexcept>

#include "tests/support/Counts.h"

namespace Ferrolink::Tests {
namespace {

constexpr const char* kCaseFlag = "--process-case";
constexpr const char* kReportVariable = "TEST_CASE_REPORT";
constexpr const char* kRootVariable = "TEST_CASE_ROOT";
constexpr long kTimeLimitSeconds = 120;
constexpr char kRecordEnd = '\x1e';  // reports may hold line breaks

std::map<std::string, void (*)()>& Registry() {
  static std::map<std::string, void (*)()> cases;
  return cases;
}

std::vector<std::string>& StoredArguments() {
  static std::vector<std::string> arguments;
  return arguments;
}

std::string ReadFile(const std::filesystem::path& path) {
  std::ostringstream text;
  text << std::ifstream(path, std::ios::binary).rdbuf();
  return text.str();
}

std::vector<std::string> ChildEnvironment(const CaseOptions& options,
                                          const std::filesystem::path& report,
                                          const std::filesystem::path& root) {
  std::map<std::string, std::string> variables;
  for (char** entry = environ; *entry != nullptr; ++entry) {
    const std::string text = *entry;
    const auto split = text.find('=');
    variables[text.substr(0, split)] = text.substr(split + 1);
  }
  std::erase_if(variables, [](const auto& variable) {
    return variable.first == "JAVA_HOME" || variable.first.rfind("FERROLINK_", 0) == 0;
  });
  for (const std::string& name : options.unset) {
    variables.erase(name);
  }
  for (const auto& [name, value] : options.environment) {
    variables[name] = value;
  }
  variables[kReportVariable] = report.string();
  variables[kRootVariable] = root.string();
  std::vector<std::string> flat;
  for (const auto& [name, value] : variables) {
    flat.push_back(name + "=" + value);
  }
  return flat;
}

std::vector<char*> Pointers(std::vector<std::string>& texts) {
  std::vector<char*> result;
  for (std::string& text : texts) {
    result.push_back(text.data());
  }
  result.push_back(nullptr);
  return result;
}

void Redirect(int target, const std::filesystem::path& file) {
  const int opened = open(file.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
  if (opened < 0 || dup2(opened, target) < 0) {
    _exit(71);
  }
  close(opened);
}

std::vector<std::string> SplitReport(const std::string& text) {
  std::vector<std::string> entries;
  std::size_t start = 0;
  for (std::size_t end = text.find(kRecordEnd); end != std::string::npos;
       end = text.find(kRecordEnd, start)) {
    entries.push_back(text.substr(start, end - start));
    start = end + 1;
  }
  return entries;
}

}  // namespace

CaseRegistration::CaseRegistration(const char* name, void (*body)()) {
  Registry()[name] = body;
}

CaseResult RunCase(const std::string& name, const InstallationTree& tree,
                   const CaseOptions& options) {
  const TemporaryDirectory outputs;
  const auto out = outputs.Path() / "out";
  const auto err = outputs.Path() / "err";
  const auto reportFile = outputs.Path() / "report";
  std::vector<std::string> arguments = {(tree.NativeDirectory() / "host").string(), kCaseFlag,
                                        name};
  arguments.insert(arguments.end(), options.arguments.begin(), options.arguments.end());
  std::vector<std::string> environment = ChildEnvironment(options, reportFile, tree.Root());
  const std::vector<char*> argv = Pointers(arguments);
  const std::vector<char*> envp = Pointers(environment);
  const auto directory = options.workingDirectory.empty() ? tree.Root() : options.workingDirectory;

  const pid_t child = fork();
  if (child < 0) {
    throw std::runtime_error("cannot fork");
  }
  if (child == 0) {
    Redirect(STDOUT_FILENO, out);
    Redirect(STDERR_FILENO, err);
    if (chdir(directory.c_str()) != 0) {
      _exit(72);
    }
    execve("/proc/self/exe", argv.data(), envp.data());
    _exit(73);
  }
  int status = 0;
  waitpid(child, &status, 0);
  CaseResult result;
  result.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  result.signal = WIFSIGNALED(status) ? WTERMSIG(status) : 0;
  result.out = ReadFile(out);
  result.err = ReadFile(err);
  result.report = SplitReport(ReadFile(reportFile));
  return result;
}

void Report(std::string_view text) {
  const char* file = std::getenv(kReportVariable);
  const int opened = open(file, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
  const std::string record = std::string(text) + kRecordEnd;
  if (opened < 0 || write(opened, record.data(), record.size()) < 0) {
    _exit(74);
  }
  close(opened);
}

void Report(long value) {
  Report(std::to_string(value));
}

const std::vector<std::string>& CaseArguments() {
  return StoredArguments();
}

std::filesystem::path CaseRoot() {
  return std::getenv(kRootVariable);
}

std::filesystem::path CaseNativeDirectory() {
  return CaseRoot() / "Binaries/Native/Linux/X64";
}

int RunRequestedCase(int argc, char** argv) {
  if (argc < 3 || std::strcmp(argv[1], kCaseFlag) != 0) {
    return -1;
  }
  StoredArguments().assign(argv + 3, argv + argc);
  alarm(static_cast<unsigned>(CountOr("TEST_CASE_SECONDS", kTimeLimitSeconds)));
  const auto found = Registry().find(argv[2]);
  if (found == Registry().end()) {
    std::fprintf(stderr, "no process case named %s\n", argv[2]);
    return 75;
  }
  try {
    found->second();
  } catch (const std::exception& error) {
    std::fprintf(stderr, "%s left by an exception: %s\n", argv[2], error.what());
    return 70;
  }
  return 0;
}

}  // namespace Ferrolink::Tests
