#ifndef FERROLINK_COMPANIONS_CPP_CPPLAUNCHER_H
#define FERROLINK_COMPANIONS_CPP_CPPLAUNCHER_H

#include <cstdint>
#include <string>

#include "companions/cpp/CommandFrame.h"
#include "native/Export.h"
#include "native/NativeLauncher.h"
#include "native/ThreadResponses.h"

namespace Ferrolink::Runtimes::Cpp::Native::Launcher {

/// Runs commands as functions of this process, in either operation mode. There is nothing to start:
/// the handlers are there as soon as the host or a plug-in library registers them.
///
/// Thread rule: any thread, in parallel. A command runs on the thread that sends it, without a
/// lock; its handler may send commands itself and may come back here on the same thread. A
/// SendCommand and its ReadResponse run on the same thread.
/// Errors of commands and handlers are replies of type 10, never exceptions. A handler that ends
/// its thread (pthread_exit, cancellation) is not held up, and its command has no response; where
/// another runtime of this process called it, the process ends with a text instead.
class FERROLINK_EXPORT CppLauncher : public Ferrolink::Native::Launcher::NativeLauncher {
 public:
  explicit CppLauncher(Ferrolink::Native::Definitions::RuntimeOperationMode mode);
  CppLauncher(const CppLauncher&) = delete;
  CppLauncher& operator=(const CppLauncher&) = delete;
  ~CppLauncher() override;

  /// Nothing to do. Returns 0.
  int Initialize(std::uint8_t launchArgument) override;

  /// Answers a command; the response replaces one that this thread has not read. Returns its
  /// length, or 0, and no response waits, where there was no memory left to say anything.
  int SendCommand(std::uint8_t* message, int length) override;

  /// Moves the calling thread's response into `buffer` and forgets it, with what did not fit; a
  /// negative length copies all of it. Returns 0. Errors: FerrolinkNativeException, code 017, where
  /// the thread has none.
  int ReadResponse(std::uint8_t* buffer, int length) override;

  /// These three do nothing and return 1.
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
