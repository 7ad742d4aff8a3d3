#include "companions/tool/Trial.h"

#include <algorithm>
#include <nlohmann/json.hpp>

#include "companions/tool/LogDirectory.h"
#include "companions/tool/Terminal.h"

namespace Ferrolink::Companions::Tool {
namespace {

namespace fs = std::filesystem;
using nlohmann::json;

constexpr std::chrono::seconds kOpenLimit{30};

// A report is a sequence of objects, one a line. A child that ends early leaves the first ones, or
// half of one.
json ParseReport(const std::string& text) {
  json report = json::object();
  for (std::size_t begin = 0; begin < text.size();) {
    const std::size_t end = std::min(text.find('\n', begin), text.size());
    const json part = json::parse(text.substr(begin, end - begin), nullptr, false);
    if (part.is_object()) {
      report.update(part);
    }
    begin = end + 1;
  }
  return report;
}

}  // namespace

std::vector<CandidateResult> TryToOpen(const std::vector<fs::path>& files) {
  std::vector<CandidateResult> results;
  const HeldSignals signals;
  // A child of its own for each: an opened library stays, and changes what the next one finds.
  for (const fs::path& file : files) {
    const Progress progress("Opening " + Shown(file.string()));
    const ChildResult child = RunSelf({"trial-open", file.string()}, kOpenLimit, signals);
    const json report = ParseReport(child.report);
    CandidateResult result{file, report.value("reason", ""), report.value("isJvm", false)};
    if (!report.contains("reason")) {
      result.reason = "opening it ends the process: " + child.Ending();
    }
    results.push_back(std::move(result));
  }
  return results;
}

TrialResult TryToStart(const TrialSettings& settings) {
  const HeldSignals signals;  // before the log, which is removed whatever arrives
  const Progress progress("Starting a JVM");
  const LogDirectory log;
  const json request = {
      {"runtimePath", settings.runtimePath},     {"libraries", settings.libraries.string()},
      {"configuration", settings.configuration}, {"classPath", settings.classPath},
      {"hostSignals", settings.hostSignals},     {"logDirectory", log.Path()}};
  TrialResult result;
  result.child =
      RunSelf({"trial-start", request.dump(-1, ' ', false, json::error_handler_t::replace)},
              settings.limit, signals, {"FERROLINK_DEBUG_MODE", "FERROLINK_LOGGING_LEVEL"});
  const json report = ParseReport(result.child.report);
  result.started = report.value("started", false);
  result.earlyJvms = report.value("earlyJvms", std::vector<std::string>());
  result.earlyLibrary = report.value("earlyLibrary", "");
  result.library = report.value("library", "");
  result.jvms = report.value("jvms", std::vector<std::string>());
  result.javaVersion = report.value("javaVersion", "");
  result.javaVendor = report.value("javaVendor", "");
  result.javaHome = report.value("javaHome", "");
  result.heapLimit = report.value("heapLimit", 0LL);
  result.handlers = report.value("handlers", std::vector<std::string>());
  result.handlerProblems = report.value("handlerProblems", "");
  result.receiverPlace = report.value("receiverPlace", "");
  result.takenSignals = report.value("takenSignals", std::vector<int>());
  result.seconds = report.value("seconds", 0.0);
  return result;
}

}  // namespace Ferrolink::Companions::Tool
