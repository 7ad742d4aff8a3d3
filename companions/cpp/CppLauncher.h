#ifndef FERROLINK_COMPANIONS_CPP_CPPLAUNCHER_H
#define FERROLINK_COMPANIONS_CPP_CPPLAUNCHER_H

#include <cstdint>
#include <string>

#include "native/Export.h"
#include "native/NativeLauncher.h"
#include "native/ThreadResponses.h"
#include "native/interfaces/RuntimeOperationMode.h"

namespace Ferrolink::Runtimes::Cpp::Native::Launcher {

/// Executes commands as functions of this process, in either operation mode. There is nothing to
/// start: handlers are callable as soon as the host or a plug-in library registers them.
///
/// Thread rule: thread-safe. A command runs on the thread that sends it, without a lock. Its
/// handler may send commands, also back to this launcher on the same thread. A SendCommand and its
/// ReadResponse run on the same thread.
/// Errors of commands and handlers are replies of type 10, never exceptions. If a handler ends its
/// thread (pthread_exit, cancellation), the thread ends, and its command has no response. If
/// another runtime of this process called that handler, the process ends with a text instead.
class FERROLINK_EXPORT CppLauncher : public Ferrolink::Native::Launcher::NativeLauncher {
 public:
  explicit CppLauncher(Ferrolink::Native::Definitions::RuntimeOperationMode mode);
  CppLauncher(const CppLauncher&) = delete;
  CppLauncher& operator=(const CppLauncher&) = delete;
  ~CppLauncher() override;

  /// A no-op that returns 0.
  int Initialize(std::uint8_t launchArgument) override;

  /// Answers a command. The response replaces one that this thread has not read. Returns the length
  /// of the response; without memory for any response, returns 0.
  int SendCommand(std::uint8_t* message, int length) override;

  /// Moves the calling thread's response into `buffer` and discards the part that does not fit. A
  /// negative length copies all of it. Returns 0. Errors: FerrolinkNativeException, code 017, if
  /// the thread has no response.
  int ReadResponse(std::uint8_t* buffer, int length) override;

  /// These three functions are no-ops and return 1.
  int LoadOptimizedMethod(std::string name) override;
  int SetPath(std::uint8_t runtime, std::string path) override;
  int DeployRuntime(std::uint8_t* message, int length, std::string path,
                    std::uint8_t flag) override;

  /// "Cpp".
  std::string GetRuntimeName() override;

  /// The plug-in libraries and the names of the handlers.
  std::string GetRuntimeInfo() override;

 private:
  Ferrolink::Native::ThreadResponses m_responses;
};

}  // namespace Ferrolink::Runtimes::Cpp::Native::Launcher

#endif
