// The native library of another runtime and both network client libraries in one, with no state
// outside its objects. They answer a command with the command itself; a channel appends its
// address. Some command types behave differently: 0x7B answers with 8 KiB more, 0x7C throws a
// number, 0x7D returns the length -1, 0x7E throws a std::runtime_error. Linked with nodelete,
// because a channel closes the library before it deletes the library's objects.
#include <algorithm>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "native/interfaces/CommandHeader.h"
#include "native/interfaces/IReceiver.h"
#include "native/interfaces/ITransmitter.h"
#include "native/interfaces/ITransport.h"
#include "native/interfaces/RuntimeOperationMode.h"

namespace {

using Ferrolink::Native::Definitions::RuntimeOperationMode;
using Ferrolink::Native::Definitions::CommandHeader::kCommandType;
using Ferrolink::Native::Interfaces::IReceiver;
using Ferrolink::Native::Interfaces::ITransmitter;
using Ferrolink::Native::Interfaces::ITransport;

class Echo {
 public:
  explicit Echo(std::string mark) : m_mark(std::move(mark)) {}

  int Send(const std::uint8_t* message, int length) {
    m_reply.assign(message, message + length);
    m_reply.insert(m_reply.end(), m_mark.begin(), m_mark.end());
    switch (message[kCommandType]) {
      case 0x7B:
        m_reply.resize(m_reply.size() + 8192);
        break;
      case 0x7C:
        throw 42;
      case 0x7D:
        return -1;
      case 0x7E:
        throw std::runtime_error("The sibling failed.");
      default:
        break;
    }
    return static_cast<int>(m_reply.size());
  }

  int Read(std::uint8_t* buffer, int length) const {
    std::copy_n(m_reply.begin(), std::min(m_reply.size(), static_cast<std::size_t>(length)),
                buffer);
    return 0;
  }

 private:
  const std::string m_mark;
  std::vector<std::uint8_t> m_reply;
};

class Receiver : public IReceiver {
 public:
  int SetConfigSource(std::string /*source*/) override { return 0; }
  int Initialize(std::uint8_t /*calling*/, std::uint8_t /*called*/,
                 std::uint8_t /*launch*/) override {
    return 0;
  }
  int SendCommand(std::uint8_t* message, int length) override {
    return m_echo.Send(message, length);
  }
  int ReadResponse(std::uint8_t* buffer, int length) override {
    return m_echo.Read(buffer, length);
  }
  void LogException(std::uint8_t* /*message*/, int /*length*/) override {}
  int LoadOptimizedMethod(std::string /*name*/) override { return 1; }
  int SetEmbeddedRuntime(std::uint8_t runtime, std::string /*path*/) override { return runtime; }
  int DeployRuntime(std::uint8_t* /*message*/, int length, std::string path,
                    std::uint8_t flag) override {
    return length + static_cast<int>(path.size()) + flag;
  }

 private:
  Echo m_echo{""};
};

class Transmitter : public ITransmitter {
 public:
  int SendCommand(std::uint8_t* message, int length) override {
    return m_receiver.SendCommand(message, length);
  }
  int ReadResponse(std::uint8_t* buffer, int length) override {
    return m_receiver.ReadResponse(buffer, length);
  }
  void SetTransportChannel(ITransport* /*channel*/) override {}
  int SetEmbeddedRuntime(std::uint8_t /*calling*/, std::uint8_t called, std::uint8_t /*launch*/,
                         std::string path) override {
    return m_receiver.SetEmbeddedRuntime(called, std::move(path));
  }
  int DeployRuntime(std::uint8_t* message, int length, std::string path,
                    std::uint8_t flag) override {
    return m_receiver.DeployRuntime(message, length, std::move(path), flag);
  }

 private:
  Receiver m_receiver;
};

class Channel : public ITransport {
 public:
  explicit Channel(std::string mark) : m_echo(std::move(mark)) {}
  int Initialize(std::uint8_t /*calling*/, std::uint8_t /*called*/,
                 std::uint8_t /*launch*/) override {
    return 0;
  }
  int SendCommand(std::uint8_t* message, int length) override {
    return m_echo.Send(message, length);
  }
  int ReadResponse(std::uint8_t* buffer, int length) override {
    return m_echo.Read(buffer, length);
  }
  int SetEmbeddedRuntime(std::uint8_t /*calling*/, std::uint8_t /*called*/, std::uint8_t /*launch*/,
                         std::string /*path*/) override {
    return 0;
  }
  int DeployRuntime(std::uint8_t* /*message*/, int /*length*/, std::string /*path*/,
                    std::uint8_t /*flag*/) override {
    return 0;
  }

 private:
  Echo m_echo;
};

}  // namespace

#define EXPORTED extern "C" __attribute__((visibility("default")))

EXPORTED IReceiver* CreateReceiver(RuntimeOperationMode /*mode*/) {
  return new Receiver;
}
EXPORTED ITransmitter* CreateTransmitter(RuntimeOperationMode /*mode*/) {
  return new Transmitter;
}
EXPORTED ITransport* CreateTransportChannel(const char* host, std::uint16_t port) {
  return new Channel(std::string(host) + ":" + std::to_string(port));
}
