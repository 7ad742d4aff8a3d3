#ifndef FERROLINK_TESTS_SUPPORT_INSTALLATIONTREE_H
#define FERROLINK_TESTS_SUPPORT_INSTALLATIONTREE_H

#include <filesystem>
#include <string>

#include "tests/support/TemporaryDirectory.h"

namespace FerrolinkTest {

/// An installation of a test's own: a fresh root with Binaries/Native/Linux/X64, Binaries/Jvm and a
/// directory "work" for error logs, holding nothing but what the test puts there.
class InstallationTree {
 public:
  InstallationTree();

  [[nodiscard]] const std::filesystem::path& root() const { return m_root.path(); }
  [[nodiscard]] std::filesystem::path nativeDirectory() const {
    return root() / "Binaries/Native/Linux/X64";
  }
  [[nodiscard]] std::filesystem::path jvmDirectory() const { return root() / "Binaries/Jvm"; }
  [[nodiscard]] std::filesystem::path workDirectory() const { return root() / "work"; }

  /// Copies a library into the native directory under `name` (say "libConfigs.so").
  void addLibrary(const std::filesystem::path& library, const std::string& name) const;

  /// All error-log text in `workDirectory()`, of whatever day; "" where there is none.
  [[nodiscard]] std::string errorLog() const;

 private:
  TemporaryDirectory m_root;
};

}  // namespace FerrolinkTest

#endif
