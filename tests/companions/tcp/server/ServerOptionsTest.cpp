// Command line and configuration file of the server, and their documentation.
#include "companions/tcp/server/ServerOptions.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <nlohmann/json.hpp>
#include <set>
#include <sstream>

#include "companions/tcp/server/OptionTable.h"
#include "tests/support/TemporaryDirectory.h"

namespace Ferrolink::Tests {
namespace {

using namespace Ferrolink::Companions::Tcp::Server;
using Ferrolink::Native::Definitions::Runtime;
using std::chrono::milliseconds;
using testing::ElementsAre;
using testing::HasSubstr;

ServerOptions Parsed(std::vector<std::string> arguments) {
  arguments.insert(arguments.begin(), "ferrolink-server");
  std::vector<char*> argv;
  for (std::string& argument : arguments) {
    argv.push_back(argument.data());
  }
  argv.push_back(nullptr);
  return ParseOptions(static_cast<int>(arguments.size()), argv.data());
}

std::string RefusalOf(std::vector<std::string> arguments) {
  try {
    Parsed(std::move(arguments));
    return "(none)";
  } catch (const UsageError& error) {
    return error.what();
  }
}

// Adds the required option.
std::string Refusal(std::vector<std::string> arguments) {
  arguments.insert(arguments.end(), {"--runtime", "cpp"});
  return RefusalOf(std::move(arguments));
}

std::string ContentOf(const std::string& path) {
  std::ostringstream text;
  text << std::ifstream(path).rdbuf();
  return text.str();
}

std::string Listening(const std::string& where) {
  return NameOf(Parsed({"--runtime", "cpp", "--listen", where}).listen);
}

class ServerConfiguration : public testing::Test {
 protected:
  std::string File(const std::string& text) const {
    const std::string path = (m_directory.Path() / "server.json").string();
    std::ofstream(path) << text;
    return path;
  }
  ServerOptions Read(const std::string& text, std::vector<std::string> further = {}) const {
    further.insert(further.begin(), {"--config", File(text)});
    return Parsed(std::move(further));
  }
  // Without the file's name.
  std::string Refused(const std::string& text) const {
    const std::string path = File(text);
    const std::string all = RefusalOf({"--config", path});
    const std::string start = "--config " + path + ": ";
    return all.substr(0, start.size()) == start ? all.substr(start.size()) : all;
  }
  [[nodiscard]] std::string Below(const std::string& name) const {
    return (m_directory.Path() / name).string();
  }

 private:
  TemporaryDirectory m_directory;
};

}  // namespace

TEST(ServerOptions, AreAsDocumentedUnlessGiven) {
  const ServerOptions options = Parsed({"--runtime", "jvm"});
  EXPECT_EQ(options.runtime, Runtime::Jvm);
  EXPECT_EQ(NameOf(options.listen), "127.0.0.1:8080");
  EXPECT_FALSE(options.admin);
  EXPECT_TRUE(options.plugIns.empty());
  EXPECT_FALSE(options.allowLoadLibrary);
  EXPECT_FALSE(options.allowObjects);
  EXPECT_EQ(options.frameLimit, 268'435'456U);
  EXPECT_EQ(options.memoryLimit, 1'073'741'824U);
  EXPECT_EQ(options.mostConnections, 256U);
  EXPECT_EQ(options.greetingTimeout, milliseconds(10'000));
  EXPECT_EQ(options.idleTimeout, milliseconds(600'000));
  EXPECT_EQ(options.readTimeout, milliseconds(30'000));
  EXPECT_EQ(options.writeTimeout, milliseconds(30'000));
  EXPECT_EQ(options.drain, milliseconds(0));
  EXPECT_EQ(options.shutdownGrace, milliseconds(30'000));
  EXPECT_FALSE(options.UsesTls());
  EXPECT_EQ(options.logFormat, LogFormat::Text);
  EXPECT_FALSE(options.accessLog);
  EXPECT_FALSE(options.rules->Exist());
}

TEST(ServerOptions, ComeFromTheCommandLine) {
  const ServerOptions options = Parsed({"--runtime",
                                        "cpp",
                                        "--listen",
                                        "0.0.0.0:0",
                                        "--plug-in",
                                        "a.so",
                                        "--plug-in=b c.so",
                                        "--allow-load-library",
                                        "--allow-objects",
                                        "--tls-certificate",
                                        "c",
                                        "--tls-key",
                                        "k",
                                        "--tls-client-ca",
                                        "a",
                                        "--tls-crl",
                                        "r",
                                        "--max-frame-bytes",
                                        "2048",
                                        "--max-memory-bytes",
                                        "4096",
                                        "--max-connections",
                                        "7",
                                        "--greeting-timeout-ms",
                                        "1",
                                        "--idle-timeout-ms",
                                        "0",
                                        "--read-timeout-ms",
                                        "2",
                                        "--write-timeout-ms",
                                        "3",
                                        "--admin",
                                        "127.0.0.1:9090",
                                        "--drain-ms",
                                        "4",
                                        "--shutdown-grace-ms",
                                        "5",
                                        "--log-format",
                                        "json",
                                        "--access-log"});
  EXPECT_EQ(options.runtime, Runtime::Cpp);
  EXPECT_EQ(NameOf(options.listen), "0.0.0.0:0");
  EXPECT_THAT(options.plugIns, ElementsAre("a.so", "b c.so"));
  EXPECT_TRUE(options.allowLoadLibrary);
  EXPECT_TRUE(options.allowObjects);
  EXPECT_EQ(options.certificate, "c");
  EXPECT_EQ(options.key, "k");
  EXPECT_EQ(options.clientAuthorities, "a");
  EXPECT_EQ(options.revocationList, "r");
  EXPECT_EQ(options.frameLimit, 2048U);
  EXPECT_EQ(options.memoryLimit, 4096U);
  EXPECT_EQ(options.mostConnections, 7U);
  EXPECT_EQ(options.greetingTimeout, milliseconds(1));
  EXPECT_EQ(options.idleTimeout, milliseconds(0));
  EXPECT_EQ(options.readTimeout, milliseconds(2));
  EXPECT_EQ(options.writeTimeout, milliseconds(3));
  EXPECT_EQ(NameOf(options.admin.value()), "127.0.0.1:9090");
  EXPECT_EQ(options.drain, milliseconds(4));
  EXPECT_EQ(options.shutdownGrace, milliseconds(5));
  EXPECT_EQ(options.logFormat, LogFormat::Json);
  EXPECT_TRUE(options.accessLog);
}

TEST(ServerOptions, TakeAddressesOfBothKindsAndNames) {
  EXPECT_EQ(Listening("[::1]:8080"), "[::1]:8080");
  EXPECT_EQ(Listening("[::]:0"), "[::]:0");
  EXPECT_THAT(Listening("localhost:81"), testing::AnyOf("127.0.0.1:81", "[::1]:81"));
  for (const char* wrong : {"127.0.0.1", ":80", "::1:80", "[::1]", "127.0.0.1:", "127.0.0.1:65536",
                            "127.0.0.1:+1", "127.0.0.1:8o", "[127.0.0.1:80", "[]:80"}) {
    EXPECT_EQ(Refusal({"--listen", wrong}),
              std::string("--listen takes an address or name and a port, such as 127.0.0.1:8080, "
                          "[::1]:8080 or localhost:8080, not '") +
                  wrong + "'.");
  }
  EXPECT_THAT(Refusal({"--admin", "no-such-host.invalid:80"}),
              testing::StartsWith("--admin takes an address or name and a port, such as "
                                  "127.0.0.1:8080, [::1]:8080 or localhost:8080 ("));
}

TEST(ServerOptions, SayWhatIsWrongWithThem) {
  EXPECT_EQ(RefusalOf({}), "--runtime is missing: jvm or cpp.");
  EXPECT_EQ(RefusalOf({"--runtime", "perl"}), "--runtime takes jvm or cpp, not 'perl'.");
  EXPECT_EQ(Refusal({"--verbose"}), "Unknown option '--verbose'.");
  EXPECT_EQ(Refusal({"-v"}), "Unknown option '-v'.");
  EXPECT_EQ(Refusal({"word"}), "Unknown option 'word'.");
  EXPECT_EQ(Refusal({"--plug"}), "Unknown option '--plug'.");
  EXPECT_EQ(Refusal({"--plug-in", ""}), "--plug-in takes a value.");
  EXPECT_EQ(RefusalOf({"--runtime", "cpp", "--listen"}), "--listen takes a value.");
  EXPECT_EQ(Refusal({"--access-log=false"}), "--access-log takes no value.");
  EXPECT_EQ(Refusal({"--max-connections", "0"}),
            "--max-connections takes a number from 1 to 65535, not '0'.");
  for (const char* number : {"-1", "1.5", "1 ", "0x10", "99999999999999999999"}) {
    EXPECT_EQ(
        Refusal({"--max-connections", number}),
        "--max-connections takes a number from 1 to 65535, not '" + std::string(number) + "'.");
  }
  EXPECT_EQ(Refusal({"--log-format", "xml"}), "--log-format takes text or json, not 'xml'.");
  EXPECT_EQ(Refusal({"--tls-key", "k"}), "--tls-certificate and --tls-key go together.");
  EXPECT_EQ(Refusal({"--tls-client-ca", "c"}),
            "--tls-client-ca needs --tls-certificate and --tls-key.");
  EXPECT_EQ(Refusal({"--tls-crl", "c"}), "--tls-crl needs --tls-client-ca.");
  EXPECT_EQ(Refusal({"--max-memory-bytes", "536870911"}),
            "--max-memory-bytes must have room for a command and a response, twice "
            "--max-frame-bytes: at least 536870912.");
  EXPECT_EQ(Refusal({"--config", "/nowhere"}),
            "--config /nowhere: cannot open: No such file or directory");
}

TEST(ServerOptions, TakeTheLastOfARepeatedOption) {
  EXPECT_EQ(Parsed({"--runtime", "jvm", "--runtime", "cpp"}).runtime, Runtime::Cpp);
  EXPECT_EQ(
      Parsed({"--runtime", "cpp", "--max-connections", "1", "--max-connections=2"}).mostConnections,
      2U);
}

TEST(ServerOptions, HaveMemoryForTheLongestFrames) {
  EXPECT_EQ(Parsed({"--runtime", "cpp", "--max-frame-bytes", "2147483647"}).memoryLimit,
            4'294'967'294U);
}

TEST(ServerOptions, AskForHelpOrVersionAlone) {
  EXPECT_TRUE(Parsed({"--help"}).help);
  EXPECT_TRUE(Parsed({"--version"}).version);
  EXPECT_FALSE(Parsed({"--runtime", "cpp"}).help);
}

TEST_F(ServerConfiguration, HasEveryOption) {
  const ServerOptions options = Read(R"({
      "runtime": "jvm", "listen": "[::1]:1", "plug-in": ["a.jar", "/b.jar"],
      "allow-load-library": true, "allow-objects": true, "tls-certificate": "tls/c.pem", "tls-key": "/k.pem",
      "tls-client-ca": "ca.pem", "tls-crl": "crl.pem", "max-frame-bytes": 2048,
      "max-memory-bytes": 4096, "max-connections": 7, "greeting-timeout-ms": 1,
      "idle-timeout-ms": 0, "read-timeout-ms": 2, "write-timeout-ms": 3, "admin": "127.0.0.1:2",
      "drain-ms": 4, "shutdown-grace-ms": 5, "log-format": "json", "access-log": true,
      "rules": [{"clients": ["dns:a"], "handlers": ["*"]}]})");
  EXPECT_EQ(options.runtime, Runtime::Jvm);
  EXPECT_EQ(NameOf(options.listen), "[::1]:1");
  EXPECT_THAT(options.plugIns, ElementsAre(Below("a.jar"), "/b.jar"));
  EXPECT_TRUE(options.allowLoadLibrary);
  EXPECT_TRUE(options.allowObjects);
  EXPECT_EQ(options.certificate, Below("tls/c.pem"));
  EXPECT_EQ(options.key, "/k.pem");
  EXPECT_EQ(options.clientAuthorities, Below("ca.pem"));
  EXPECT_EQ(options.revocationList, Below("crl.pem"));
  EXPECT_EQ(options.memoryLimit, 4096U);
  EXPECT_EQ(options.mostConnections, 7U);
  EXPECT_EQ(options.writeTimeout, milliseconds(3));
  EXPECT_EQ(NameOf(options.admin.value()), "127.0.0.1:2");
  EXPECT_EQ(options.shutdownGrace, milliseconds(5));
  EXPECT_EQ(options.logFormat, LogFormat::Json);
  EXPECT_TRUE(options.accessLog);
  EXPECT_TRUE(options.rules->Exist());
}

TEST_F(ServerConfiguration, GivesWayToTheCommandLine) {
  const ServerOptions options =
      Read(R"({"runtime": "jvm", "plug-in": ["a", "b"], "access-log": false, "drain-ms": 1})",
           {"--runtime", "cpp", "--plug-in", "c", "--access-log"});
  EXPECT_EQ(options.runtime, Runtime::Cpp);
  EXPECT_THAT(options.plugIns, ElementsAre("c"));
  EXPECT_TRUE(options.accessLog);
  EXPECT_EQ(options.drain, milliseconds(1));
  EXPECT_THAT(Read(R"({"runtime": "cpp", "plug-in": "one"})").plugIns, ElementsAre(Below("one")));
}

TEST_F(ServerConfiguration, SaysWhereItIsWrong) {
  EXPECT_EQ(Refused(""),
            "line 1, column 1: unexpected end of input; expected '[', '{', or a literal");
  EXPECT_EQ(Refused("[]"), "expected an object, got an array");
  EXPECT_EQ(Refused("{\n  \"runtime\": \"cpp\",\n}"),
            "line 3, column 1: unexpected '}'; expected string literal");
  EXPECT_EQ(Refused(R"({"runtime": "perl"})"), "/runtime: expected jvm or cpp, got \"perl\"");
  EXPECT_EQ(Refused(R"({"runtime": 1})"), "/runtime: expected a text that is not empty, got 1");
  EXPECT_EQ(Refused(R"({"listen": "80"})"),
            "/listen: expected an address or name and a port, such as 127.0.0.1:8080, [::1]:8080 "
            "or localhost:8080, got \"80\"");
  EXPECT_EQ(Refused(R"({"max-connections": "7"})"),
            "/max-connections: expected an integer 1 to 65535, got \"7\"");
  EXPECT_EQ(Refused(R"({"max-connections": 65536})"),
            "/max-connections: expected an integer 1 to 65535, got 65536");
  EXPECT_EQ(Refused(R"({"access-log": "yes"})"),
            "/access-log: expected true or false, got \"yes\"");
  EXPECT_EQ(Refused(R"({"plug-in": ["a", 1]})"),
            "/plug-in/1: expected a text that is not empty, got 1");
  EXPECT_EQ(Refused(R"({"rules": [{}]})"), "/rules/0: a rule needs \"clients\"");
  EXPECT_EQ(Refused(R"({"drain-ms": 1, "drain-ms": 2})"), "/drain-ms: the key appears twice");
  EXPECT_THAT(Refused(R"({"config": "x"})"),
              testing::StartsWith("/config: unknown key; allowed are \"rules\", \"runtime\", "));
  EXPECT_EQ(Refused(R"({"runtime": "cpp",
                        "rules": [{"clients": ["dns:a"], "handlers": ["*"]}]})"),
            "Rules that name certificates need --tls-client-ca.");
  EXPECT_EQ(Refused(R"({"access-log": true})"), "--runtime is missing: jvm or cpp.");
}

TEST(ServerDocumentation, HasEachOptionOfTheHelpWithItsDefault) {
  const std::string document = ContentOf(FERROLINK_SERVER_DOCUMENT);
  const std::string help = Usage();
  std::set<std::string> options;
  for (std::size_t at = help.find("--"); at != std::string::npos; at = help.find("--", at)) {
    const std::size_t end = help.find_first_not_of("abcdefghijklmnopqrstuvwxyz-", at);
    const std::string option = help.substr(at, end - at);
    options.insert(option);
    EXPECT_THAT(document, HasSubstr("| `" + option));
    at = end;
  }
  EXPECT_EQ(options.size(), OptionTable().size() + 3);
  for (const Option& option : OptionTable()) {
    EXPECT_EQ(options.count("--" + option.name), 1U) << option.name;
    // "...; 256 unless given" in the help is "| 256 |" at the row's end.
    const std::size_t after = option.help.find(" unless given");
    const std::size_t number = option.help.rfind("; ", after) + 2;
    const std::string usual =
        after == std::string::npos ? "" : option.help.substr(number, after - number);
    if (!usual.empty() && usual.find_first_not_of("0123456789") == std::string::npos) {
      const auto row = document.find("| `--" + option.name + ' ');
      ASSERT_NE(row, std::string::npos) << option.name;
      const std::string line = document.substr(row, document.find('\n', row) - row);
      EXPECT_THAT(line, testing::EndsWith("| " + usual + " |"));
    }
  }
}

TEST(ServerDocumentation, HasAnExampleThatTheServerTakes) {
  const std::string document = ContentOf(FERROLINK_SERVER_DOCUMENT);
  const auto begin = document.find("```json\n") + 8;
  const std::string example = document.substr(begin, document.find("```", begin) - begin);
  const TemporaryDirectory directory;
  const std::string path = (directory.Path() / "server.json").string();
  std::ofstream(path) << example;
  const ServerOptions options = Parsed({"--config", path});
  EXPECT_TRUE(options.rules->Exist());
  EXPECT_EQ(options.runtime, Runtime::Jvm);
  const auto keys = nlohmann::json::parse(example);
  for (const Option& option : OptionTable()) {
    EXPECT_TRUE(keys.contains(option.name)) << option.name;
  }
}

TEST(ServerDocumentation, HasTheOptionsOfTheServiceUnit) {
  const std::string unit = ContentOf(FERROLINK_SERVER_UNIT);
  const std::string start = "ExecStart=@FERROLINK_SERVER@ ";
  const auto begin = unit.find(start);
  ASSERT_NE(begin, std::string::npos);
  std::istringstream line(
      unit.substr(begin + start.size(), unit.find('\n', begin) - begin - start.size()));
  std::vector<std::string> arguments;
  for (std::string word; line >> word;) {
    arguments.push_back(word);
  }
  EXPECT_THAT(arguments, ElementsAre("--config", "/etc/ferrolink/server.json"));
}

}  // namespace Ferrolink::Tests
