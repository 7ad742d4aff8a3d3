#ifndef FERROLINK_CPP_CALLER_H
#define FERROLINK_CPP_CALLER_H

#include <cstdint>
#include <filesystem>
#include <span>
#include <string>
#include <string_view>

#include "ferrolink/CppRuntime.h"
#include "ferrolink/Host.h"
#include "native/interfaces/IReceiver.h"
#include "native/interfaces/ITransmitter.h"
#include "native/interfaces/Runtime.h"
#include "native/interfaces/RuntimeOperationMode.h"

namespace Ferrolink::Cpp {

using Host::Options;
using Native::Definitions::Runtime;

/// Other runtimes of this process, as a C++ program or handler sees them, through the transmitter
/// of the C++ member. Runtime::Cpp, this program's own handlers, is one of them.
///
///   Ferrolink::Cpp::Caller caller;
///   Bytes reply = caller.Call(Ferrolink::Cpp::Runtime::Jvm, "echo", bytes);
///
/// A program that starts with a Caller is the calling side (mode 0); a handler may use one as well.
/// The called runtime starts with the first command and lives until the process ends; destroying a
/// Caller releases nothing of it.
/// Thread rule: any thread, any number at once, from inside handlers as well; a call blocks its
/// thread until it is answered. Java attaches a thread that it does not know for each call, see
/// Host::ThreadAttachment.
/// Errors: RemoteError with the called runtime's text; the libraries' own errors (derived from
/// std::runtime_error); InstallationError; ProtocolError.
class Caller {
 public:
  explicit Caller(const Options& options = {})
      : m_transmitter(openTransmitter(
            Host::detail::findLibrary(options.libraryDirectory, detail::kLibraryName), options)) {}

  /// Runs the handler registered under `handler` (at most 255 bytes of UTF-8) in the other runtime
  /// and returns its bytes.
  Bytes Call(Runtime target, std::string_view handler,
             std::span<const std::uint8_t> payload) const {
    Bytes command = Host::detail::callCommand(target, handler, payload);
    return Host::detail::exchange(*m_transmitter, command, nameOf(target));
  }
  Bytes Call(Runtime target, std::string_view handler, std::string_view payload) const {
    return Call(target, handler,
                std::span(reinterpret_cast<const std::uint8_t*>(payload.data()), payload.size()));
  }

  /// Asks for a sign of life; starts the runtime where it does not run yet. Throws where there is
  /// none.
  void Heartbeat(Runtime target) const {
    Host::detail::heartbeat(*m_transmitter, target, nameOf(target));
  }

  /// Adds a library that the other runtime understands: a Java archive, or all of a directory,
  /// before the JVM starts (afterwards the handler "load-archives" takes the path); a C++ plug-in
  /// library.
  void LoadLibrary(Runtime target, const std::filesystem::path& path) const {
    const std::string absolute = std::filesystem::absolute(path).string();
    Host::detail::requireNoPipeOrDevice(absolute);
    Bytes command = Host::detail::loadLibraryCommand(target, absolute);
    Host::detail::exchange(*m_transmitter, command, nameOf(target));
  }

 private:
  using Transmitter = Native::Interfaces::ITransmitter;
  using Receiver = Native::Interfaces::IReceiver;
  using Mode = Native::Definitions::RuntimeOperationMode;

  static Transmitter* openTransmitter(const std::filesystem::path& library,
                                      const Options& options) {
    void* handle = Host::detail::openLibrary(library);
    // The transmitter first: it settles that this program calls out, where nothing is settled yet.
    Transmitter* transmitter = Host::detail::functionOf<Transmitter*(Mode)>(
        handle, library, "CreateTransmitter")(Mode::CallingRuntime);
    if (!options.configuration.empty()) {
      Receiver* receiver = Host::detail::functionOf<Receiver*(Mode)>(
          handle, library, "CreateReceiver")(Mode::CallingRuntime);
      if (receiver->SetConfigSource(options.configuration) < 0) {
        throw InstallationError("The configuration was refused; standard error names the place: " +
                                options.configuration);
      }
    }
    return transmitter;
  }

  static std::string nameOf(Runtime runtime) {
    return runtime == Runtime::Jvm ? "Java"
                                   : "Runtime " + std::to_string(static_cast<int>(runtime));
  }

  // The library's own and never deleted.
  Transmitter* m_transmitter;
};

}  // namespace Ferrolink::Cpp

#endif
