// Peers that a server must survive without a trace: each kind often, a proper client beside them.
#include <atomic>
#include <functional>
#include <iterator>
#include <string>
#include <thread>
#include <vector>

#include "tests/companions/tcp/ServerProcess.h"
#include "tests/companions/tcp/WaitingCall.h"

namespace FerrolinkTest {
namespace {

struct BadPeer {
  const char* name;
  std::function<void(RawSocket&)> behave;  ///< on a socket that is connected, and closed afterwards
};

// Until the server has ended the connection.
void awaitEnd(RawSocket& socket) {
  socket.receiveAll();
}

RawSocket& greeted(RawSocket& socket) {
  socket.send(kHello);
  EXPECT_EQ(socket.receive(kWelcome.size()), kWelcome);
  return socket;
}

const std::string& megabytes() {
  static const std::string bytes(3U << 20U, 'x');
  return bytes;
}

const BadPeer kBadPeers[] = {
    {"connects and leaves", [](RawSocket&) {}},
    {"connects and resets", [](RawSocket& s) { s.reset(); }},
    {"says nothing", awaitEnd},
    {"greets by half", [](RawSocket& s) { awaitEnd(s.send(kHello.substr(0, 5))); }},
    {"greets by half and resets", [](RawSocket& s) { s.send(kHello.substr(0, 5)).reset(); }},
    {"speaks HTTP", [](RawSocket& s) { awaitEnd(s.send("GET / HTTP/1.1\r\n\r\n")); }},
    {"speaks TLS",
     [](RawSocket& s) {
       awaitEnd(s.send({"\x16\x03\x01\0\x05hello", 10}));
     }},
    {"sends megabytes in place of a greeting",
     [](RawSocket& s) {
       try {
         s.send(megabytes());
       } catch (const std::exception&) {  // it may be cut off meanwhile
       }
     }},
    {"greets in another version",
     [](RawSocket& s) {
       awaitEnd(s.send({"FRLK\x63\0\0\0", 8}));
     }},
    {"greets as a server", [](RawSocket& s) { awaitEnd(s.send(kWelcome)); }},
    {"greets and says nothing", [](RawSocket& s) { awaitEnd(greeted(s)); }},
    {"greets and resets", [](RawSocket& s) { greeted(s).reset(); }},
    {"sends half a header",
     [](RawSocket& s) { awaitEnd(greeted(s).send(frameHeader(5).substr(0, 7))); }},
    {"sends half a body",
     [](RawSocket& s) { awaitEnd(greeted(s).send(frameHeader(50) + "half")); }},
    {"sends half a body and resets",
     [](RawSocket& s) { greeted(s).send(frameHeader(8U << 20U) + megabytes()).reset(); }},
    {"announces four gigabytes",
     [](RawSocket& s) { awaitEnd(greeted(s).send(frameHeader(0xFFFFFFFF))); }},
    {"sends a header with other bytes than zeros",
     [](RawSocket& s) { awaitEnd(greeted(s).send(frameHeader(0).replace(15, 1, "x"))); }},
    {"sends a frame of an unknown status",
     [](RawSocket& s) { awaitEnd(greeted(s).send(frame("", 1, 99))); }},
    {"sends an answer", [](RawSocket& s) { awaitEnd(greeted(s).send(frame("x", 1, 1))); }},
    {"repeats a number",
     [](RawSocket& s) {
       const std::string once = frame(callOf("echo", "1"));
       awaitEnd(greeted(s).send(once + once));
     }},
    {"leaves out a number",
     [](RawSocket& s) { awaitEnd(greeted(s).send(frame(callOf("echo"), 2))); }},
    {"sends an empty command", [](RawSocket& s) { greeted(s).ask(""); }},
    {"leaves while its command runs",
     [](RawSocket& s) { greeted(s).command(callOf("bytes", "10000000")).reset(); }},
    {"does not read its answer",
     [](RawSocket& s) {
       greeted(s).command(callOf("bytes", "40000000"));
       s.receive(1);
     }},
    {"ends its thread in the server",
     [](RawSocket& s) { awaitEnd(greeted(s).command(callOf("end-thread"))); }},
};

// All of them at once, and calls beside them until the last one is gone.
void misbehaveAt(const ServerProcess& server) {
  std::atomic<std::size_t> there{std::size(kBadPeers)};
  std::vector<std::thread> threads;
  for (const BadPeer& bad : kBadPeers) {
    threads.emplace_back([&server, &there, &bad] {
      SCOPED_TRACE(bad.name);
      for (int i = 0; i < 3; ++i) {
        RawSocket socket = RawSocket::connect(server.port());
        bad.behave(socket);
      }
      --there;
    });
  }
  do {
    EXPECT_EQ(exchange(*channelTo(server.port()), callOf("echo", "x")), answerOf("x"));
  } while (there > 0);
  for (std::thread& thread : threads) {
    thread.join();
  }
}

}  // namespace

TEST(TcpServerPeers, LeaveNoTraceAndKeepNobodyOut) {
  const ServerProcess server({"--greeting-timeout-ms", "1500", "--idle-timeout-ms", "1500",
                              "--read-timeout-ms", "1500", "--write-timeout-ms", "1500"});
  const std::size_t threads = server.threads();
  const std::size_t descriptors = server.descriptorsAtRest();
  // The first time, what stays for good is made.
  misbehaveAt(server);
  server.awaitThreads(threads);
  [[maybe_unused]] const long memory = server.status("VmRSS");
  misbehaveAt(server);
  server.awaitThreads(threads);
  server.awaitDescriptors(descriptors);
#ifndef FERROLINK_SANITIZED
  // The peers make the server hold more than 100 MiB; the C library may keep parts of what was
  // freed.
  server.awaitMemory(memory + 32 * 1024);
#endif
}

}  // namespace FerrolinkTest
