#ifndef FERROLINK_TESTS_FAULTS_BROKENLIBRARY_H
#define FERROLINK_TESTS_FAULTS_BROKENLIBRARY_H

#include <filesystem>
#include <string>

/// Ways in which a library's file can be broken.
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

/// Creates a broken `file`, which must not exist. `whole` is the intact library.
void PlaceBroken(const std::filesystem::path& file, Breakage breakage,
                 const std::filesystem::path& whole);

/// Replaces the file by the intact library.
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
