// Misbehaving peers that must leave no trace in a server: many of each kind, with a proper client
// at the same time.
#include <atomic>
#include <functional>
#include <iterator>
#include <string>
#include <thread>
#include <vector>

#include "tests/companions/tcp/ServerProcess.h"
#include "tests/companions/tcp/WaitingCall.h"

namespace Ferrolink::Tests {
namespace {

struct BadPeer {
  const char* name;
  std::function<void(RawSocket&)> behave;  ///< on a socket that is connected, and closed afterwards
};

// Blocks until the server has ended the connection.
void AwaitEnd(RawSocket& socket) {
  socket.ReceiveAll();
}

RawSocket& Greeted(RawSocket& socket) {
  socket.Send(kHello);
  EXPECT_EQ(socket.Receive(kWelcome.size()), kWelcome);
  return socket;
}

const std::string& Megabytes() {
  static const std::string bytes(3U << 20U, 'x');
  return bytes;
}

const BadPeer kBadPeers[] = {
    {"connects and leaves", [](RawSocket&) {}},
    {"connects and resets", [](RawSocket& s) { s.Reset(); }},
    {"says nothing", AwaitEnd},
    {"greets by half", [](RawSocket& s) { AwaitEnd(s.Send(kHello.substr(0, 5))); }},
    {"greets by half and resets", [](RawSocket& s) { s.Send(kHello.substr(0, 5)).Reset(); }},
    {"speaks HTTP", [](RawSocket& s) { AwaitEnd(s.Send("GET / HTTP/1.1\r\n\r\n")); }},
    {"speaks TLS",
     [](RawSocket& s) {
       AwaitEnd(s.Send({"\x16\x03\x01\0\x05hello", 10}));
     }},
    {"sends megabytes in place of a greeting",
     [](RawSocket& s) {
       try {
         s.Send(Megabytes());
       } catch (const std::exception&) {  // it may be cut off meanwhile
       }
     }},
    {"greets in another version",
     [](RawSocket& s) {
       AwaitEnd(s.Send({"FRLK\x63\0\0\0", 8}));
     }},
    {"greets as a server", [](RawSocket& s) { AwaitEnd(s.Send(kWelcome)); }},
    {"greets and says nothing", [](RawSocket& s) { AwaitEnd(Greeted(s)); }},
    {"greets and resets", [](RawSocket& s) { Greeted(s).Reset(); }},
    {"sends half a header",
     [](RawSocket& s) { AwaitEnd(Greeted(s).Send(FrameHeader(5).substr(0, 7))); }},
    {"sends half a body",
     [](RawSocket& s) { AwaitEnd(Greeted(s).Send(FrameHeader(50) + "half")); }},
    {"sends half a body and resets",
     [](RawSocket& s) { Greeted(s).Send(FrameHeader(8U << 20U) + Megabytes()).Reset(); }},
    {"announces four gigabytes",
     [](RawSocket& s) { AwaitEnd(Greeted(s).Send(FrameHeader(0xFFFFFFFF))); }},
    {"sends a header with other bytes than zeros",
     [](RawSocket& s) { AwaitEnd(Greeted(s).Send(FrameHeader(0).replace(15, 1, "x"))); }},
    {"sends a frame of an unknown status",
     [](RawSocket& s) { AwaitEnd(Greeted(s).Send(Frame("", 1, 99))); }},
    {"sends an answer", [](RawSocket& s) { AwaitEnd(Greeted(s).Send(Frame("x", 1, 1))); }},
    {"repeats a number",
     [](RawSocket& s) {
       const std::string once = Frame(CallOf("echo", "1"));
       AwaitEnd(Greeted(s).Send(once + once));
     }},
    {"leaves out a number",
     [](RawSocket& s) { AwaitEnd(Greeted(s).Send(Frame(CallOf("echo"), 2))); }},
    {"sends an empty command", [](RawSocket& s) { Greeted(s).Ask(""); }},
    {"leaves while its command runs",
     [](RawSocket& s) { Greeted(s).Command(CallOf("bytes", "10000000")).Reset(); }},
    {"does not read its answer",
     [](RawSocket& s) {
       Greeted(s).Command(CallOf("bytes", "40000000"));
       s.Receive(1);
     }},
    {"ends its thread in the server",
     [](RawSocket& s) { AwaitEnd(Greeted(s).Command(CallOf("end-thread"))); }},
};

// Runs all of them at once, with calls at the same time, until the last one has ended.
void MisbehaveAt(const ServerProcess& server) {
  std::atomic<std::size_t> there{std::size(kBadPeers)};
  std::vector<std::thread> threads;
  for (const BadPeer& bad : kBadPeers) {
    threads.emplace_back([&server, &there, &bad] {
      SCOPED_TRACE(bad.name);
      for (int i = 0; i < 3; ++i) {
        RawSocket socket = RawSocket::Connect(server.Port());
        bad.behave(socket);
      }
      --there;
    });
  }
  do {
    EXPECT_EQ(Exchange(*ChannelTo(server.Port()), CallOf("echo", "x")), AnswerOf("x"));
  } while (there > 0);
  for (std::thread& thread : threads) {
    thread.join();
  }
}

}  // namespace

TEST(TcpServerPeers, LeaveNoTraceAndKeepNobodyOut) {
  const ServerProcess server({"--greeting-timeout-ms", "1500", "--idle-timeout-ms", "1500",
                              "--read-timeout-ms", "1500", "--write-timeout-ms", "1500"});
  const std::size_t threads = server.Threads();
  const std::size_t descriptors = server.DescriptorsAtRest();
  // The first round makes the allocations that are permanent.
  MisbehaveAt(server);
  server.AwaitThreads(threads);
  [[maybe_unused]] const long memory = server.Status("VmRSS");
  MisbehaveAt(server);
  server.AwaitThreads(threads);
  server.AwaitDescriptors(descriptors);
#ifndef FERROLINK_SANITIZED
  // The peers make the server use more than 100 MiB. The C library may keep parts of the freed
  // memory.
  server.AwaitMemory(memory + 32 * 1024);
#endif
}

}  // namespace Ferrolink::Tests
