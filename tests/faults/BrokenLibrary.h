#ifndef FERROLINK_TESTS_FAULTS_BROKENLIBRARY_H
#define FERROLINK_TESTS_FAULTS_BROKENLIBRARY_H

#include <filesystem>
#include <string>

/// What may lie in the place of a library's file.
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

/// Puts the breakage in the place of `file`, where nothing lies yet; `whole` is the library that
/// belongs there.
void PlaceBroken(const std::filesystem::path& file, Breakage breakage,
                 const std::filesystem::path& whole);

/// Puts the library in the place of whatever lies there.
void PutRight(const std::filesystem::path& file, const std::filesystem::path& whole);

/// Why the loader, or the library before it asks the loader, cannot open the file; "" where it can.
std::string ReasonOf(Breakage breakage, const std::filesystem::path& file);

/// While it lives, files without permissions cannot be read, by root either.
class WithoutPrivileges {
 public:
  WithoutPrivileges();
  WithoutPrivileges(const WithoutPrivileges&) = delete;
  WithoutPrivileges& operator=(const WithoutPrivileges&) = delete;
  ~WithoutPrivileges();
};

}  // namespace Ferrolink::Tests

#endif
