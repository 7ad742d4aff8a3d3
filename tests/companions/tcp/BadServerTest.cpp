// Misbehaving servers: the client library's errors, and that no resource of theirs is left.
#include <dirent.h>

#include <array>
#include <chrono>
#include <fstream>
#include <functional>
#include <thread>

#include "tests/companions/tcp/ClientSupport.h"

namespace Ferrolink::Tests {
namespace {

std::size_t EntriesOf(const char* directory) {
  DIR* opened = opendir(directory);
  std::size_t count = 0;
  while (readdir(opened) != nullptr) {
    ++count;
  }
  closedir(opened);
  return count;
}

// The kernel lists a joined thread for a moment longer. Only a failure takes the minute.
std::size_t ThreadsOnceAtMost(std::size_t count) {
  const auto end = std::chrono::steady_clock::now() + std::chrono::minutes(1);
  while (EntriesOf("/proc/self/task") > count && std::chrono::steady_clock::now() < end) {
    std::this_thread::yield();
  }
  return EntriesOf("/proc/self/task");
}

std::size_t ResidentBytes() {
  std::ifstream statistics("/proc/self/statm");
  std::size_t all = 0;
  std::size_t resident = 0;
  statistics >> all >> resident;
  return resident * 4096;
}

// A server's behaviour to one client, and the code of the client's error. Each script ends when the
// client has disconnected.
struct Misbehaviour {
  std::string name;
  std::string code;
  std::function<void(const Port&)> script;
};

// Greets, receives the command, and sends `bytes`.
Misbehaviour Saying(const std::string& name, const std::string& code, const std::string& bytes,
                    bool endsWriting = true) {
  return {name, code, [bytes, endsWriting](const Port& port) {
            RawSocket client = port.Greeted();
            client.ReceiveFrame();
            client.Send(bytes);
            if (endsWriting) {
              client.EndWriting();
            }
            client.ReceiveAll();
          }};
}

// Accepts the client, and sends `bytes` instead of a greeting.
Misbehaviour Greeting(const std::string& name, const std::string& code, const std::string& bytes) {
  return {name, code, [bytes](const Port& port) {
            RawSocket client = port.Accept();
            client.Receive(8);
            client.Send(bytes).EndWriting();
            client.ReceiveAll();
          }};
}

std::vector<Misbehaviour> Misbehaviours() {
  return {
      {"closes at once", "001", [](const Port& port) { port.Accept().Reset(); }},
      {"never greets", "001",
       [](const Port& port) {
         RawSocket client = port.Accept();
         client.Receive(8);
         client.ReceiveAll();
       }},
      Greeting("speaks HTTP", "003", "HTTP/1.1 400 Bad Request\r\n\r\n"),
      Greeting("has another version", "003", std::string("FRLK\x63\x01\0\0", 8)),
      Greeting("greets and says more", "003", std::string(kWelcome) + Frame("early")),
      {"ends within the greeting", "003",
       [](const Port& port) {
         RawSocket client = port.Accept();
         client.Receive(8);
         client.Send("FRLK").EndWriting();
         client.ReceiveAll();
       }},
      Saying("closes in place of an answer", "002", ""),
      Saying("ends within a header", "002", Frame("answer").substr(0, 9)),
      Saying("ends within an answer", "002", FrameHeader(1U << 20U) + std::string(1000, 'x')),
      Saying("answers another command", "002", Frame("answer", 7), false),
      Saying("has an unknown status", "002", Frame("answer", 1, 99), false),
      Saying("announces 2 GiB", "011", FrameHeader(0x7FFFFFFF), false),
      Saying("says nothing but zeros", "002", std::string(16, '\0'), false),
      Saying("never answers", "010", "", false),
      {"takes no command", "010",
       [](const Port& port) {
         RawSocket client = port.Greeted();
         // The client gives up. Its bytes are read afterwards.
         client.ReceiveAll();
       }},
  };
}

}  // namespace

TEST(TcpBadServer, CostsACommandAndNothingThatStays) {
  const Variable timeout("FERROLINK_CONNECT_TIMEOUT_MS", "500");
  const auto round = [](bool warmsUp) {
    for (const Misbehaviour& each : Misbehaviours()) {
      SCOPED_TRACE(each.name);
      FakeServer server(each.script);
      auto channel = ChannelTo(server.Number());
      const std::string answer =
          Exchange(*channel, CallWithin(1000, std::string(warmsUp ? 10 : 20, 'x')));
      EXPECT_THAT(answer,
                  testing::HasSubstr("Network Client: Exception code " + each.code + ".\n"));
    }
  };
  round(true);
  const std::size_t threads = EntriesOf("/proc/self/task");
  const std::size_t descriptors = EntriesOf("/proc/self/fd");
  const std::size_t memory = ResidentBytes();
  for (int i = 0; i < 2; ++i) {
    round(false);
  }
  EXPECT_EQ(EntriesOf("/proc/self/fd"), descriptors);
  EXPECT_LE(ThreadsOnceAtMost(threads), threads);
  EXPECT_LE(ResidentBytes(), memory + (8U << 20U));
}

TEST(TcpBadServer, KeepsNobodyFromAProperOne) {
  FakeServer silent([](const Port& port) {
    RawSocket client = port.Greeted();
    client.ReceiveFrame();
    client.ReceiveAll();
  });
  FakeServer proper([](const Port& port) {
    RawSocket client = port.Greeted();
    client.ReceiveFrame();
    client.Answer("fine");
  });
  auto waiting = ChannelTo(silent.Number());
  std::thread other([&] {
    EXPECT_THAT(Exchange(*waiting, CallWithin(1000)),
                testing::HasSubstr("Network Client: Exception code 010.\n"));
  });
  EXPECT_EQ(Exchange(*ChannelTo(proper.Number()), "1"), "fine");
  other.join();
}

TEST(TcpBadServer, MayRefuseAClientRightBehindTheirGreeting) {
  FakeServer server([](const Port& port) {
    RawSocket client = port.Accept();
    client.Receive(8);
    client.Send(std::string(kWelcome) + Frame("no rule names you", 1, 4)).EndWriting();
    client.ReceiveAll();
  });
  EXPECT_EQ(Exchange(*ChannelTo(server.Number()), "1"),
            NotBegun(server.Name(), "no rule names you"));
}

}  // namespace Ferrolink::Tests
