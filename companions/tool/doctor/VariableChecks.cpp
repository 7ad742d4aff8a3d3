// Variables of the environment that are ignored, misspelt or dangerous, and the configuration.
#include <unistd.h>

#include <algorithm>
#include <array>
#include <optional>
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

// The settings in an option that loads the debugger's agent; none if it does not.
std::optional<std::string> SettingsOfDebugAgent(const std::string& option) {
  constexpr std::string_view kPath = "-agentpath:";
  for (const std::string_view start : {"-agentlib:jdwp", "-Xrunjdwp"}) {
    const std::string_view rest =
        std::string_view(option).substr(std::min(start.size(), option.size()));
    if (option.starts_with(start) && (rest.empty() || rest[0] == '=' || rest[0] == ':')) {
      return std::string(rest.substr(rest.empty() ? 0 : 1));
    }
  }
  const std::size_t end = std::min(option.find('='), option.size());
  if (option.starts_with(kPath) && option.substr(0, end).ends_with("/libjdwp.so")) {
    return option.substr(std::min(end + 1, option.size()));
  }
  return std::nullopt;
}

// The value of a name in name=value,name=value; of two the last one.
std::string SettingOf(const std::string& settings, std::string_view name) {
  std::string value;
  for (std::size_t begin = 0; begin < settings.size();) {
    const std::size_t end = std::min(settings.find(',', begin), settings.size());
    const std::string one = settings.substr(begin, end - begin);
    if (one.starts_with(name) && one.size() > name.size() && one[name.size()] == '=') {
      value = one.substr(name.size() + 1);
    }
    begin = end + 1;
  }
  return value;
}

bool IsOfAllAddresses(const std::string& address, int javaFeature) {
  if (address.find(':') == std::string::npos) {
    return javaFeature == 8;  // later ones take a port alone for one of this machine only
  }
  const std::string host = address.substr(0, address.rfind(':'));
  constexpr std::array<std::string_view, 4> kAll = {"*", "0.0.0.0", "[::]", "::"};
  return std::find(kAll.begin(), kAll.end(), host) != kAll.end();
}

void AddDebugAgent(const std::string& variable, const std::string& option,
                   const std::string& settings, int javaFeature, Findings& findings) {
  // What the agent does unless told otherwise: it connects to a debugger, and waits.
  const bool listens = SettingOf(settings, "server") == "y";
  const bool waits = SettingOf(settings, "suspend") != "n";
  std::string text = "A debugger's agent is in the options of the JVM: ";
  if (!listens) {
    text += "the JVM connects to a debugger when it starts, which then runs code in the program.";
  } else if (IsOfAllAddresses(SettingOf(settings, "address"), javaFeature)) {
    text +=
        "it listens on all addresses of this machine, and whoever reaches its port runs code in "
        "the program, without authentication.";
  } else {
    text += "whoever connects to its port runs code in the program, without authentication.";
  }
  if (listens && waits) {
    text += " The JVM waits for a debugger before it starts.";
  }
  findings.Add({"debug-agent-on", text, variable + " has " + option,
                "Remove the option from " + variable + ", except while you debug.", "",
                listens && waits});
}

}  // namespace

void CheckVariables(const Machine& machine, Findings& findings) {
  CheckIgnored(machine, findings);
  CheckSpelling(findings);
  CheckWord("FERROLINK_LOGGING_LEVEL", {"off", "runtimeinfo", "all"}, findings);
  CheckWord("FERROLINK_DEBUG_MODE", {"true", "false"}, findings);
  CheckClientVariables(findings);
}

void CheckDebugMode(const Machine& machine, Findings& findings) {
  for (const char* variable : {"JAVA_TOOL_OPTIONS", "_JAVA_OPTIONS"}) {
    for (const std::string& option : JvmOptionsOf(variable)) {
      if (const auto settings = SettingsOfDebugAgent(option)) {
        AddDebugAgent(variable, option, *settings, machine.JavaFeature(), findings);
      }
    }
  }
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
