#ifndef FERROLINK_TESTS_SUPPORT_INSTALLATIONTREE_H
#define FERROLINK_TESTS_SUPPORT_INSTALLATIONTREE_H

#include <filesystem>
#include <string>

#include "tests/support/TemporaryDirectory.h"

namespace Ferrolink::Tests {

/// An installation of a test's own: a fresh root with Binaries/Native/Linux/X64, Binaries/Jvm and a
/// directory "work" for error logs, holding nothing but what the test puts there.
class InstallationTree {
 public:
  InstallationTree();

  [[nodiscard]] const std::filesystem::path& Root() const { return m_root.Path(); }
  [[nodiscard]] std::filesystem::path NativeDirectory() const {
    return Root() / "Binaries/Native/Linux/X64";
  }
  [[nodiscard]] std::filesystem::path JvmDirectory() const { return Root() / "Binaries/Jvm"; }
  [[nodiscard]] std::filesystem::path WorkDirectory() const { return Root() / "work"; }

  /// Copies a library into the native directory under `name` (say "libConfigs.so").
  void AddLibrary(const std::filesystem::path& library, const std::string& name) const;

  /// All error-log text in `WorkDirectory()`, of whatever day; "" where there is none.
  [[nodiscard]] std::string ErrorLog() const;

 private:
  TemporaryDirectory m_root;
};

}  // namespace Ferrolink::Tests

#endif
