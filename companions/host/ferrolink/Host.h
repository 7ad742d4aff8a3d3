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

#include "ferrolink/Deadline.h"
#include "ferrolink/Errors.h"
#include "ferrolink/ThreadAttachment.h"
#include "ferrolink/detail/Exchange.h"
#include "ferrolink/detail/Library.h"
#include "ferrolink/detail/TimedExchange.h"
#include "native/interfaces/IReceiver.h"
#include "native/interfaces/Runtime.h"

/// Header-only helper for C++ programs that call Java through Ferrolink. Needs C++20, -ldl is part
/// of libc; no JDK to compile, one to run.
///
///   Ferrolink::Host::Host host;
///   std::vector<std::uint8_t> reply = host.Call("echo", bytes);
namespace Ferrolink::Objects::detail {
struct PeerAccess;
}

namespace Ferrolink::Host {

/// What a Host needs to know; the defaults suit a program inside an installation.
struct Options {
  /// The directory of the native library. Empty: the copy that the process has open already, else
  /// FERROLINK_HOME, else around the executable.
  std::filesystem::path libraryDirectory;
  /// A configuration file's path or JSON text. Empty: the defaults.
  std::string configuration;
};

/// Java, as a C++ program sees it: handlers that take bytes and answer bytes.
///
/// The JVM starts with the first command and lives, like the receiver behind this object, until the
/// process ends; destroying a Host releases nothing of it. Several Hosts share one receiver.
/// Thread rule: any thread, any number at once. Errors: those of Errors.h, of which RemoteError has
/// Java's text and LibraryError the library's own; std::system_error and std::bad_alloc.
class Host {
 public:
  explicit Host(const Options& options = {})
      : m_libraryPath(detail::FindLibrary(options.libraryDirectory)),
        m_receiver(detail::OpenReceiver(m_libraryPath)) {
    // The receiver leaves it to its callers to initialise it one at a time.
    static std::mutex initialisation;
    const std::lock_guard<std::mutex> lock(initialisation);
    if (!options.configuration.empty() && m_receiver->SetConfigSource(options.configuration) < 0) {
      throw InstallationError("The configuration was refused; standard error names the place: " +
                              options.configuration);
    }
    m_receiver->Initialize(kThisRuntime, static_cast<std::uint8_t>(kJvm), 0);
  }
  Host(const Host&) = delete;
  Host& operator=(const Host&) = delete;
  ~Host() = default;

  /// Runs the handler registered under `handler` (at most 255 bytes of UTF-8) and returns its
  /// bytes.
  Bytes Call(std::string_view handler, std::span<const std::uint8_t> payload) {
    Bytes command = detail::CallCommand(kJvm, handler, payload);
    Start();
    return Exchange(command);
  }
  Bytes Call(std::string_view handler, std::string_view payload) {
    return Call(handler,
                std::span(reinterpret_cast<const std::uint8_t*>(payload.data()), payload.size()));
  }

  /// The same, but gives up when the time is over: DeadlineError. The command runs on a thread of
  /// its own, which Java does not know and attaches for it; giving up does not end it, and its
  /// answer is dropped. At most 256 run at a time, others wait for one to end. Nothing is sent
  /// where the time is over before. Java is started by the calling thread, whose time that takes,
  /// but which does not give up meanwhile.
  Bytes Call(std::string_view handler, std::span<const std::uint8_t> payload, Deadline deadline) {
    Bytes command = detail::CallCommand(kJvm, handler, payload);
    detail::RequireTimeLeft(deadline);
    Start();
    return detail::ExchangeWithin(*m_receiver, std::move(command), kWho, deadline);
  }
  Bytes Call(std::string_view handler, std::string_view payload, Deadline deadline) {
    return Call(handler,
                std::span(reinterpret_cast<const std::uint8_t*>(payload.data()), payload.size()),
                deadline);
  }

  /// Asks Java for a sign of life; starts the JVM where it does not run yet. Throws where there is
  /// none.
  void Heartbeat() { detail::Heartbeat(*m_receiver, kJvm, kWho); }

  /// Adds a Java archive, or all archives of a directory, so that the handlers in it can be called:
  /// to the class path where no JVM runs in the process yet, to a child class loader where one
  /// does. What is no archive is an error of this call where a JVM runs, else of the Start, or
  /// first Call, of this Host: that one sends nothing, and later ones go on without the file.
  /// A pipe or a device is an InstallationError: the JVM would wait for its other end.
  void LoadLibrary(const std::filesystem::path& path) {
    const std::string absolute = std::filesystem::absolute(path).string();
    detail::RequireNoPipeOrDevice(absolute);
    Bytes command = detail::LoadLibraryCommand(kJvm, absolute);
    Exchange(command);
    if (m_started || detail::FindJvmLibrary().vm != nullptr) {
      Announce(absolute);
      return;
    }
    const std::lock_guard<std::mutex> lock(m_archivesMutex);
    m_archives.push_back(absolute);
  }

  /// Starts the JVM where it does not run yet; Call does so by itself.
  void Start() {
    if (!m_started) {
      Heartbeat();
      m_started = true;
      AnnounceArchives();
    }
  }

  [[nodiscard]] const std::filesystem::path& LibraryPath() const { return m_libraryPath; }

 private:
  friend struct Objects::detail::PeerAccess;
  using Receiver = Native::Interfaces::IReceiver;

  [[nodiscard]] Receiver* Role() const { return m_receiver; }

  static constexpr auto kThisRuntime = static_cast<std::uint8_t>(Native::Definitions::Runtime::Cpp);
  static constexpr auto kJvm = Native::Definitions::Runtime::Jvm;
  static constexpr const char* kWho = "Java";

  Bytes Exchange(Bytes& command) { return detail::Exchange(*m_receiver, command, kWho); }

  // The native side adds archives to the class path of a JVM still to be started; one that runs, be
  // it that somebody else started it, is told by command. It skips what it has already.
  void Announce(const std::string& archive) {
    Bytes command = detail::CallCommand(
        kJvm, "load-archives",
        std::span(reinterpret_cast<const std::uint8_t*>(archive.data()), archive.size()));
    Exchange(command);
  }

  // Each is announced once, whether that fails or not; the first failure is raised.
  void AnnounceArchives() {
    std::vector<std::string> archives;
    {
      const std::lock_guard<std::mutex> lock(m_archivesMutex);
      archives.swap(m_archives);
    }
    std::exception_ptr firstError;
    for (const std::string& archive : archives) {
      try {
        Announce(archive);
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
