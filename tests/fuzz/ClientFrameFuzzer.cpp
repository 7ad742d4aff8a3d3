// Feeds a server's answers to the network client.
//
// The target is linked with --wrap=connect and --wrap=setsockopt: connecting replaces the socket by
// one end of a socket pair. Frames come from a script, see ScriptedConnection.h.
#include <sys/socket.h>
#include <unistd.h>

#include <cstdlib>
#include <deque>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>

#include "companions/tcp/client/ClientLibrary.h"
#include "native/interfaces/CommandHeader.h"
#include "native/interfaces/ITransport.h"
#include "tests/fuzz/ScriptedConnection.h"

using namespace Ferrolink::Fuzz;
namespace CommandHeader = Ferrolink::Native::Definitions::CommandHeader;
namespace Tcp = Ferrolink::Companions::Tcp;

namespace {

constexpr std::uint32_t kLimit = 4096;

/// The peers of the current input: one socket pair and one log of the client's bytes per
/// connection. All read from the same bytes in turn.
struct Peers {
  std::shared_ptr<Script> script;
  std::deque<SocketPair> sockets;
  std::deque<std::shared_ptr<Script>> connections;
};
std::optional<Peers> peers;

void TakeOver() {
  if (!peers->connections.empty()) {
    const Script& previous = *peers->connections.back();
    peers->script->arrived = previous.arrived;
  }
}

}  // namespace

extern "C" int __wrap_connect(int descriptor, const sockaddr* /*address*/, socklen_t /*size*/) {
  SocketPair& pair = peers->sockets.emplace_back();
  const int own = pair.Take();
  const int result = dup2(own, descriptor);
  close(own);
  return result < 0 ? -1 : 0;
}

// Ignores TCP options, which the replacement socket does not have.
extern "C" int __wrap_setsockopt(int /*descriptor*/, int /*level*/, int /*name*/,
                                 const void* /*value*/, socklen_t /*size*/) {
  return 0;
}

namespace {

std::unique_ptr<Tcp::Connection> SecureConnection(Tcp::PatientSocket socket,
                                                  const Tcp::Client::ClientSettings& settings,
                                                  const Tcp::Client::Peer& /*server*/) {
  TakeOver();
  auto script = std::make_shared<Script>(*peers->script);
  peers->connections.push_back(script);
  return std::make_unique<ScriptedConnection>(std::move(socket), settings.frameLimit,
                                              std::move(script));
}

}  // namespace

const Tcp::Client::LibraryKind Tcp::Client::kLibraryKind{
    CommandHeader::kChannelTcp, CommandHeader::kChannelTls, "libFerrolinkTcpTlsClient.so",
    SecureConnection};

namespace {

// Whether the command was answered. Other outcomes are errors with a text.
bool Exchange(Ferrolink::Native::Interfaces::ITransport& channel, Bytes command) {
  try {
    channel.Initialize(2, 8, 0);
    const int length = channel.SendCommand(command.data(), static_cast<int>(command.size()));
    Require(length >= 0 && length <= static_cast<int>(kLimit), "a response keeps to the limit");
    Bytes response(static_cast<std::size_t>(length));
    Require(channel.ReadResponse(response.data(), length) == 0, "a response can be read");
    return true;
  } catch (const std::runtime_error&) {
    return false;
  }
}

// Checks that the client sent a greeting and then only the given commands, unchanged. Returns their
// number.
std::size_t CommandsIn(const Script& script, const Bytes& command) {
  const auto reader = ReaderOf(script, kLimit);
  if (script.outgoing.empty()) {
    return 0;
  }
  Require(reader->ReceiveGreeting() == Tcp::Wire::BytesOf(Tcp::Wire::Greeting::Hello),
          "a client begins with its greeting");
  std::size_t count = 0;
  Tcp::Frame frame;
  while (reader->Receive(frame)) {
    ++count;
    Require(frame.header.status == Tcp::Wire::Status::Payload && frame.bytes == command,
            "a client sends the command as it was given");
    Require(frame.header.number == count, "a client numbers its commands");
  }
  return count;
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
  setenv("FERROLINK_MAX_FRAME_BYTES", std::to_string(kLimit).c_str(), 1);
  unsetenv("FERROLINK_CONNECT_TIMEOUT_MS");
  return 0;
}

// The first byte: two bits for the number of commands, three for the script, one for a command that
// is too long. The rest are the server's bytes.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Input input(data, size);
  const unsigned bits = input.TakeByte();
  peers.emplace();
  peers->script = ScriptOf(bits >> 2U, input.TakeRest());
  const Bytes command((bits & 32U) != 0 ? kLimit + 1 : 20, 'c');
  {
    const std::unique_ptr<Ferrolink::Native::Interfaces::ITransport> channel(
        CreateTransportChannel("127.0.0.1", 8080));
    std::size_t answered = 0;
    for (unsigned count = 0; count <= (bits & 3U); ++count) {
      answered += Exchange(*channel, command) ? 1 : 0;
    }
    std::size_t sent = 0;
    for (const auto& connection : peers->connections) {
      sent += CommandsIn(*connection, command);
    }
    Require(answered <= sent && sent <= (bits & 3U) + 1, "a command is sent once");
  }
  peers.reset();
  return 0;
}
