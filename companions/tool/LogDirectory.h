#ifndef FERROLINK_COMPANIONS_TOOL_LOGDIRECTORY_H
#define FERROLINK_COMPANIONS_TOOL_LOGDIRECTORY_H

#include <filesystem>
#include <string>

namespace Ferrolink::Companions::Tool {

/// A temporary directory for the error log of the library. The destructor removes it with all that
/// is in it.
class LogDirectory {
 public:
  LogDirectory();
  LogDirectory(const LogDirectory&) = delete;
  LogDirectory& operator=(const LogDirectory&) = delete;
  ~LogDirectory();

  /// Empty if none could be made.
  [[nodiscard]] const std::string& Path() const { return m_path; }
  /// What the error logs in it have.
  [[nodiscard]] std::string Text() const;

 private:
  std::string m_path;
};

/// Makes the libraries of an installation write their error log to that directory, for the rest of
/// the process. False if they cannot be told.
bool MoveErrorLog(const std::filesystem::path& libraries, const std::string& directory);

}  // namespace Ferrolink::Companions::Tool

#endif
