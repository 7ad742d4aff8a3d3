#ifndef FERROLINK_TESTS_COMPANIONS_TCP_TCPSUPPORT_H
#define FERROLINK_TESTS_COMPANIONS_TCP_TCPSUPPORT_H

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>

#include <cstdint>
#include <exception>
#include <memory>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

#include "companions/utils/FileDescriptor.h"
#include "native/interfaces/ITransport.h"
#include "tests/support/ProcessCase.h"

/// Helpers for tests of the network companions: raw sockets, and the built client libraries.
/// Strings hold bytes.
namespace Ferrolink::Tests {

using Ferrolink::Companions::FileDescriptor;
using Ferrolink::Native::Interfaces::ITransport;

inline constexpr std::string_view kHello("FRLK\x02\x00\x00\x00", 8);
inline constexpr std::string_view kWelcome("FRLK\x02\x01\x00\x00", 8);
inline constexpr std::string_view kSpeaksTls("FRLK\x02\x02\x00\x00", 8);

inline constexpr std::uint32_t kNoTimeLimit = 0xFFFFFFFF;

/// A frame's header: length, number of the command, milliseconds, status, three zeros.
std::string FrameHeader(std::uint32_t length, std::uint32_t number = 1, char status = 0,
                        std::uint32_t milliseconds = kNoTimeLimit);
/// A frame: header and bytes.
std::string Frame(std::string_view bytes, std::uint32_t number = 1, char status = 0);

/// A command of that type to the C++ member, from Java.
std::string Command(char type, std::string_view body, char target = 8);
std::string CallOf(std::string_view handler, std::string_view payload = "", char target = 8);
/// The C++ member's answer to Java.
std::string AnswerOf(std::string_view payload);

/// A connected socket under the test's control.
class RawSocket {
 public:
  explicit RawSocket(FileDescriptor connected) : m_socket(std::move(connected)) {}
  static RawSocket Connect(std::uint16_t port);

  RawSocket& Send(std::string_view bytes);
  RawSocket& SendByteByByte(std::string_view bytes);
  /// Exactly that many bytes; fewer if the peer closes.
  std::string Receive(std::size_t size);
  /// All bytes until the peer closes; followed by "(reset)" if it resets the connection.
  std::string ReceiveAll();
  /// The bytes of the next frame.
  std::string ReceiveFrame();
  /// As a client: sends the next command.
  RawSocket& Command(std::string_view bytes) { return Send(Frame(bytes, ++m_number)); }
  /// As a client: sends the next command and receives a frame.
  std::string Ask(std::string_view bytes) { return Command(bytes).ReceiveFrame(); }
  /// As a server: answers the last received frame.
  RawSocket& Answer(std::string_view bytes, char status = 0) {
    return Send(Frame(bytes, m_number, status));
  }
  void EndWriting();
  /// Waits until all sent bytes have arrived at the peer, who need not have read them.
  void AwaitDelivery() const;
  /// Resets the connection.
  void Reset();
  [[nodiscard]] int Descriptor() const { return m_socket.get(); }
  void Close() { m_socket = FileDescriptor(); }

 private:
  FileDescriptor m_socket;
  std::uint32_t m_number = 0;  ///< of the frame that was sent or received last
};

/// A port of 127.0.0.1. Connections are refused until it listens.
class Port {
 public:
  Port();
  void Listen(int backlog = SOMAXCONN) const;
  [[nodiscard]] RawSocket Accept() const;
  /// Accepts and greets a client.
  [[nodiscard]] RawSocket Greeted() const;
  [[nodiscard]] std::uint16_t Number() const { return m_number; }
  [[nodiscard]] std::string Name() const { return "127.0.0.1:" + std::to_string(m_number); }

 private:
  FileDescriptor m_socket;
  std::uint16_t m_number = 0;
};

/// A port that serves from construction on, on a thread of its own.
class FakeServer : public Port {
 public:
  template <class Script>
  explicit FakeServer(Script script) {
    Listen();
    m_thread = std::thread([this, script] {
      try {
        script(*this);
      } catch (const std::exception& error) {
        ADD_FAILURE() << error.what();
      }
    });
  }
  FakeServer(const FakeServer&) = delete;
  FakeServer& operator=(const FakeServer&) = delete;
  ~FakeServer() { Join(); }

  void Join() {
    if (m_thread.joinable()) {
      m_thread.join();
    }
  }

 private:
  std::thread m_thread;
};

enum class Kind { Plain, Tls };

/// A channel of a built client library, or null.
std::unique_ptr<ITransport> ChannelTo(const char* host, std::uint16_t port,
                                      Kind kind = Kind::Plain);
std::unique_ptr<ITransport> ChannelTo(std::uint16_t port, Kind kind = Kind::Plain);

/// Sends, and reads the response; "error: " and the text on failure.
std::string Exchange(ITransport& channel, std::string command);
int Send(ITransport& channel, std::string command);
std::string Read(ITransport& channel, int length);

/// Sets an environment variable while it lives.
class Variable {
 public:
  Variable(std::string name, const std::string& value);
  Variable(const Variable&) = delete;
  Variable& operator=(const Variable&) = delete;
  ~Variable();

 private:
  const std::string m_name;
};

}  // namespace Ferrolink::Tests

#endif
