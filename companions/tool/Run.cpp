// ferrolink run and ferrolink serve: programs with the settings that Ferrolink needs.
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <vector>

#include "companions/tool/Commands.h"
#include "companions/tool/Failure.h"
#include "companions/tool/Installation.h"
#include "companions/tool/JavaChoice.h"
#include "companions/tool/Options.h"
#include "ferrolink/JavaHomes.h"

namespace Ferrolink::Companions::Tool {
namespace {

namespace fs = std::filesystem;

// Puts `text` behind what the variable has.
void Append(const char* variable, const std::string& text) {
  const std::string known = Host::detail::Variable(variable);
  setenv(variable, (known.empty() ? text : known + ":" + text).c_str(), 1);
}

[[noreturn]] void Execute(const std::string& program, char** arguments) {
  execvp(program.c_str(), arguments);
  throw Failure("Cannot run " + program + ": " + std::strerror(errno) +
                ". Check its name, and that it may be executed.");
}

void NameInstallation() {
  const Installation installation = FindInstallation();
  if (!installation.problem.empty()) {
    throw Failure(installation.problem);
  }
  SetIfEmpty("FERROLINK_HOME", installation.root.string());
}

// The loader opens what LD_PRELOAD names without deep binding, and the library then gets the same
// JVM.
void PreopenJvm() {
  const JavaChoice java = ChooseJava("");
  const fs::path library = java.Library();
  if (library.empty()) {
    throw Failure("There is no JVM library to open first. ferrolink doctor tells why.");
  }
  if (library.string().find_first_of(": ") != std::string::npos) {
    throw Failure(
        "The path of the JVM library has a colon or a blank, which LD_PRELOAD cannot hold: " +
        library.string());
  }
  Append("LD_PRELOAD", library.string());
}

void PassClassPath(const std::string& classPath) {
  std::string absolute;
  for (const std::string& entry : PathsOf(classPath)) {
    std::error_code unreadable;
    if (!fs::exists(entry, unreadable)) {
      throw Failure("The class path names " + entry + ", which does not exist.");
    }
    absolute += (absolute.empty() ? "" : ":") + fs::absolute(entry).string();
  }
  if (!absolute.empty()) {
    Append("FERROLINK_CLASS_PATH", absolute);  // for programs that are hosts
    Append("CLASSPATH", absolute + ":" + FindInstallation().archive.string());  // for java
  }
}

}  // namespace

void RunProgram(const RunOptions& options) {
  NameInstallation();
  Host::NameJavaUnlessNamed();
  for (const std::string& option : options.jvmOptions) {
    AddJvmOption(option);
  }
  if (options.hostSignals && !HasJvmOption("-Xrs")) {
    AddJvmOption("-Xrs");
  }
  PassClassPath(options.classPath);
  if (options.preopenJvm) {
    PreopenJvm();
  }
  std::vector<char*> arguments;
  for (const std::string& word : options.program) {
    arguments.push_back(const_cast<char*>(word.c_str()));
  }
  arguments.push_back(nullptr);
  Execute(options.program.front(), arguments.data());
}

void Serve(char** arguments) {
  const fs::path server = ProgramBeside("ferrolink-server");
  NameInstallation();
  Host::NameJavaUnlessNamed();
  std::string name = "ferrolink-server";
  arguments[0] = name.data();
  Execute(server.string(), arguments);
}

}  // namespace Ferrolink::Companions::Tool
