#include "bench/harness/Arguments.h"

#include <cstdio>
#include <cstdlib>
#include <sstream>

namespace Ferrolink::Bench {

Arguments::Arguments(int count, char** values, const std::string& usage,
                     const std::set<std::string>& names, const std::set<std::string>& flags) {
  for (int i = 1; i < count; ++i) {
    const std::string given = values[i];
    const std::string name = given.rfind("--", 0) == 0 ? given.substr(2) : "";
    if (flags.count(name) > 0) {
      m_values[name] = "";
    } else if (names.count(name) > 0 && i + 1 < count) {
      m_values[name] = values[++i];
    } else {
      std::fprintf(stderr, "%s\n", usage.c_str());
      std::exit(2);
    }
  }
}

std::string Arguments::Text(const std::string& name, const std::string& otherwise) const {
  const auto found = m_values.find(name);
  return found != m_values.end() ? found->second : otherwise;
}

double Arguments::Number(const std::string& name, double otherwise) const {
  const auto found = m_values.find(name);
  return found != m_values.end() ? std::stod(found->second) : otherwise;
}

std::vector<std::string> Arguments::List(const std::string& name,
                                         const std::string& otherwise) const {
  std::istringstream text(this->Text(name, otherwise));
  std::vector<std::string> items;
  for (std::string item; std::getline(text, item, ',');) {
    items.push_back(item);
  }
  return items;
}

std::vector<std::size_t> Arguments::Sizes(const std::string& otherwise) const {
  std::vector<std::size_t> sizes;
  for (const std::string& item : List("sizes", otherwise)) {
    sizes.push_back(std::stoul(item));
  }
  return sizes;
}

}  // namespace Ferrolink::Bench
