#include "companions/tool/Installation.h"

#include <algorithm>

#include "companions/tool/Failure.h"
#include "ferrolink/JavaHomes.h"
#include "ferrolink/Library.h"

namespace Ferrolink::Companions::Tool {

namespace fs = std::filesystem;

namespace {

std::string WhyFound(const fs::path& root) {
  if (!Host::detail::Variable("FERROLINK_HOME").empty()) {
    return "named by FERROLINK_HOME";
  }
  const auto& all = Host::kSystemInstallations;
  return std::find(all.begin(), all.end(), root) != all.end() ? "installed for all users"
                                                              : "around this program";
}

}  // namespace

Installation FindInstallation() {
  Installation found;
  try {
    found.libraries = Host::FindLibrary({}).parent_path();
  } catch (const Host::InstallationError& error) {
    found.problem = error.what();
    return found;
  }
  // Libraries that lie beside the program, without the usual directories, still expect the archive
  // at its place relative to them.
  found.root = found.libraries.parent_path().parent_path().parent_path().parent_path();
  found.foundBy = WhyFound(found.root);
  found.archive = found.root / "Binaries/Jvm/FerrolinkJvmRuntime.jar";
  return found;
}

fs::path ProgramBeside(const std::string& name) {
  std::error_code unreadable;
  const fs::path own = fs::read_symlink("/proc/self/exe", unreadable);
  fs::path program = own.parent_path() / name;
  if (!fs::exists(program, unreadable)) {
    throw Failure(program.string() + " is missing. Reinstall Ferrolink's tools.");
  }
  return program;
}

}  // namespace Ferrolink::Companions::Tool
