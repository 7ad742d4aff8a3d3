#include "companions/tool/doctor/Machine.h"

#include "companions/configs/ConfigurationSource.h"

namespace Ferrolink::Companions::Tool {

namespace fs = std::filesystem;

fs::path Machine::WorkingDirectory() const {
  if (configuration && !configuration->workingDirectory.empty()) {
    return configuration->workingDirectory;
  }
  std::error_code gone;
  return fs::current_path(gone);
}

const CandidateResult* Machine::UsableJvm() const {
  for (const CandidateResult& candidate : candidates) {
    // The library takes the first candidate that opens, whether it is a JVM or not.
    if (candidate.reason.empty()) {
      return candidate.isJvm ? &candidate : nullptr;
    }
  }
  return nullptr;
}

int Machine::JavaFeature() const {
  return FeatureOf(trial && !trial->javaVersion.empty() ? trial->javaVersion : java.Version());
}

Machine ExamineMachine(const Case& asked) {
  Machine machine;
  machine.asked = asked;
  machine.installation = FindInstallation();
  std::string runtimePath;
  if (!asked.configuration.empty()) {
    try {
      machine.configuration = LoadConfiguration(asked.configuration);
      const auto jvm = machine.configuration->runtimes.find("jvm");
      if (jvm != machine.configuration->runtimes.end() && jvm->second.count("default") != 0) {
        runtimePath = jvm->second.at("default").runtimePath;
      }
    } catch (const ConfigurationError& error) {
      machine.refusal = error.what();
    }
  }
  if (!asked.serverFile.empty()) {
    machine.serverFile = ReadServerFile(asked.serverFile);
    const auto& archives = machine.serverFile->archives;
    machine.asked.classPath.insert(machine.asked.classPath.end(), archives.begin(), archives.end());
  }
  machine.java = ChooseJava(runtimePath);
  machine.candidates = TryToOpen(machine.java.Candidates());
  return machine;
}

}  // namespace Ferrolink::Companions::Tool
