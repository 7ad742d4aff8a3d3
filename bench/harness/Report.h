#ifndef FERROLINK_BENCH_HARNESS_REPORT_H
#define FERROLINK_BENCH_HARNESS_REPORT_H

#include <cstddef>
#include <cstdio>
#include <optional>
#include <string>
#include <vector>

#include "bench/harness/Rounds.h"

namespace Ferrolink::Bench {

/// One row: what was done, with how many bytes.
struct Unit {
  std::string name;
  std::size_t size = 0;
  /// Wake calls of the library per 1,000 of its commands, where they were counted.
  std::optional<double> wakeCalls = std::nullopt;
};

/// Writes each unit's results as they come: a line of a table to standard output and, where a file
/// is named, all rounds as one line of JSON, which bench/driver reads. Ratios in the table are to
/// the contender named `baseline`.
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
