#ifndef FERROLINK_HOST_JAVAHOMES_H
#define FERROLINK_HOST_JAVAHOMES_H

#include <algorithm>
#include <array>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

/// The Javas of this machine, for a process that no variable names one to:
///
///     for (const JavaHome& home : FindJavaHomes()) {
///       std::printf("%s\n", home.home.c_str());
///     }
///
/// The library itself looks only where it is told to. Thread-safe.
namespace Ferrolink::Host {

/// A Java runtime, of a JDK or a JRE, that this process can load.
struct JavaHome {
  std::filesystem::path home;     ///< the directory that has bin/java
  std::filesystem::path library;  ///< its libjvm.so
  std::string version;            ///< such as "17.0.15"; empty if unknown
  std::string foundBy;            ///< where it was found: "java on PATH", "/usr/lib/jvm"

  /// What names this Java to the library: the home if the library knows its layout, else the file.
  [[nodiscard]] std::filesystem::path RuntimePath() const {
    const bool known =
        library == home / "lib/server/libjvm.so" || library == home / "jre/lib/server/libjvm.so";
    return known ? home : library;
  }
};

/// Where Debian installs Java.
inline constexpr const char* kJavaDirectory = "/usr/lib/jvm";
/// The variable that names another such directory.
inline constexpr const char* kJavaDirectoryVariable = "FERROLINK_JAVA_DIRECTORY";
/// The variable by which the library is told which JVM to load.
inline constexpr const char* kRuntimePathVariable = "FERROLINK_JVM_RUNTIME_PATH";

namespace detail {

/// The value of a variable of the environment; empty if it is not set.
inline std::string Variable(const char* name) {
  const char* value = std::getenv(name);
  return value == nullptr ? std::string() : std::string(value);
}

/// Whether the file is a library for a 64-bit process on x86-64.
inline bool IsLoadableHere(const std::filesystem::path& file) {
  std::error_code unreadable;
  if (!std::filesystem::is_regular_file(file, unreadable)) {
    return false;
  }
  std::array<char, 20> head{};
  std::ifstream(file, std::ios::binary).read(head.data(), head.size());
  return std::string_view(head.data(), 5) == "\177ELF\2" && head[18] == 62 && head[19] == 0;
}

/// The directory of this machine's Javas.
inline std::filesystem::path JavaDirectory() {
  const std::string named = Variable(kJavaDirectoryVariable);
  return named.empty() ? kJavaDirectory : named;
}

/// The number after the first "JAVA_VERSION=" in the home's file "release"; empty without one.
inline std::string VersionOf(const std::filesystem::path& home) {
  std::ifstream release(home / "release");
  constexpr std::string_view kKey = "JAVA_VERSION=\"";
  for (std::string line; std::getline(release, line);) {
    if (line.starts_with(kKey)) {
      const std::string rest = line.substr(kKey.size());
      return rest.substr(0, rest.find('"'));
    }
  }
  return {};
}

/// The numbers in a version, "1.8.0_402" as 8, 0, 402.
inline std::vector<unsigned long> NumbersOf(const std::string& version) {
  std::vector<unsigned long> numbers;
  for (const char* at = version.c_str(); *at != '\0';) {
    char* end = nullptr;
    const unsigned long number = *at >= '0' && *at <= '9' ? std::strtoul(at, &end, 10) : 0;
    if (end != nullptr) {
      numbers.push_back(number);
    }
    at = end != nullptr ? end : at + 1;
  }
  if (numbers.size() > 1 && numbers.front() == 1) {
    numbers.erase(numbers.begin());
  }
  return numbers;
}

/// The Java below that directory; nothing if there is none that this process can load.
inline std::optional<JavaHome> JavaBelow(const std::filesystem::path& directory,
                                         std::string foundBy) {
  for (const char* place : {"lib/server/libjvm.so", "jre/lib/server/libjvm.so",
                            "lib/amd64/server/libjvm.so", "jre/lib/amd64/server/libjvm.so"}) {
    std::filesystem::path library = directory / place;
    if (IsLoadableHere(library)) {
      return JavaHome{directory, std::move(library), VersionOf(directory), std::move(foundBy)};
    }
  }
  return std::nullopt;
}

/// The Java whose program is the first "java" on PATH. Links are followed. Nothing if that program
/// is not in a Java home, as a script is not.
inline std::optional<JavaHome> JavaOnPath() {
  const std::string path = Variable("PATH");
  for (std::size_t begin = 0; begin <= path.size();) {
    const std::size_t end = std::min(path.find(':', begin), path.size());
    const std::filesystem::path directory = path.substr(begin, end - begin);
    begin = end + 1;
    std::error_code missing;
    const auto java = std::filesystem::canonical(directory / "java", missing);
    if (!directory.is_absolute() || missing || !std::filesystem::is_regular_file(java, missing)) {
      continue;
    }
    return JavaBelow(java.parent_path().parent_path(), "java on PATH");
  }
  return std::nullopt;
}

}  // namespace detail

/// All Javas that this process can load: that of the first "java" on PATH, then those in
/// `directory`, newest first. Each appears once. An installation that is being changed may be
/// missed.
inline std::vector<JavaHome> FindJavaHomes(
    const std::filesystem::path& directory = detail::JavaDirectory()) {
  std::vector<JavaHome> homes;
  std::error_code failed;
  for (std::filesystem::directory_iterator entries(directory, failed), end;
       !failed && entries != end; entries.increment(failed)) {
    std::error_code dangling;
    const auto home = std::filesystem::canonical(entries->path(), dangling);
    const bool known = std::any_of(homes.begin(), homes.end(),
                                   [&](const JavaHome& other) { return other.home == home; });
    if (auto found =
            dangling || known ? std::nullopt : detail::JavaBelow(home, directory.string())) {
      homes.push_back(*std::move(found));
    }
  }
  std::sort(homes.begin(), homes.end(), [](const JavaHome& a, const JavaHome& b) {
    const auto left = detail::NumbersOf(a.version);
    const auto right = detail::NumbersOf(b.version);
    return left != right ? left > right : a.home < b.home;
  });
  if (auto first = detail::JavaOnPath()) {
    std::erase_if(homes, [&](const JavaHome& other) { return other.home == first->home; });
    homes.insert(homes.begin(), *std::move(first));
  }
  return homes;
}

/// Whether a variable names a JVM to the library. A name may be wrong: it counts nevertheless.
inline bool EnvironmentNamesJava() {
  return !detail::Variable(kRuntimePathVariable).empty() || !detail::Variable("JAVA_HOME").empty();
}

/// If no variable names a JVM, names the first of FindJavaHomes in FERROLINK_JVM_RUNTIME_PATH. A
/// path in the configuration still takes precedence. Without any Java a no-op: the library reports
/// what is missing. To be called before a member of the family is initialised.
///
/// Writes the environment, at most once in a process and only if nothing names a JVM. Other threads
/// must not read the environment at that moment. Programs for which that is a problem set
/// JAVA_HOME.
inline void NameJavaUnlessNamed() {
  static std::mutex once;
  const std::lock_guard<std::mutex> lock(once);
  if (EnvironmentNamesJava()) {
    return;
  }
  if (const auto homes = FindJavaHomes(); !homes.empty()) {
    setenv(kRuntimePathVariable, homes.front().RuntimePath().c_str(), 1);
  }
}

}  // namespace Ferrolink::Host

#endif
