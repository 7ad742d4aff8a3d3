// ferrolink info: versions, the JVM that would run and why, settings, handlers.
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cstdio>
#include <nlohmann/json.hpp>

#include "companions/configs/Configuration.h"
#include "companions/configs/ConfigurationSource.h"
#include "companions/tool/Archive.h"
#include "companions/tool/Commands.h"
#include "companions/tool/Elf.h"
#include "companions/tool/Installation.h"
#include "companions/tool/JavaChoice.h"
#include "companions/tool/Options.h"
#include "companions/tool/Terminal.h"
#include "companions/tool/Trial.h"
#include "ferrolink/JavaHomes.h"

namespace Ferrolink::Companions::Tool {
namespace {

namespace fs = std::filesystem;
using nlohmann::ordered_json;

std::string ArchiveVersion(const fs::path& file) {
  try {
    return Archive(file).Attribute("Implementation-Version");
  } catch (const ArchiveError& error) {
    return std::string("unusable: ") + error.what();
  }
}

ordered_json DescribeInstallation(const Installation& installation) {
  if (!installation.problem.empty()) {
    return {{"problem", installation.problem}};
  }
  ordered_json files = ordered_json::array();
  for (const char* name : kLibraries) {
    const fs::path file = installation.libraries / name;
    std::error_code unreadable;
    const ElfFacts facts = ReadElf(file);
    const bool exists = fs::exists(file, unreadable);
    files.push_back({{"name", name},
                     {"version", !exists                 ? "missing"
                                 : facts.version.empty() ? "unknown"
                                                         : facts.version},
                     {"buildId", facts.buildId}});
  }
  files.push_back({{"name", installation.archive.filename().string()},
                   {"version", ArchiveVersion(installation.archive)},
                   {"buildId", ""}});
  return {
      {"root", installation.root.string()}, {"foundBy", installation.foundBy}, {"files", files}};
}

ordered_json DescribeJava(const JavaChoice& java) {
  ordered_json steps = ordered_json::array();
  for (const JavaName& step : java.steps) {
    steps.push_back({{"place", step.place}, {"path", step.path}});
  }
  return {{"path", java.chosen.path},
          {"because", java.chosen.place},
          {"library", java.Library().string()},
          {"version", java.Version()},
          {"steps", steps}};
}

ordered_json DescribeVariables() {
  ordered_json variables = ordered_json::object();
  for (char** variable = environ; *variable != nullptr; ++variable) {
    const std::string text = *variable;
    const std::string name = text.substr(0, text.find('='));
    if (name.starts_with("FERROLINK_") || name == "JAVA_HOME" || name == "JAVA_TOOL_OPTIONS" ||
        name == "_JAVA_OPTIONS" || name == "LD_PRELOAD") {
      variables[name] = Shown(text.substr(std::min(name.size() + 1, text.size())));
    }
  }
  return variables;
}

// The variable counts if it has one of the words, in any case of letters; else the configuration.
std::string LoggingLevel(const Configuration& configuration) {
  std::string level = Host::detail::Variable("FERROLINK_LOGGING_LEVEL");
  std::transform(level.begin(), level.end(), level.begin(),
                 [](unsigned char letter) { return static_cast<char>(std::tolower(letter)); });
  constexpr std::array kWords = {"off", "runtimeinfo", "all"};
  const bool known = std::find(kWords.begin(), kWords.end(), level) != kWords.end();
  return known ? level : configuration.loggingLevel;
}

ordered_json DescribeRun(const TrialResult& trial) {
  if (!trial.started) {
    return {{"problem",
             "A trial start fails: " + trial.child.Ending() + ". ferrolink doctor tells why."}};
  }
  constexpr long long kMebibyte = 1024LL * 1024;
  return {{"javaVersion", trial.javaVersion}, {"javaVendor", trial.javaVendor},
          {"library", trial.library},         {"heapLimitMiB", trial.heapLimit / kMebibyte},
          {"handlers", trial.handlers},       {"handlersNotAvailable", trial.handlerProblems}};
}

ordered_json Gather(const InfoOptions& options) {
  const Installation installation = FindInstallation();
  Configuration configuration;
  if (!options.configuration.empty()) {
    configuration = LoadConfiguration(options.configuration);
  }
  const auto jvm = configuration.runtimes.find("jvm");
  const bool configured = jvm != configuration.runtimes.end() && jvm->second.count("default") != 0;
  const JavaChoice java = ChooseJava(configured ? jvm->second.at("default").runtimePath : "");
  std::vector<std::string> archives = PathsOf(options.classPath);
  for (const std::string& path : PathsOf(Host::detail::Variable("FERROLINK_CLASS_PATH"))) {
    archives.push_back(path);
  }
  ordered_json info;
  info["version"] = FERROLINK_VERSION;
  info["installation"] = DescribeInstallation(installation);
  info["java"] = DescribeJava(java);
  info["variables"] = DescribeVariables();
  info["jvmOptions"] = ordered_json::array();
  for (const std::string& option : JvmOptions()) {
    info["jvmOptions"].push_back(Shown(option));
  }
  info["loggingLevel"] = LoggingLevel(configuration);
  info["archives"] = archives;
  if (installation.problem.empty() && !java.Library().empty()) {
    info["run"] = DescribeRun(TryToStart({.runtimePath = java.searched ? java.chosen.path : "",
                                          .libraries = installation.libraries,
                                          .configuration = options.configuration,
                                          .classPath = archives,
                                          .hostSignals = false}));
  }
  return info;
}

// A heading, and a line for each member that is not empty.
void PrintMembers(const char* heading, const ordered_json& members) {
  std::printf("%s\n", Styled(STDOUT_FILENO, Style::Heading, heading).c_str());
  for (const auto& [name, value] : members.items()) {
    std::string text;
    if (value.is_array()) {
      for (const auto& one : value) {
        text += (text.empty() ? "" : ", ") + (one.is_string() ? one.get<std::string>() : "");
      }
    } else {
      text = value.is_string() ? value.get<std::string>() : value.dump();
    }
    if (!text.empty() && name != "steps" && name != "files") {
      std::printf("  %-28s %s\n", name.c_str(), Wrapped(text, 31).c_str());
    }
  }
}

void PrintText(const ordered_json& info) {
  std::printf("%s\n",
              Styled(STDOUT_FILENO, Style::Heading, "ferrolink " FERROLINK_VERSION).c_str());
  PrintMembers("Installation", info["installation"]);
  for (const auto& file : info["installation"].value("files", ordered_json::array())) {
    const std::string build = file["buildId"];
    std::printf("  %-34s %s%s\n", file["name"].get<std::string>().c_str(),
                file["version"].get<std::string>().c_str(),
                build.empty() ? "" : ("  build " + build).c_str());
  }
  PrintMembers("Java that would run", info["java"]);
  for (const auto& step : info["java"]["steps"]) {
    const std::string path = step["path"];
    std::printf("    %s: %s\n", step["place"].get<std::string>().c_str(),
                path.empty() ? "not set" : path.c_str());
  }
  PrintMembers("Variables", info["variables"]);
  PrintMembers("Settings", {{"jvmOptions", info["jvmOptions"]},
                            {"loggingLevel", info["loggingLevel"]},
                            {"archives", info["archives"]}});
  if (info.contains("run")) {
    PrintMembers("Started for trial", info["run"]);
  }
}

}  // namespace

void Info(const InfoOptions& options) {
  const ordered_json info = Gather(options);
  if (options.json) {
    std::printf("%s\n", info.dump(2, ' ', false, ordered_json::error_handler_t::replace).c_str());
  } else {
    PrintText(info);
  }
}

}  // namespace Ferrolink::Companions::Tool
