// Feeds a client's bytes to the network server: its greeting, and one session.
#include <sys/socket.h>
#include <unistd.h>

#include <cstdlib>
#include <memory>
#include <string>
#include <utility>

#include "companions/tcp/server/Greeter.h"
#include "companions/tcp/server/Session.h"
#include "tests/fuzz/ScriptedConnection.h"

using namespace Ferrolink::Fuzz;
namespace Tcp = Ferrolink::Companions::Tcp;

namespace {

constexpr std::uint32_t kLimit = 4096;
// Enough memory for some commands and responses, too little for others.
constexpr std::uint64_t kMemory = 8192;

Tcp::Server::ServerOptions OptionsWith(bool tls) {
  Tcp::Server::ServerOptions options;
  options.frameLimit = kLimit;
  options.certificate = tls ? "a certificate, for sessions that are told of TLS" : "";
  return options;
}

// The member is EchoSibling.cpp, in the directory of the target.
const Tcp::Server::Member& Member() {
  static const Tcp::Server::Member& echo = *new Tcp::Server::Member(OptionsWith(false));
  return echo;
}

// Expects that a client understands the server's bytes.
void ExpectFrames(const Script& script) {
  const auto reader = ReaderOf(script, kLimit);
  if (script.outgoing.empty()) {
    return;
  }
  Require(reader->ReceiveGreeting() == Tcp::Wire::BytesOf(Tcp::Wire::Greeting::Welcome),
          "a server begins with its greeting");
  bool final = false;
  std::uint32_t number = 0;
  Tcp::Frame frame;
  while (reader->Receive(frame)) {
    Require(!final, "nothing comes after a final error");
    Require(frame.header.number == ++number, "an answer has its command's number");
    Require(frame.header.status == Tcp::Wire::Status::Payload || !frame.bytes.empty(),
            "an error says why");
    final = Tcp::Wire::EndsConnection(frame.header.status);
  }
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
  unsetenv("FERROLINK_HOME");
  Member();
  return 0;
}

// The first byte: one bit for a TLS server, three for the script. The rest are the client's bytes.
// The session peeks at the first of them in the socket before it reads.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Input input(data, size);
  const unsigned bits = input.TakeByte();
  const auto script = ScriptOf(bits >> 1U, input.TakeRest());
  const Tcp::Server::ServerOptions options = OptionsWith((bits & 1U) != 0);

  SocketPair sockets;
  if (!script->incoming.empty()) {
    Require(write(sockets.Peer(), script->incoming.data(), 1) == 1, "a socket takes a byte");
  }
  shutdown(sockets.Peer(), SHUT_WR);
  auto connection = std::make_unique<ScriptedConnection>(SocketOf(sockets.Take()), kLimit, script);
  Tcp::Server::Greeter greeter(options.UsesTls());
  if (greeter.Advance(*connection) == Tcp::Server::Greeter::State::Greeted) {
    static const Tcp::Server::Departure departure;
    static const Tcp::Server::Crowd crowd(1);
    static Tcp::Server::ServerLog log({});
    static Tcp::Server::Metrics metrics;
    static const Tcp::Server::Events events(log, metrics);
    Tcp::Server::MemoryBudget memory(kMemory);
    {
      Tcp::Server::Session session({std::move(connection), "a client"},
                                   {options, Member(), memory, departure, crowd, events});
      session.Run();
    }
    Require(memory.Used() == 0, "a session gives its memory back");
  }
  ExpectFrames(*script);
  return 0;
}
