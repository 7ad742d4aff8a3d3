// Commands, deployments and reads inside one another, and between those of other threads.
#include <thread>

#include "tests/transport/Channels.h"

namespace Ferrolink::Tests {

namespace {

// Inside the first command in memory: a nested command over the network, read at once.
void SendNested(const char* call) {
  if (std::string(call).rfind("Receiver.SendCommand", 0) == 0) {
    HookSibling(kCpp, nullptr);
    Send(TheTransmitter(), Network(1, 7));
    Report("nested " + Read(TheTransmitter()));
  }
}

// The other way round, and the nested command fails.
void SendNestedInMemory(const char* call) {
  if (std::string(call).rfind("Channel.SendCommand", 0) == 0) {
    HookSibling(kTcp, nullptr);
    Report(ThrownBy([] { Send(TheTransmitter(), InMemory()); }));
  }
}

}  // namespace

PROCESS_CASE(nestedOverNetwork) {
  HookSibling(kCpp, &SendNested);
  Send(TheTransmitter(), InMemory());
  Report("outer " + Read(TheTransmitter()));
}

TEST(NativeTransmitterNesting, ANestedCommandLeavesTheOuterOneItsChannel) {
  Channels siblings;
  siblings.Expect("nestedOverNetwork", {"nested 7", "outer 90"});
}

TEST(NativeTransmitterNesting, ANestedCommandLeavesAFailingOuterOneItsChannel) {
  Channels siblings;
  CaseOptions options;
  options.environment["FAKE_SIBLING_THROW"] = kCpp;
  options.environment["FAKE_SIBLING_THROW_IN"] = "Receiver.SendCommand";
  const CaseResult result = siblings.Run("nestedInFailing", options);
  EXPECT_EQ(result.report, (Texts{"nested 7", "Receiver.SendCommand failed", "outer 90"}));
}

PROCESS_CASE(nestedInFailing) {
  HookSibling(kCpp, &SendNested);
  Report(ThrownBy([] { Send(TheTransmitter(), InMemory()); }));
  Report("outer " + Read(TheTransmitter()));
}

PROCESS_CASE(nestedFails) {
  HookSibling(kTcp, &SendNestedInMemory);
  Report(Send(TheTransmitter(), Network(1, 7)));
  Report("outer " + Read(TheTransmitter()));
}

TEST(NativeTransmitterNesting, ANestedCommandThatFailsLeavesTheOuterOneItsChannel) {
  Channels siblings;
  CaseOptions options;
  options.environment["FAKE_SIBLING_THROW"] = kCpp;
  options.environment["FAKE_SIBLING_THROW_IN"] = "Receiver.SendCommand";
  siblings.Expect("nestedFails", {"Receiver.SendCommand failed", "2011", "outer 7"}, options);
}

PROCESS_CASE(nestedInEmbedding) {
  HookSibling(kCpp, [](const char* call) {
    if (std::string(call).rfind("Receiver.SetEmbeddedRuntime", 0) == 0) {
      Send(TheTransmitter(), Network(1, 7));
    }
  });
  TheTransmitter().SetEmbeddedRuntime(2, 8, 3, "path");
  Report(Read(TheTransmitter()));
}

TEST(NativeTransmitterNesting, ACommandInsideAnEmbeddingLeavesItItsChannel) {
  Channels siblings;
  siblings.Expect("nestedInEmbedding", {"90"});
}

PROCESS_CASE(nestedInDeployment) {
  HookSibling(kCpp, [](const char* call) {
    if (std::string(call).rfind("Transmitter.DeployRuntime", 0) == 0) {
      Send(TheTransmitter(), Network(1, 7));
    }
  });
  Bytes message = InMemory();
  TheTransmitter().DeployRuntime(message.data(), 11, "path", 1);
  Report(Read(TheTransmitter()));
}

TEST(NativeTransmitterNesting, ACommandInsideADeploymentLeavesItItsChannel) {
  Channels siblings;
  siblings.Expect("nestedInDeployment", {"90"});
}

PROCESS_CASE(nestedInRead) {
  Send(TheTransmitter(), InMemory());
  HookSibling(kCpp, [](const char* call) {
    if (std::string(call).rfind("Receiver.ReadResponse", 0) == 0) {
      HookSibling(kCpp, nullptr);
      Send(TheTransmitter(), Network(1, 7));
    }
  });
  Report(Read(TheTransmitter()));
  Report(Read(TheTransmitter()));
}

TEST(NativeTransmitterNesting, ACommandInsideAReadLeavesItItsChannel) {
  Channels siblings;
  siblings.Expect("nestedInRead", {"90", "90"});
}

PROCESS_CASE(deployBack) {
  HookSibling(kCpp, [](const char* call) {
    if (std::string(call).rfind("Transmitter.DeployRuntime", 0) == 0) {
      Bytes message = InMemory();
      Report(TheTransmitter().DeployRuntime(message.data(), 11, "back", 2));
    }
  });
  Bytes message = InMemory();
  Report(TheTransmitter().DeployRuntime(message.data(), 11, "there", 1));
  Report(TheTransmitter().DeployRuntime(message.data(), 11, "again", 3));
}

TEST(NativeTransmitterNesting, ADeploymentThatIsForwardedBackGoesToTheReceiver) {
  Channels siblings;
  siblings.Expect("deployBack", {"51", "61", "51", "61"});
  const std::string bytes = "(8 3 0 0 0 0 0 0 0 2 2, ";
  const std::string calls = siblings.Calls();
  EXPECT_EQ(calls.substr(calls.find("Cpp: Transmitter.DeployRuntime")),
            "Cpp: Transmitter.DeployRuntime" + bytes + "there, 1)\n" +
                "Cpp: Receiver.DeployRuntime" + bytes + "back, 2)\n" +
                "Cpp: Transmitter.DeployRuntime" + bytes + "again, 3)\n" +
                "Cpp: Receiver.DeployRuntime" + bytes + "back, 2)\n");
}

namespace {

std::string ReadOnANewThread() {
  std::string filled;
  std::thread([&] { filled = Read(TheTransmitter()); }).join();
  return filled;
}

void SendOnANewThread(const Bytes& command) {
  std::thread([&] { Send(TheTransmitter(), command); }).join();
}

}  // namespace

PROCESS_CASE(alternateThreads) {
  Send(TheTransmitter(), Network(1, 7));
  SendOnANewThread(Network(1, 8));
  Report(ReadOnANewThread());
  Send(TheTransmitter(), Network(1, 7));
  Report(ReadOnANewThread());
  SendOnANewThread(InMemory());
  Report(ReadOnANewThread());
  Send(TheTransmitter(), Network(1, 7));
  Report(ReadOnANewThread());
}

TEST(NativeTransmitterNesting, AThreadWithoutACommandReadsFromTheLatestOfAnyThread) {
  Channels siblings;
  siblings.Expect("alternateThreads", {"8", "7", "90", "7"});
}

PROCESS_CASE(givenBetween) {
  Send(TheTransmitter(), Network(1, 7));
  std::thread([] { TheTransmitter().SetTransportChannel(new NamedChannel("given")); }).join();
  Send(TheTransmitter(), Network(1, 7));
  Report(ReadOnANewThread());
}

TEST(NativeTransmitterNesting, ACommandAfterAnotherThreadsGivenChannelIsTheLatest) {
  Channels siblings;
  siblings.Expect("givenBetween", {"~given", "7"});
}

}  // namespace Ferrolink::Tests
