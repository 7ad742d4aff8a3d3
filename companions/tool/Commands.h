#ifndef FERROLINK_COMPANIONS_TOOL_COMMANDS_H
#define FERROLINK_COMPANIONS_TOOL_COMMANDS_H

#include <optional>
#include <string>
#include <vector>

#include "native/interfaces/Runtime.h"

/// The subcommands of the tool. CommandLine.h reads their options. All throw exceptions with a text
/// for the user.
namespace Ferrolink::Companions::Tool {

/// Prints an error on standard error, and what to do if a page tells.
void PrintError(const std::string& text);

/// Prints the pages for a code or a text.
void Explain(const std::vector<std::string>& words);

struct InfoOptions {
  std::string configuration;  ///< a file or JSON text; empty for none
  std::string classPath;      ///< separated by colons
  bool json = false;
};
void Info(const InfoOptions& options);

struct RunOptions {
  std::vector<std::string> jvmOptions;
  std::string classPath;
  bool hostSignals = false;
  bool preopenJvm = false;
  std::vector<std::string> program;  ///< and its arguments
};
/// Replaces this process by the program.
[[noreturn]] void RunProgram(const RunOptions& options);

struct CallOptions {
  std::string handler;
  std::optional<std::string> payload;  ///< standard input if there is none
  std::string at;                      ///< tcp://host:port or tls://host:port; empty for here
  std::string runtime = "jvm";
  std::string classPath;
  std::vector<std::string> plugIns;
  std::string configuration;
  unsigned timeLimit = 0;  ///< milliseconds; 0 for none
  bool verbose = false;

  [[nodiscard]] Native::Definitions::Runtime Target() const {
    return runtime == "jvm" ? Native::Definitions::Runtime::Jvm : Native::Definitions::Runtime::Cpp;
  }
};
/// Returns the exit code.
int Call(const CallOptions& options);

/// Returns the exit code.
int Bench();

/// Replaces this process by ferrolink-server. The first of the arguments is not one of the
/// server's.
[[noreturn]] void Serve(char** arguments);

}  // namespace Ferrolink::Companions::Tool

#endif
