// Work over the network, on loopback.
#include <latch>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <thread>

#include "ferrolink/Exchange.h"
#include "ferrolink/Library.h"
#include "ferrolink/protocol/Commands.h"
#include "native/interfaces/ITransport.h"
#include "tests/soak/Work.h"

namespace Ferrolink::Soak {

using Ferrolink::Host::Runtime;
using Ferrolink::Host::ToBytes;
using Ferrolink::Host::ToText;
using Ferrolink::Native::Interfaces::ITransport;

namespace {

constexpr std::size_t kBeyondTheServersLimit = 3U << 20U;
constexpr int kClients = 6;
constexpr int kSettlers = 20;  // more than there ever are short-lived threads at once
constexpr std::size_t kBurstsToALargeOne = 4;

}  // namespace

Bytes Program::OverNetwork(Server server, std::string_view handler, Span payload) const {
  const bool tls = server == Server::Tls;
  return Protocol::CallCommand(
      {.target = tls ? Runtime::Jvm : Runtime::Cpp,
       .channel = tls ? Protocol::Header::kChannelTls : Protocol::Header::kChannelTcp,
       .address = {127, 0, 0, 1},
       .port = tls ? m_settings.tlsPort : m_settings.tcpPort},
      handler, payload);
}

Bytes Program::Ask(Server server, std::string_view handler, Span payload) {
  Bytes command = OverNetwork(server, handler, payload);
  return Host::Exchange(*m_transmitter, command, "the server");
}

void Program::CallServers(Payloads& payloads) {
  CallBothServers(payloads.Next());
}

void Program::CallBothServers(Span payload) {
  ExpectBytes("TLS", Ask(Server::Tls, "echo", payload), payload);
  Bytes mirrored = ToBytes("cpp ");
  mirrored.insert(mirrored.end(), payload.begin(), payload.end());
  ExpectBytes("TCP", Ask(Server::Tcp, "mirror", payload), mirrored);
  ExpectError("C++ exception", "std::runtime_error: cpp refuses ",
              [&] { Ask(Server::Tcp, "refuse", ToBytes("x")); });
}

// First uses all clients at once, so that the connection pools and the blocks of their threads
// reach their size early. Then uses channels of its own, whose connections end with them. Sometimes
// the server ends a connection, because it refuses a command.
void Program::Reconnect(Payloads& payloads) {
  const bool large = payloads.Below(kBurstsToALargeOne) == 0;
  std::vector<std::thread> clients;
  for (int number = 0; number < kClients; ++number) {
    clients.emplace_back([&, payload = large ? payloads.Largest() : payloads.Next()] {
      try {
        CallBothServers(payload);
      } catch (const std::exception& error) {
        m_tally.Wrong(std::string("network: ") + error.what());
      }
    });
  }
  for (std::thread& client : clients) {
    client.join();
  }
  AskFreshChannel(Server::Tcp, payloads);
  AskFreshChannel(Server::Tls, payloads);
}

void Program::AskFreshChannel(Server server, Payloads& payloads) {
  const bool tls = server == Server::Tls;
  const auto file = m_host.LibraryPath().parent_path() /
                    (tls ? "libFerrolinkTcpTlsClient.so" : "libFerrolinkTcpClient.so");
  auto* create = Host::FunctionOf<ITransport*(const char*, std::uint16_t)>(
      Host::OpenLibrary(file), file, "CreateTransportChannel");
  const std::unique_ptr<ITransport> channel(
      create("127.0.0.1", tls ? m_settings.tlsPort : m_settings.tcpPort));
  const auto exchange = [&](std::string_view handler, Span payload) {
    Bytes command = OverNetwork(server, handler, payload);
    return Host::Exchange(*channel, command, "the server");
  };
  const Span payload = payloads.Next();
  if (payloads.Below(16) == 0) {
    ExpectError("command too long", "Network Client: Exception code 008.",
                [&] { exchange("echo", Bytes(kBeyondTheServersLimit)); });
  }
  if (tls) {
    ExpectBytes("fresh connection", exchange("echo", payload), payload);
    return;
  }
  Bytes larger = Inverted(payload);
  larger.insert(larger.end(), payload.begin(), payload.end());
  ExpectBytes("fresh connection", exchange("larger", payload), larger);
}

void Program::Settle() {
  std::latch together(kSettlers);
  std::vector<std::thread> threads;
  std::mutex network;
  const Bytes small(1);
  for (int number = 0; number < kSettlers; ++number) {
    threads.emplace_back([&] {
      together.arrive_and_wait();
      try {
        ExpectBytes("Java", m_host.Call("echo", small), small);
        const std::lock_guard<std::mutex> oneConnection(network);
        CallBothServers(small);
      } catch (const std::exception& error) {
        m_tally.Wrong(std::string("settling: ") + error.what());
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
}

std::string Program::Figures() {
  return "\"host\":" + ToText(m_host.Call("figures", "")) +
         ",\"server-cpp\":{\"heap\":" + ToText(Ask(Server::Tcp, "heap", {})) +
         "},\"server-jvm\":" + ToText(Ask(Server::Tls, "figures", {}));
}

}  // namespace Ferrolink::Soak
