#ifndef FERROLINK_TESTS_COMPANIONS_OBJECTS_FAKEBROKER_H
#define FERROLINK_TESTS_COMPANIONS_OBJECTS_FAKEBROKER_H

#include <ferrolink/Objects.h>

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <span>
#include <thread>
#include <vector>

/// Typed calls without a JVM.
namespace Ferrolink::Tests {

using Bytes = std::vector<std::uint8_t>;
using Span = std::span<const std::uint8_t>;

/// A request as the broker receives it: the bytes behind the name of the handler.
struct BrokerRequest {
  std::vector<std::uint64_t> releases;
  std::uint8_t operation = 0;
  Bytes rest;
};

/// Acts as a receiver whose JVM answers typed calls as the test says. Thread-safe.
class FakeBroker {
 public:
  /// Answers a request with the bytes of a reply behind its header.
  using Answer = std::function<Bytes(const BrokerRequest&)>;

  explicit FakeBroker(Answer answer) : m_answer(std::move(answer)) {}
  FakeBroker(const FakeBroker&) = delete;
  FakeBroker& operator=(const FakeBroker&) = delete;
  ~FakeBroker() = default;

  int SendCommand(std::uint8_t* command, int length);
  int ReadResponse(std::uint8_t* buffer, int length);

  /// All released handles, in the order of their release.
  [[nodiscard]] std::vector<std::uint64_t> Released() const;
  /// The number of commands that only released handles.
  [[nodiscard]] int ReleaseCommands() const { return m_releaseCommands; }
  /// Waits until that many handles were released.
  void WaitForReleases(std::size_t count);
  /// The next commands fail before they are sent.
  void FailNext(int commands) { m_failing = commands; }

 private:
  const Answer m_answer;
  std::atomic<int> m_releaseCommands{0};
  std::atomic<int> m_failing{0};

  // Guarded by m_mutex.
  mutable std::mutex m_mutex;
  std::condition_variable m_changed;
  std::vector<std::uint64_t> m_released;
  std::map<std::thread::id, Bytes> m_replies;  // that wait to be read
};

/// A peer for Java, with the receiver of a Host.
class FakePeer {
 public:
  explicit FakePeer(FakeBroker& broker) : m_broker(&broker) {}
  [[nodiscard]] FakeBroker* Role() const { return m_broker; }

 private:
  FakeBroker* m_broker;
};

/// Appends encoded numbers and texts.
class ByteList {
 public:
  ByteList() = default;
  template <class... Numbers>
  explicit ByteList(Numbers... numbers) {
    (Add(numbers), ...);
  }
  template <class Number>
  ByteList& Add(Number number) {
    const auto* bytes = reinterpret_cast<const std::uint8_t*>(&number);
    m_bytes.insert(m_bytes.end(), bytes, bytes + sizeof(number));
    return *this;
  }
  ByteList& Text(std::string_view text) {
    Add(static_cast<std::uint32_t>(text.size()));
    m_bytes.insert(m_bytes.end(), text.begin(), text.end());
    return *this;
  }
  operator Bytes() const { return m_bytes; }  // NOLINT(google-explicit-constructor)
  [[nodiscard]] const Bytes& Get() const { return m_bytes; }

 private:
  Bytes m_bytes;
};

inline std::uint8_t U8(int number) {
  return static_cast<std::uint8_t>(number);
}

/// An encoded value: its tag and its data.
template <class... Numbers>
Bytes Value(int tag, Numbers... numbers) {
  return ByteList(U8(tag), numbers...);
}

/// A successful reply with a handle as its value.
inline Bytes HandleReply(std::uint64_t handle, std::uint32_t classId = 7) {
  return ByteList(U8(0), U8(11), handle, classId);
}
inline Bytes VoidReply() {
  return {0, 15};
}

}  // namespace Ferrolink::Tests

#endif
