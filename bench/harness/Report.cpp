#include "bench/harness/Report.h"

#include <algorithm>
#include <cmath>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <utility>

namespace Ferrolink::Bench {
namespace {

double Hundredths(double value) {
  return std::round(value * 100) / 100;
}

}  // namespace

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
  nlohmann::ordered_json line = {{"unit", unit.name}, {"size", unit.size}};
  if (unit.wakeCalls) {
    line["wakeCalls"] = Hundredths(*unit.wakeCalls);
  }
  nlohmann::ordered_json& rounds = line["series"] = nlohmann::ordered_json::object();
  for (const Series& one : series) {
    nlohmann::ordered_json& values = rounds[one.name] = nlohmann::ordered_json::array();
    for (const double value : one.nanoseconds) {
      values.push_back(Hundredths(value));
    }
  }
  std::fprintf(m_json, "%s\n", line.dump().c_str());
  std::fflush(m_json);
}

}  // namespace Ferrolink::Bench
