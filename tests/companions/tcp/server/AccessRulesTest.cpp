// Access rules: the names in certificates, and the gate's verdict on a command.
#include "companions/tcp/server/AccessRules.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <latch>
#include <thread>

#include "companions/configs/Configuration.h"
#include "companions/configs/JsonDocument.h"
#include "companions/tcp/server/CommandGate.h"
#include "ferrolink/protocol/Commands.h"

namespace Ferrolink::Tests {
namespace {

using namespace Ferrolink::Companions::Tcp::Server;
using Ferrolink::Companions::ConfigurationError;
using Ferrolink::Companions::JsonNode;
using Ferrolink::Companions::ParseJson;

AccessRules::Admission Admitted(AccessRules& rules, const std::string& subject,
                                std::vector<std::string> names = {}) {
  return rules.Admit({"127.0.0.1", subject, std::move(names)});
}

// Rules from a text. They do not refer to the parsed document.
std::unique_ptr<AccessRules> RulesOf(const std::string& text) {
  const nlohmann::json document = ParseJson(text);
  return std::make_unique<AccessRules>(JsonNode(document));
}

std::string RefusalOf(const std::string& text) {
  try {
    RulesOf(text);
    return "(none)";
  } catch (const ConfigurationError& error) {
    return error.what();
  }
}

const AccessRules::Client& ClientOf(const AccessRules::Admission& admission) {
  return *std::get<std::unique_ptr<AccessRules::Client>>(admission);
}

const std::string& WhyNot(const AccessRules::Admission& admission) {
  return std::get<std::string>(admission);
}

std::vector<std::uint8_t> Command(std::uint8_t type, std::string_view body) {
  std::vector<std::uint8_t> command = Protocol::EmptyCommand(
      {.target = Protocol::Runtime::Cpp, .caller = Protocol::Runtime::Jvm}, type);
  command.insert(command.end(), body.begin(), body.end());
  return command;
}

std::string Call(std::string_view handler) {
  return static_cast<char>(handler.size()) + std::string(handler) + "payload";
}

constexpr std::string_view kTime("\0\0\x03\xe8", 4);

}  // namespace

TEST(AccessRules, LetEverybodyCallWhereThereAreNone) {
  const AccessRules none;
  EXPECT_FALSE(none.Exist());
  EXPECT_FALSE(none.NeedCertificates());
}

TEST(AccessRules, AllowHandlersByNameAndByBeginning) {
  const auto rules =
      RulesOf(R"([{"clients": ["subject:CN=a"], "handlers": ["echo", "orders.*"]}])");
  const auto admission = Admitted(*rules, "CN=a");
  const AccessRules::Client& client = ClientOf(admission);
  EXPECT_EQ(client.Name(), "CN=a");
  for (const char* allowed : {"echo", "orders.", "orders.list"}) {
    EXPECT_TRUE(client.MayCall(allowed)) << allowed;
  }
  for (const char* refused : {"", "ech", "echo2", "Echo", "orders", "orders*"}) {
    EXPECT_FALSE(client.MayCall(refused)) << refused;
  }
  EXPECT_FALSE(client.MayLoad());
}

TEST(AccessRules, TheFirstOneThatNamesAClientCounts) {
  const auto rules = RulesOf(R"([
      {"clients": ["dns:a.example"], "handlers": ["one"]},
      {"clients": ["subject:CN=a", "ip:10.0.0.7"], "handlers": ["two"], "load-libraries": true},
      {"clients": ["*"], "handlers": ["*"], "load-libraries": false}])");
  EXPECT_TRUE(rules->NeedCertificates());
  const auto both = Admitted(*rules, "CN=a", {"dns:a.example"});
  EXPECT_TRUE(ClientOf(both).MayCall("one"));
  EXPECT_FALSE(ClientOf(both).MayCall("two"));
  const auto second = Admitted(*rules, "CN=b", {"dns:b.example", "ip:10.0.0.7"});
  EXPECT_TRUE(ClientOf(second).MayCall("two"));
  EXPECT_TRUE(ClientOf(second).MayLoad());
  const auto others = rules->Admit({"127.0.0.1", "", {}});
  EXPECT_EQ(ClientOf(others).Name(), "127.0.0.1");
  EXPECT_TRUE(ClientOf(others).MayCall("whatever"));
  EXPECT_FALSE(ClientOf(others).MayLoad());
}

TEST(AccessRules, NameSubjectsAsTheLogHasThem) {
  const std::string subject = "emailAddress=a@b.example,CN=a";
  const auto rules = RulesOf(R"([{"clients": ["subject:)" + subject + R"("], "handlers": []}])");
  EXPECT_EQ(ClientOf(Admitted(*rules, subject)).Name(), subject);
}

TEST(AccessRules, RefuseWhomTheyDoNotName) {
  const auto rules = RulesOf(R"([{"clients": ["subject:CN=a"], "handlers": []}])");
  EXPECT_EQ(WhyNot(Admitted(*rules, "CN=b")), "No rule of this server names CN=b.");
  EXPECT_EQ(WhyNot(rules->Admit({"10.1.2.3", "", {}})), "No rule of this server names 10.1.2.3.");
  EXPECT_EQ(WhyNot(Admitted(*rules, "", {"dns:a"})), "No rule of this server names 127.0.0.1.");
}

TEST(AccessRules, LimitTheConnectionsOfAClient) {
  const auto rules = RulesOf(R"([{"clients": ["*"], "handlers": ["*"], "max-connections": 2}])");
  const auto first = Admitted(*rules, "CN=a");
  {
    const auto second = Admitted(*rules, "CN=a");
    EXPECT_EQ(WhyNot(Admitted(*rules, "CN=a")),
              "CN=a has 2 connections, as many as its rule allows.");
    const auto other = Admitted(*rules, "CN=b");
    EXPECT_EQ(ClientOf(other).Name(), "CN=b");
  }
  const auto again = Admitted(*rules, "CN=a");
  EXPECT_EQ(ClientOf(again).Name(), "CN=a");
}

TEST(AccessRules, LimitTheCallsOfAClientOverAllItsConnections) {
  const auto rules = RulesOf(R"([{"clients": ["*"], "handlers": ["*"], "max-calls": 2}])");
  const auto one = Admitted(*rules, "CN=a");
  const auto two = Admitted(*rules, "CN=a");
  const auto other = Admitted(*rules, "CN=b");
  auto first = ClientOf(one).BeginCall();
  const auto second = ClientOf(two).BeginCall();
  EXPECT_TRUE(first && second);
  EXPECT_FALSE(ClientOf(one).BeginCall());
  EXPECT_EQ(ClientOf(one).TooManyCalls(),
            "CN=a has 2 calls under way, as many as its rule allows.");
  EXPECT_TRUE(ClientOf(other).BeginCall());
  first.reset();
  EXPECT_TRUE(ClientOf(two).BeginCall());
}

TEST(AccessRules, CountRightlyOnManyThreads) {
  const auto rules =
      RulesOf(R"([{"clients": ["*"], "handlers": ["*"], "max-connections": 4, "max-calls": 3}])");
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
        const auto admission = Admitted(*rules, "CN=a");
        if (std::holds_alternative<std::string>(admission)) {
          continue;
        }
        tooMany += ++connections > 4 ? 1 : 0;
        if (const auto permitted = ClientOf(admission).BeginCall()) {
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
  const auto admission = Admitted(*rules, "CN=a");
  const auto first = ClientOf(admission).BeginCall();
  const auto second = ClientOf(admission).BeginCall();
  const auto third = ClientOf(admission).BeginCall();
  EXPECT_TRUE(first && second && third);
}

TEST(AccessRules, SayWhereTheyAreWrong) {
  const auto rule = [](const std::string& members) {
    return RefusalOf(R"([{"clients": ["*"], "handlers": ["*"]}, {)" + members + "}]");
  };
  EXPECT_EQ(RefusalOf("{}"), "expected an array, got an object");
  EXPECT_EQ(RefusalOf("[]"), "expected at least one rule; without \"rules\" everybody may call");
  EXPECT_EQ(RefusalOf("[1]"), "/0: expected an object, got 1");
  EXPECT_EQ(rule(R"("handlers": [])"), "/1: a rule needs \"clients\"");
  EXPECT_EQ(rule(R"("clients": ["*"])"), "/1: a rule needs \"handlers\"");
  EXPECT_EQ(rule(R"("clients": [], "handlers": [])"),
            "/1: \"clients\" is empty, so the rule is for nobody");
  EXPECT_EQ(rule(R"("clients": ["*"], "handlers": ["a*b"])"),
            "/1/handlers/0: a \"*\" may only stand at the end of a handler's name");
  EXPECT_EQ(rule(R"("clients": ["*"], "handlers": ["x", "load-archives"])"),
            "/1/handlers/1: \"load-archives\" is allowed by \"load-libraries\": true");
  EXPECT_EQ(rule(R"("clients": ["*"], "handlers": ["objects"])"),
            "/1/handlers/0: \"objects\" is allowed by \"objects\": true");
  EXPECT_EQ(rule(R"("clients": ["*"], "handlers": ["objects-17"])"),
            "/1/handlers/0: \"objects-17\" is allowed by \"objects\": true");
  EXPECT_EQ(rule(R"("clients": ["*"], "handlers": [], "objects": "yes")"),
            "/1/objects: expected true or false, got \"yes\"");
  EXPECT_EQ(rule(R"("clients": ["*"], "handlers": [""])"),
            "/1/handlers/0: expected a text that is not empty, got \"\"");
  EXPECT_EQ(rule(R"("clients": ["*"], "handlers": [], "load-libraries": 1)"),
            "/1/load-libraries: expected true or false, got 1");
  EXPECT_EQ(rule(R"("clients": ["*"], "handlers": [], "max-calls": 0)"),
            "/1/max-calls: expected an integer 1 to 65535, got 0");
  EXPECT_EQ(rule(R"("client": ["*"])"),
            "/1/client: unknown key; allowed are \"clients\", \"handlers\", \"load-libraries\", "
            "\"objects\", \"max-connections\", \"max-calls\"");
  for (const char* name :
       {"orders", "subject:", "subject:orders", "dns:", "dns:a b", "ip:10.0.0", "email:x", "x:y"}) {
    EXPECT_THAT(rule(R"("handlers": [], "clients": ["*", ")" + std::string(name) + "\"]"),
                testing::StartsWith("/1/clients/1: expected \"*\" or a name in a certificate, "))
        << name;
  }
}

TEST(AccessRules, CompareNamesInOneForm) {
  EXPECT_EQ(CanonicalName("subject:cn = a b , o= Example"), "subject:CN=a b,O=Example");
  EXPECT_EQ(CanonicalName("subject:CN=a\\, b+OU=x\\ ,O=y=z"), "subject:CN=a\\, b+OU=x\\ ,O=y=z");
  EXPECT_EQ(CanonicalName("dns:A.Example"), "dns:a.example");
  EXPECT_EQ(CanonicalName("ip:::FFFF:0:1"), "ip:::ffff:0.0.0.1");
  EXPECT_EQ(CanonicalName("ip:2001:DB8:0:0::1"), "ip:2001:db8::1");
  EXPECT_EQ(CanonicalName("email:Me@Example.ORG"), "email:Me@example.org");
  EXPECT_EQ(CanonicalName("uri:spiffe://Example/X"), "uri:spiffe://Example/X");
}

TEST(CommandGate, FindsTheHandlerOfACall) {
  const auto found = [](std::uint8_t type, std::string_view body) {
    return std::string(HandlerOf(Command(type, body)));
  };
  EXPECT_EQ(found(2, Call("echo")), "echo");
  EXPECT_EQ(found(3, std::string(kTime) + Call("echo")), "echo");
  EXPECT_EQ(found(2, "\4ech"), "");
  EXPECT_EQ(found(3, std::string(kTime)), "");
  EXPECT_EQ(found(3, Call("echo")), "");
  EXPECT_EQ(found(2, ""), "");
  EXPECT_EQ(found(11, Call("echo")), "");
  EXPECT_EQ(HandlerOf(std::vector<std::uint8_t>(10)), "");
}

TEST(CommandGate, RefusesToLoadUnlessItIsAllowed) {
  ServerOptions options;
  constexpr const char* kRefusal =
      "This server loads no libraries for its clients. Start it with --plug-in FILE, or with "
      "--allow-load-library.";
  const std::vector<std::vector<std::uint8_t>> loading = {
      Command(1, std::string(20, 'x')), Command(2, Call("load-archives")),
      Command(3, std::string(kTime) + Call("load-archives"))};
  const auto rules = RulesOf(R"([{"clients": ["subject:CN=a"], "handlers": []},
      {"clients": ["*"], "handlers": ["*"], "load-libraries": true}])");
  const auto strict = Admitted(*rules, "CN=a");
  const auto generous = Admitted(*rules, "CN=b");
  for (const auto& one : loading) {
    EXPECT_EQ(WhyRefused(one, options), kRefusal);
    EXPECT_EQ(WhyRefused(one, options, &ClientOf(strict)), kRefusal);
    EXPECT_EQ(WhyRefused(one, options, &ClientOf(generous)), "");
  }
  options.allowLoadLibrary = true;
  for (const auto& one : loading) {
    EXPECT_EQ(WhyRefused(one, options), "");
    EXPECT_EQ(WhyRefused(one, options, &ClientOf(strict)), "");
  }
}

TEST(CommandGate, RefusesObjectsUnlessTheyAreAllowed) {
  ServerOptions options;
  constexpr const char* kRefusal =
      "This server allows its clients no typed calls, because these can run any code. Start it "
      "with "
      "--allow-objects to allow them.";
  const std::vector<std::vector<std::uint8_t>> requests = {
      Command(2, Call("objects")), Command(3, std::string(kTime) + Call("objects")),
      Command(2, Call("objects-1")), Command(3, std::string(kTime) + Call("objects-"))};
  const auto rules = RulesOf(R"([
      {"clients": ["subject:CN=a"], "handlers": ["*"], "load-libraries": true},
      {"clients": ["*"], "handlers": [], "objects": true}])");
  EXPECT_TRUE(rules->AllowObjects());
  EXPECT_TRUE(rules->AllowLoadLibrary());
  EXPECT_FALSE(RulesOf(R"([{"clients": ["*"], "handlers": ["*"]}])")->AllowObjects());
  EXPECT_FALSE(RulesOf(R"([{"clients": ["*"], "handlers": ["*"]}])")->AllowLoadLibrary());
  const auto strict = Admitted(*rules, "CN=a");
  const auto generous = Admitted(*rules, "CN=b");
  for (const auto& one : requests) {
    EXPECT_EQ(WhyRefused(one, options), kRefusal);
    EXPECT_EQ(WhyRefused(one, options, &ClientOf(strict)), kRefusal);
    EXPECT_EQ(WhyRefused(one, options, &ClientOf(generous)), "");
  }
  EXPECT_EQ(WhyRefused(Command(2, Call("object")), options), "");
  EXPECT_EQ(WhyRefused(Command(2, Call("objectss")), options), "");
  options.allowLoadLibrary = true;
  EXPECT_EQ(WhyRefused(requests.front(), options), kRefusal);
  options.allowObjects = true;
  for (const auto& one : requests) {
    EXPECT_EQ(WhyRefused(one, options), "");
    EXPECT_EQ(WhyRefused(one, options, &ClientOf(strict)), "");
  }
}

TEST(CommandGate, HoldsCommandsAgainstTheRules) {
  const ServerOptions options;
  const auto rules = RulesOf(R"([{"clients": ["subject:CN=a"], "handlers": ["echo"]}])");
  const auto admission = Admitted(*rules, "CN=a");
  const AccessRules::Client* client = &ClientOf(admission);
  EXPECT_EQ(WhyRefused(Command(2, Call("echo")), options, client), "");
  EXPECT_EQ(WhyRefused(Command(3, std::string(kTime) + Call("echo")), options, client), "");
  EXPECT_EQ(WhyRefused(Command(11, "12"), options, client), "");
  EXPECT_EQ(WhyRefused(Command(2, Call("other\n")), options, client),
            "The rules of this server do not let CN=a call 'other\\n'.");
  EXPECT_EQ(WhyRefused(Command(3, std::string(kTime) + Call("digest")), options, client),
            "The rules of this server do not let CN=a call 'digest'.");
  // A command without a name, or of an unknown type, could do anything.
  for (const int type : {0, 2, 3, 4, 255}) {
    EXPECT_EQ(WhyRefused(Command(static_cast<std::uint8_t>(type), ""), options, client),
              "The rules of this server allow calls of handlers, not commands of type " +
                  std::to_string(type) + ".");
    EXPECT_EQ(WhyRefused(Command(static_cast<std::uint8_t>(type), ""), options), "");
  }
}

}  // namespace Ferrolink::Tests
