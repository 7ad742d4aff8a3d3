#ifndef FERROLINK_CPP_CALLER_H
#define FERROLINK_CPP_CALLER_H

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <span>
#include <string>
#include <string_view>
#include <utility>

#include "ferrolink/CppRuntime.h"
#include "ferrolink/Deadline.h"
#include "ferrolink/Exchange.h"
#include "ferrolink/Host.h"
#include "ferrolink/JavaHomes.h"
#include "ferrolink/Library.h"
#include "ferrolink/detail/ThreadBuffer.h"
#include "ferrolink/protocol/Bytes.h"
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

/// Calls other runtimes of this process through the transmitter of the C++ member. Runtime::Cpp
/// calls this program's own handlers.
/// @code
/// Ferrolink::Cpp::Caller caller;
/// Bytes reply = caller.Call(Ferrolink::Cpp::Runtime::Jvm, "echo", bytes);
/// @endcode
/// For programs and for handlers. A program that creates a Caller first is the calling side (mode
/// 0).
///
/// Ownership: the first command starts the called runtime, which lives until the process ends.
/// Destroying a Caller does not end it.
///
/// Thread rule: thread-safe, also inside handlers. A call blocks its thread until the answer comes.
/// Java attaches an unknown thread for each call; see Host::ThreadAttachment.
///
/// Errors: those of ferrolink/Errors.h. RemoteError has the called runtime's text, LibraryError
/// that of the native library. Also std::system_error and std::bad_alloc.
class Caller {
 public:
  /// Finds and opens the library. Starts no runtime. If no variable names a JVM, looks for one, see
  /// Host::NameJavaUnlessNamed. Errors: InstallationError.
  explicit Caller(const Options& options = {})
      : m_transmitter(OpenTransmitter(
            Host::FindLibrary(options.libraryDirectory, Host::kCppLibrary), options)) {}

  /// Calls the handler of that name (1 to 255 bytes of UTF-8) in the other runtime and returns its
  /// answer.
  Bytes Call(Runtime target, std::string_view handler, ByteView payload) const {
    Host::detail::ThreadBuffer buffer;
    const ByteView answer = CallIn(buffer, target, handler, payload);
    return {answer.begin(), answer.end()};
  }
  /// The same with a text as the payload.
  Bytes Call(Runtime target, std::string_view handler, std::string_view payload) const {
    return Call(target, handler, Host::AsBytes(payload));
  }

  /// The same into a buffer of the caller's, so that nothing is allocated. Returns the size of the
  /// answer.
  /// @code
  /// std::array<std::uint8_t, 32> digest;
  /// caller.CallInto(Ferrolink::Cpp::Runtime::Jvm, "digest", request, digest);
  /// @endcode
  /// The buffer is written only if the whole answer fits. Bytes behind the answer stay unchanged.
  /// The buffer may overlap the payload. Errors: also Host::AnswerTooLong, which has the whole
  /// answer.
  std::size_t CallInto(Runtime target, std::string_view handler, ByteView payload,
                       std::span<std::uint8_t> answer) const {
    Host::detail::ThreadBuffer buffer;
    return Host::detail::CopyAnswer(CallIn(buffer, target, handler, payload), answer);
  }
  /// The same into a vector, which gets the size of the answer and reuses its memory. Errors leave
  /// the vector unchanged.
  std::size_t CallInto(Runtime target, std::string_view handler, ByteView payload,
                       Bytes& answer) const {
    Host::detail::ThreadBuffer buffer;
    const ByteView body = CallIn(buffer, target, handler, payload);
    answer.assign(body.begin(), body.end());
    return answer.size();
  }

  /// The same with a deadline. Throws DeadlineError if the deadline passes before the answer comes.
  /// If it has passed at the start, nothing is sent.
  /// @code
  /// Bytes hits = caller.Call(Runtime::Jvm, "search", query, std::chrono::seconds(1));
  /// @endcode
  /// The command runs on a thread of its own. A command that was given up continues to run, and its
  /// answer is dropped. At most 256 such commands run at a time; further ones wait. If the runtime
  /// has to be started, the calling thread starts it and does not give up meanwhile.
  Bytes Call(Runtime target, std::string_view handler, ByteView payload, Deadline deadline) const {
    Bytes command = Host::CallCommand(target, handler, payload);
    Host::RequireTimeLeft(deadline);
    StartOnThisThread(target);
    return Host::ExchangeWithin(*m_transmitter, std::move(command), NameOf(target), deadline);
  }
  /// The same with a text as the payload.
  Bytes Call(Runtime target, std::string_view handler, std::string_view payload,
             Deadline deadline) const {
    return Call(target, handler, Host::AsBytes(payload), deadline);
  }

  /// Checks that a runtime answers. Starts it if it does not run yet. Errors: those of a command.
  /// @code
  /// caller.Heartbeat(Ferrolink::Cpp::Runtime::Jvm);
  /// @endcode
  void Heartbeat(Runtime target) const {
    Host::ExchangeHeartbeat(*m_transmitter, target, NameOf(target));
  }

  /// Asks the other runtime to load a library.
  /// @code
  /// caller.LoadLibrary(Ferrolink::Cpp::Runtime::Cpp, "libplugin.so");
  /// @endcode
  /// C++ loads a plug-in library. Java loads an archive, or all archives of a directory, if the JVM
  /// does not run yet. To add archives to a running JVM, send their path to the handler
  /// "load-archives". Errors: also InstallationError for a pipe or a device.
  void LoadLibrary(Runtime target, const std::filesystem::path& path) const {
    const std::string absolute = std::filesystem::absolute(path).string();
    Host::RequireNoPipeOrDevice(absolute);
    Host::ExchangeLoadLibrary(*m_transmitter, target, absolute, NameOf(target));
  }

 private:
  friend struct Objects::detail::PeerAccess;
  using Transmitter = Native::Interfaces::ITransmitter;
  using Receiver = Native::Interfaces::IReceiver;
  using Mode = Native::Definitions::RuntimeOperationMode;

  static Transmitter* OpenTransmitter(const std::filesystem::path& library,
                                      const Options& options) {
    Host::NameJavaUnlessNamed();
    void* handle = Host::OpenLibrary(library);
    // The transmitter first: it fixes the mode of the calling side, unless a mode is fixed already.
    Transmitter* transmitter = Host::FunctionOf<Transmitter*(Mode)>(
        handle, library, "CreateTransmitter")(Mode::CallingRuntime);
    if (!options.configuration.empty()) {
      Receiver* receiver = Host::FunctionOf<Receiver*(Mode)>(
          handle, library, "CreateReceiver")(Mode::CallingRuntime);
      if (receiver->SetConfigSource(options.configuration) < 0) {
        throw InstallationError("The configuration was refused; standard error names the place: " +
                                options.configuration);
      }
    }
    return transmitter;
  }

  [[nodiscard]] Transmitter* Role() const { return m_transmitter; }

  ByteView CallIn(Host::detail::ThreadBuffer& buffer, Runtime target, std::string_view handler,
                  ByteView payload) const {
    const std::size_t size = Host::detail::WriteCallIn(buffer, target, handler, payload);
    return Host::detail::ExchangeIn(buffer, *m_transmitter, buffer.Room(size), size,
                                    NameOf(target));
  }

  // The thread that starts a runtime remains bound to it. A thread that lives for one command only
  // must not be that thread.
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

  // Owned by the library, which never deletes it.
  Transmitter* m_transmitter;
};

}  // namespace Ferrolink::Cpp

#endif
