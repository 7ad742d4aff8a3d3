#ifndef FERROLINK_COMPANIONS_TOOL_CHILDPROCESS_H
#define FERROLINK_COMPANIONS_TOOL_CHILDPROCESS_H

#include <chrono>
#include <string>
#include <vector>

#include "companions/tool/HeldSignals.h"

namespace Ferrolink::Companions::Tool {

/// How a child ended and what it said.
struct ChildResult {
  std::string output;   ///< standard output
  std::string errors;   ///< standard error
  std::string report;   ///< what it wrote to descriptor kReportDescriptor
  int exitCode = -1;    ///< -1 unless it exited
  int signal = 0;       ///< that ended it
  bool isLate = false;  ///< it was killed after the time limit, or for a held signal

  /// "exit code 1", "signal 6 (Aborted)", "no end within 60 s".
  [[nodiscard]] std::string Ending() const;
};

/// A descriptor that children of the tool report to, so that nobody else writes to it.
inline constexpr int kReportDescriptor = 3;

/// Runs this program with these arguments and the environment of this process, without standard
/// input. Text beyond a MiB is dropped. A held signal ends the child at once; it stays held.
/// `without` names variables that the child does not get.
/// Errors: std::system_error.
ChildResult RunSelf(const std::vector<std::string>& arguments, std::chrono::milliseconds limit,
                    const HeldSignals& signals, const std::vector<std::string>& without = {});

}  // namespace Ferrolink::Companions::Tool

#endif
