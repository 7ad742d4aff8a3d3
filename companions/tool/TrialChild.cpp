// The side of a trial that may crash: it runs in a process of its own.
#include <dlfcn.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <fstream>
#include <nlohmann/json.hpp>
#include <set>

#include "companions/tool/LogDirectory.h"
#include "companions/tool/Options.h"
#include "companions/tool/Trial.h"
#include "ferrolink/Host.h"
#include "ferrolink/JavaHomes.h"
#include "ferrolink/Objects.h"

namespace Ferrolink::Companions::Tool {
namespace {

using nlohmann::json;

// The kernel ends this process with the one that runs it, whatever ends that one.
void EndWithParent() {
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  // It may have ended before. Its process number is unknown here, but it alone reads the report.
  pollfd report{kReportDescriptor, 0, 0};
  if (poll(&report, 1, 0) > 0 && (report.revents & POLLERR) != 0) {
    _exit(1);
  }
}

// A process that is expected to crash leaves no image of its memory in the user's directory.
void LeaveNoCore() {
  const rlimit none{0, 0};
  setrlimit(RLIMIT_CORE, &none);
}

void Report(const json& report) {
  const std::string text = report.dump(-1, ' ', false, json::error_handler_t::replace) + "\n";
  for (std::size_t sent = 0; sent < text.size();) {
    const ssize_t size = write(kReportDescriptor, text.data() + sent, text.size() - sent);
    if (size <= 0) {
      return;
    }
    sent += static_cast<std::size_t>(size);
  }
}

// The numbers of the signals that this process handles itself.
std::set<int> HandledSignals() {
  std::set<int> handled;
  for (int number = 1; number < SIGRTMIN; ++number) {
    struct sigaction action {};
    if (sigaction(number, nullptr, &action) == 0 && action.sa_handler != SIG_DFL &&
        action.sa_handler != SIG_IGN) {
      handled.insert(number);
    }
  }
  return handled;
}

// An unknown handler is answered with the names of the known ones.
void AskForHandlers(Host::Host& host, json& report) {
  std::string answer;
  try {
    host.Call("ferrolink-doctor-asks-for-names", "");
  } catch (const Host::RemoteError& error) {
    answer = error.what();
  }
  const auto part = [&](const std::string& begin, const std::string& end) {
    const std::size_t from = answer.find(begin);
    if (from == std::string::npos) {
      return std::string();
    }
    const std::string rest = answer.substr(from + begin.size());
    return rest.substr(0, rest.find(end));
  };
  std::string names = part("Known handlers: ", "\n");
  if (names.ends_with('.')) {
    names.back() = ',';
  }
  std::vector<std::string> handlers;
  for (std::size_t at = 0; at < names.size();) {
    const std::size_t comma = std::min(names.find(", ", at), names.size() - 1);
    handlers.push_back(names.substr(at, comma - at));
    at = comma + 2;
  }
  report["handlers"] = handlers;
  report["handlerProblems"] = part("Not available: ", "\n\tat ");
}

void Describe(Host::Host& host, json& report) {
  Objects::Java java(host);
  const auto property = [&](const char* name) {
    return java.CallStatic<std::optional<std::string>>("java.lang.System", "getProperty", name)
        .value_or("");
  };
  report["javaVersion"] = property("java.version");
  report["javaVendor"] = property("java.vendor");
  report["javaHome"] = property("java.home");
  report["heapLimit"] =
      java.CallStatic("java.lang.Runtime", "getRuntime").Call<std::int64_t>("maxMemory");
  const Objects::Object place = java.FindClass("com.ferrolink.core.receiver.Receiver")
                                    .Call("getProtectionDomain")
                                    .Call("getCodeSource");
  report["receiverPlace"] =
      place.IsNull() ? std::string("the boot class path")
                     : place.Call("getLocation").Call("toURI").Call<std::string>("getPath");
}

std::vector<std::string> JvmLibraries() {
  std::vector<std::string> found;
  for (const std::string& object : Host::LoadedObjects()) {
    const Host::LoadedObject opened(object);
    if (object.ends_with("/libjvm.so")) {
      found.push_back(opened.File().string());
    }
  }
  return found;
}

// The JVM library that has a JVM; empty if none has.
std::string LibraryThatRuns() {
  const Host::detail::JvmLibrary found = Host::detail::FindJvmLibrary();
  return found.vm == nullptr ? std::string() : found.file.string();
}

void Start(const json& request, json& report) {
  const std::string libraries = request["libraries"];
  if (const std::string path = request["runtimePath"]; !path.empty()) {
    SetIfEmpty(Host::kRuntimePathVariable, path);
  }
  if (request["hostSignals"]) {
    AddJvmOption("-Xrs");
  }
  const std::string logs = request["logDirectory"];
  // A broken configuration library is reported elsewhere.
  if (!MoveErrorLog(libraries, logs) && chdir(logs.c_str()) != 0) {
    std::perror("chdir");
  }
  if (!logs.empty()) {
    AddJvmOption("-XX:ErrorFile=" + logs + "/hs_err.log", JvmOptionPlace::First);
  }
  const auto begin = std::chrono::steady_clock::now();
  const std::set<int> before = HandledSignals();
  Host::Host host({.libraryDirectory = libraries, .configuration = request["configuration"]});
  for (const std::string archive : request["classPath"]) {
    host.LoadLibrary(archive);
  }
  // Said at once: two JVM libraries in one process may end it.
  Report({{"earlyJvms", JvmLibraries()}, {"earlyLibrary", LibraryThatRuns()}});
  try {
    host.Start();
  } catch (const Host::RemoteError& error) {
    // Of an archive that cannot be added; the JVM runs nevertheless.
    report["handlerProblems"] = error.what();
  }
  const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - begin;
  report["seconds"] = taken.count();
  report["started"] = true;
  report["library"] = Host::JvmLibraryPath();
  report["jvms"] = JvmLibraries();
  std::vector<int> signals;
  for (const int number : HandledSignals()) {
    if (before.count(number) == 0) {
      signals.push_back(number);
    }
  }
  report["takenSignals"] = signals;
  AskForHandlers(host, report);
  Describe(host, report);
}

}  // namespace

int RunOpenTrial(const std::string& file) {
  EndWithParent();
  LeaveNoCore();
  json report = {{"reason", ""}, {"isJvm", false}};
  struct stat status {};
  if (stat(file.c_str(), &status) == 0 && !S_ISREG(status.st_mode) && !S_ISDIR(status.st_mode)) {
    report["reason"] = "a pipe or a device, which the library does not open";
  } else if (void* library = dlopen(file.c_str(), RTLD_LAZY | RTLD_LOCAL); library == nullptr) {
    const char* reason = dlerror();
    report["reason"] = reason != nullptr ? reason : "unknown loader error";
  } else {
    report["isJvm"] = dlsym(library, "JNI_CreateJavaVM") != nullptr &&
                      dlsym(library, "JNI_GetCreatedJavaVMs") != nullptr;
  }
  Report(report);
  _exit(0);
}

int RunStartTrial(const std::string& settings) {
  EndWithParent();
  LeaveNoCore();
  json report = json::object();
  int exitCode = 0;
  try {
    Start(json::parse(settings), report);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "%s\n", error.what());
    exitCode = 1;
  }
  Report(report);
  std::fflush(nullptr);
  // Without destructors: they would wait for the JVM.
  _exit(exitCode);
}

}  // namespace Ferrolink::Companions::Tool
