#ifndef FERROLINK_BENCH_HARNESS_REPORT_H
#define FERROLINK_BENCH_HARNESS_REPORT_H

#include <cstddef>
#include <cstdio>
#include <optional>
#include <string>
#include <vector>

#include "bench/harness/Rounds.h"

namespace Ferrolink::Bench {

/// One row: the kind of work and the number of bytes.
struct Unit {
  std::string name;
  std::size_t size = 0;
  /// Wake calls of the library per 1,000 of its commands, if counted.
  std::optional<double> wakeCalls = std::nullopt;
};

/// Writes each unit's results at once: a line of a table to standard output and, if a file is
/// named, all rounds as one line of JSON for bench/driver. Ratios in the table are to the contender
/// `baseline`.
class Report {
 public:
  Report(std::string baseline, const std::string& jsonPath);
  Report(const Report&) = delete;
  Report& operator=(const Report&) = delete;
  ~Report();

  void Add(const Unit& unit, const std::vector<Series>& series);

 private:
  void AddToTable(const Unit& unit, const std::vector<Series>& series);
  void AddToJson(const Unit& unit, const std::vector<Series>& series);

  std::string m_baseline;
  std::FILE* m_json = nullptr;
};

}  // namespace Ferrolink::Bench

#endif
