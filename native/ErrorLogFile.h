#ifndef FERROLINK_NATIVE_ERRORLOGFILE_H
#define FERROLINK_NATIVE_ERRORLOGFILE_H

#include <fstream>
#include <string>

namespace Ferrolink::Native::ErrorLogFile {

/// Opens the regular file at `path` with `file` and appends `line` with one write. Creates the file
/// with mode 0666 less the umask if there is none. `path` is a file name in the file system's
/// encoding; `line` ends with its own line break.
///
/// Never blocks and raises no signal. Does not follow a symbolic link at `path` and does not write
/// to anything but a regular file: `file` then stays closed and its fail state is set, as for a
/// file that cannot be opened. If there is room for part of the line only, that part stays and the
/// fail state is set. The next line then begins with a line break, so that it is a line of its own.
/// Thread rule: any thread, each with a stream of its own.
void Append(std::ofstream& file, const std::string& path, const std::string& line);

}  // namespace Ferrolink::Native::ErrorLogFile

#endif
