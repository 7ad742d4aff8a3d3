// The directory of the error log.
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <system_error>

#include "companions/tool/doctor/Checks.h"
#include "companions/utils/FileDescriptor.h"

namespace Ferrolink::Companions::Tool {
namespace {

namespace fs = std::filesystem;

constexpr std::uintmax_t kLargeLog = 100U << 20U;
constexpr std::uint64_t kLeastSpace = 1U << 20U;
constexpr const char* kSet =
    "Set workingDirectory in the configuration to a private directory of mode 0700.";

// The error if no line can be written to a file there; 0 if it can.
int TryToWrite(const fs::path& directory) {
  std::string name = (directory / "_ferrolink-doctor-XXXXXX").string();
  const FileDescriptor file(mkstemp(name.data()));
  if (!file.Owns()) {
    return errno;
  }
  // A limit of file sizes is an error like others.
  auto* const before = std::signal(SIGXFSZ, SIG_IGN);
  const int error = write(file.get(), "\n", 1) == 1 ? 0 : errno;
  std::signal(SIGXFSZ, before);
  unlink(name.c_str());
  return error;
}

// Space and files that are left, as far as the file system tells; empty if that is enough.
std::string WhyFull(const fs::path& directory) {
  struct statvfs system {};
  if (statvfs(directory.c_str(), &system) != 0 || system.f_blocks == 0) {
    return {};
  }
  if (std::uint64_t{system.f_bavail} * system.f_frsize >= kLeastSpace &&
      (system.f_files == 0 || system.f_favail != 0)) {
    return {};
  }
  return std::to_string(system.f_bavail * system.f_frsize / 1024) + " KiB and " +
         std::to_string(system.f_favail) + " files are free";
}

}  // namespace

void CheckWorkingDirectory(const Machine& machine, Findings& findings) {
  std::error_code gone;
  const fs::path current = fs::current_path(gone);
  if (gone) {
    findings.Add({"working-directory-gone",
                  "The current directory no longer exists. No JVM starts there, and relative paths "
                  "lead nowhere.",
                  "getcwd: " + gone.message(),
                  "Change to a directory that exists, and start the program there.", "", true});
  }
  const fs::path directory = machine.WorkingDirectory();
  if (directory.empty()) {
    return;
  }
  struct stat status {};
  if (stat(directory.c_str(), &status) == 0 && (status.st_mode & S_IWOTH) != 0) {
    findings.Add({"working-directory-shared",
                  "The error log is written to a directory in which every user may make files.",
                  directory.string(), kSet, ""});
  }
  std::string why = WhyFull(directory);
  const int error = why.empty() ? TryToWrite(directory) : 0;
  if (error == ENOSPC || error == EDQUOT) {
    why = std::strerror(error);
  }
  if (!why.empty()) {
    findings.Add({"working-directory-full", "The file system of the error log is full.",
                  directory.string() + ": " + why,
                  "Free space, or let the log be written elsewhere. " + std::string(kSet), ""});
  } else if (error != 0) {
    findings.Add({"working-directory-unwritable", "The error log cannot be written.",
                  directory.string() + ": " + std::strerror(error),
                  error == EFBIG ? "Remove the limit of file sizes: ulimit -f unlimited." : kSet,
                  ""});
  }
}

void CheckErrorLogs(const Machine& machine, Findings& findings) {
  std::error_code unreadable;
  for (fs::directory_iterator files(machine.WorkingDirectory(), unreadable), end;
       !unreadable && files != end; files.increment(unreadable)) {
    const std::string name = files->path().filename().string();
    std::error_code gone;
    const bool isLog = name.starts_with("_FerrolinkNativeErrorLogger_");
    if (isLog && files->is_regular_file(gone) && files->file_size(gone) > kLargeLog) {
      findings.Add(
          {"log-large", "An error log has grown large: an error is repeated.",
           files->path().string() + ": " + std::to_string(files->file_size(gone) >> 20U) + " MiB",
           "Read its last lines (tail), mend the cause (ferrolink explain TEXT), and remove the "
           "file.",
           ""});
    }
  }
}

}  // namespace Ferrolink::Companions::Tool
