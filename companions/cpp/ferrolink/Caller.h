#ifndef FERROLINK_CPP_CALLER_H
#define FERROLINK_CPP_CALLER_H

#include <array>
#include <atomic>
#include <cstdint>
#include <filesystem>
#include <span>
#include <string>
#include <string_view>
#include <utility>

#include "ferrolink/CppRuntime.h"
#include "ferrolink/Deadline.h"
#include "ferrolink/Host.h"
#include "ferrolink/detail/TimedExchange.h"
#include "native/interfaces/IReceiver.h"
#include "native/interfaces/ITransmitter.h"
#include "native/interfaces/Runtime.h"
#include "native/interfaces/RuntimeOperationMode.h"

namespace Ferrolink::Objects::detail {
struct PeerAccess;
}

namespace Ferrolink::Cpp {

using Host::Deadline;
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
/// Errors: those of ferrolink/Errors.h, of which RemoteError has the called runtime's text and
/// LibraryError the libraries' own; std::system_error and std::bad_alloc.
class Caller {
 public:
  explicit Caller(const Options& options = {})
      : m_transmitter(OpenTransmitter(
            Host::detail::FindLibrary(options.libraryDirectory, detail::kLibraryName), options)) {}

  /// Runs the handler registered under `handler` (at most 255 bytes of UTF-8) in the other runtime
  /// and returns its bytes.
  Bytes Call(Runtime target, std::string_view handler,
             std::span<const std::uint8_t> payload) const {
    Bytes command = Host::detail::CallCommand(target, handler, payload);
    return Host::detail::Exchange(*m_transmitter, command, NameOf(target));
  }
  Bytes Call(Runtime target, std::string_view handler, std::string_view payload) const {
    return Call(target, handler,
                std::span(reinterpret_cast<const std::uint8_t*>(payload.data()), payload.size()));
  }

  /// The same, but gives up when the time is over: DeadlineError. The command runs on a thread of
  /// its own; giving up does not end it, and its answer is dropped. At most 256 run at a time,
  /// others wait for one to end. Nothing is sent where the time is over before. The runtime is
  /// started by the calling thread, whose time that takes, but which does not give up meanwhile.
  Bytes Call(Runtime target, std::string_view handler, std::span<const std::uint8_t> payload,
             Deadline deadline) const {
    Bytes command = Host::detail::CallCommand(target, handler, payload);
    Host::detail::RequireTimeLeft(deadline);
    StartOnThisThread(target);
    return Host::detail::ExchangeWithin(*m_transmitter, std::move(command), NameOf(target),
                                        deadline);
  }
  Bytes Call(Runtime target, std::string_view handler, std::string_view payload,
             Deadline deadline) const {
    return Call(target, handler,
                std::span(reinterpret_cast<const std::uint8_t*>(payload.data()), payload.size()),
                deadline);
  }

  /// Asks for a sign of life; starts the runtime where it does not run yet. Throws where there is
  /// none.
  void Heartbeat(Runtime target) const {
    Host::detail::Heartbeat(*m_transmitter, target, NameOf(target));
  }

  /// Adds a library that the other runtime understands: a Java archive, or all of a directory,
  /// before the JVM starts (afterwards the handler "load-archives" takes the path); a C++ plug-in
  /// library.
  void LoadLibrary(Runtime target, const std::filesystem::path& path) const {
    const std::string absolute = std::filesystem::absolute(path).string();
    Host::detail::RequireNoPipeOrDevice(absolute);
    Bytes command = Host::detail::LoadLibraryCommand(target, absolute);
    Host::detail::Exchange(*m_transmitter, command, NameOf(target));
  }

 private:
  friend struct Objects::detail::PeerAccess;
  using Transmitter = Native::Interfaces::ITransmitter;
  using Receiver = Native::Interfaces::IReceiver;
  using Mode = Native::Definitions::RuntimeOperationMode;

  static Transmitter* OpenTransmitter(const std::filesystem::path& library,
                                      const Options& options) {
    void* handle = Host::detail::OpenLibrary(library);
    // The transmitter first: it settles that this program calls out, where nothing is settled yet.
    Transmitter* transmitter = Host::detail::FunctionOf<Transmitter*(Mode)>(
        handle, library, "CreateTransmitter")(Mode::CallingRuntime);
    if (!options.configuration.empty()) {
      Receiver* receiver = Host::detail::FunctionOf<Receiver*(Mode)>(
          handle, library, "CreateReceiver")(Mode::CallingRuntime);
      if (receiver->SetConfigSource(options.configuration) < 0) {
        throw InstallationError("The configuration was refused; standard error names the place: " +
                                options.configuration);
      }
    }
    return transmitter;
  }

  [[nodiscard]] Transmitter* Role() const { return m_transmitter; }

  // What starts a runtime stays bound to it, which a thread of one command must not be.
  void StartOnThisThread(Runtime target) const {
    static std::array<std::atomic<bool>, 256> started;
    std::atomic<bool>& known = started[static_cast<std::uint8_t>(target)];
    if (!known) {
      Heartbeat(target);
      known = true;
    }
  }

  static std::string NameOf(Runtime runtime) {
    return runtime == Runtime::Jvm ? "Java"
                                   : "Runtime " + std::to_string(static_cast<int>(runtime));
  }

  // The library's own and never deleted.
  Transmitter* m_transmitter;
};

}  // namespace Ferrolink::Cpp

#endif
