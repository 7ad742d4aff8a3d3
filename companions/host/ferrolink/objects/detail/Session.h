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

/// The handles that a Scope of this thread has seen made.
struct ScopeRecords {
  Session* session;
  ScopeRecords* outer;
  std::vector<Handle> handles;
};
inline thread_local ScopeRecords* t_scope = nullptr;

/// The way to one broker: a receiver or a transmitter, which live until the process ends. So does a
/// session: it may be used by static and thread-local objects while they are destroyed. Any thread;
/// no lock is held while a command runs.
class Session {
 public:
  /// A command up to its payload: the header, and the name of the handler.
  static constexpr std::size_t kPrefixSize = Protocol::Header::kSize + 1 + kBroker.size();

  Session() : m_keeper([this] { return SendPending(); }, [this] { return m_pending.IsEmpty(); }) {}
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;

  /// An owner of a handle that the broker has just given to this process; no Scope's.
  Handle AdoptOutside(std::uint64_t number, std::uint32_t classId) {
    m_keeper.Start();
    return Handle(new Record(*this, number, classId));
  }

  /// The same, and the innermost Scope's of this thread.
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

  /// Has the handle released with one of the next commands, or by the keeper.
  void Drop(Record* record) noexcept {
    const std::size_t count = m_pending.Add(record, record, 1);
    m_keeper.Notice(count == kManyPending);
  }

  /// The directory of the libraries of the Host that this is the session of; empty if there is
  /// none.
  [[nodiscard]] std::filesystem::path Installation() const {
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_installation;
  }
  void SetInstallation(const std::filesystem::path& directory) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_installation = directory;
  }

  Record* TakePending() noexcept { return m_pending.TakeAll(); }

  void PutBack(Record* first) noexcept {
    Record* last = first;
    std::size_t count = 1;
    for (; last->next != nullptr; last = last->next) {
      ++count;
    }
    m_pending.Add(first, last, count);
    m_keeper.Notice(false);
  }

  /// Sends the command in the buffer and puts the reply in its place; returns the reply's body.
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
  ~Session() = default;

 private:
  static constexpr auto kJava = static_cast<std::uint8_t>(Host::Runtime::Jvm);
  static constexpr std::size_t kManyPending = 1024;

  // A Java program chooses what answers commands, and begins with nothing.
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

  virtual int Send(std::uint8_t* command, int length) = 0;
  virtual int Read(std::uint8_t* buffer, int length) = 0;

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

template <class Role>
class SessionOfRole final : public Session {
 public:
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

/// A session of this module; null if there is none yet. All of them lead to the JVM of this
/// process.
inline std::atomic<Session*>& AnySession() {
  static std::atomic<Session*> any{nullptr};
  return any;
}

/// The session of a receiver or transmitter, the same for every caller. Never destroyed.
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
