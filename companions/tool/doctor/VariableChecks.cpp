// Variables of the environment that are ignored, misspelt or dangerous, and the configuration.
#include <unistd.h>

#include <algorithm>
#include <array>
#include <string_view>

#include "companions/configs/Configuration.h"
#include "companions/tcp/client/ClientVariables.h"
#include "companions/tool/Options.h"
#include "companions/tool/Terminal.h"
#include "companions/tool/doctor/Checks.h"
#include "ferrolink/JavaHomes.h"

namespace Ferrolink::Companions::Tool {
namespace {

namespace Client = Tcp::Client;
using Host::detail::Variable;

constexpr std::string_view kOwn = "FERROLINK_";

constexpr std::array<std::string_view, 17> kKnown = {
    "FERROLINK_JVM_RUNTIME_PATH", "FERROLINK_JAVA_DIRECTORY",
    "FERROLINK_LOGGING_LEVEL",    "FERROLINK_DEBUG_MODE",
    "FERROLINK_TELEMETRY_FILE",   "FERROLINK_HOME",
    "FERROLINK_CLASS_PATH",       "FERROLINK_CONNECT_TIMEOUT_MS",
    "FERROLINK_CALL_TIMEOUT_MS",  "FERROLINK_UNACKNOWLEDGED_TIMEOUT_MS",
    "FERROLINK_MAX_FRAME_BYTES",  "FERROLINK_POOL_SIZE",
    "FERROLINK_TLS_CA_FILE",      "FERROLINK_TLS_CRL_FILE",
    "FERROLINK_TLS_CERTIFICATE",  "FERROLINK_TLS_KEY",
    "FERROLINK_TLS_INSECURE"};

// Whether the host loads all of CLASSPATH anyhow, as after "ferrolink run --class-path".
bool IsClassPathLoaded(const Machine& machine) {
  const std::vector<std::string> loaded = PathsOf(Variable("FERROLINK_CLASS_PATH"));
  const std::vector<std::string> entries = PathsOf(Variable("CLASSPATH"));
  return std::all_of(entries.begin(), entries.end(), [&](const std::string& entry) {
    return entry == machine.installation.archive ||
           std::find(loaded.begin(), loaded.end(), entry) != loaded.end();
  });
}

void CheckIgnored(const Machine& machine, Findings& findings) {
  const auto add = [&](const char* name, const char* remedy) {
    if (const std::string value = Variable(name); !value.empty()) {
      findings.Add({"variable-ignored",
                    std::string(name) + " has no effect on a JVM that a native program starts.",
                    std::string(name) + " = " + Shown(value), remedy, ""});
    }
  };
  add("JDK_JAVA_OPTIONS",
      "Put the options into JAVA_TOOL_OPTIONS; only the program java reads this variable.");
  if (!IsClassPathLoaded(machine)) {
    add("CLASSPATH",
        "Load archives with LoadLibrary, or name them in FERROLINK_CLASS_PATH; only the program "
        "java reads this variable.");
  }
}

void CheckSpelling(Findings& findings) {
  for (char** variable = environ; *variable != nullptr; ++variable) {
    const std::string_view text = *variable;
    const std::string_view name = text.substr(0, text.find('='));
    if (name.starts_with(kOwn) && std::find(kKnown.begin(), kKnown.end(), name) == kKnown.end()) {
      findings.Add({"variable-unknown", "No part of Ferrolink reads " + std::string(name) + ".",
                    Shown(text),
                    "Correct its name, or remove it. The page hosts.md of the documentation lists "
                    "the variables.",
                    ""});
    }
  }
}

void CheckWord(const char* name, std::initializer_list<std::string_view> words,
               Findings& findings) {
  const std::string value = Variable(name);
  const std::string lower = LowerCase(value);
  if (value.empty() || std::find(words.begin(), words.end(), lower) != words.end()) {
    return;
  }
  std::string allowed;
  for (const std::string_view word : words) {
    allowed += (allowed.empty() ? "" : ", ") + std::string(word);
  }
  findings.Add({"variable-value", std::string(name) + " has a value that is ignored.",
                std::string(name) + " = " + Shown(value), "Use one of: " + allowed + ".", ""});
}

void CheckClientVariables(Findings& findings) {
  const auto refuse = [&](const char* name, const std::string& value, const std::string& wanted) {
    findings.Add({"variable-value",
                  std::string(name) +
                      " has a value that clients refuse: calls over the network fail with Network "
                      "Client 006.",
                  std::string(name) + " = " + Shown(value), "Use " + wanted + ", or unset it.",
                  ""});
  };
  for (const Client::NumericVariable& variable : Client::kNumericVariables) {
    const std::string value = Variable(variable.name);
    if (!value.empty() && !variable.ValueIn(value)) {
      refuse(variable.name, value, variable.Wanted());
    }
  }
  const std::string insecure = Variable(Client::kInsecureVariable);
  if (insecure == Client::kInsecure) {
    findings.Add({"tls-insecure",
                  "Clients do not verify servers: whoever answers at an address is trusted.",
                  std::string(Client::kInsecureVariable) + " = " + insecure,
                  "unset " + std::string(Client::kInsecureVariable) +
                      ", and name the authority of the servers in FERROLINK_TLS_CA_FILE.",
                  ""});
  } else if (!insecure.empty()) {
    refuse(Client::kInsecureVariable, insecure, Client::kInsecure);
  }
}

}  // namespace

void CheckVariables(const Machine& machine, Findings& findings) {
  CheckIgnored(machine, findings);
  CheckSpelling(findings);
  CheckWord("FERROLINK_LOGGING_LEVEL", {"off", "runtimeinfo", "all"}, findings);
  CheckWord("FERROLINK_DEBUG_MODE", {"true", "false"}, findings);
  CheckClientVariables(findings);
}

void CheckDebugMode(const Machine& /*machine*/, Findings& findings) {
  if (LowerCase(Variable("FERROLINK_DEBUG_MODE")) == "true") {
    findings.Add(
        {"debug-mode-on",
         "Debug mode is on: the JVM waits for a debugger, whose port has no authentication.",
         "FERROLINK_DEBUG_MODE = " + Variable("FERROLINK_DEBUG_MODE"),
         "unset FERROLINK_DEBUG_MODE, except while you debug.", ""});
  }
}

void CheckNativeAccess(const Machine& machine, Findings& findings) {
  constexpr int kFirstWithOption = 24;
  if (machine.JavaFeature() >= kFirstWithOption && HasJvmOption("--illegal-native-access=deny") &&
      !HasJvmOption("--enable-native-access")) {
    findings.Add({"native-access-denied",
                  "Java code cannot load native libraries, so it cannot call other runtimes.",
                  "JAVA_TOOL_OPTIONS = " + Shown(Variable("JAVA_TOOL_OPTIONS")),
                  "Add --enable-native-access=ALL-UNNAMED to JAVA_TOOL_OPTIONS.", ""});
  }
}

void CheckConfiguration(const Machine& machine, Findings& findings) {
  if (!machine.refusal.empty()) {
    findings.Add({"configuration-refused", "The configuration is refused, and none of it applies.",
                  Shown(machine.refusal),
                  "Correct the place that the evidence names. The page configuration.md of the "
                  "documentation lists keys and values.",
                  "", true});
  }
}

}  // namespace Ferrolink::Companions::Tool
