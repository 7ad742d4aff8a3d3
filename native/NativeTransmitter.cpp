#include "native/NativeTransmitter.h"

#include <cstring>
#include <mutex>
#include <utility>

#include "native/FerrolinkNativeException.h"
#include "native/ThreadLocal.h"
#include "native/interfaces/CommandHeader.h"
#include "native/transport/TransportInMemory.h"
#include "native/transport/TransportNetwork.h"

namespace Ferrolink::Native::Transmitter {
namespace {

namespace CommandHeader = Definitions::CommandHeader;
using Interfaces::ITransport;
using Transport::TransportInMemory;
using Transport::TransportNetwork;

std::atomic<unsigned long> lastNumber{0};

// The destination of a command as one number: 0 for this process, otherwise the header's address
// and port and a mark bit. The channel type is not part of it.
using EndpointCode = std::uint64_t;
constexpr EndpointCode kThisProcess = 0;
constexpr EndpointCode kNetworkMark = EndpointCode{1} << 48U;

EndpointCode NetworkCode(const std::uint8_t* message) {
  EndpointCode code = kNetworkMark;
  std::memcpy(&code, message + CommandHeader::kAddress, 6);
  return code;
}

// This thread's last selection, and the transmitter that made it. The pointer stays valid: only
// channels that a transmitter keeps for its whole life are noted.
struct ThreadSelection {
  unsigned long transmitter;
  EndpointCode endpoint;
  ITransport* channel;
};
FERROLINK_THREAD_LOCAL ThreadSelection threadSelection{0, kThisProcess, nullptr};

/// Restores the thread's selection after an operation of a channel: code that ran in the called
/// runtime may have sent commands over other channels.
class KeptSelection {
 public:
  KeptSelection() : m_selection(threadSelection) {}
  KeptSelection(const KeptSelection&) = delete;
  KeptSelection& operator=(const KeptSelection&) = delete;
  ~KeptSelection() { threadSelection = m_selection; }

 private:
  const ThreadSelection m_selection;
};

std::string AddressIn(EndpointCode code) {
  std::string address;
  for (unsigned octet = 0; octet < 4; ++octet) {
    address += (octet == 0 ? "" : ".") + std::to_string((code >> (8U * octet)) & 0xFFU);
  }
  return address;
}

std::uint16_t PortIn(EndpointCode code) {
  return static_cast<std::uint16_t>(code >> 32U);
}

void Initialize(ITransport& channel, const std::uint8_t* message) {
  channel.Initialize(message[CommandHeader::kCallingRuntime],
                     message[CommandHeader::kTargetRuntime],
                     message[CommandHeader::kLaunchArgument]);
}

[[noreturn, gnu::cold]] void Raise(const std::string& text) {
  throw FerrolinkNativeException(text, "Unknown");
}

[[noreturn, gnu::cold]] void RaiseTooShort() {
  Raise("Message byte array length is less than " + std::to_string(CommandHeader::kSize));
}

}  // namespace

struct NativeTransmitter::Endpoint {
  EndpointCode code;
  bool useTls;  ///< for a channel that does not exist yet
};

NativeTransmitter::NativeTransmitter(Definitions::RuntimeOperationMode mode)
    : m_operationMode(mode), m_number(lastNumber.fetch_add(1) + 1) {}

NativeTransmitter::~NativeTransmitter() = default;

int NativeTransmitter::SendCommand(std::uint8_t* message, int length) {
  if (length < CommandHeader::kSize) {
    RaiseTooShort();
  }
  ITransport& channel = Select(message);
  const KeptSelection kept;
  Initialize(channel, message);
  return channel.SendCommand(message, length);
}

int NativeTransmitter::ReadResponse(std::uint8_t* buffer, int length) {
  const KeptSelection kept;
  if (threadSelection.transmitter == m_number && threadSelection.channel != nullptr) {
    return threadSelection.channel->ReadResponse(buffer, length);
  }
  Channel current;
  {
    const std::lock_guard<BriefMutex> lock(m_channelsMutex);
    current = m_currentChannel;
  }
  if (current == nullptr) {
    Raise("Ferrolink Native Exception: Exception code 020. \nNo channel selected");
  }
  return current->ReadResponse(buffer, length);
}

void NativeTransmitter::SetTransportChannel(ITransport* channel) {
  threadSelection = {m_number, kThisProcess, nullptr};
  Channel replaced(channel);
  const std::lock_guard<BriefMutex> lock(m_channelsMutex);
  m_currentChannel.swap(replaced);
  m_current.store(channel);
}

int NativeTransmitter::SetEmbeddedRuntime(std::uint8_t callingRuntime, std::uint8_t calledRuntime,
                                          std::uint8_t launchArgument, std::string path) {
  ITransport& channel = Select(Endpoint{kThisProcess, false});
  const KeptSelection kept;
  channel.Initialize(callingRuntime, calledRuntime, launchArgument);
  return channel.SetEmbeddedRuntime(callingRuntime, calledRuntime, launchArgument, std::move(path));
}

int NativeTransmitter::DeployRuntime(std::uint8_t* message, int length, std::string path,
                                     std::uint8_t flag) {
  ITransport& channel = Select(message);
  const KeptSelection kept;
  Initialize(channel, message);
  return channel.DeployRuntime(message, length, std::move(path), flag);
}

ITransport& NativeTransmitter::Select(const std::uint8_t* message) {
  switch (message[CommandHeader::kChannelType]) {
    case CommandHeader::kChannelInMemory:
      return Select(Endpoint{kThisProcess, false});
    case CommandHeader::kChannelTcp:
      return Select(Endpoint{NetworkCode(message), false});
    case CommandHeader::kChannelTls:
      return Select(Endpoint{NetworkCode(message), true});
    default:
      Raise("Ferrolink Native Exception: Exception code 023.");
  }
}

ITransport& NativeTransmitter::Select(const Endpoint& endpoint) {
  if (threadSelection.transmitter == m_number && threadSelection.endpoint == endpoint.code &&
      threadSelection.channel != nullptr && threadSelection.channel == m_current.load()) {
    return *threadSelection.channel;
  }
  return SelectAnew(endpoint);
}

// The previous channel is released after the lock, since its destructor may do anything.
ITransport& NativeTransmitter::SelectAnew(const Endpoint& endpoint) {
  Channel replaced;
  ITransport* selected = nullptr;
  {
    const std::lock_guard<BriefMutex> lock(m_channelsMutex);
    replaced = ChannelTo(endpoint);
    selected = replaced.get();
    m_currentChannel.swap(replaced);
    m_current.store(selected);
  }
  threadSelection = {m_number, endpoint.code, selected};
  return *selected;
}

NativeTransmitter::Channel& NativeTransmitter::ChannelTo(const Endpoint& endpoint) {
  if (endpoint.code == kThisProcess) {
    if (m_inMemoryChannel == nullptr) {
      m_inMemoryChannel = std::make_shared<TransportInMemory>();
    }
    return m_inMemoryChannel;
  }
  const std::string address = AddressIn(endpoint.code);
  const std::uint16_t port = PortIn(endpoint.code);
  Channel& channel = m_channels[address + ":" + std::to_string(port)];
  if (channel == nullptr) {
    channel = std::make_shared<TransportNetwork>(address, port, endpoint.useTls);
  }
  return channel;
}

}  // namespace Ferrolink::Native::Transmitter
