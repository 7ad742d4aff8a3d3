// Commands, deployments and reads inside one another, and between those of other threads.
#include <thread>

#include "tests/transport/Channels.h"

namespace FerrolinkTest {

namespace {

// Inside the first command in memory: a nested command over the network, read at once.
void sendNested(const char* call) {
  if (std::string(call).rfind("Receiver.SendCommand", 0) == 0) {
    hookSibling(kCpp, nullptr);
    send(theTransmitter(), network(1, 7));
    report("nested " + read(theTransmitter()));
  }
}

// The other way round, and the nested command fails.
void sendNestedInMemory(const char* call) {
  if (std::string(call).rfind("Channel.SendCommand", 0) == 0) {
    hookSibling(kTcp, nullptr);
    report(thrownBy([] { send(theTransmitter(), inMemory()); }));
  }
}

}  // namespace

PROCESS_CASE(nestedOverNetwork) {
  hookSibling(kCpp, &sendNested);
  send(theTransmitter(), inMemory());
  report("outer " + read(theTransmitter()));
}

TEST(NativeTransmitterNesting, ANestedCommandLeavesTheOuterOneItsChannel) {
  Channels siblings;
  siblings.expect("nestedOverNetwork", {"nested 7", "outer 90"});
}

TEST(NativeTransmitterNesting, ANestedCommandLeavesAFailingOuterOneItsChannel) {
  Channels siblings;
  CaseOptions options;
  options.environment["FAKE_SIBLING_THROW"] = kCpp;
  options.environment["FAKE_SIBLING_THROW_IN"] = "Receiver.SendCommand";
  const CaseResult result = siblings.run("nestedInFailing", options);
  EXPECT_EQ(result.report, (Texts{"nested 7", "Receiver.SendCommand failed", "outer 90"}));
}

PROCESS_CASE(nestedInFailing) {
  hookSibling(kCpp, &sendNested);
  report(thrownBy([] { send(theTransmitter(), inMemory()); }));
  report("outer " + read(theTransmitter()));
}

PROCESS_CASE(nestedFails) {
  hookSibling(kTcp, &sendNestedInMemory);
  report(send(theTransmitter(), network(1, 7)));
  report("outer " + read(theTransmitter()));
}

TEST(NativeTransmitterNesting, ANestedCommandThatFailsLeavesTheOuterOneItsChannel) {
  Channels siblings;
  CaseOptions options;
  options.environment["FAKE_SIBLING_THROW"] = kCpp;
  options.environment["FAKE_SIBLING_THROW_IN"] = "Receiver.SendCommand";
  siblings.expect("nestedFails", {"Receiver.SendCommand failed", "2011", "outer 7"}, options);
}

PROCESS_CASE(nestedInEmbedding) {
  hookSibling(kCpp, [](const char* call) {
    if (std::string(call).rfind("Receiver.SetEmbeddedRuntime", 0) == 0) {
      send(theTransmitter(), network(1, 7));
    }
  });
  theTransmitter().SetEmbeddedRuntime(2, 8, 3, "path");
  report(read(theTransmitter()));
}

TEST(NativeTransmitterNesting, ACommandInsideAnEmbeddingLeavesItItsChannel) {
  Channels siblings;
  siblings.expect("nestedInEmbedding", {"90"});
}

PROCESS_CASE(nestedInDeployment) {
  hookSibling(kCpp, [](const char* call) {
    if (std::string(call).rfind("Transmitter.DeployRuntime", 0) == 0) {
      send(theTransmitter(), network(1, 7));
    }
  });
  Bytes message = inMemory();
  theTransmitter().DeployRuntime(message.data(), 11, "path", 1);
  report(read(theTransmitter()));
}

TEST(NativeTransmitterNesting, ACommandInsideADeploymentLeavesItItsChannel) {
  Channels siblings;
  siblings.expect("nestedInDeployment", {"90"});
}

PROCESS_CASE(nestedInRead) {
  send(theTransmitter(), inMemory());
  hookSibling(kCpp, [](const char* call) {
    if (std::string(call).rfind("Receiver.ReadResponse", 0) == 0) {
      hookSibling(kCpp, nullptr);
      send(theTransmitter(), network(1, 7));
    }
  });
  report(read(theTransmitter()));
  report(read(theTransmitter()));
}

TEST(NativeTransmitterNesting, ACommandInsideAReadLeavesItItsChannel) {
  Channels siblings;
  siblings.expect("nestedInRead", {"90", "90"});
}

PROCESS_CASE(deployBack) {
  hookSibling(kCpp, [](const char* call) {
    if (std::string(call).rfind("Transmitter.DeployRuntime", 0) == 0) {
      Bytes message = inMemory();
      report(theTransmitter().DeployRuntime(message.data(), 11, "back", 2));
    }
  });
  Bytes message = inMemory();
  report(theTransmitter().DeployRuntime(message.data(), 11, "there", 1));
  report(theTransmitter().DeployRuntime(message.data(), 11, "again", 3));
}

TEST(NativeTransmitterNesting, ADeploymentThatIsForwardedBackGoesToTheReceiver) {
  Channels siblings;
  siblings.expect("deployBack", {"51", "61", "51", "61"});
  const std::string bytes = "(8 3 0 0 0 0 0 0 0 2 2, ";
  const std::string calls = siblings.calls();
  EXPECT_EQ(calls.substr(calls.find("Cpp: Transmitter.DeployRuntime")),
            "Cpp: Transmitter.DeployRuntime" + bytes + "there, 1)\n" +
                "Cpp: Receiver.DeployRuntime" + bytes + "back, 2)\n" +
                "Cpp: Transmitter.DeployRuntime" + bytes + "again, 3)\n" +
                "Cpp: Receiver.DeployRuntime" + bytes + "back, 2)\n");
}

namespace {

std::string readOnANewThread() {
  std::string filled;
  std::thread([&] { filled = read(theTransmitter()); }).join();
  return filled;
}

void sendOnANewThread(const Bytes& command) {
  std::thread([&] { send(theTransmitter(), command); }).join();
}

}  // namespace

PROCESS_CASE(alternateThreads) {
  send(theTransmitter(), network(1, 7));
  sendOnANewThread(network(1, 8));
  report(readOnANewThread());
  send(theTransmitter(), network(1, 7));
  report(readOnANewThread());
  sendOnANewThread(inMemory());
  report(readOnANewThread());
  send(theTransmitter(), network(1, 7));
  report(readOnANewThread());
}

TEST(NativeTransmitterNesting, AThreadWithoutACommandReadsFromTheLatestOfAnyThread) {
  Channels siblings;
  siblings.expect("alternateThreads", {"8", "7", "90", "7"});
}

PROCESS_CASE(givenBetween) {
  send(theTransmitter(), network(1, 7));
  std::thread([] { theTransmitter().SetTransportChannel(new NamedChannel("given")); }).join();
  send(theTransmitter(), network(1, 7));
  report(readOnANewThread());
}

TEST(NativeTransmitterNesting, ACommandAfterAnotherThreadsGivenChannelIsTheLatest) {
  Channels siblings;
  siblings.expect("givenBetween", {"~given", "7"});
}

}  // namespace FerrolinkTest
