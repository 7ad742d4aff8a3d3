#include "bench/harness/Rounds.h"

#include <algorithm>
#include <cmath>
#include <random>

namespace Ferrolink::Bench {
namespace {

constexpr double kNanosecondsInMillisecond = 1e6;
constexpr long kFewestCalls = 4;
constexpr unsigned kSeed = 1;  // the same orders in every run

// Returns the time of a call once everything is compiled and cached.
double WarmUp(const Contender& contender, double milliseconds) {
  double spent = 0;
  double perCall = 0;
  for (long calls = 1; spent < milliseconds * kNanosecondsInMillisecond;) {
    const double took = contender.run(calls);
    spent += took;
    perCall = took / static_cast<double>(calls);
    if (took < kNanosecondsInMillisecond) {
      calls *= 2;
    }
  }
  return perCall;
}

}  // namespace

std::vector<Series> Measure(const std::vector<Contender>& contenders, const Plan& plan) {
  std::vector<Series> series;
  std::vector<long> calls;
  std::vector<std::size_t> order;
  for (const Contender& contender : contenders) {
    const double perCall = WarmUp(contender, plan.warmUpMilliseconds);
    calls.push_back(std::max(
        kFewestCalls, std::lround(plan.batchMilliseconds * kNanosecondsInMillisecond / perCall)));
    order.push_back(series.size());
    series.push_back({contender.name, {}});
  }
  std::mt19937 random(kSeed);
  for (int round = 0; round < plan.rounds; ++round) {
    std::shuffle(order.begin(), order.end(), random);
    for (const std::size_t which : order) {
      const Contender& contender = contenders.at(which);
      const long count = calls.at(which);
      contender.run(1 + count / 10);
      series.at(which).nanoseconds.push_back(contender.run(count) / static_cast<double>(count));
    }
  }
  return series;
}

Quartiles QuartilesOf(std::vector<double> values) {
  if (values.empty()) {
    return {};
  }
  std::sort(values.begin(), values.end());
  const auto at = [&](double share) {
    const double position = share * static_cast<double>(values.size() - 1);
    const auto below = static_cast<std::size_t>(position);
    const std::size_t above = std::min(below + 1, values.size() - 1);
    return std::lerp(values[below], values[above], position - static_cast<double>(below));
  };
  return {at(0.25), at(0.5), at(0.75)};
}

Quartiles Ratio(const Series& a, const Series& b) {
  std::vector<double> ratios;
  for (std::size_t round = 0; round < a.nanoseconds.size(); ++round) {
    ratios.push_back(a.nanoseconds.at(round) / b.nanoseconds.at(round));
  }
  return QuartilesOf(std::move(ratios));
}

}  // namespace Ferrolink::Bench
