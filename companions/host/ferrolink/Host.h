#ifndef FERROLINK_HOST_HOST_H
#define FERROLINK_HOST_HOST_H

#include <atomic>
#include <cstdint>
#include <exception>
#include <filesystem>
#include <mutex>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "ferrolink/Errors.h"
#include "ferrolink/ThreadAttachment.h"
#include "ferrolink/detail/Library.h"
#include "native/interfaces/CommandHeader.h"
#include "native/interfaces/IReceiver.h"
#include "native/interfaces/Runtime.h"

/// Header-only helper for C++ programs that call Java through Ferrolink. Needs C++20, -ldl is part
/// of libc; no JDK to compile, one to run.
///
///   Ferrolink::Host::Host host;
///   std::vector<std::uint8_t> reply = host.Call("echo", bytes);
namespace Ferrolink::Host {

using Bytes = std::vector<std::uint8_t>;

inline Bytes ToBytes(std::string_view text) {
  return {text.begin(), text.end()};
}
inline std::string ToText(std::span<const std::uint8_t> bytes) {
  return {bytes.begin(), bytes.end()};
}

namespace detail {
namespace Header = Native::Definitions::CommandHeader;
}  // namespace detail

/// What a Host needs to know; the defaults suit a program inside an installation.
struct Options {
  /// The directory of the native library. Empty: FERROLINK_HOME, else around the executable.
  std::filesystem::path libraryDirectory;
  /// A configuration file's path or JSON text. Empty: the defaults.
  std::string configuration;
};

/// Java, as a C++ program sees it: handlers that take bytes and answer bytes.
///
/// The JVM starts with the first command and lives, like the receiver behind this object, until the
/// process ends; destroying a Host releases nothing of it. Several Hosts share one receiver.
/// Thread rule: any thread, any number at once. Errors: RemoteError with Java's text; the library's
/// own errors (derived from std::runtime_error); those of Errors.h.
class Host {
 public:
  explicit Host(const Options& options = {})
      : m_libraryPath(detail::findLibrary(options.libraryDirectory)),
        m_receiver(detail::openReceiver(m_libraryPath)) {
    // The receiver leaves it to its callers to initialise it one at a time.
    static std::mutex initialisation;
    const std::lock_guard<std::mutex> lock(initialisation);
    if (!options.configuration.empty() && m_receiver->SetConfigSource(options.configuration) < 0) {
      throw InstallationError("The configuration was refused; standard error names the place: " +
                              options.configuration);
    }
    m_receiver->Initialize(kThisRuntime, kJvm, 0);
  }
  Host(const Host&) = delete;
  Host& operator=(const Host&) = delete;
  ~Host() = default;

  /// Runs the handler registered under `handler` (at most 255 bytes of UTF-8) and returns its
  /// bytes.
  Bytes Call(std::string_view handler, std::span<const std::uint8_t> payload) {
    if (handler.size() > kLongestName) {
      throw ProtocolError("The handler's name is longer than 255 bytes: " + std::string(handler));
    }
    Start();
    Bytes command = header(kTypeCallHandler, 1 + handler.size() + payload.size());
    command.push_back(static_cast<std::uint8_t>(handler.size()));
    command.insert(command.end(), handler.begin(), handler.end());
    command.insert(command.end(), payload.begin(), payload.end());
    return exchange(command);
  }
  Bytes Call(std::string_view handler, std::string_view payload) {
    return Call(handler,
                std::span(reinterpret_cast<const std::uint8_t*>(payload.data()), payload.size()));
  }

  /// Asks Java for a sign of life; starts the JVM where it does not run yet. Throws where there is
  /// none.
  void Heartbeat() {
    Bytes command = header(detail::Header::kTypeHeartBeat, 2);
    command.push_back('1');
    command.push_back('2');
    if (exchange(command) != Bytes{'1', '2'}) {
      throw ProtocolError("Java answered a heartbeat with other bytes than it carried.");
    }
  }

  /// Adds a Java archive, or all archives of a directory, so that the handlers in it can be called:
  /// to the class path where the JVM does not run yet, to a child class loader where it does.
  void LoadLibrary(const std::filesystem::path& path) {
    const std::string absolute = std::filesystem::absolute(path).string();
    Bytes command = header(detail::Header::kTypeLoadLibrary,
                           kLoadLibraryPathOffset - detail::Header::kSize + absolute.size());
    command.resize(kLoadLibraryPathOffset);
    command.insert(command.end(), absolute.begin(), absolute.end());
    exchange(command);
    {
      const std::lock_guard<std::mutex> lock(m_archivesMutex);
      m_archives.push_back(absolute);
    }
    if (m_started) {
      announceArchives();
    }
  }

  /// Starts the JVM where it does not run yet; Call does so by itself.
  void Start() {
    if (!m_started) {
      Heartbeat();
      m_started = true;
      announceArchives();
    }
  }

  [[nodiscard]] const std::filesystem::path& LibraryPath() const { return m_libraryPath; }

 private:
  using Receiver = Native::Interfaces::IReceiver;

  static constexpr std::uint8_t kThisRuntime =
      static_cast<std::uint8_t>(Native::Definitions::Runtime::Cpp);
  static constexpr std::uint8_t kJvm = static_cast<std::uint8_t>(Native::Definitions::Runtime::Jvm);
  static constexpr std::uint8_t kTypeCallHandler = 2;
  static constexpr std::size_t kLongestName = 255;
  static constexpr std::size_t kLoadLibraryPathOffset = 24;

  static Bytes header(std::uint8_t type, std::size_t bodySize) {
    Bytes command;
    command.reserve(detail::Header::kSize + bodySize);
    command.resize(detail::Header::kSize);
    command[detail::Header::kTargetRuntime] = kJvm;
    command[detail::Header::kCallingRuntime] = kThisRuntime;
    command[detail::Header::kCommandType] = type;
    return command;
  }

  /// Sends one command and reads its reply on the same thread; returns the reply's body.
  Bytes exchange(Bytes& command) {
    if (command.size() > static_cast<std::size_t>(INT32_MAX)) {
      throw ProtocolError("The command is longer than 2 GiB.");
    }
    const int length = m_receiver->SendCommand(command.data(), static_cast<int>(command.size()));
    if (length < detail::Header::kSize) {
      throw ProtocolError("Java answered with " + std::to_string(length) +
                          " bytes, which is no reply.");
    }
    Bytes reply(static_cast<std::size_t>(length));
    m_receiver->ReadResponse(reply.data(), length);
    const std::uint8_t type = reply[detail::Header::kCommandType];
    reply.erase(reply.begin(), reply.begin() + detail::Header::kSize);
    if (type == detail::Header::kTypeExceptionReport) {
      throw RemoteError(ToText(reply));
    }
    return reply;
  }

  // The native side adds archives to the class path of a JVM still to be started; one that runs, be
  // it that somebody else started it, is told by command. It skips what it has already.
  void announceArchives() {
    std::vector<std::string> archives;
    {
      const std::lock_guard<std::mutex> lock(m_archivesMutex);
      archives.swap(m_archives);
    }
    std::exception_ptr firstError;
    for (const std::string& archive : archives) {
      try {
        Call("load-archives", archive);
      } catch (const std::exception&) {
        if (!firstError) {
          firstError = std::current_exception();
        }
      }
    }
    if (firstError) {
      std::rethrow_exception(firstError);
    }
  }

  // Constant after construction. The receiver is the library's own and never deleted.
  const std::filesystem::path m_libraryPath;
  Receiver* const m_receiver;

  std::atomic<bool> m_started{false};

  // Guarded by m_archivesMutex.
  std::mutex m_archivesMutex;
  std::vector<std::string> m_archives;
};

}  // namespace Ferrolink::Host

#endif
