#include "bench/harness/Report.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

namespace Ferrolink::Bench {

Report::Report(std::string baseline, const std::string& jsonPath)
    : m_baseline(std::move(baseline)) {
  if (!jsonPath.empty()) {
    m_json = std::fopen(jsonPath.c_str(), "w");
    if (m_json == nullptr) {
      throw std::runtime_error("cannot write " + jsonPath);
    }
  }
}

Report::~Report() {
  if (m_json != nullptr) {
    std::fclose(m_json);
  }
}

void Report::Add(const Unit& unit, const std::vector<Series>& series) {
  AddToTable(unit, series);
  if (m_json != nullptr) {
    AddToJson(unit, series);
  }
}

void Report::AddToTable(const Unit& unit, const std::vector<Series>& series) {
  const auto baseline = std::find_if(series.begin(), series.end(),
                                     [&](const Series& one) { return one.name == m_baseline; });
  std::printf("%s, %zu bytes\n", unit.name.c_str(), unit.size);
  for (const Series& one : series) {
    const Quartiles absolute = QuartilesOf(one.nanoseconds);
    const Quartiles relative = baseline != series.end() ? Ratio(one, *baseline) : Quartiles{};
    std::printf("  %-24s %12.1f ns   %6.3f  [%.3f .. %.3f]\n", one.name.c_str(), absolute.median,
                relative.median, relative.first, relative.third);
  }
  if (unit.wakeCalls) {
    std::printf("  %.1f wake calls of the library per 1,000 of its commands\n", *unit.wakeCalls);
  }
  std::fflush(stdout);
}

void Report::AddToJson(const Unit& unit, const std::vector<Series>& series) {
  std::fprintf(m_json, "{\"unit\": \"%s\", \"size\": %zu, ", unit.name.c_str(), unit.size);
  if (unit.wakeCalls) {
    std::fprintf(m_json, "\"wakeCalls\": %.2f, ", *unit.wakeCalls);
  }
  std::fprintf(m_json, "\"series\": {");
  const char* comma = "";
  for (const Series& one : series) {
    std::fprintf(m_json, "%s\"%s\": [", comma, one.name.c_str());
    comma = "";
    for (const double value : one.nanoseconds) {
      std::fprintf(m_json, "%s%.2f", comma, value);
      comma = ", ";
    }
    std::fprintf(m_json, "]");
    comma = ", ";
  }
  std::fprintf(m_json, "}}\n");
  std::fflush(m_json);
}

}  // namespace Ferrolink::Bench
