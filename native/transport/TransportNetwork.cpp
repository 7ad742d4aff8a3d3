#include "native/transport/TransportNetwork.h"

#include <utility>

#include "native/FerrolinkNativeException.h"
#include "native/LibrariesFinder.h"
#include "native/Loader.h"

namespace Ferrolink::Native::Transport {
namespace {

using Interfaces::ITransport;
using LibrariesFinder::LibrariesFinder;

using CreateTransportChannelFunction = ITransport*(const char* host, std::uint16_t port);

[[noreturn]] void Raise(const char* text) {
  throw FerrolinkNativeException(std::string("Ferrolink Native Exception: Exception code ") + text,
                                 "Unknown");
}

}  // namespace

TransportNetwork::TransportNetwork(std::string host, std::uint16_t port, bool useTls)
    : m_host(std::move(host)), m_port(port), m_useTls(useTls) {}

// Releases the active channel, then the TLS channel, then the TCP channel. The libraries stay open.
TransportNetwork::~TransportNetwork() = default;

int TransportNetwork::Initialize(std::uint8_t callingRuntime, std::uint8_t calledRuntime,
                                 std::uint8_t launchArgument) {
  if (m_useTls) {
    ImportTcpTlsClientLibrary();
    CreateTransportTcpTlsChannel(callingRuntime, calledRuntime, launchArgument);
  } else {
    ImportTcpClientLibrary();
    CreateTransportTcpChannel(callingRuntime, calledRuntime, launchArgument);
  }
  const std::shared_ptr<ITransport> chosen = ChannelOf(m_useTls ? m_tls : m_tcp);
  if (m_active.load(std::memory_order_acquire) != chosen.get()) {
    const std::lock_guard<std::mutex> lock(m_channelMutex);
    m_activeChannel = chosen;
    m_active.store(chosen.get(), std::memory_order_release);
  }
  if (chosen == nullptr) {
    Raise("013. \nReinstall Ferrolink package");
  }
  return 0;
}

int TransportNetwork::ImportLibraryAndExportedFunctions() {
  return 0;
}

int TransportNetwork::ImportTcpClientLibrary() {
  if (m_tcp.library.load() == nullptr) {
    m_tcp.library = LibrariesFinder::loadTcpClientLibrary(true);
  }
  return 0;
}

int TransportNetwork::ImportTcpTlsClientLibrary() {
  if (m_tls.library.load() == nullptr) {
    m_tls.library = LibrariesFinder::loadTcpTlsClientLibrary(true);
  }
  return 0;
}

int TransportNetwork::CreateTransportTcpChannel(std::uint8_t callingRuntime,
                                                std::uint8_t calledRuntime,
                                                std::uint8_t launchArgument) {
  return CreateChannel(m_tcp, callingRuntime, calledRuntime, launchArgument);
}

int TransportNetwork::CreateTransportTcpTlsChannel(std::uint8_t callingRuntime,
                                                   std::uint8_t calledRuntime,
                                                   std::uint8_t launchArgument) {
  return CreateChannel(m_tls, callingRuntime, calledRuntime, launchArgument);
}

std::shared_ptr<ITransport> TransportNetwork::ChannelOf(const Client& client) const {
  const std::lock_guard<std::mutex> lock(m_channelMutex);
  return client.channel;
}

// Two first calls may both make a channel. The first stored channel stays.
int TransportNetwork::CreateChannel(Client& client, std::uint8_t callingRuntime,
                                    std::uint8_t calledRuntime, std::uint8_t launchArgument) {
  if (ChannelOf(client) != nullptr) {
    return 0;
  }
  auto* create = Loader::FindFunctionIn<CreateTransportChannelFunction>(client.library.load(),
                                                                        "CreateTransportChannel");
  if (create == nullptr) {
    Raise("011. \nReinstall Ferrolink package");
  }
  std::shared_ptr<ITransport> made(create(m_host.c_str(), m_port));
  if (made == nullptr) {
    Raise("012. \nReinstall Ferrolink package");
  }
  // The channel is stored after its Initialize, even if that fails: a failed channel is kept.
  const auto store = [&] {
    const std::lock_guard<std::mutex> lock(m_channelMutex);
    if (client.channel == nullptr) {
      client.channel = made;
    }
  };
  try {
    made->Initialize(callingRuntime, calledRuntime, launchArgument);
  } catch (...) {
    store();
    throw;
  }
  store();
  return 0;
}

ITransport& TransportNetwork::ActiveChannel() const {
  ITransport* active = m_active.load(std::memory_order_acquire);
  if (active == nullptr) {
    Raise("020. \nNo channel selected");
  }
  return *active;
}

int TransportNetwork::SendCommand(std::uint8_t* message, int length) {
  return ActiveChannel().SendCommand(message, length);
}

int TransportNetwork::ReadResponse(std::uint8_t* buffer, int length) {
  return ActiveChannel().ReadResponse(buffer, length);
}

int TransportNetwork::SetEmbeddedRuntime(std::uint8_t /*callingRuntime*/,
                                         std::uint8_t /*calledRuntime*/,
                                         std::uint8_t /*launchArgument*/, std::string /*path*/) {
  return 0;
}

int TransportNetwork::DeployRuntime(std::uint8_t* /*message*/, int /*length*/, std::string /*path*/,
                                    std::uint8_t /*flag*/) {
  return 0;
}

}  // namespace Ferrolink::Native::Transport
