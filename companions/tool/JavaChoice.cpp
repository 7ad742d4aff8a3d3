#include "companions/tool/JavaChoice.h"

#include <algorithm>

#include "ferrolink/JavaHomes.h"

namespace Ferrolink::Companions::Tool {

namespace fs = std::filesystem;

std::vector<fs::path> JavaChoice::Candidates() const {
  if (chosen.path.empty()) {
    return {};
  }
  return {chosen.path, chosen.path + "/jre/lib/server/libjvm.so",
          chosen.path + "/lib/server/libjvm.so"};
}

fs::path JavaChoice::Library() const {
  for (const fs::path& candidate : Candidates()) {
    std::error_code unreadable;
    if (fs::is_regular_file(candidate, unreadable)) {
      return candidate;
    }
  }
  return {};
}

std::string JavaChoice::Version() const {
  const fs::path library = Library();
  return library.empty() ? std::string() : Host::detail::VersionOf(HomeOf(library));
}

JavaChoice ChooseJava(const std::string& configured) {
  JavaChoice choice;
  choice.steps = {
      {"runtimePath of the configuration", configured},
      {Host::kRuntimePathVariable, Host::detail::Variable(Host::kRuntimePathVariable)},
      {"JAVA_HOME", Host::detail::Variable("JAVA_HOME")},
  };
  const auto named = std::find_if(choice.steps.begin(), choice.steps.end(),
                                  [](const JavaName& step) { return !step.path.empty(); });
  if (named != choice.steps.end()) {
    choice.chosen = *named;
    return choice;
  }
  choice.searched = true;
  if (const auto homes = Host::FindJavaHomes(); !homes.empty()) {
    choice.chosen = {homes.front().foundBy, homes.front().RuntimePath()};
  }
  return choice;
}

int FeatureOf(const std::string& version) {
  const auto numbers = Host::detail::NumbersOf(version);
  return numbers.empty() ? 0 : static_cast<int>(numbers.front());
}

fs::path HomeOf(const fs::path& library) {
  for (fs::path above = library.parent_path(); above != above.parent_path();
       above = above.parent_path()) {
    std::error_code unreadable;
    if (fs::exists(above / "release", unreadable) || fs::exists(above / "bin/java", unreadable)) {
      return above;
    }
  }
  return {};
}

}  // namespace Ferrolink::Companions::Tool
