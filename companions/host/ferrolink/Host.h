#ifndef FERROLINK_HOST_HOST_H
#define FERROLINK_HOST_HOST_H

#include <algorithm>
#include <atomic>
#include <cstddef>
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
#include "ferrolink/Exchange.h"
#include "ferrolink/JavaHomes.h"
#include "ferrolink/Library.h"
#include "ferrolink/ThreadAttachment.h"
#include "ferrolink/detail/JvmLibrary.h"
#include "ferrolink/detail/ThreadBuffer.h"
#include "ferrolink/protocol/Bytes.h"
#include "native/interfaces/IReceiver.h"
#include "native/interfaces/Runtime.h"

namespace Ferrolink::Objects::detail {
struct PeerAccess;
}

/// Header-only helper for C++ programs that call Java. Needs C++20, and a JDK to run, but not to
/// compile:
///
///     Ferrolink::Host::Host host;
///     Ferrolink::Host::Bytes reply = host.Call("echo", bytes);
namespace Ferrolink::Host {

/// The settings of a Host or a Caller. The defaults suit a program inside an installation:
///
///     Ferrolink::Host::Host host({.libraryDirectory =
///     "/opt/ferrolink/Binaries/Native/Linux/X64"});
struct Options {
  /// The directory of the native library. If empty: the copy that the process has open, else the
  /// installation that FERROLINK_HOME names, else around the executable.
  std::filesystem::path libraryDirectory;
  /// The path of a configuration file, or JSON text. If empty: the defaults.
  std::string configuration;
};

/// The variable with archives that each Host loads.
inline constexpr const char* kClassPathVariable = "FERROLINK_CLASS_PATH";

/// Java handlers, callable from C++: they take bytes and answer bytes.
///
///     Ferrolink::Host::Host host;
///     host.LoadLibrary("handlers.jar");
///     std::string counts = Ferrolink::Host::ToText(host.Call("word-count", "to be or not to be"));
///
/// The first command starts the JVM. The JVM and the receiver behind this object live until the
/// process ends; destroying a Host releases neither. Several Hosts share one receiver.
/// Thread rule: thread-safe. Commands of several threads run in parallel.
/// Errors: those of Errors.h. RemoteError has Java's text, LibraryError the library's. Also
/// std::system_error and std::bad_alloc.
class Host {
 public:
  /// Finds and opens the library. Does not start the JVM. If no variable names a JVM, looks for
  /// one, see NameJavaUnlessNamed. Archives in FERROLINK_CLASS_PATH, separated by colons, are
  /// loaded as by LoadLibrary. Errors: InstallationError; those of LoadLibrary.
  explicit Host(const Options& options = {})
      : m_libraryPath(FindLibrary(options.libraryDirectory)),
        m_receiver(OpenReceiver(m_libraryPath)) {
    Initialize(options.configuration);
    LoadClassPath();
  }
  Host(const Host&) = delete;
  Host& operator=(const Host&) = delete;
  ~Host() = default;

  /// Calls the handler of that name (at most 255 bytes of UTF-8) and returns its answer.
  Bytes Call(std::string_view handler, ByteView payload) {
    detail::ThreadBuffer buffer;
    const ByteView answer = CallIn(buffer, handler, payload);
    return {answer.begin(), answer.end()};
  }
  /// The same with a text for a payload.
  Bytes Call(std::string_view handler, std::string_view payload) {
    return Call(handler, AsBytes(payload));
  }

  /// The same into a buffer of the caller's, so that nothing is allocated. Returns the size of the
  /// answer:
  ///
  ///     std::array<std::uint8_t, 32> digest;
  ///     host.CallInto("digest", request, digest);
  ///
  /// The buffer is written only if the whole answer fits; bytes behind the answer stay as they are.
  /// It may overlap the payload. Errors: also AnswerTooLong, which has the whole answer.
  std::size_t CallInto(std::string_view handler, ByteView payload, std::span<std::uint8_t> answer) {
    detail::ThreadBuffer buffer;
    return detail::CopyAnswer(CallIn(buffer, handler, payload), answer);
  }
  /// The same into a vector, which gets the size of the answer and reuses its memory. Errors leave
  /// it unchanged.
  std::size_t CallInto(std::string_view handler, ByteView payload, Bytes& answer) {
    detail::ThreadBuffer buffer;
    const ByteView body = CallIn(buffer, handler, payload);
    answer.assign(body.begin(), body.end());
    return answer.size();
  }

  /// The same with a deadline: throws DeadlineError if the time is over before the answer comes.
  /// The command runs on a thread of its own, which is attached to the JVM for it. A command that
  /// was given up runs on, and its answer is dropped. At most 256 such commands run at a time;
  /// further ones wait. If the time is over at the start, nothing is sent. The calling thread
  /// itself starts the JVM, if need be, and does not give up meanwhile.
  Bytes Call(std::string_view handler, ByteView payload, Deadline deadline) {
    Bytes command = CallCommand(kJvm, handler, payload);
    RequireTimeLeft(deadline);
    Start();
    return ExchangeWithin(*m_receiver, std::move(command), kWho, deadline);
  }
  /// The same with a text for a payload.
  Bytes Call(std::string_view handler, std::string_view payload, Deadline deadline) {
    return Call(handler, AsBytes(payload), deadline);
  }

  /// Asks Java for a sign of life. Starts the JVM if it does not run yet. Throws if Java does not
  /// answer.
  void Heartbeat() { ExchangeHeartbeat(*m_receiver, kJvm, kWho); }

  /// Adds a Java archive, or all archives of a directory, and so makes its handlers callable.
  ///
  /// If no JVM runs in the process yet, the archive goes to the class path; otherwise to a child
  /// class loader. A file that is no archive is an error: of this call if a JVM runs, else of the
  /// next Start or Call of this Host. That Call sends nothing; later ones ignore the file.
  /// Errors: also InstallationError for a pipe or a device, on which the JVM would block.
  void LoadLibrary(const std::filesystem::path& path) {
    const std::string absolute = std::filesystem::absolute(path).string();
    RequireNoPipeOrDevice(absolute);
    ExchangeLoadLibrary(*m_receiver, kJvm, absolute, kWho);
    if (m_started || detail::FindJvmLibrary().vm != nullptr) {
      Announce(absolute);
      return;
    }
    const std::lock_guard<std::mutex> lock(m_archivesMutex);
    m_archives.push_back(absolute);
  }

  /// Starts the JVM. A no-op if it runs; Call starts it by itself.
  void Start() {
    if (!m_started) {
      Heartbeat();
      m_started = true;
      AnnounceArchives();
    }
  }

  /// The native library's file, an absolute path.
  [[nodiscard]] const std::filesystem::path& LibraryPath() const { return m_libraryPath; }

 private:
  friend struct Objects::detail::PeerAccess;
  using Receiver = Native::Interfaces::IReceiver;

  [[nodiscard]] Receiver* Role() const { return m_receiver; }

  static constexpr auto kThisRuntime = static_cast<std::uint8_t>(Native::Definitions::Runtime::Cpp);
  static constexpr auto kJvm = Native::Definitions::Runtime::Jvm;
  static constexpr const char* kWho = "Java";

  // Callers must not initialise the receiver concurrently.
  void Initialize(const std::string& configuration) {
    static std::mutex initialisation;
    const std::lock_guard<std::mutex> lock(initialisation);
    if (!configuration.empty() && m_receiver->SetConfigSource(configuration) < 0) {
      throw InstallationError("The configuration was refused; standard error names the place: " +
                              configuration);
    }
    NameJavaUnlessNamed();
    m_receiver->Initialize(kThisRuntime, static_cast<std::uint8_t>(kJvm), 0);
  }

  // Without the lock: if a JVM runs, this calls Java.
  void LoadClassPath() {
    const std::string path = detail::Variable(kClassPathVariable);
    for (std::size_t begin = 0; begin < path.size();) {
      const std::size_t end = std::min(path.find(':', begin), path.size());
      if (end > begin) {
        LoadLibrary(path.substr(begin, end - begin));
      }
      begin = end + 1;
    }
  }

  ByteView CallIn(detail::ThreadBuffer& buffer, std::string_view handler, ByteView payload) {
    const std::size_t size = detail::WriteCallIn(buffer, kJvm, handler, payload);
    Start();
    return detail::ExchangeIn(buffer, *m_receiver, buffer.Room(size), size, kWho);
  }

  // The native side knows the class path of a JVM that it will start. A running JVM, whoever
  // started it, is told by command; it skips known archives.
  void Announce(const std::string& archive) {
    Bytes command = CallCommand(kJvm, "load-archives", AsBytes(archive));
    Exchange(*m_receiver, command, kWho);
  }

  // Announces each archive once, even if one fails. Throws the first failure.
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

  // Constant after construction. The library owns the receiver and never deletes it.
  const std::filesystem::path m_libraryPath;
  Receiver* const m_receiver;

  std::atomic<bool> m_started{false};

  // Guarded by m_archivesMutex.
  std::mutex m_archivesMutex;
  std::vector<std::string> m_archives;
};

}  // namespace Ferrolink::Host

#endif
