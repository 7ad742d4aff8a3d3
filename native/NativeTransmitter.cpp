#include "native/NativeTransmitter.h"

#include <utility>

#include "native/FerrolinkNativeException.h"
#include "native/ReentryGuard.h"
#include "native/interfaces/CommandHeader.h"
#include "native/transport/TransportInMemory.h"
#include "native/transport/TransportNetwork.h"

namespace Ferrolink::Native::Transmitter {
namespace {

namespace CommandHeader = Definitions::CommandHeader;
using Interfaces::ITransport;
using Transport::TransportInMemory;
using Transport::TransportNetwork;

constexpr std::uint8_t kInMemory = 0;
constexpr std::uint8_t kTcp = 1;
constexpr std::uint8_t kTcpTls = 2;

std::atomic<unsigned long> lastNumber{0};

// The channel that this thread selected last, and the transmitter it did so through. Only channels
// that a transmitter keeps for its whole life are noted, so the pointer outlives no channel.
struct ThreadSelection {
  unsigned long transmitter;
  ITransport* channel;
};
FERROLINK_THREAD_LOCAL ThreadSelection threadSelection{0, nullptr};

/// Gives the thread its selection back when an operation of the channel has ended: what ran in the
/// called runtime may have sent commands of its own over other channels.
class KeptSelection {
 public:
  KeptSelection() : m_selection(threadSelection) {}
  KeptSelection(const KeptSelection&) = delete;
  KeptSelection& operator=(const KeptSelection&) = delete;
  ~KeptSelection() { threadSelection = m_selection; }

 private:
  const ThreadSelection m_selection;
};

std::string addressOf(const std::uint8_t* message) {
  std::string address;
  for (int octet = 0; octet < 4; ++octet) {
    address += (octet == 0 ? "" : ".") + std::to_string(message[CommandHeader::kAddress + octet]);
  }
  return address;
}

std::uint16_t portOf(const std::uint8_t* message) {
  const unsigned low = message[CommandHeader::kPort];
  const unsigned high = message[CommandHeader::kPort + 1];
  return static_cast<std::uint16_t>(low | (high << 8U));
}

void initialize(ITransport& channel, const std::uint8_t* message) {
  channel.Initialize(message[CommandHeader::kCallingRuntime],
                     message[CommandHeader::kTargetRuntime],
                     message[CommandHeader::kLaunchArgument]);
}

}  // namespace

NativeTransmitter::NativeTransmitter(Definitions::RuntimeOperationMode mode)
    : m_operationMode(mode), m_number(lastNumber.fetch_add(1) + 1) {}

NativeTransmitter::~NativeTransmitter() = default;

int NativeTransmitter::SendCommand(std::uint8_t* message, int length) {
  if (length < CommandHeader::kSize) {
    throw FerrolinkNativeException(
        "Message byte array length is less than " + std::to_string(CommandHeader::kSize),
        "Unknown");
  }
  ITransport& channel = select(message);
  const KeptSelection kept;
  initialize(channel, message);
  return channel.SendCommand(message, length);
}

int NativeTransmitter::ReadResponse(std::uint8_t* buffer, int length) {
  if (threadSelection.transmitter == m_number && threadSelection.channel != nullptr) {
    return threadSelection.channel->ReadResponse(buffer, length);
  }
  Channel current;
  {
    const std::lock_guard<std::mutex> lock(m_channelsMutex);
    current = m_currentChannel;
  }
  if (current == nullptr) {
    throw FerrolinkNativeException(
        "Ferrolink Native Exception: Exception code 020. \nNo channel selected", "Unknown");
  }
  return current->ReadResponse(buffer, length);
}

void NativeTransmitter::SetTransportChannel(ITransport* channel) {
  threadSelection = {m_number, nullptr};
  Channel replaced(channel);
  const std::lock_guard<std::mutex> lock(m_channelsMutex);
  m_currentChannel.swap(replaced);
  m_current.store(channel);
}

int NativeTransmitter::SetEmbeddedRuntime(std::uint8_t callingRuntime, std::uint8_t calledRuntime,
                                          std::uint8_t launchArgument, std::string path) {
  ITransport& channel = selectInMemory();
  const KeptSelection kept;
  channel.Initialize(callingRuntime, calledRuntime, launchArgument);
  return channel.SetEmbeddedRuntime(callingRuntime, calledRuntime, launchArgument, std::move(path));
}

int NativeTransmitter::DeployRuntime(std::uint8_t* message, int length, std::string path,
                                     std::uint8_t flag) {
  ITransport& channel = select(message);
  const KeptSelection kept;
  initialize(channel, message);
  return channel.DeployRuntime(message, length, std::move(path), flag);
}

ITransport& NativeTransmitter::select(const std::uint8_t* message) {
  switch (message[CommandHeader::kChannelType]) {
    case kInMemory:
      return selectInMemory();
    case kTcp:
      return selectNetwork(message, false);
    case kTcpTls:
      return selectNetwork(message, true);
    default:
      throw FerrolinkNativeException("Ferrolink Native Exception: Exception code 023.", "Unknown");
  }
}

ITransport& NativeTransmitter::selectInMemory() {
  Channel channel;
  {
    const std::lock_guard<std::mutex> lock(m_channelsMutex);
    if (m_inMemoryChannel == nullptr) {
      m_inMemoryChannel = std::make_shared<TransportInMemory>();
    }
    channel = m_inMemoryChannel;
  }
  return makeCurrent(channel);
}

ITransport& NativeTransmitter::selectNetwork(const std::uint8_t* message, bool useTls) {
  const std::string address = addressOf(message);
  const std::uint16_t port = portOf(message);
  Channel channel;
  {
    const std::lock_guard<std::mutex> lock(m_channelsMutex);
    Channel& entry = m_channels[address + ":" + std::to_string(port)];
    if (entry == nullptr) {
      entry = std::make_shared<TransportNetwork>(address, port, useTls);
    }
    channel = entry;
  }
  return makeCurrent(channel);
}

// The channel that was current is released after the lock: its destructor may do anything.
ITransport& NativeTransmitter::makeCurrent(const Channel& channel) {
  threadSelection = {m_number, channel.get()};
  if (m_current.load() != channel.get()) {
    Channel replaced = channel;
    const std::lock_guard<std::mutex> lock(m_channelsMutex);
    m_currentChannel.swap(replaced);
    m_current.store(channel.get());
  }
  return *channel;
}

}  // namespace Ferrolink::Native::Transmitter
