#ifndef FERROLINK_COMPANIONS_TOOL_DOCTOR_FINDING_H
#define FERROLINK_COMPANIONS_TOOL_DOCTOR_FINDING_H

#include <string>
#include <utility>
#include <vector>

namespace Ferrolink::Companions::Tool {

/// Something wrong with the machine, the installation or the settings.
struct Finding {
  std::string id;           ///< stable, for scripts: "jvm-not-found"
  std::string finding;      ///< what is wrong, in one sentence
  std::string evidence;     ///< what was seen
  std::string remedy;       ///< what to do
  std::string install;      ///< a command for Debian, where one helps
  bool stopsStart = false;  ///< explains why a JVM does not start
};

/// The findings of all checks, in the order in which they were made.
class Findings {
 public:
  void Add(Finding finding) { m_all.push_back(std::move(finding)); }

  [[nodiscard]] const std::vector<Finding>& All() const { return m_all; }
  [[nodiscard]] bool Have(const std::string& id) const {
    for (const Finding& finding : m_all) {
      if (finding.id == id) {
        return true;
      }
    }
    return false;
  }
  /// Whether a finding explains why no JVM starts.
  [[nodiscard]] bool ExplainNoStart() const {
    for (const Finding& finding : m_all) {
      if (finding.stopsStart) {
        return true;
      }
    }
    return false;
  }

 private:
  std::vector<Finding> m_all;
};

}  // namespace Ferrolink::Companions::Tool

#endif
