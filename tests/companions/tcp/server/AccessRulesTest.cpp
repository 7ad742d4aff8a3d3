// Who may call what: rules, the names in certificates, and what the gate makes of a command.
#include "companions/tcp/server/AccessRules.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <latch>
#include <thread>

#include "companions/configs/Configuration.h"
#include "companions/configs/JsonDocument.h"
#include "companions/tcp/server/CommandGate.h"

namespace FerrolinkTest {
namespace {

using namespace Ferrolink::Companions::Tcp::Server;
using Ferrolink::Companions::ConfigurationError;
using Ferrolink::Companions::JsonNode;
using Ferrolink::Companions::parseJson;

AccessRules::Admission admitted(AccessRules& rules, const std::string& subject,
                                std::vector<std::string> names = {}) {
  return rules.admit({"127.0.0.1", subject, std::move(names)});
}

// The rules as a text; those of a document must outlive nothing.
std::unique_ptr<AccessRules> rulesOf(const std::string& text) {
  const nlohmann::json document = parseJson(text);
  return std::make_unique<AccessRules>(JsonNode(document));
}

std::string refusalOf(const std::string& text) {
  try {
    rulesOf(text);
    return "(none)";
  } catch (const ConfigurationError& error) {
    return error.what();
  }
}

const AccessRules::Client& clientOf(const AccessRules::Admission& admission) {
  return *std::get<std::unique_ptr<AccessRules::Client>>(admission);
}

const std::string& whyNot(const AccessRules::Admission& admission) {
  return std::get<std::string>(admission);
}

std::vector<std::uint8_t> command(std::uint8_t type, std::string_view body) {
  std::string bytes(11, '\0');
  bytes[0] = 8;
  bytes[9] = 2;
  bytes[10] = static_cast<char>(type);
  bytes += body;
  return {bytes.begin(), bytes.end()};
}

std::string call(std::string_view handler) {
  return static_cast<char>(handler.size()) + std::string(handler) + "payload";
}

constexpr std::string_view kTime("\0\0\x03\xe8", 4);

}  // namespace

TEST(AccessRules, LetEverybodyCallWhereThereAreNone) {
  const AccessRules none;
  EXPECT_FALSE(none.exist());
  EXPECT_FALSE(none.needCertificates());
}

TEST(AccessRules, AllowHandlersByNameAndByBeginning) {
  const auto rules =
      rulesOf(R"([{"clients": ["subject:CN=a"], "handlers": ["echo", "orders.*"]}])");
  const auto admission = admitted(*rules, "CN=a");
  const AccessRules::Client& client = clientOf(admission);
  EXPECT_EQ(client.name(), "CN=a");
  for (const char* allowed : {"echo", "orders.", "orders.list"}) {
    EXPECT_TRUE(client.mayCall(allowed)) << allowed;
  }
  for (const char* refused : {"", "ech", "echo2", "Echo", "orders", "orders*"}) {
    EXPECT_FALSE(client.mayCall(refused)) << refused;
  }
  EXPECT_FALSE(client.mayLoad());
}

TEST(AccessRules, TheFirstOneThatNamesAClientCounts) {
  const auto rules = rulesOf(R"([
      {"clients": ["dns:a.example"], "handlers": ["one"]},
      {"clients": ["subject:CN=a", "ip:10.0.0.7"], "handlers": ["two"], "load-libraries": true},
      {"clients": ["*"], "handlers": ["*"], "load-libraries": false}])");
  EXPECT_TRUE(rules->needCertificates());
  const auto both = admitted(*rules, "CN=a", {"dns:a.example"});
  EXPECT_TRUE(clientOf(both).mayCall("one"));
  EXPECT_FALSE(clientOf(both).mayCall("two"));
  const auto second = admitted(*rules, "CN=b", {"dns:b.example", "ip:10.0.0.7"});
  EXPECT_TRUE(clientOf(second).mayCall("two"));
  EXPECT_TRUE(clientOf(second).mayLoad());
  const auto others = rules->admit({"127.0.0.1", "", {}});
  EXPECT_EQ(clientOf(others).name(), "127.0.0.1");
  EXPECT_TRUE(clientOf(others).mayCall("whatever"));
  EXPECT_FALSE(clientOf(others).mayLoad());
}

TEST(AccessRules, NameSubjectsAsTheLogHasThem) {
  const std::string subject = "emailAddress=a@b.example,CN=a";
  const auto rules = rulesOf(R"([{"clients": ["subject:)" + subject + R"("], "handlers": []}])");
  EXPECT_EQ(clientOf(admitted(*rules, subject)).name(), subject);
}

TEST(AccessRules, RefuseWhomTheyDoNotName) {
  const auto rules = rulesOf(R"([{"clients": ["subject:CN=a"], "handlers": []}])");
  EXPECT_EQ(whyNot(admitted(*rules, "CN=b")), "No rule of this server names CN=b.");
  EXPECT_EQ(whyNot(rules->admit({"10.1.2.3", "", {}})), "No rule of this server names 10.1.2.3.");
  EXPECT_EQ(whyNot(admitted(*rules, "", {"dns:a"})), "No rule of this server names 127.0.0.1.");
}

TEST(AccessRules, LimitTheConnectionsOfAClient) {
  const auto rules = rulesOf(R"([{"clients": ["*"], "handlers": ["*"], "max-connections": 2}])");
  const auto first = admitted(*rules, "CN=a");
  {
    const auto second = admitted(*rules, "CN=a");
    EXPECT_EQ(whyNot(admitted(*rules, "CN=a")),
              "CN=a has 2 connections, as many as its rule allows.");
    const auto other = admitted(*rules, "CN=b");
    EXPECT_EQ(clientOf(other).name(), "CN=b");
  }
  const auto again = admitted(*rules, "CN=a");
  EXPECT_EQ(clientOf(again).name(), "CN=a");
}

TEST(AccessRules, LimitTheCallsOfAClientOverAllItsConnections) {
  const auto rules = rulesOf(R"([{"clients": ["*"], "handlers": ["*"], "max-calls": 2}])");
  const auto one = admitted(*rules, "CN=a");
  const auto two = admitted(*rules, "CN=a");
  const auto other = admitted(*rules, "CN=b");
  auto first = clientOf(one).beginCall();
  const auto second = clientOf(two).beginCall();
  EXPECT_TRUE(first && second);
  EXPECT_FALSE(clientOf(one).beginCall());
  EXPECT_EQ(clientOf(one).tooManyCalls(),
            "CN=a has 2 calls under way, as many as its rule allows.");
  EXPECT_TRUE(clientOf(other).beginCall());
  first.reset();
  EXPECT_TRUE(clientOf(two).beginCall());
}

TEST(AccessRules, CountRightlyOnManyThreads) {
  const auto rules =
      rulesOf(R"([{"clients": ["*"], "handlers": ["*"], "max-connections": 4, "max-calls": 3}])");
  std::atomic<int> connections{0};
  std::atomic<int> calls{0};
  std::atomic<int> tooMany{0};
  std::atomic<int> done{0};
  std::latch begin(8);
  std::vector<std::thread> threads;
  for (int t = 0; t < 8; ++t) {
    threads.emplace_back([&] {
      begin.arrive_and_wait();
      for (int i = 0; i < 2'000; ++i) {
        const auto admission = admitted(*rules, "CN=a");
        if (std::holds_alternative<std::string>(admission)) {
          continue;
        }
        tooMany += ++connections > 4 ? 1 : 0;
        if (const auto permitted = clientOf(admission).beginCall()) {
          tooMany += ++calls > 3 ? 1 : 0;
          ++done;
          --calls;
        }
        --connections;
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  EXPECT_EQ(tooMany, 0);
  EXPECT_GT(done, 0);
  const auto admission = admitted(*rules, "CN=a");
  const auto first = clientOf(admission).beginCall();
  const auto second = clientOf(admission).beginCall();
  const auto third = clientOf(admission).beginCall();
  EXPECT_TRUE(first && second && third);
}

TEST(AccessRules, SayWhereTheyAreWrong) {
  const auto rule = [](const std::string& members) {
    return refusalOf(R"([{"clients": ["*"], "handlers": ["*"]}, {)" + members + "}]");
  };
  EXPECT_EQ(refusalOf("{}"), "expected an array, got an object");
  EXPECT_EQ(refusalOf("[]"), "expected at least one rule; without \"rules\" everybody may call");
  EXPECT_EQ(refusalOf("[1]"), "/0: expected an object, got 1");
  EXPECT_EQ(rule(R"("handlers": [])"), "/1: a rule needs \"clients\"");
  EXPECT_EQ(rule(R"("clients": ["*"])"), "/1: a rule needs \"handlers\"");
  EXPECT_EQ(rule(R"("clients": [], "handlers": [])"),
            "/1: \"clients\" is empty, so the rule is for nobody");
  EXPECT_EQ(rule(R"("clients": ["*"], "handlers": ["a*b"])"),
            "/1/handlers/0: a \"*\" may only stand at the end of a handler's name");
  EXPECT_EQ(rule(R"("clients": ["*"], "handlers": ["x", "load-archives"])"),
            "/1/handlers/1: \"load-archives\" is allowed by \"load-libraries\": true");
  EXPECT_EQ(rule(R"("clients": ["*"], "handlers": [""])"),
            "/1/handlers/0: expected a text that is not empty, got \"\"");
  EXPECT_EQ(rule(R"("clients": ["*"], "handlers": [], "load-libraries": 1)"),
            "/1/load-libraries: expected true or false, got 1");
  EXPECT_EQ(rule(R"("clients": ["*"], "handlers": [], "max-calls": 0)"),
            "/1/max-calls: expected an integer 1 to 65535, got 0");
  EXPECT_EQ(rule(R"("client": ["*"])"),
            "/1/client: unknown key; allowed are \"clients\", \"handlers\", \"load-libraries\", "
            "\"max-connections\", \"max-calls\"");
  for (const char* name :
       {"orders", "subject:", "subject:orders", "dns:", "dns:a b", "ip:10.0.0", "email:x", "x:y"}) {
    EXPECT_THAT(rule(R"("handlers": [], "clients": ["*", ")" + std::string(name) + "\"]"),
                testing::StartsWith("/1/clients/1: expected \"*\" or a name in a certificate, "))
        << name;
  }
}

TEST(AccessRules, CompareNamesInOneForm) {
  EXPECT_EQ(canonicalName("subject:cn = a b , o= Example"), "subject:CN=a b,O=Example");
  EXPECT_EQ(canonicalName("subject:CN=a\\, b+OU=x\\ ,O=y=z"), "subject:CN=a\\, b+OU=x\\ ,O=y=z");
  EXPECT_EQ(canonicalName("dns:A.Example"), "dns:a.example");
  EXPECT_EQ(canonicalName("ip:::FFFF:0:1"), "ip:::ffff:0.0.0.1");
  EXPECT_EQ(canonicalName("ip:2001:DB8:0:0::1"), "ip:2001:db8::1");
  EXPECT_EQ(canonicalName("email:Me@Example.ORG"), "email:Me@example.org");
  EXPECT_EQ(canonicalName("uri:spiffe://Example/X"), "uri:spiffe://Example/X");
}

TEST(CommandGate, FindsTheHandlerOfACall) {
  const auto found = [](std::uint8_t type, std::string_view body) {
    return std::string(handlerOf(command(type, body)));
  };
  EXPECT_EQ(found(2, call("echo")), "echo");
  EXPECT_EQ(found(3, std::string(kTime) + call("echo")), "echo");
  EXPECT_EQ(found(2, "\4ech"), "");
  EXPECT_EQ(found(3, std::string(kTime)), "");
  EXPECT_EQ(found(3, call("echo")), "");
  EXPECT_EQ(found(2, ""), "");
  EXPECT_EQ(found(11, call("echo")), "");
  EXPECT_EQ(handlerOf(std::vector<std::uint8_t>(10)), "");
}

TEST(CommandGate, RefusesToLoadUnlessItIsAllowed) {
  ServerOptions options;
  constexpr const char* kRefusal =
      "This server loads no libraries for its clients. Start it with --plug-in FILE, or with "
      "--allow-load-library.";
  const std::vector<std::vector<std::uint8_t>> loading = {
      command(1, std::string(20, 'x')), command(2, call("load-archives")),
      command(3, std::string(kTime) + call("load-archives"))};
  const auto rules = rulesOf(R"([{"clients": ["subject:CN=a"], "handlers": []},
      {"clients": ["*"], "handlers": ["*"], "load-libraries": true}])");
  const auto strict = admitted(*rules, "CN=a");
  const auto generous = admitted(*rules, "CN=b");
  for (const auto& one : loading) {
    EXPECT_EQ(whyRefused(one, options), kRefusal);
    EXPECT_EQ(whyRefused(one, options, &clientOf(strict)), kRefusal);
    EXPECT_EQ(whyRefused(one, options, &clientOf(generous)), "");
  }
  options.allowLoadLibrary = true;
  for (const auto& one : loading) {
    EXPECT_EQ(whyRefused(one, options), "");
    EXPECT_EQ(whyRefused(one, options, &clientOf(strict)), "");
  }
}

TEST(CommandGate, HoldsCommandsAgainstTheRules) {
  const ServerOptions options;
  const auto rules = rulesOf(R"([{"clients": ["subject:CN=a"], "handlers": ["echo"]}])");
  const auto admission = admitted(*rules, "CN=a");
  const AccessRules::Client* client = &clientOf(admission);
  EXPECT_EQ(whyRefused(command(2, call("echo")), options, client), "");
  EXPECT_EQ(whyRefused(command(3, std::string(kTime) + call("echo")), options, client), "");
  EXPECT_EQ(whyRefused(command(11, "12"), options, client), "");
  EXPECT_EQ(whyRefused(command(2, call("other\n")), options, client),
            "The rules of this server do not let CN=a call 'other\\n'.");
  EXPECT_EQ(whyRefused(command(3, std::string(kTime) + call("digest")), options, client),
            "The rules of this server do not let CN=a call 'digest'.");
  // What has no name, or is of a kind that nobody knows, could do anything.
  for (const int type : {0, 2, 3, 4, 255}) {
    EXPECT_EQ(whyRefused(command(static_cast<std::uint8_t>(type), ""), options, client),
              "The rules of this server allow calls of handlers, not commands of type " +
                  std::to_string(type) + ".");
    EXPECT_EQ(whyRefused(command(static_cast<std::uint8_t>(type), ""), options), "");
  }
}

}  // namespace FerrolinkTest
