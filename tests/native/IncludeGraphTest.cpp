// Which modules of the core and the JVM member include which. A module is a header and the source
// of the same name.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <map>
#include <set>
#include <string>
#include <vector>

namespace {

using Path = std::vector<std::string>;

std::string ModuleOf(const std::filesystem::path& file) {
  return std::filesystem::path(file).replace_extension().string();
}

// The modules of native/ and jvm/ that each module includes, without itself.
std::map<std::string, std::set<std::string>> IncludedModules() {
  const std::filesystem::path root = FERROLINK_SOURCE_ROOT;
  const std::string start = "#include \"";
  std::map<std::string, std::set<std::string>> included;
  for (const char* directory : {"native", "jvm"}) {
    for (const auto& entry : std::filesystem::recursive_directory_iterator(root / directory)) {
      if (entry.path().extension() != ".h" && entry.path().extension() != ".cpp") {
        continue;
      }
      const std::string module = ModuleOf(entry.path().lexically_relative(root));
      std::ifstream source(entry.path());
      for (std::string line; std::getline(source, line);) {
        if (line.rfind(start, 0) == 0) {
          included[module].insert(
              ModuleOf(line.substr(start.size(), line.rfind('"') - start.size())));
        }
      }
      included[module].erase(module);
    }
  }
  return included;
}

// The modules on a path from the last one of `way` back into `way`; empty if there is none.
Path CircleFrom(const std::map<std::string, std::set<std::string>>& included, Path way,
                std::set<std::string>& finished) {
  const std::string module = way.back();
  const auto found = included.find(module);
  if (found == included.end() || finished.contains(module)) {
    return {};
  }
  for (const std::string& next : found->second) {
    const auto again = std::find(way.begin(), way.end(), next);
    Path longer = way;
    longer.push_back(next);
    if (again != way.end()) {
      return {longer.begin() + (again - way.begin()), longer.end()};
    }
    if (Path circle = CircleFrom(included, longer, finished); !circle.empty()) {
      return circle;
    }
  }
  finished.insert(module);
  return {};
}

}  // namespace

TEST(IncludeGraph, HasNoCircleOfModules) {
  const auto included = IncludedModules();
  ASSERT_TRUE(included.contains("jvm/JvmLauncher"));
  std::set<std::string> finished;
  for (const auto& [module, others] : included) {
    EXPECT_EQ(CircleFrom(included, {module}, finished), Path{});
  }
}

TEST(IncludeGraph, LeadsFromTheJvmMemberToTheCoreAndNotBack) {
  for (const auto& [module, others] : IncludedModules()) {
    for (const std::string& other : others) {
      EXPECT_FALSE(module.starts_with("native/") && other.starts_with("jvm/"))
          << module << " includes " << other;
    }
  }
}
