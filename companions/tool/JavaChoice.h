#ifndef FERROLINK_COMPANIONS_TOOL_JAVACHOICE_H
#define FERROLINK_COMPANIONS_TOOL_JAVACHOICE_H

#include <filesystem>
#include <string>
#include <vector>

namespace Ferrolink::Companions::Tool {

/// A place that may name a JVM.
struct JavaName {
  std::string place;  ///< "runtimePath of the configuration", "JAVA_HOME", ...
  std::string path;   ///< empty if it names none
};

/// The JVM that the library would load, and why.
struct JavaChoice {
  std::vector<JavaName> steps;  ///< the library's own steps, in its order
  JavaName chosen;              ///< empty path: there is no Java
  bool searched = false;        ///< no step names one; it was found on the machine

  /// The files that the library tries, in its order.
  [[nodiscard]] std::vector<std::filesystem::path> Candidates() const;
  /// The first candidate that exists; empty if none does.
  [[nodiscard]] std::filesystem::path Library() const;
  /// What the file "release" of the Java home says; empty if unknown.
  [[nodiscard]] std::string Version() const;
};

/// `configured` is the path in the configuration, or empty.
JavaChoice ChooseJava(const std::string& configured);

/// The first number of a version that counts: 17 of "17.0.15", 8 of "1.8.0_402"; 0 if unknown.
int FeatureOf(const std::string& version);

/// The directory of a JVM library's Java: that which has a file "release" or bin/java; empty if
/// there is none above the library.
std::filesystem::path HomeOf(const std::filesystem::path& library);

}  // namespace Ferrolink::Companions::Tool

#endif
