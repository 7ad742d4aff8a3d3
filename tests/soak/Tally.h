#ifndef FERROLINK_TESTS_SOAK_TALLY_H
#define FERROLINK_TESTS_SOAK_TALLY_H

#include <map>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

namespace FerrolinkSoak {

/// What a soak has done: commands and expected errors by kind, and what went wrong. Any thread.
class Tally {
 public:
  void command(std::string_view kind, long count = 1) { add(m_commands, kind, count); }
  void expectedError(std::string_view kind) { add(m_errors, kind, 1); }
  /// A wrong answer, or an error that was not expected.
  void wrong(const std::string& what);

  /// The members of a JSON object, without braces.
  [[nodiscard]] std::string json() const;

 private:
  using Counts = std::map<std::string, long, std::less<>>;

  void add(Counts& counts, std::string_view kind, long count);

  // Guarded by m_mutex.
  mutable std::mutex m_mutex;
  Counts m_commands;
  Counts m_errors;
  long m_wrong = 0;
  std::vector<std::string> m_firstWrong;
};

}  // namespace FerrolinkSoak

#endif
