// Work over the network, on loopback.
#include <latch>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <thread>

#include "native/interfaces/ITransport.h"
#include "tests/soak/Work.h"

namespace FerrolinkSoak {

namespace detail = Ferrolink::Host::detail;
using detail::Runtime;
using Ferrolink::Host::ToBytes;
using Ferrolink::Host::ToText;
using Ferrolink::Native::Interfaces::ITransport;

namespace {

constexpr std::size_t kBeyondTheServersLimit = 3U << 20U;
constexpr int kClients = 6;
constexpr int kSettlers = 20;  // more than there ever are short-lived threads at once
constexpr std::size_t kBurstsToALargeOne = 4;

}  // namespace

Bytes Program::overNetwork(Server server, std::string_view handler, Span payload) const {
  const bool tls = server == Server::Tls;
  const std::uint16_t port = tls ? m_settings.tlsPort : m_settings.tcpPort;
  Bytes command = detail::callCommand(tls ? Runtime::Jvm : Runtime::Cpp, handler, payload);
  command[detail::Header::kChannelType] = tls ? 2 : 1;
  command[detail::Header::kAddress] = 127;
  command[detail::Header::kAddress + 3] = 1;
  command[detail::Header::kPort] = static_cast<std::uint8_t>(port & 0xFFU);
  command[detail::Header::kPort + 1] = static_cast<std::uint8_t>(port >> 8U);
  return command;
}

Bytes Program::ask(Server server, std::string_view handler, Span payload) {
  Bytes command = overNetwork(server, handler, payload);
  return detail::exchange(*m_transmitter, command, "the server");
}

void Program::callServers(Payloads& payloads) {
  callBothServers(payloads.next());
}

void Program::callBothServers(Span payload) {
  expectBytes("TLS", ask(Server::Tls, "echo", payload), payload);
  Bytes mirrored = ToBytes("cpp ");
  mirrored.insert(mirrored.end(), payload.begin(), payload.end());
  expectBytes("TCP", ask(Server::Tcp, "mirror", payload), mirrored);
  expectError("C++ exception", "std::runtime_error: cpp refuses ",
              [&] { ask(Server::Tcp, "refuse", ToBytes("x")); });
}

// All clients at once, so that the pools of connections and the blocks that their threads keep
// reach their size early; then channels of its own, whose connections end with them, now and then
// by the server, which refuses a command.
void Program::reconnect(Payloads& payloads) {
  const bool large = payloads.below(kBurstsToALargeOne) == 0;
  std::vector<std::thread> clients;
  for (int number = 0; number < kClients; ++number) {
    clients.emplace_back([&, payload = large ? payloads.largest() : payloads.next()] {
      try {
        callBothServers(payload);
      } catch (const std::exception& error) {
        m_tally.wrong(std::string("network: ") + error.what());
      }
    });
  }
  for (std::thread& client : clients) {
    client.join();
  }
  askFreshChannel(Server::Tcp, payloads);
  askFreshChannel(Server::Tls, payloads);
}

void Program::askFreshChannel(Server server, Payloads& payloads) {
  const bool tls = server == Server::Tls;
  const auto file = m_host.LibraryPath().parent_path() /
                    (tls ? "libFerrolinkTcpTlsClient.so" : "libFerrolinkTcpClient.so");
  auto* create = detail::functionOf<ITransport*(const char*, std::uint16_t)>(
      detail::openLibrary(file), file, "CreateTransportChannel");
  const std::unique_ptr<ITransport> channel(
      create("127.0.0.1", tls ? m_settings.tlsPort : m_settings.tcpPort));
  const auto exchange = [&](std::string_view handler, Span payload) {
    Bytes command = overNetwork(server, handler, payload);
    return detail::exchange(*channel, command, "the server");
  };
  const Span payload = payloads.next();
  if (payloads.below(16) == 0) {
    expectError("command too long", "Network Client: Exception code 008.",
                [&] { exchange("echo", Bytes(kBeyondTheServersLimit)); });
  }
  if (tls) {
    expectBytes("fresh connection", exchange("echo", payload), payload);
    return;
  }
  Bytes larger = inverted(payload);
  larger.insert(larger.end(), payload.begin(), payload.end());
  expectBytes("fresh connection", exchange("larger", payload), larger);
}

void Program::settle() {
  std::latch together(kSettlers);
  std::vector<std::thread> threads;
  std::mutex network;
  const Bytes small(1);
  for (int number = 0; number < kSettlers; ++number) {
    threads.emplace_back([&] {
      together.arrive_and_wait();
      try {
        expectBytes("Java", m_host.Call("echo", small), small);
        const std::lock_guard<std::mutex> oneConnection(network);
        callBothServers(small);
      } catch (const std::exception& error) {
        m_tally.wrong(std::string("settling: ") + error.what());
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
}

std::string Program::figures() {
  return "\"host\":" + ToText(m_host.Call("figures", "")) +
         ",\"server-cpp\":{\"heap\":" + ToText(ask(Server::Tcp, "heap", {})) +
         "},\"server-jvm\":" + ToText(ask(Server::Tls, "figures", {}));
}

}  // namespace FerrolinkSoak
