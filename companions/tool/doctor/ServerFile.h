#ifndef FERROLINK_COMPANIONS_TOOL_DOCTOR_SERVERFILE_H
#define FERROLINK_COMPANIONS_TOOL_DOCTOR_SERVERFILE_H

#include <string>
#include <vector>

namespace Ferrolink::Companions::Tool {

/// What ferrolink-server would make of its configuration file.
struct ServerFile {
  std::string refusal;                ///< its words if it refuses the file; otherwise empty
  std::string tlsProblem;             ///< its words if it cannot use the files for TLS
  std::vector<std::string> missing;   ///< plug-ins that cannot be read, and why
  std::vector<std::string> archives;  ///< plug-ins that can, if they are archives
};

/// Reads the file as the server does with --config, with no other option.
ServerFile ReadServerFile(const std::string& file);

}  // namespace Ferrolink::Companions::Tool

#endif
