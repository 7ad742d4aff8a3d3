#ifndef FERROLINK_COMPANIONS_TOOL_DOCTOR_MACHINE_H
#define FERROLINK_COMPANIONS_TOOL_DOCTOR_MACHINE_H

#include <chrono>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "companions/configs/Configuration.h"
#include "companions/tool/Installation.h"
#include "companions/tool/JavaChoice.h"
#include "companions/tool/Trial.h"
#include "companions/tool/doctor/ServerFile.h"

namespace Ferrolink::Companions::Tool {

/// What the user of the doctor says about the program that is to run.
struct Case {
  std::string configuration;           ///< a file or JSON text, as given to Host; empty for none
  std::vector<std::string> classPath;  ///< archives, or directories of archives
  std::string connect;                 ///< tcp://host:port or tls://host:port; empty for none
  std::string authorities;             ///< a PEM file that tls:// trusts; empty for the system's
  std::string serverFile;              ///< the configuration file of a server; empty for none
  std::chrono::milliseconds startLimit{90'000};  ///< of the trial start
  bool startsJvm = true;                         ///< whether one is started for trial
  bool hostSignals = false;  ///< the program handles SIGINT, SIGTERM and SIGHUP itself
  int process = 0;           ///< a running program to look at; 0 for none
  std::filesystem::path controlGroups = "/sys/fs/cgroup";
};

/// What the checks look at. Gathered once; the trial start is added when its turn has come.
struct Machine {
  Case asked;
  Installation installation;
  std::optional<Configuration> configuration;  ///< none if it is refused, or none was given
  std::string refusal;                         ///< why it is refused
  std::optional<ServerFile> serverFile;        ///< none if none was given
  JavaChoice java;
  std::vector<CandidateResult> candidates;
  std::optional<TrialResult> trial;  ///< none if it was not worth trying

  /// The directory to which the error log goes.
  [[nodiscard]] std::filesystem::path WorkingDirectory() const;
  /// The candidate that opens and is a JVM; null if there is none.
  [[nodiscard]] const CandidateResult* UsableJvm() const;
  /// The feature version of the JVM: of the one that ran, else of the one that would; 0 if unknown.
  [[nodiscard]] int JavaFeature() const;
};

/// Looks at everything but starts no JVM.
Machine ExamineMachine(const Case& asked);

}  // namespace Ferrolink::Companions::Tool

#endif
