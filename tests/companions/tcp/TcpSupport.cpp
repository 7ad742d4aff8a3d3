#include "tests/companions/tcp/TcpSupport.h"

#include <arpa/inet.h>
#include <dlfcn.h>
#include <ferrolink/protocol/Commands.h>
#include <ferrolink/protocol/Replies.h>
#include <linux/sockios.h>
#include <netinet/in.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

#include <cstdlib>
#include <stdexcept>

namespace Ferrolink::Tests {
namespace {

using Protocol::Runtime;
using Protocol::ToText;

sockaddr_in Loopback(std::uint16_t port) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(port);
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  return address;
}

// With this limit a missing peer makes a test fail, not hang. Accepted sockets inherit it.
constexpr timeval kPatience{30, 0};

FileDescriptor NewSocket() {
  FileDescriptor socket(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
  setsockopt(socket.get(), SOL_SOCKET, SO_RCVTIMEO, &kPatience, sizeof kPatience);
  return socket;
}

void Require(bool done, const char* what) {
  if (!done) {
    throw std::runtime_error(std::string("cannot ") + what);
  }
}

Protocol::Route FromJava(char target) {
  return {.target = static_cast<Runtime>(target), .caller = Runtime::Jvm};
}

}  // namespace

std::string FrameHeader(std::uint32_t length, std::uint32_t number, char status,
                        std::uint32_t milliseconds) {
  std::string text;
  for (const std::uint32_t value : {length, number, milliseconds}) {
    for (const unsigned shift : {24U, 16U, 8U, 0U}) {
      text.push_back(static_cast<char>(value >> shift & 0xFFU));
    }
  }
  return (text + status).append(3, '\0');
}

std::string Frame(std::string_view bytes, std::uint32_t number, char status) {
  return FrameHeader(static_cast<std::uint32_t>(bytes.size()), number, status).append(bytes);
}

std::string Command(char type, std::string_view body, char target) {
  return ToText(Protocol::EmptyCommand(FromJava(target), static_cast<std::uint8_t>(type)))
      .append(body);
}

std::string CallOf(std::string_view handler, std::string_view payload, char target) {
  return ToText(Protocol::CallCommand(FromJava(target), handler, Protocol::AsBytes(payload)));
}

std::string AnswerOf(std::string_view payload) {
  return ToText(Protocol::EmptyAnswer(static_cast<std::uint8_t>(Runtime::Jvm), Runtime::Cpp))
      .append(payload);
}

RawSocket RawSocket::Connect(std::uint16_t port) {
  FileDescriptor socket = NewSocket();
  const sockaddr_in address = Loopback(port);
  Require(::connect(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0,
          "connect");
  return RawSocket(std::move(socket));
}

RawSocket& RawSocket::Send(std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t sent = ::send(m_socket.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL);
    Require(sent > 0, "send");
    bytes.remove_prefix(static_cast<std::size_t>(sent));
  }
  return *this;
}

RawSocket& RawSocket::SendByteByByte(std::string_view bytes) {
  for (const char& byte : bytes) {
    Send({&byte, 1});
  }
  return *this;
}

std::string RawSocket::Receive(std::size_t size) {
  std::string bytes(size, '\0');
  const ssize_t got = ::recv(m_socket.get(), bytes.data(), size, MSG_WAITALL);
  bytes.resize(got > 0 ? static_cast<std::size_t>(got) : 0);
  return bytes;
}

std::string RawSocket::ReceiveAll() {
  std::string bytes;
  for (;;) {
    char byte = 0;
    const ssize_t got = ::recv(m_socket.get(), &byte, 1, 0);
    if (got <= 0) {
      return bytes + (got < 0 ? "(reset)" : "");
    }
    bytes.push_back(byte);
  }
}

std::string RawSocket::ReceiveFrame() {
  const std::string header = Receive(16);
  Require(header.size() == 16, "receive a frame");
  const auto numberAt = [&](std::size_t at) {
    std::uint32_t number = 0;
    for (const char byte : header.substr(at, 4)) {
      number = number << 8U | static_cast<unsigned char>(byte);
    }
    return number;
  };
  m_number = numberAt(4);
  const std::uint32_t length = numberAt(0);
  return length == 0 ? "" : Receive(length);
}

void RawSocket::EndWriting() {
  Require(::shutdown(m_socket.get(), SHUT_WR) == 0, "end writing");
}

void RawSocket::AwaitDelivery() const {
  int underWay = 1;
  while (ioctl(m_socket.get(), SIOCOUTQ, &underWay) == 0 && underWay > 0) {
    std::this_thread::yield();
  }
}

void RawSocket::Reset() {
  const linger abort{1, 0};
  setsockopt(m_socket.get(), SOL_SOCKET, SO_LINGER, &abort, sizeof abort);
  Close();
}

Port::Port() : m_socket(NewSocket()) {
  sockaddr_in address = Loopback(0);
  socklen_t size = sizeof address;
  auto* generic = reinterpret_cast<sockaddr*>(&address);
  Require(::bind(m_socket.get(), generic, size) == 0, "bind");
  Require(::getsockname(m_socket.get(), generic, &size) == 0, "name a socket");
  m_number = ntohs(address.sin_port);
}

void Port::Listen(int backlog) const {
  Require(::listen(m_socket.get(), backlog) == 0, "listen");
}

RawSocket Port::Accept() const {
  FileDescriptor accepted(::accept4(m_socket.get(), nullptr, nullptr, SOCK_CLOEXEC));
  Require(accepted.Owns(), "accept");
  return RawSocket(std::move(accepted));
}

RawSocket Port::Greeted() const {
  RawSocket client = Accept();
  EXPECT_EQ(client.Receive(kHello.size()), kHello);
  client.Send(kWelcome);
  return client;
}

std::unique_ptr<ITransport> ChannelTo(const char* host, std::uint16_t port, Kind kind) {
  const std::string file = kind == Kind::Tls ? FERROLINKTCPTLSCLIENT_PATH : FERROLINKTCPCLIENT_PATH;
  void* library = dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL);
  Require(library != nullptr, "open the client library");
  using Create = ITransport*(const char*, std::uint16_t);
  auto* create = reinterpret_cast<Create*>(dlsym(library, "CreateTransportChannel"));
  Require(create != nullptr, "find CreateTransportChannel");
  return std::unique_ptr<ITransport>(create(host, port));
}

std::unique_ptr<ITransport> ChannelTo(std::uint16_t port, Kind kind) {
  return ChannelTo("127.0.0.1", port, kind);
}

int Send(ITransport& channel, std::string command) {
  return channel.SendCommand(reinterpret_cast<std::uint8_t*>(command.data()),
                             static_cast<int>(command.size()));
}

std::string Read(ITransport& channel, int length) {
  std::string response(static_cast<std::size_t>(length), '\0');
  EXPECT_EQ(channel.ReadResponse(reinterpret_cast<std::uint8_t*>(response.data()), length), 0);
  return response;
}

std::string Exchange(ITransport& channel, std::string command) {
  try {
    return Read(channel, Send(channel, std::move(command)));
  } catch (const std::exception& error) {
    return std::string("error: ") + error.what();
  }
}

Variable::Variable(std::string name, const std::string& value) : m_name(std::move(name)) {
  setenv(m_name.c_str(), value.c_str(), 1);
}

Variable::~Variable() {
  unsetenv(m_name.c_str());
}

}  // namespace Ferrolink::Tests
