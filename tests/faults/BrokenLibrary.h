#ifndef FERROLINK_TESTS_FAULTS_BROKENLIBRARY_H
#define FERROLINK_TESTS_FAULTS_BROKENLIBRARY_H

#include <filesystem>
#include <string>

/// What may be in the place of a library's file.
namespace Ferrolink::Tests {

enum class Breakage {
  Missing,
  EmptyFile,
  TextFile,
  WrongElfClass,
  Truncated,
  MissingSymbols,
  MissingDependency,
  Unreadable,
  LinkLoop,
  Directory,
  Fifo,
};

inline constexpr int kBreakages = 11;

const char* NameOf(Breakage breakage);

/// Puts the breakage in the place of `file`, which must be free. `whole` is the library that
/// belongs there.
void PlaceBroken(const std::filesystem::path& file, Breakage breakage,
                 const std::filesystem::path& whole);

/// Replaces whatever is there by the library.
void PutRight(const std::filesystem::path& file, const std::filesystem::path& whole);

/// Why the loader, or a check before it, cannot open the file; "" if it can.
std::string ReasonOf(Breakage breakage, const std::filesystem::path& file);

/// While this lives, files without permissions cannot be read, not even by root.
class WithoutPrivileges {
 public:
  WithoutPrivileges();
  WithoutPrivileges(const WithoutPrivileges&) = delete;
  WithoutPrivileges& operator=(const WithoutPrivileges&) = delete;
  ~WithoutPrivileges();
};

}  // namespace Ferrolink::Tests

#endif
