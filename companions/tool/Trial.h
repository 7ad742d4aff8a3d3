#ifndef FERROLINK_COMPANIONS_TOOL_TRIAL_H
#define FERROLINK_COMPANIONS_TOOL_TRIAL_H

#include <chrono>
#include <filesystem>
#include <string>
#include <vector>

#include "companions/tool/ChildProcess.h"

namespace Ferrolink::Companions::Tool {

/// A file that the library would try as the JVM library.
struct CandidateResult {
  std::filesystem::path file;
  std::string reason;  ///< why the loader refuses it, in its own words; empty if it opens
  bool isJvm = false;  ///< it opens and has the entry points of a JVM
};

/// Opens each file in a child, as the library does: a damaged library may end the process.
std::vector<CandidateResult> TryToOpen(const std::vector<std::filesystem::path>& files);

struct TrialSettings {
  std::string runtimePath;             ///< for FERROLINK_JVM_RUNTIME_PATH if nothing names a JVM
  std::filesystem::path libraries;     ///< of the installation
  std::string configuration;           ///< as given to Host; empty for none
  std::vector<std::string> classPath;  ///< archives
  bool hostSignals = false;            ///< start the JVM so that the host keeps its signals
  std::chrono::milliseconds limit{90'000};  ///< until the JVM answers
};

/// What a JVM that was started in a child says about itself.
struct TrialResult {
  ChildResult child;
  bool started = false;  ///< a JVM runs and answers
  /// The JVM libraries that others had loaded before the start; known even if the start fails.
  std::vector<std::string> earlyJvms;
  std::string earlyLibrary;       ///< that of them which had a JVM; empty if none had
  std::string library;            ///< the libjvm.so that runs
  std::vector<std::string> jvms;  ///< all JVM libraries in the process
  std::string javaVersion;
  std::string javaVendor;
  std::string javaHome;
  long long heapLimit = 0;  ///< bytes
  std::vector<std::string> handlers;
  std::string handlerProblems;    ///< handlers that are not available; empty if there are none
  std::string receiverPlace;      ///< where the receiver class comes from; empty if unknown
  std::vector<int> takenSignals;  ///< that the JVM handles, and the host did not before
  double seconds = 0;             ///< to the first answer
};

/// Starts a JVM through the library in a child, with the options of the environment. Debug mode is
/// off there, since it would wait for a debugger. The error logs of library and JVM go to a
/// directory that is removed again.
TrialResult TryToStart(const TrialSettings& settings);

/// The child's sides: the bodies of the subcommands that only the tool itself calls.
int RunOpenTrial(const std::string& file);
int RunStartTrial(const std::string& settings);

}  // namespace Ferrolink::Companions::Tool

#endif
