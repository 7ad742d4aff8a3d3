// Servers on several machines that end, by an operator's hand or at once, while clients call them.
// The machines are an address of the loopback interface.
#include <optional>

#include "tests/companions/tcp/Certificates.h"
#include "tests/companions/tcp/ClientSupport.h"
#include "tests/companions/tcp/CountedCallers.h"
#include "tests/companions/tcp/Machines.h"
#include "tests/support/Counts.h"

namespace FerrolinkTest {
namespace {

using Options = ServerProcess::Arguments;

const Options kDrained{"--drain-ms", "1000"};

class Machines : public testing::Test {
 protected:
  void start(const Options& options = {}) {
    m_one.emplace(8081, options);
    m_two.emplace(8082, options);
    m_one->start();
    m_two->start();
  }

  void startBehindBalancer(const Options& options) {
    start(options);
    m_balancer.emplace(8080, *m_one, *m_two);
    m_balancer->awaitUp("one");
    m_balancer->awaitUp("two");
  }

  // To the first of these that takes a command.
  static std::unique_ptr<ITransport> channelTo(const std::string& first, const std::string& second,
                                               Kind kind = Kind::Plain) {
    configure("192.0.2.1:8080", R"("connect": [")" + first + R"(", ")" + second + R"("])");
    return FerrolinkTest::channelTo("192.0.2.1", 8080, kind);
  }

  // Through the balancer, which is tried twice.
  [[nodiscard]] std::unique_ptr<ITransport> channelThroughBalancer(Kind kind = Kind::Plain) const {
    return channelTo(m_balancer->name(), m_balancer->name(), kind);
  }

  // Each machine in turn, as often as the environment says. Callers are served before, meanwhile
  // and after.
  void restartInTurn(ITransport& channel) {
    const long calls = countOr("TEST_CALLS", 1000);
    const long restarts = countOr("TEST_ROLLING_RESTARTS", 1);
    CountedCallers callers(channel, {.threads = 8, .least = calls});
    for (long restart = 0; restart < restarts; ++restart) {
      callers.awaitAnswers(calls * restart / restarts);
      for (const char* name : {"one", "two"}) {
        Machine& machine = name == std::string("one") ? *m_one : *m_two;
        callers.awaitFurtherAnswers(10);
        EXPECT_EQ(machine.end(), 0);
        callers.awaitFurtherAnswers(10);
        machine.start();
        if (m_balancer) {
          m_balancer->awaitUp(name);
        }
      }
    }
    callers.awaitFurtherAnswers(10);
    callers.finish();
    const Tally tally = callers.tally(m_record);
    tally.recordProperties();
    RecordProperty("restarts_of_each", static_cast<int>(restarts));
    EXPECT_GE(tally.calls, 8 * calls);
    EXPECT_EQ(tally.executed, tally.calls);
    EXPECT_EQ(tally.errors, (std::map<std::string, long>{})) << textsOf(tally);
    expectTruth(tally);
  }

  // Machines in turn, as often as the environment says. Callers are served between.
  void kill(ITransport& channel, const std::vector<Machine*>& machines) {
    const long kills = countOr("TEST_KILLS", 5);
    CountedCallers callers(channel, {.threads = 32, .limitedEach = 8});
    for (long kill = 0; kill < kills; ++kill) {
      callers.awaitFurtherAnswers(10);
      Machine& machine = *machines[static_cast<std::size_t>(kill) % machines.size()];
      machine.kill();
      if (!m_balancer) {
        callers.awaitFurtherRefusal();
      }
      machine.start();
    }
    callers.awaitFurtherAnswers(10);
    callers.finish();
    const Tally tally = callers.tally(m_record);
    tally.recordProperties();
    RecordProperty("kills", static_cast<int>(kills));
    EXPECT_GE(tally.notExecuted, m_balancer ? 0 : kills);
    EXPECT_GT(tally.perhapsExecuted, 0);
    expectTruth(tally);
  }

  static void expectTruth(const Tally& tally) {
    EXPECT_EQ(tally.wrongAnswers, 0);
    EXPECT_EQ(tally.lost, 0);
    EXPECT_EQ(tally.twice, 0);
    EXPECT_EQ(tally.falselyNotExecuted, 0) << textsOf(tally);
  }

  static std::string textsOf(const Tally& tally) {
    std::string texts;
    for (const auto& [code, text] : tally.texts) {
      texts += std::to_string(tally.errors.at(code)) + " x " + text + "\n";
    }
    return texts;
  }

  [[nodiscard]] Options withTls(Options options) const {
    options.insert(options.end(), {"--tls-certificate", m_certificate.file(), "--tls-key",
                                   m_certificate.keyFile()});
    return options;
  }

  TemporaryDirectory m_directory;
  const std::string m_path = (m_directory.path() / "executions").string();
  ExecutionRecord m_record{m_path};
  const Variable m_recorded{ExecutionRecord::kVariable, m_path};
  const Certificate m_certificate{[] {
    Certificate::Wish wish;
    wish.address = ownLoopbackAddress();
    return wish;
  }()};
  const Variable m_believed{"FERROLINK_TLS_CA_FILE", m_certificate.file()};
  std::optional<Machine> m_one;
  std::optional<Machine> m_two;
  std::optional<Balancer> m_balancer;
};

using TcpRollingRestart = Machines;
using TcpKilledServer = Machines;

}  // namespace

TEST_F(TcpRollingRestart, FailsNoCommandBehindABalancer) {
  startBehindBalancer(kDrained);
  restartInTurn(*channelThroughBalancer());
  // What one of them served was served by the other while it was away.
  const long restarts = countOr("TEST_ROLLING_RESTARTS", 1);
  EXPECT_GE(m_balancer->connections("one"), restarts);
  EXPECT_GE(m_balancer->connections("two"), restarts);
}

TEST_F(TcpRollingRestart, FailsNoCommandOverTlsBehindABalancer) {
  startBehindBalancer(withTls(kDrained));
  restartInTurn(*channelThroughBalancer(Kind::Tls));
}

TEST_F(TcpRollingRestart, FailsNoCommandWhereTheBalancerNoticesTooLate) {
  startBehindBalancer({"--drain-ms", "0"});
  restartInTurn(*channelThroughBalancer());
}

TEST_F(TcpRollingRestart, FailsNoCommandOfClientsThatKnowAllServers) {
  start();
  restartInTurn(*channelTo(m_one->name(), m_two->name()));
}

TEST_F(TcpKilledServer, HasExecutedNothingOfWhatClientsAreToldWasNotExecuted) {
  start();
  kill(*channelTo(m_one->name(), m_one->name()), {&*m_one});
}

TEST_F(TcpKilledServer, HasExecutedNothingOfThatOverTls) {
  start(withTls({}));
  kill(*channelTo(m_one->name(), m_one->name(), Kind::Tls), {&*m_one});
}

TEST_F(TcpKilledServer, HasExecutedNothingOfThatBehindABalancer) {
  startBehindBalancer({});
  kill(*channelThroughBalancer(), {&*m_one, &*m_two});
}

}  // namespace FerrolinkTest
