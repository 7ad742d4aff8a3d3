#ifndef FERROLINK_HOST_OBJECTS_DETAIL_SESSION_H
#define FERROLINK_HOST_OBJECTS_DETAIL_SESSION_H

#include <algorithm>
#include <array>
#include <atomic>
#include <climits>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <filesystem>
#include <map>
#include <mutex>
#include <span>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

#include "ferrolink/Errors.h"
#include "ferrolink/Exchange.h"
#include "ferrolink/objects/detail/Buffer.h"
#include "ferrolink/objects/detail/Handle.h"
#include "ferrolink/objects/detail/Keeper.h"
#include "ferrolink/objects/detail/Reader.h"

namespace Ferrolink::Objects::detail {

/// The handles that a Scope will release.
struct ScopeRecords {
  /// The Scope collects only handles of this session.
  Session* session;
  /// The enclosing Scope of the thread; null for the outermost.
  ScopeRecords* outer;
  /// In the order in which the thread received them.
  std::vector<Handle> handles;
};
/// The innermost Scope of the calling thread; null if there is none.
inline thread_local ScopeRecords* t_scope = nullptr;

/// The way to the broker, which is the handler `objects` of a JVM's archive. It sends commands
/// through a receiver or a transmitter and collects releases.
///
/// Lifetime: a session is never destroyed, because destructors of static and thread-local objects
/// may use it. Thread rule: thread-safe. No lock is held while a command runs.
/// @code
/// Session& session = SessionOf(*receiver);
/// const Handle handle = session.Adopt(number, classId);
/// @endcode
class Session {
 public:
  /// The size of a command up to its payload: the header, and the length and name of the handler.
  static constexpr std::size_t kPrefixSize = Protocol::Header::kSize + 1 + kBroker.size();

  /// Starts no thread yet.
  Session() : m_keeper([this] { return SendPending(); }, [this] { return m_pending.IsEmpty(); }) {}
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;

  /// Takes over a handle that the broker has just given to this process. No Scope releases it.
  Handle AdoptOutside(std::uint64_t number, std::uint32_t classId) {
    m_keeper.Start();
    return Handle(new Record(*this, number, classId));
  }

  /// The same for handles that belong to the thread's innermost Scope of this session, if there is
  /// one.
  Handle Adopt(std::uint64_t number, std::uint32_t classId) {
    Handle handle = AdoptOutside(number, classId);
    for (ScopeRecords* scope = t_scope; scope != nullptr; scope = scope->outer) {
      if (scope->session == this) {
        scope->handles.push_back(handle);
        break;
      }
    }
    return handle;
  }

  /// Queues a handle for release with one of the next commands, or by the keeper. Takes over the
  /// record.
  void Drop(Record* record) noexcept {
    const std::size_t count = m_pending.Add(record, record, 1);
    m_keeper.Notice(count == kManyPending);
  }

  /// The directory of the libraries of the Host; empty if the session came from a Caller.
  [[nodiscard]] std::filesystem::path Installation() const {
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_installation;
  }
  /// Stores that directory.
  void SetInstallation(const std::filesystem::path& directory) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_installation = directory;
  }

  /// Removes all pending releases and gives their records to the caller.
  Record* TakePending() noexcept { return m_pending.TakeAll(); }

  /// Makes the records of a list pending again.
  void PutBack(Record* first) noexcept {
    Record* last = first;
    std::size_t count = 1;
    for (; last->next != nullptr; last = last->next) {
      ++count;
    }
    m_pending.Add(first, last, count);
    m_keeper.Notice(false);
  }

  /// Sends the command in `buffer` and replaces it by the reply. Returns the reply's body, a view
  /// of the buffer. Errors: RemoteError for an exception report; LibraryError; DeadlineError;
  /// ProtocolError for a command over 2 GiB or bytes that are no reply.
  std::span<const std::uint8_t> Exchange(Buffer& buffer) {
    if (buffer.Size() > INT_MAX) {
      throw Host::ProtocolError("The command is longer than 2 GiB.", false);
    }
    const int length = SendOrExplain(buffer);
    if (length < Protocol::Header::kSize) {
      throw Host::ProtocolError("Java answered with " + std::to_string(length) +
                                " bytes, which is no reply.");
    }
    buffer.Clear();
    buffer.Grow(static_cast<std::size_t>(length));
    // In-process channels route a read by the first byte of the buffer.
    buffer.Data()[Protocol::Header::kTargetRuntime] = kJava;
    Host::detail::CallLibrary(true, [&] { return Read(buffer.Data(), length); });
    const std::span<const std::uint8_t> body = buffer.View().subspan(Protocol::Header::kSize);
    if (buffer.Data()[Protocol::Header::kCommandType] == Protocol::Header::kTypeExceptionReport) {
      throw Host::RemoteError(Host::ToText(body));
    }
    return body;
  }

  /// The bytes that every command to the broker begins with.
  static constexpr std::array<std::uint8_t, kPrefixSize> kPrefix = [] {
    std::array<std::uint8_t, kPrefixSize> bytes{};
    bytes[Protocol::Header::kTargetRuntime] = static_cast<std::uint8_t>(Host::Runtime::Jvm);
    bytes[Protocol::Header::kCallingRuntime] = static_cast<std::uint8_t>(Host::Runtime::Cpp);
    bytes[Protocol::Header::kCommandType] = Protocol::Header::kTypeCallHandler;
    bytes[Protocol::Header::kSize] = static_cast<std::uint8_t>(kBroker.size());
    std::copy(kBroker.begin(), kBroker.end(), bytes.begin() + Protocol::Header::kSize + 1);
    return bytes;
  }();

 protected:
  /// Sessions are not deleted through this type.
  ~Session() = default;

 private:
  static constexpr auto kJava = static_cast<std::uint8_t>(Host::Runtime::Jvm);
  // With so many pending releases, the keeper sends them at once.
  static constexpr std::size_t kManyPending = 1024;

  // If Java is the main program, commands fail until it chooses a listener. The error then says so.
  int SendOrExplain(Buffer& buffer) {
    try {
      return Host::detail::CallLibrary(
          false, [&] { return Send(buffer.Data(), static_cast<int>(buffer.Size())); });
    } catch (const Host::LibraryError& error) {
      const std::string text = error.what();
      if (text.find("Java callback is not set") == std::string::npos &&
          text.find("JVM not initialized") == std::string::npos) {
        throw;
      }
      throw Host::LibraryError(text +
                               "\nIf Java is the program, it does not answer commands yet. Call "
                               "Ferrolink.onCommands() in Java before the first typed call.");
    }
  }

  // The functions of the role.
  virtual int Send(std::uint8_t* command, int length) = 0;
  virtual int Read(std::uint8_t* buffer, int length) = 0;

  // For the keeper. Returns false if a command failed. Defined in Request.h.
  bool SendPending() noexcept;

  PendingRecords m_pending;
  Keeper m_keeper;

  // Guarded by m_mutex.
  mutable std::mutex m_mutex;
  std::filesystem::path m_installation;
};

inline void ReleaseRecord(Record* record) noexcept {
  if (record->owners.fetch_sub(1, std::memory_order_acq_rel) != 1) {
    return;
  }
  if (record->handle.load(std::memory_order_relaxed) == 0) {
    delete record;
  } else {
    record->session->Drop(record);
  }
}

/// The session of one receiver or transmitter.
template <class Role>
// NOLINTNEXTLINE(cppcoreguidelines-virtual-class-destructor): never destroyed
class SessionOfRole final : public Session {
 public:
  /// `role` must live until the process ends.
  explicit SessionOfRole(Role& role) : m_role(role) {}

 private:
  int Send(std::uint8_t* command, int length) override {
    return m_role.SendCommand(command, length);
  }
  int Read(std::uint8_t* buffer, int length) override {
    return m_role.ReadResponse(buffer, length);
  }

  Role& m_role;
};

/// The most recently made session of this module; null if there is none. All sessions lead to the
/// JVM of this process.
inline std::atomic<Session*>& AnySession() {
  static std::atomic<Session*> any{nullptr};
  return any;
}

/// The session of a receiver or transmitter, the same at each call. Thread-safe. Errors:
/// std::bad_alloc.
template <class Role>
Session& SessionOf(Role& role) {
  static std::mutex mutex;
  static auto& sessions = *new std::map<Role*, Session*>;
  const std::lock_guard<std::mutex> lock(mutex);
  Session*& session = sessions[&role];
  if (session == nullptr) {
    session = new SessionOfRole<Role>(role);
    AnySession() = session;
  }
  return *session;
}

}  // namespace Ferrolink::Objects::detail

#endif
