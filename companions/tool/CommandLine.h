#ifndef FERROLINK_COMPANIONS_TOOL_COMMANDLINE_H
#define FERROLINK_COMPANIONS_TOOL_COMMANDLINE_H

namespace Ferrolink::Companions::Tool {

/// Does what the command line says. Returns the exit code. Wrong options are reported here. Errors:
/// those of the subcommand.
int ObeyCommandLine(int argc, char** argv);

}  // namespace Ferrolink::Companions::Tool

#endif
