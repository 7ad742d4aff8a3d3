// Servers that misbehave: what the client library says of them, and that nothing of them is left.
#include <dirent.h>

#include <array>
#include <fstream>
#include <functional>

#include "tests/companions/tcp/ClientSupport.h"

namespace FerrolinkTest {
namespace {

std::size_t entriesOf(const char* directory) {
  DIR* opened = opendir(directory);
  std::size_t count = 0;
  while (readdir(opened) != nullptr) {
    ++count;
  }
  closedir(opened);
  return count;
}

std::size_t residentBytes() {
  std::ifstream statistics("/proc/self/statm");
  std::size_t all = 0;
  std::size_t resident = 0;
  statistics >> all >> resident;
  return resident * 4096;
}

// A server's behaviour to one client, and the code of the error that the client raises. Each script
// ends when the client is gone.
struct Misbehaviour {
  std::string name;
  std::string code;
  std::function<void(const Port&)> script;
};

// Welcomes, takes the command, and says `bytes`.
Misbehaviour saying(const std::string& name, const std::string& code, const std::string& bytes,
                    bool endsWriting = true) {
  return {name, code, [bytes, endsWriting](const Port& port) {
            RawSocket client = port.greeted();
            client.receiveFrame();
            client.send(bytes);
            if (endsWriting) {
              client.endWriting();
            }
            client.receiveAll();
          }};
}

// Takes the client, and says `bytes` in place of a greeting.
Misbehaviour greeting(const std::string& name, const std::string& code, const std::string& bytes) {
  return {name, code, [bytes](const Port& port) {
            RawSocket client = port.accept();
            client.receive(8);
            client.send(bytes).endWriting();
            client.receiveAll();
          }};
}

std::vector<Misbehaviour> misbehaviours() {
  return {
      {"closes at once", "001", [](const Port& port) { port.accept().reset(); }},
      {"never greets", "001",
       [](const Port& port) {
         RawSocket client = port.accept();
         client.receive(8);
         client.receiveAll();
       }},
      greeting("speaks HTTP", "003", "HTTP/1.1 400 Bad Request\r\n\r\n"),
      greeting("has another version", "003", std::string("FRLK\x63\x01\0\0", 8)),
      greeting("greets and says more", "003", std::string(kWelcome) + frame("early")),
      {"ends within the greeting", "003",
       [](const Port& port) {
         RawSocket client = port.accept();
         client.receive(8);
         client.send("FRLK").endWriting();
         client.receiveAll();
       }},
      saying("closes in place of an answer", "002", ""),
      saying("ends within a header", "002", frame("answer").substr(0, 9)),
      saying("ends within an answer", "002", frameHeader(1U << 20U) + std::string(1000, 'x')),
      saying("answers another command", "002", frame("answer", 7), false),
      saying("has an unknown status", "002", frame("answer", 1, 99), false),
      saying("announces 2 GiB", "011", frameHeader(0x7FFFFFFF), false),
      saying("says nothing but zeros", "002", std::string(16, '\0'), false),
      saying("never answers", "010", "", false),
      {"takes no command", "010",
       [](const Port& port) {
         RawSocket client = port.greeted();
         // The client gives up; what it has sent by then is read late.
         client.receiveAll();
       }},
  };
}

}  // namespace

TEST(TcpBadServer, CostsACommandAndNothingThatStays) {
  const Variable timeout("FERROLINK_CONNECT_TIMEOUT_MS", "500");
  const auto round = [](bool warmsUp) {
    for (const Misbehaviour& each : misbehaviours()) {
      SCOPED_TRACE(each.name);
      FakeServer server(each.script);
      auto channel = channelTo(server.number());
      const std::string answer =
          exchange(*channel, callWithin(1000, std::string(warmsUp ? 10 : 20, 'x')));
      EXPECT_THAT(answer,
                  testing::HasSubstr("Network Client: Exception code " + each.code + ".\n"));
    }
  };
  round(true);
  const std::size_t descriptors = entriesOf("/proc/self/fd");
  const std::size_t threads = entriesOf("/proc/self/task");
  const std::size_t memory = residentBytes();
  for (int i = 0; i < 2; ++i) {
    round(false);
  }
  EXPECT_EQ(entriesOf("/proc/self/fd"), descriptors);
  EXPECT_EQ(entriesOf("/proc/self/task"), threads);
  EXPECT_LE(residentBytes(), memory + (8U << 20U));
}

TEST(TcpBadServer, KeepsNobodyFromAProperOne) {
  FakeServer silent([](const Port& port) {
    RawSocket client = port.greeted();
    client.receiveFrame();
    client.receiveAll();
  });
  FakeServer proper([](const Port& port) {
    RawSocket client = port.greeted();
    client.receiveFrame();
    client.answer("fine");
  });
  auto waiting = channelTo(silent.number());
  std::thread other([&] {
    EXPECT_THAT(exchange(*waiting, callWithin(1000)),
                testing::HasSubstr("Network Client: Exception code 010.\n"));
  });
  EXPECT_EQ(exchange(*channelTo(proper.number()), "1"), "fine");
  other.join();
}

TEST(TcpBadServer, MayRefuseAClientRightBehindTheirGreeting) {
  FakeServer server([](const Port& port) {
    RawSocket client = port.accept();
    client.receive(8);
    client.send(std::string(kWelcome) + frame("no rule names you", 1, 4)).endWriting();
    client.receiveAll();
  });
  EXPECT_EQ(exchange(*channelTo(server.number()), "1"),
            notBegun(server.name(), "no rule names you"));
}

}  // namespace FerrolinkTest
