#include "native/transport/TransportNetwork.h"

#include <gtest/gtest.h>

#include <array>

#include "tests/transport/TransportFixture.h"

using namespace FerrolinkTest;
using Ferrolink::Native::Transport::TransportNetwork;

namespace {

using Texts = std::vector<std::string>;

std::string reinstall(const char* code) {
  return std::string("Ferrolink Native Exception: Exception code ") + code +
         ". \nReinstall Ferrolink package";
}

bool useTls() {
  return caseArguments().at(0) == "tls";
}

CaseOptions with(const std::string& argument) {
  CaseOptions options;
  options.arguments = {argument};
  return options;
}

}  // namespace

PROCESS_CASE(useTheNetwork) {
  TransportNetwork channel("10.0.0.7", 8080, useTls());
  report(channel.Initialize(2, 8, 3));
  report(channel.Initialize(2, 8, 3));
  std::array<std::uint8_t, 3> command = {8, 1, 2};
  report(channel.SendCommand(command.data(), 3));
  report(channel.ReadResponse(command.data(), 3));
  report(channel.SetEmbeddedRuntime(2, 8, 3, "path"));
  report(channel.DeployRuntime(command.data(), 3, "path", 1));
  report(channel.ImportLibraryAndExportedFunctions());
}

TEST(TransportNetwork, ForwardsOverTheClientThatItsKindAsksForAndMakesItOnce) {
  for (const auto& [argument, client] : {std::pair{"tcp", "TcpClient"}, {"tls", "TcpTlsClient"}}) {
    SiblingTree siblings;
    siblings.addLibrary("libFerrolinkTcpClient.so", FAKESIBLING_PATH);
    siblings.addLibrary("libFerrolinkTcpTlsClient.so", FAKESIBLING_PATH);
    const CaseResult result = siblings.run("useTheNetwork", with(argument));
    EXPECT_EQ(result.report, (Texts{"0", "0", "2003", "71", "0", "0", "0"})) << result.err;
    const std::string name = std::string(client) + ": ";
    EXPECT_EQ(siblings.calls(), name + "CreateTransportChannel(10.0.0.7, 8080)\n" + name +
                                    "Channel.Initialize(2, 8, 3)\n" + name +
                                    "Channel.SendCommand(8 1 2)\n" + name +
                                    "Channel.ReadResponse(8 1 2)\n" + name + "~Channel\n");
  }
}

PROCESS_CASE(failOnTheNetwork) {
  TransportNetwork channel("127.0.0.1", 1, useTls());
  report(thrownBy([&] { channel.Initialize(2, 8, 3); }));
  std::array<std::uint8_t, 11> command{};
  report(thrownBy([&] { channel.SendCommand(command.data(), 11); }));
  report(thrownBy([&] { channel.ReadResponse(command.data(), 11); }));
}

TEST(TransportNetwork, RaisesEachFailureAndHasNoActiveChannelThen) {
  const std::string none = "Ferrolink Native Exception: Exception code 020. \nNo channel selected";
  SiblingTree empty;
  empty.addLibrary("libFerrolinkTcpClient.so", FAKESIBLINGEMPTY_PATH);
  EXPECT_EQ(empty.run("failOnTheNetwork", with("tcp")).report,
            (Texts{reinstall("011"), none, none}));
  SiblingTree null;
  null.addLibrary("libFerrolinkTcpTlsClient.so", FAKESIBLING_PATH);
  CaseOptions options = with("tls");
  options.environment["FAKE_SIBLING_NULL_CHANNEL"] = "libFerrolinkTcpTlsClient.so";
  EXPECT_EQ(null.run("failOnTheNetwork", options).report, (Texts{reinstall("012"), none, none}));
  SiblingTree missing;
  EXPECT_EQ(missing.run("failOnTheNetwork", with("tcp")).report.front(),
            "Ferrolink Native Exception: Exception code 001. \nCannot load: " +
                (missing.tree().nativeDirectory() / "libFerrolinkTcpClient.so").string() +
                ". \nError: File not found.");
}

PROCESS_CASE(failInTheClient) {
  TransportNetwork channel("127.0.0.1", 1, false);
  report(thrownBy([&] { channel.Initialize(2, 8, 3); }));
  // The channel that failed to initialise is kept.
  report(channel.Initialize(2, 8, 3));
  std::array<std::uint8_t, 1> command = {8};
  report(thrownBy([&] { channel.SendCommand(command.data(), 1); }));
}

TEST(TransportNetwork, PassesTheClientsOwnErrorsOn) {
  SiblingTree siblings;
  siblings.addLibrary("libFerrolinkTcpClient.so", FAKESIBLING_PATH);
  CaseOptions options;
  options.environment["FAKE_SIBLING_THROW"] = "libFerrolinkTcpClient.so";
  EXPECT_EQ(siblings.run("failInTheClient", options).report,
            (Texts{"Channel.Initialize failed", "0", "Channel.SendCommand failed"}));
}

TEST(TransportNetwork, OpensTheClientLibraryOfItsKindAloneAndNeverClosesIt) {
  for (const auto& [argument, client] : {std::pair{"tcp", "TcpClient"}, {"tls", "TcpTlsClient"}}) {
    SiblingTree siblings;
    siblings.addLibrary("libFerrolinkTcpClient.so", FAKESIBLING_PATH);
    siblings.addLibrary("libFerrolinkTcpTlsClient.so", FAKESIBLING_PATH);
    siblings.runWithLoader("useTheNetwork", with(argument));
    std::string loader;
    const std::string calls = siblings.calls();
    for (std::size_t at = 0; at < calls.size(); at = calls.find('\n', at) + 1) {
      const std::string line = calls.substr(at, calls.find('\n', at) + 1 - at);
      loader += line.rfind("loader: ", 0) == 0 ? line : "";
    }
    EXPECT_EQ(loader, std::string("loader: open ") + client + " 2\n");
  }
}

PROCESS_CASE(bothClients) {
  TransportNetwork channel("10.0.0.7", 8080, true);
  report(thrownBy([&] { channel.CreateTransportTcpChannel(2, 8, 3); }));
  report(channel.ImportTcpClientLibrary());
  report(channel.ImportTcpTlsClientLibrary());
  report(channel.CreateTransportTcpChannel(2, 8, 3));
  report(channel.CreateTransportTcpChannel(2, 8, 3));
  report(channel.CreateTransportTcpTlsChannel(4, 5, 6));
  std::array<std::uint8_t, 1> command = {8};
  report(thrownBy([&] { channel.SendCommand(command.data(), 1); }));
  report(channel.Initialize(7, 7, 7));
  report(channel.SendCommand(command.data(), 1));
}

TEST(TransportNetwork, MakesEachClientsChannelOnceAndReleasesTheTlsChannelFirst) {
  SiblingTree siblings;
  siblings.addLibrary("libFerrolinkTcpClient.so", FAKESIBLING_PATH);
  siblings.addLibrary("libFerrolinkTcpTlsClient.so", FAKESIBLING_PATH);
  EXPECT_EQ(siblings.run("bothClients").report,
            (Texts{reinstall("011"), "0", "0", "0", "0", "0",
                   "Ferrolink Native Exception: Exception code 020. \nNo channel selected", "0",
                   "2001"}));
  EXPECT_EQ(siblings.calls(),
            "TcpClient: CreateTransportChannel(10.0.0.7, 8080)\n"
            "TcpClient: Channel.Initialize(2, 8, 3)\n"
            "TcpTlsClient: CreateTransportChannel(10.0.0.7, 8080)\n"
            "TcpTlsClient: Channel.Initialize(4, 5, 6)\n"
            "TcpTlsClient: Channel.SendCommand(8)\n"
            "TcpTlsClient: ~Channel\n"
            "TcpClient: ~Channel\n");
}

PROCESS_CASE(twoEndpoints) {
  TransportNetwork first("10.0.0.7", 1, false);
  TransportNetwork second("host.example", 65535, false);
  report(first.Initialize(2, 8, 3));
  report(second.Initialize(2, 8, 3));
}

TEST(TransportNetwork, SharesTheClientLibraryAmongEndpoints) {
  SiblingTree siblings;
  siblings.addLibrary("libFerrolinkTcpClient.so", FAKESIBLING_PATH);
  EXPECT_EQ(siblings.runWithLoader("twoEndpoints").report, (Texts{"0", "0"}));
  EXPECT_EQ(siblings.calls(),
            "loader: open TcpClient 2\n"
            "TcpClient: CreateTransportChannel(10.0.0.7, 1)\n"
            "TcpClient: Channel.Initialize(2, 8, 3)\n"
            "TcpClient: CreateTransportChannel(host.example, 65535)\n"
            "TcpClient: Channel.Initialize(2, 8, 3)\n"
            "TcpClient: ~Channel\n"
            "TcpClient: ~Channel\n");
}
