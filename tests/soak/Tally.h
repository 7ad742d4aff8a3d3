#ifndef FERROLINK_TESTS_SOAK_TALLY_H
#define FERROLINK_TESTS_SOAK_TALLY_H

#include <map>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

namespace Ferrolink::Soak {

/// Counts the commands and expected errors of a soak by kind, and its failures. Thread-safe.
class Tally {
 public:
  void Command(std::string_view kind, long count = 1) { Add(m_commands, kind, count); }
  void ExpectedError(std::string_view kind) { Add(m_errors, kind, 1); }
  /// Counts a wrong answer or an unexpected error.
  void Wrong(const std::string& what);

  /// The counts as members of a JSON object, without braces.
  [[nodiscard]] std::string Json() const;

 private:
  using Counts = std::map<std::string, long, std::less<>>;

  void Add(Counts& counts, std::string_view kind, long count);

  // Guarded by m_mutex.
  mutable std::mutex m_mutex;
  Counts m_commands;
  Counts m_errors;
  long m_wrong = 0;
  std::vector<std::string> m_firstWrong;
};

}  // namespace Ferrolink::Soak

#endif
