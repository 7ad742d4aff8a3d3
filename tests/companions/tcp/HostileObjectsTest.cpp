// A client that tries to run code in a server's JVM by typed calls, on every JDK.
#include <gmock/gmock.h>

#include <csignal>
#include <filesystem>
#include <optional>

#include "tests/companions/tcp/ServerProcess.h"
#include "tests/support/Jdks.h"

namespace Ferrolink::Tests {
namespace {

using testing::HasSubstr;

constexpr const char* kNoObjects =
    "This server allows its clients no typed calls, because these can run any code. Start it with "
    "--allow-objects to allow them.";

std::string Number(std::uint64_t value, int size) {
  std::string bytes;
  for (int i = 0; i < size; ++i) {
    bytes.push_back(static_cast<char>(value >> 8 * i));
  }
  return bytes;
}

std::string Text(const std::string& text) {
  return Number(text.size(), 4) + text;
}

std::uint64_t NumberAt(const std::string& bytes, std::size_t place, int size) {
  std::uint64_t value = 0;
  for (int i = size - 1; i >= 0; --i) {
    value = value << 8 | static_cast<std::uint8_t>(bytes.at(place + static_cast<std::size_t>(i)));
  }
  return value;
}

// Requests of typed calls, without releases.
std::string Resolve(int kind, const std::string& type, const std::string& member) {
  return Number(0, 2) + "\1" + Number(static_cast<std::uint64_t>(kind), 1) + "\x0A" + Text(type) +
         Text(member);
}

std::string Invoke(std::uint64_t member, int want, std::uint64_t self, const std::string& values) {
  return Number(0, 2) + "\2" + Number(member, 4) + Number(static_cast<std::uint64_t>(want), 1) +
         Number(0, 8) + Number(self, 8) + values;
}

// Makes the file by java.io.File. Where the answers are refusals, it goes on with guesses.
class Hostile {
 public:
  explicit Hostile(const ServerProcess& server) : m_client(server.GreetedClient()) {}

  std::string Ask(const std::string& request) {
    return m_client.Ask(CallOf("objects", request, 2)).substr(0, 300);
  }
  std::string AskWithin(const std::string& request) {
    return m_client.Ask(Command(3, Number(0x01000000, 4) + "\7objects" + request, 2));
  }
  RawSocket& Client() { return m_client; }

  std::vector<std::string> MakeFile(const std::string& path) {
    std::vector<std::string> answers;
    answers.push_back(Ask(Resolve(2, "java.io.File", "")));
    const std::uint64_t constructor = Payload(answers.back(), 4).value_or(1);
    answers.push_back(Ask(Invoke(constructor, 1, 0, "\1\x0A" + Text(path))));
    const auto reply = answers.back();
    const std::uint64_t file =
        reply.size() > 24 && reply[11] == 0 ? NumberAt(reply, 13, 8) : std::uint64_t{1} << 32;
    answers.push_back(Ask(Resolve(0, "java.io.File", "createNewFile")));
    const std::uint64_t method = Payload(answers.back(), 4).value_or(2);
    answers.push_back(Ask(Invoke(method, 2, file, Number(0, 1))));
    return answers;
  }

 private:
  // The data behind the header and the status of success.
  static std::optional<std::uint64_t> Payload(const std::string& answer, int size) {
    if (answer.size() < 12 + static_cast<std::size_t>(size) || answer[10] != 0 || answer[11] != 0) {
      return std::nullopt;
    }
    return NumberAt(answer, 12, size);
  }

  RawSocket m_client;
};

}  // namespace

TEST(HostileClient, RunsNothingByObjectsUnlessTheServerAllowsThem) {
  for (const auto& jdk : InstalledJdks()) {
    SCOPED_TRACE(jdk.string());
    const TemporaryDirectory directory;
    const std::string path = (directory.Path() / "made").string();
    const Variable java("JAVA_HOME", jdk.string());
    ServerProcess server({"--runtime", "jvm", "--plug-in", FERROLINK_JAR, "--allow-load-library"});
    Hostile hostile(server);
    for (const std::string& answer : hostile.MakeFile(path)) {
      EXPECT_EQ(answer, kNoObjects);
    }
    EXPECT_EQ(hostile.AskWithin(Resolve(2, "java.io.File", "")), kNoObjects);
    EXPECT_EQ(hostile.Client().Ask(CallOf("objects-1", "x", 2)), kNoObjects);
    EXPECT_THAT(hostile.Client().Ask(CallOf("Objects", "x", 2)), HasSubstr("Unknown handler"));
    EXPECT_THAT(hostile.Client().Ask(CallOf("echo", "still here", 2)), HasSubstr("still here"));
    EXPECT_FALSE(std::filesystem::exists(path));
    server.Signal(SIGTERM);
    EXPECT_EQ(server.Wait(), 0);
    EXPECT_THAT(server.Errors(), testing::Not(HasSubstr("run any code with")));
  }
}

TEST(HostileClient, RunsCodeWhereTheServerAllowsObjectsAndWarnsOfIt) {
  const TemporaryDirectory directory;
  const std::string path = (directory.Path() / "made").string();
  const Variable java("JAVA_HOME", InstalledJdks().front().string());
  ServerProcess server({"--runtime", "jvm", "--plug-in", FERROLINK_JAR, "--allow-objects"});
  EXPECT_THAT(server.Errors(), HasSubstr("ferrolink-server: --allow-objects allows clients to "
                                         "run any code with the rights of this server\n"));
  Hostile hostile(server);
  hostile.MakeFile(path);
  EXPECT_TRUE(std::filesystem::exists(path));
}

TEST(HostileClient, ReadsNoMemoryOfAServerThatAllowsObjects) {
  const Variable java("JAVA_HOME", InstalledJdks().front().string());
  ServerProcess server({"--runtime", "jvm", "--plug-in", FERROLINK_JAR, "--allow-objects"});
  Hostile hostile(server);
  const std::string resolved = hostile.Ask(Resolve(1, "java.util.Arrays", "toString"));
  const std::uint64_t toString = NumberAt(resolved, 12, 4);
  for (const std::uint64_t key : {std::uint64_t{0}, std::uint64_t{1}, ~std::uint64_t{0}}) {
    // One argument: 8 bytes at an address that is there in every process.
    const std::string memory = "\1\x0E\3" + Number(8, 4) + Number(0x400000, 8) + Number(key, 8);
    EXPECT_THAT(hostile.Ask(Invoke(toString, 2, 0, memory)),
                HasSubstr("Addresses of memory are taken only from this process"));
  }
  EXPECT_THAT(hostile.Ask(Invoke(toString, 2, 0, "\1\x0C\3" + Number(1, 4) + "\7")),
              HasSubstr("[7]"));
}

}  // namespace Ferrolink::Tests
