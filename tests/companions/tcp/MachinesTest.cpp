// Servers on several machines that end, by an operator's hand or at once, while clients call them.
// The machines are addresses of the loopback interface.
#include <array>

#include "tests/companions/tcp/ClientSupport.h"
#include "tests/companions/tcp/CountedCallers.h"
#include "tests/companions/tcp/Machines.h"
#include "tests/support/Counts.h"

namespace FerrolinkTest {
namespace {

class Machines : public testing::Test {
 protected:
  Machines() {
    m_one.start();
    m_two.start();
  }

  // Through the balancer, which is tried twice.
  static std::unique_ptr<ITransport> channelThrough(const std::string& balancer) {
    configure("192.0.2.1:8080", R"("connect": [")" + balancer + R"(", ")" + balancer + R"("])");
    return channelTo("192.0.2.1", 8080);
  }

  static std::string textsOf(const Tally& tally) {
    std::string texts;
    for (const auto& [code, text] : tally.texts) {
      texts += std::to_string(tally.errors.at(code)) + " x " + text + "\n";
    }
    return texts;
  }

  TemporaryDirectory m_directory;
  const std::string m_path = (m_directory.path() / "executions").string();
  ExecutionRecord m_record{m_path};
  Variable m_variable{ExecutionRecord::kVariable, m_path};
  Machine m_one{8081};
  Machine m_two{8082};
};

using TcpRollingRestart = Machines;
using TcpKilledServer = Machines;

void expectNoneIsLostOrDoubled(const Tally& tally) {
  EXPECT_EQ(tally.wrongAnswers, 0);
  EXPECT_EQ(tally.lost, 0);
  EXPECT_EQ(tally.twice, 0);
  EXPECT_EQ(tally.falselyNotExecuted, 0);
}

}  // namespace

TEST_F(TcpRollingRestart, FailsNoCommandBehindABalancer) {
  const long calls = countOr("TEST_CALLS", 1000);
  const long restarts = countOr("TEST_ROLLING_RESTARTS", 1);
  const Balancer balancer(8080, m_one, m_two);
  balancer.awaitUp("one");
  balancer.awaitUp("two");
  const auto channel = channelThrough(balancer.name());
  CountedCallers callers(*channel, {.threads = 8, .least = calls});
  for (long restart = 0; restart < restarts; ++restart) {
    callers.awaitAnswers(calls * restart / restarts);
    for (auto& [name, machine] :
         std::array<std::pair<const char*, Machine&>, 2>{{{"one", m_one}, {"two", m_two}}}) {
      callers.awaitFurtherAnswers(10);
      EXPECT_EQ(machine.end(), 0);
      callers.awaitFurtherAnswers(10);
      machine.start();
      balancer.awaitUp(name);
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
  expectNoneIsLostOrDoubled(tally);
  // All that one of them served was served by the other while it was away.
  EXPECT_GE(balancer.connections("one"), restarts);
  EXPECT_GE(balancer.connections("two"), restarts);
}

TEST_F(TcpKilledServer, HasExecutedNothingThatClientsAreToldWasNotExecuted) {
  const long kills = countOr("TEST_KILLS", 5);
  const auto channel = channelTo(ownLoopbackAddress().c_str(), 8081);
  CountedCallers callers(*channel, {.threads = 32, .limitedEach = 8});
  for (long kill = 0; kill < kills; ++kill) {
    callers.awaitFurtherAnswers(10);
    m_one.kill();
    m_one.start();
  }
  callers.awaitFurtherAnswers(10);
  callers.finish();
  const Tally tally = callers.tally(m_record);
  tally.recordProperties();
  RecordProperty("kills", static_cast<int>(kills));
  expectNoneIsLostOrDoubled(tally);
  EXPECT_GT(tally.notExecuted, 0);
  EXPECT_GT(tally.perhapsExecuted, 0);
}

TEST_F(TcpKilledServer, HasExecutedNothingOfThatBehindABalancerEither) {
  const long kills = countOr("TEST_KILLS", 5);
  const Balancer balancer(8080, m_one, m_two);
  balancer.awaitUp("one");
  balancer.awaitUp("two");
  const auto channel = channelThrough(balancer.name());
  CountedCallers callers(*channel, {.threads = 32, .limitedEach = 8});
  for (long kill = 0; kill < kills; ++kill) {
    Machine& machine = kill % 2 == 0 ? m_one : m_two;
    callers.awaitFurtherAnswers(10);
    machine.kill();
    machine.start();
  }
  callers.awaitFurtherAnswers(10);
  callers.finish();
  const Tally tally = callers.tally(m_record);
  tally.recordProperties();
  RecordProperty("kills", static_cast<int>(kills));
  expectNoneIsLostOrDoubled(tally);
  EXPECT_GT(tally.perhapsExecuted, 0);
}

}  // namespace FerrolinkTest
