#ifndef FERROLINK_COMPANIONS_TOOL_INSTALLATION_H
#define FERROLINK_COMPANIONS_TOOL_INSTALLATION_H

#include <array>
#include <filesystem>
#include <string>

namespace Ferrolink::Companions::Tool {

/// The libraries of an installation, the JVM member first.
inline constexpr std::array kLibraries = {"libFerrolinkJvmRuntimeNative.so",
                                          "libFerrolinkCppRuntimeNative.so",
                                          "libConfigs.so",
                                          "libUtils.so",
                                          "libFerrolinkTcpClient.so",
                                          "libFerrolinkTcpTlsClient.so"};

/// The installation that this process would use.
struct Installation {
  std::filesystem::path root;       ///< the directory that has Binaries; empty if there is none
  std::filesystem::path libraries;  ///< the directory of all libraries
  std::filesystem::path archive;    ///< FerrolinkJvmRuntime.jar
  std::string foundBy;              ///< why this one
  std::string problem;              ///< why there is none; otherwise empty
};

/// Looks for it as the C++ helpers do.
Installation FindInstallation();

/// The program beside this one. Errors: Failure if it is missing.
std::filesystem::path ProgramBeside(const std::string& name);

}  // namespace Ferrolink::Companions::Tool

#endif
