// Servers on several machines that end, orderly or killed, while clients call them. Addresses of
// the loopback interface stand in for machines.
#include <optional>

#include "tests/companions/tcp/Certificates.h"
#include "tests/companions/tcp/ClientSupport.h"
#include "tests/companions/tcp/CountedCallers.h"
#include "tests/companions/tcp/Machines.h"
#include "tests/support/Counts.h"

namespace Ferrolink::Tests {
namespace {

using Options = ServerProcess::Arguments;

const Options kDrained{"--drain-ms", "1000"};

class Machines : public testing::Test {
 protected:
  void Start(const Options& options = {}) {
    m_one.emplace(8081, options);
    m_two.emplace(8082, options);
    m_one->Start();
    m_two->Start();
  }

  void StartBehindBalancer(const Options& options) {
    Start(options);
    m_balancer.emplace(8080, *m_one, *m_two);
    m_balancer->AwaitUp("one");
    m_balancer->AwaitUp("two");
  }

  // Its commands go to the first of these that accepts one.
  static std::unique_ptr<ITransport> ChannelTo(const std::string& first, const std::string& second,
                                               Kind kind = Kind::Plain) {
    Configure("192.0.2.1:8080", R"("connect": [")" + first + R"(", ")" + second + R"("])");
    return Ferrolink::Tests::ChannelTo("192.0.2.1", 8080, kind);
  }

  // Through the balancer, with two attempts.
  [[nodiscard]] std::unique_ptr<ITransport> ChannelThroughBalancer(Kind kind = Kind::Plain) const {
    return ChannelTo(m_balancer->Name(), m_balancer->Name(), kind);
  }

  // Restarts each machine in turn, as often as the environment says. Callers are served before,
  // during and after that.
  void RestartInTurn(ITransport& channel) {
    const long calls = CountOr("TEST_CALLS", 1000);
    const long restarts = CountOr("TEST_ROLLING_RESTARTS", 1);
    CountedCallers callers(channel, {.threads = 8, .least = calls});
    for (long restart = 0; restart < restarts; ++restart) {
      callers.AwaitAnswers(calls * restart / restarts);
      for (const char* name : {"one", "two"}) {
        Machine& machine = name == std::string("one") ? *m_one : *m_two;
        callers.AwaitFurtherAnswers(10);
        EXPECT_EQ(machine.end(), 0);
        callers.AwaitFurtherAnswers(10);
        machine.Start();
        if (m_balancer) {
          m_balancer->AwaitUp(name);
        }
      }
    }
    callers.AwaitFurtherAnswers(10);
    callers.Finish();
    const Tally tally = callers.CompareWith(m_record);
    tally.RecordProperties();
    RecordProperty("restarts_of_each", static_cast<int>(restarts));
    EXPECT_GE(tally.calls, 8 * calls);
    EXPECT_EQ(tally.executed, tally.calls);
    EXPECT_EQ(tally.errors, (std::map<std::string, long>{})) << TextsOf(tally);
    ExpectTruth(tally);
  }

  // Kills machines in turn, as often as the environment says. Callers are served in between.
  void Kill(ITransport& channel, const std::vector<Machine*>& machines) {
    const long kills = CountOr("TEST_KILLS", 5);
    CountedCallers callers(channel, {.threads = 32, .limitedEach = 8});
    for (long kill = 0; kill < kills; ++kill) {
      callers.AwaitFurtherAnswers(10);
      Machine& machine = *machines[static_cast<std::size_t>(kill) % machines.size()];
      machine.Kill();
      if (!m_balancer) {
        callers.AwaitFurtherRefusal();
      }
      machine.Start();
    }
    callers.AwaitFurtherAnswers(10);
    callers.Finish();
    const Tally tally = callers.CompareWith(m_record);
    tally.RecordProperties();
    RecordProperty("kills", static_cast<int>(kills));
    EXPECT_GE(tally.notExecuted, m_balancer ? 0 : kills);
    EXPECT_GT(tally.perhapsExecuted, 0);
    ExpectTruth(tally);
  }

  static void ExpectTruth(const Tally& tally) {
    EXPECT_EQ(tally.wrongAnswers, 0);
    EXPECT_EQ(tally.lost, 0);
    EXPECT_EQ(tally.twice, 0);
    EXPECT_EQ(tally.falselyNotExecuted, 0) << TextsOf(tally);
  }

  static std::string TextsOf(const Tally& tally) {
    std::string texts;
    for (const auto& [code, text] : tally.texts) {
      texts += std::to_string(tally.errors.at(code)) + " x " + text + "\n";
    }
    return texts;
  }

  [[nodiscard]] Options WithTls(Options options) const {
    options.insert(options.end(), {"--tls-certificate", m_certificate.File(), "--tls-key",
                                   m_certificate.KeyFile()});
    return options;
  }

  TemporaryDirectory m_directory;
  const std::string m_path = (m_directory.Path() / "executions").string();
  ExecutionRecord m_record{m_path};
  const Variable m_recorded{ExecutionRecord::kVariable, m_path};
  const Certificate m_certificate{[] {
    Certificate::Wish wish;
    wish.address = OwnLoopbackAddress();
    return wish;
  }()};
  const Variable m_believed{"FERROLINK_TLS_CA_FILE", m_certificate.File()};
  std::optional<Machine> m_one;
  std::optional<Machine> m_two;
  std::optional<Balancer> m_balancer;
};

using TcpRollingRestart = Machines;
using TcpKilledServer = Machines;

}  // namespace

TEST_F(TcpRollingRestart, FailsNoCommandBehindABalancer) {
  StartBehindBalancer(kDrained);
  RestartInTurn(*ChannelThroughBalancer());
  // While one of them was down, the other served its clients.
  const long restarts = CountOr("TEST_ROLLING_RESTARTS", 1);
  EXPECT_GE(m_balancer->Connections("one"), restarts);
  EXPECT_GE(m_balancer->Connections("two"), restarts);
}

TEST_F(TcpRollingRestart, FailsNoCommandOverTlsBehindABalancer) {
  StartBehindBalancer(WithTls(kDrained));
  RestartInTurn(*ChannelThroughBalancer(Kind::Tls));
}

TEST_F(TcpRollingRestart, FailsNoCommandWhereTheBalancerNoticesTooLate) {
  StartBehindBalancer({"--drain-ms", "0"});
  RestartInTurn(*ChannelThroughBalancer());
}

TEST_F(TcpRollingRestart, FailsNoCommandOfClientsThatKnowAllServers) {
  Start();
  RestartInTurn(*ChannelTo(m_one->Name(), m_two->Name()));
}

TEST_F(TcpKilledServer, HasExecutedNothingOfWhatClientsAreToldWasNotExecuted) {
  Start();
  Kill(*ChannelTo(m_one->Name(), m_one->Name()), {&*m_one});
}

TEST_F(TcpKilledServer, HasExecutedNothingOfThatOverTls) {
  Start(WithTls({}));
  Kill(*ChannelTo(m_one->Name(), m_one->Name(), Kind::Tls), {&*m_one});
}

TEST_F(TcpKilledServer, HasExecutedNothingOfThatBehindABalancer) {
  StartBehindBalancer({});
  Kill(*ChannelThroughBalancer(), {&*m_one, &*m_two});
}

}  // namespace Ferrolink::Tests
