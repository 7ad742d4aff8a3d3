#ifndef FERROLINK_BENCH_HARNESS_ARGUMENTS_H
#define FERROLINK_BENCH_HARNESS_ARGUMENTS_H

#include <map>
#include <set>
#include <string>
#include <vector>

namespace Ferrolink::Bench {

/// A program's arguments: "--name value", and "--name" alone for the names given as flags.
class Arguments {
 public:
  /// Ends the program with `usage` if an argument is in neither `names` nor `flags`.
  Arguments(int count, char** values, const std::string& usage, const std::set<std::string>& names,
            const std::set<std::string>& flags = {});

  [[nodiscard]] bool Has(const std::string& name) const { return m_values.count(name) > 0; }
  [[nodiscard]] std::string Text(const std::string& name, const std::string& otherwise) const;
  [[nodiscard]] double Number(const std::string& name, double otherwise) const;
  /// A list separated by commas.
  [[nodiscard]] std::vector<std::string> List(const std::string& name,
                                              const std::string& otherwise) const;
  [[nodiscard]] std::vector<std::size_t> Sizes(const std::string& otherwise) const;

 private:
  std::map<std::string, std::string> m_values;
};

}  // namespace Ferrolink::Bench

#endif
