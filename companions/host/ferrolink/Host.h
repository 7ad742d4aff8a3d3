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

/// Header-only helper for C++ programs that call Java. Needs C++20. Needs a JRE to run, and no Java
/// to compile.
/// @code
/// Ferrolink::Host::Host host;
/// Ferrolink::Host::Bytes reply = host.Call("echo", bytes);
/// @endcode
namespace Ferrolink::Host {

/// The settings of a Host or a Caller. The defaults suit a program inside an installation.
/// @code
/// Ferrolink::Host::Host host({.libraryDirectory = "/opt/ferrolink/Binaries/Native/Linux/X64",
///                             .configuration = "/etc/ferrolink.json"});
/// @endcode
struct Options {
  /// The directory of the native library. If empty, FindLibrary looks for it.
  std::filesystem::path libraryDirectory;
  /// The path of a configuration file, or JSON text. If it is empty, nothing is changed: without
  /// any configuration the defaults apply. It applies to the whole process and replaces an earlier
  /// one. docs/configuration.md lists the settings.
  std::string configuration;
};

/// The variable that names archives, separated by colons, which each Host loads.
inline constexpr const char* kClassPathVariable = "FERROLINK_CLASS_PATH";

/// Calls Java handlers from C++. A handler takes bytes and returns bytes.
/// @code
/// Ferrolink::Host::Host host;
/// host.LoadLibrary("handlers.jar");
/// std::string counts = Ferrolink::Host::ToText(host.Call("word-count", "to be or not to be"));
/// @endcode
/// The first command starts the JVM.
///
/// Ownership: the JVM and the receiver behind this object live until the process ends. Destroying a
/// Host releases neither. Several Hosts share one receiver.
///
/// Thread rule: thread-safe. Commands of several threads run in parallel.
///
/// Errors: those of Errors.h. RemoteError has Java's text, LibraryError that of the native library.
/// Also std::system_error and std::bad_alloc.
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

  /// Calls the handler of that name (1 to 255 bytes of UTF-8) and returns its answer. Blocks until
  /// the answer comes.
  /// @code
  /// const Bytes image = host.Call("thumbnail", photo);
  /// @endcode
  Bytes Call(std::string_view handler, ByteView payload) {
    detail::ThreadBuffer buffer;
    const ByteView answer = CallIn(buffer, handler, payload);
    return {answer.begin(), answer.end()};
  }
  /// The same with a text as the payload.
  Bytes Call(std::string_view handler, std::string_view payload) {
    return Call(handler, AsBytes(payload));
  }

  /// The same into a buffer of the caller's, so that nothing is allocated. Returns the size of the
  /// answer.
  /// @code
  /// std::array<std::uint8_t, 32> digest;
  /// host.CallInto("digest", request, digest);
  /// @endcode
  /// The buffer is written only if the whole answer fits. Bytes behind the answer stay unchanged.
  /// The buffer may overlap the payload. Errors: also AnswerTooLong, which has the whole answer.
  std::size_t CallInto(std::string_view handler, ByteView payload, std::span<std::uint8_t> answer) {
    detail::ThreadBuffer buffer;
    return detail::CopyAnswer(CallIn(buffer, handler, payload), answer);
  }
  /// The same into a vector, which gets the size of the answer and reuses its memory. Errors leave
  /// the vector unchanged.
  /// @code
  /// Ferrolink::Host::Bytes answer;
  /// for (const auto& request : requests) {
  ///   host.CallInto("digest", request, answer);
  /// }
  /// @endcode
  std::size_t CallInto(std::string_view handler, ByteView payload, Bytes& answer) {
    detail::ThreadBuffer buffer;
    const ByteView body = CallIn(buffer, handler, payload);
    answer.assign(body.begin(), body.end());
    return answer.size();
  }

  /// The same with a deadline. Throws DeadlineError if the deadline passes before the answer comes.
  /// If it has passed at the start, nothing is sent.
  /// @code
  /// const Bytes hits = host.Call("search", query, std::chrono::milliseconds(200));
  /// @endcode
  /// The command runs on a thread of its own, which is attached to the JVM for it. A command that
  /// was given up continues to run, and its answer is dropped. At most 256 such commands run at a
  /// time; further ones wait. If the JVM has to be started, the calling thread starts it and does
  /// not give up meanwhile.
  Bytes Call(std::string_view handler, ByteView payload, Deadline deadline) {
    Bytes command = CallCommand(kJvm, handler, payload);
    RequireTimeLeft(deadline);
    Start();
    return ExchangeWithin(*m_receiver, std::move(command), kWho, deadline);
  }
  /// The same with a text as the payload.
  Bytes Call(std::string_view handler, std::string_view payload, Deadline deadline) {
    return Call(handler, AsBytes(payload), deadline);
  }

  /// Checks that Java answers. Starts the JVM if it does not run yet. Errors: those of a command.
  /// @code
  /// host.Heartbeat();  // throws if Java is unusable
  /// @endcode
  void Heartbeat() { ExchangeHeartbeat(*m_receiver, kJvm, kWho); }

  /// Adds a Java archive, or all archives of a directory, and so makes their handlers callable.
  /// @code
  /// host.LoadLibrary("/srv/app/handlers.jar");
  /// @endcode
  /// If no JVM runs in the process yet, the archive goes to the class path; otherwise to a child
  /// class loader. If the file is no archive, this call fails if a JVM runs. Otherwise the next
  /// Start or Call of this Host fails and sends nothing; later calls ignore the file. Errors: also
  /// InstallationError for a pipe or a device, on which the JVM would block.
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

  /// Starts the JVM. A no-op if it runs. Programs call this to choose the moment of the start; a
  /// Call starts the JVM, too.
  void Start() {
    if (!m_started) {
      Heartbeat();
      m_started = true;
      AnnounceArchives();
    }
  }

  /// The absolute path of the native library's file.
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

  // The native library adds an archive to the class path of a JVM that it will start. A JVM that
  // runs already, whoever started it, needs a command. The command ignores archives that it knows.
  void Announce(const std::string& archive) {
    Bytes command = CallCommand(kJvm, "load-archives", AsBytes(archive));
    Exchange(*m_receiver, command, kWho);
  }

  // Announces each archive once, even if one of them fails. Throws the first failure.
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
