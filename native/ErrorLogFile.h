#ifndef FERROLINK_NATIVE_ERRORLOGFILE_H
#define FERROLINK_NATIVE_ERRORLOGFILE_H

#include <fstream>
#include <string>

namespace Ferrolink::Native::ErrorLogFile {

/// Opens the regular file at `path` on `file` and appends `line` to it with one write. The file is
/// created where there is none, with mode 0666 less the umask.
///
/// Never blocks and raises no signal. What is no regular file is not written to, and a symbolic
/// link in the file's own place is not followed: `file` stays closed and failed, as where the file
/// cannot be opened. Where there is room for a part of the line only, that part stays and `file` is
/// failed; the next line starts with a line break, so that it stays a line of its own.
void Append(std::ofstream& file, const std::string& path, const std::string& line);

}  // namespace Ferrolink::Native::ErrorLogFile

#endif
