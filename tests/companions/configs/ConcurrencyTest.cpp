#include <atomic>
#include <latch>
#include <string>
#include <thread>
#include <vector>

#include "tests/companions/configs/ConfigsFixture.h"

namespace Ferrolink::Tests {
namespace {

std::string SourceOf(char letter) {
  const std::string value(4000, letter);
  return R"({"proxy": {"host": ")" + value + R"("}, "runtimes": {"jvm": {"default": {"host": ")" +
         value + R"(", "port": )" + (letter == 'a' ? "1111" : "2222") + "}}}}";
}

TEST_F(Configs, ReadersSeeTheOldOrTheNewConfigurationWhileSourcesAreExchanged) {
  constexpr int kReaders = 4;
  constexpr int kExchanges = 300;
  const std::string first = SourceOf('a');
  const std::string second = SourceOf('b');
  const std::string path = m_directory.Write("b.json", second);
  ASSERT_EQ(0, SetSource(first));

  std::latch start(kReaders + 2);
  std::atomic<bool> done = false;
  std::atomic<int> mixtures = 0;
  std::atomic<int> failures = 0;
  std::vector<std::thread> threads;
  threads.reserve(kReaders + 1);
  for (int reader = 0; reader < kReaders; ++reader) {
    threads.emplace_back([&] {
      start.arrive_and_wait();
      do {
        const std::string host = Text("GetProxyHost");
        const std::string channelHost = Text("GetChannelHost", "jvm", "default");
        const int channelPort = Port("jvm", "default");
        const bool whole = host == std::string(4000, host.at(0)) &&
                           channelHost == std::string(4000, channelHost.at(0)) &&
                           (channelPort == 1111 || channelPort == 2222);
        mixtures += whole ? 0 : 1;
      } while (!done);
    });
  }
  threads.emplace_back([&] {
    start.arrive_and_wait();
    for (int exchange = 0; exchange < kExchanges; ++exchange) {
      failures += SetDirectory(exchange % 2 == 0 ? "/" : m_directory.Path()) == 0 ? 0 : 1;
    }
  });
  start.arrive_and_wait();
  for (int exchange = 0; exchange < kExchanges; ++exchange) {
    failures += SetSource(exchange % 2 == 0 ? path : first) == 0 ? 0 : 1;
  }
  done = true;
  for (std::thread& thread : threads) {
    thread.join();
  }
  EXPECT_EQ(0, mixtures);
  EXPECT_EQ(0, failures);
  EXPECT_EQ(std::string(4000, 'a'), Text("GetProxyHost"));
  EXPECT_EQ(m_directory.Path(), Text("GetWorkingDirectory"));
}

}  // namespace
}  // namespace Ferrolink::Tests
