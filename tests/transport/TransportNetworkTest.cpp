#include "native/transport/TransportNetwork.h"

#include <gtest/gtest.h>

#include <array>

#include "tests/transport/TransportFixture.h"

using namespace Ferrolink::Tests;
using Ferrolink::Native::Transport::TransportNetwork;

namespace {

using Texts = std::vector<std::string>;

std::string Reinstall(const char* code) {
  return std::string("Ferrolink Native Exception: Exception code ") + code +
         ". \nReinstall Ferrolink package";
}

bool UseTls() {
  return CaseArguments().at(0) == "tls";
}

CaseOptions With(const std::string& argument) {
  CaseOptions options;
  options.arguments = {argument};
  return options;
}

}  // namespace

PROCESS_CASE(useTheNetwork) {
  TransportNetwork channel("10.0.0.7", 8080, UseTls());
  Report(channel.Initialize(2, 8, 3));
  Report(channel.Initialize(2, 8, 3));
  std::array<std::uint8_t, 3> command = {8, 1, 2};
  Report(channel.SendCommand(command.data(), 3));
  Report(channel.ReadResponse(command.data(), 3));
  Report(channel.SetEmbeddedRuntime(2, 8, 3, "path"));
  Report(channel.DeployRuntime(command.data(), 3, "path", 1));
  Report(channel.ImportLibraryAndExportedFunctions());
}

TEST(TransportNetwork, ForwardsOverTheClientThatItsKindAsksForAndMakesItOnce) {
  for (const auto& [argument, client] : {std::pair{"tcp", "TcpClient"}, {"tls", "TcpTlsClient"}}) {
    SiblingTree siblings;
    siblings.AddLibrary("libFerrolinkTcpClient.so", FAKESIBLING_PATH);
    siblings.AddLibrary("libFerrolinkTcpTlsClient.so", FAKESIBLING_PATH);
    const CaseResult result = siblings.Run("useTheNetwork", With(argument));
    EXPECT_EQ(result.report, (Texts{"0", "0", "2003", "71", "0", "0", "0"})) << result.err;
    const std::string name = std::string(client) + ": ";
    EXPECT_EQ(siblings.Calls(), name + "CreateTransportChannel(10.0.0.7, 8080)\n" + name +
                                    "Channel.Initialize(2, 8, 3)\n" + name +
                                    "Channel.SendCommand(8 1 2)\n" + name +
                                    "Channel.ReadResponse(8 1 2)\n" + name + "~Channel\n");
  }
}

PROCESS_CASE(failOnTheNetwork) {
  TransportNetwork channel("127.0.0.1", 1, UseTls());
  Report(ThrownBy([&] { channel.Initialize(2, 8, 3); }));
  std::array<std::uint8_t, 11> command{};
  Report(ThrownBy([&] { channel.SendCommand(command.data(), 11); }));
  Report(ThrownBy([&] { channel.ReadResponse(command.data(), 11); }));
}

TEST(TransportNetwork, RaisesEachFailureAndHasNoActiveChannelThen) {
  const std::string none = "Ferrolink Native Exception: Exception code 020. \nNo channel selected";
  SiblingTree empty;
  empty.AddLibrary("libFerrolinkTcpClient.so", FAKESIBLINGEMPTY_PATH);
  EXPECT_EQ(empty.Run("failOnTheNetwork", With("tcp")).report,
            (Texts{Reinstall("011"), none, none}));
  SiblingTree null;
  null.AddLibrary("libFerrolinkTcpTlsClient.so", FAKESIBLING_PATH);
  CaseOptions options = With("tls");
  options.environment["FAKE_SIBLING_NULL_CHANNEL"] = "libFerrolinkTcpTlsClient.so";
  EXPECT_EQ(null.Run("failOnTheNetwork", options).report, (Texts{Reinstall("012"), none, none}));
  SiblingTree missing;
  EXPECT_EQ(missing.Run("failOnTheNetwork", With("tcp")).report.front(),
            "Ferrolink Native Exception: Exception code 001. \nCannot load: " +
                (missing.Tree().NativeDirectory() / "libFerrolinkTcpClient.so").string() +
                ". \nError: File not found.");
}

PROCESS_CASE(failInTheClient) {
  TransportNetwork channel("127.0.0.1", 1, false);
  Report(ThrownBy([&] { channel.Initialize(2, 8, 3); }));
  // The channel that failed to initialise is kept.
  Report(channel.Initialize(2, 8, 3));
  std::array<std::uint8_t, 1> command = {8};
  Report(ThrownBy([&] { channel.SendCommand(command.data(), 1); }));
}

TEST(TransportNetwork, PassesTheClientsOwnErrorsOn) {
  SiblingTree siblings;
  siblings.AddLibrary("libFerrolinkTcpClient.so", FAKESIBLING_PATH);
  CaseOptions options;
  options.environment["FAKE_SIBLING_THROW"] = "libFerrolinkTcpClient.so";
  EXPECT_EQ(siblings.Run("failInTheClient", options).report,
            (Texts{"Channel.Initialize failed", "0", "Channel.SendCommand failed"}));
}

TEST(TransportNetwork, OpensTheClientLibraryOfItsKindAloneAndNeverClosesIt) {
  for (const auto& [argument, client] : {std::pair{"tcp", "TcpClient"}, {"tls", "TcpTlsClient"}}) {
    SiblingTree siblings;
    siblings.AddLibrary("libFerrolinkTcpClient.so", FAKESIBLING_PATH);
    siblings.AddLibrary("libFerrolinkTcpTlsClient.so", FAKESIBLING_PATH);
    siblings.RunWithLoader("useTheNetwork", With(argument));
    std::string loader;
    const std::string calls = siblings.Calls();
    for (std::size_t at = 0; at < calls.size(); at = calls.find('\n', at) + 1) {
      const std::string line = calls.substr(at, calls.find('\n', at) + 1 - at);
      loader += line.rfind("loader: ", 0) == 0 ? line : "";
    }
    EXPECT_EQ(loader, std::string("loader: open ") + client + " 2\n");
  }
}

PROCESS_CASE(bothClients) {
  TransportNetwork channel("10.0.0.7", 8080, true);
  Report(ThrownBy([&] { channel.CreateTransportTcpChannel(2, 8, 3); }));
  Report(channel.ImportTcpClientLibrary());
  Report(channel.ImportTcpTlsClientLibrary());
  Report(channel.CreateTransportTcpChannel(2, 8, 3));
  Report(channel.CreateTransportTcpChannel(2, 8, 3));
  Report(channel.CreateTransportTcpTlsChannel(4, 5, 6));
  std::array<std::uint8_t, 1> command = {8};
  Report(ThrownBy([&] { channel.SendCommand(command.data(), 1); }));
  Report(channel.Initialize(7, 7, 7));
  Report(channel.SendCommand(command.data(), 1));
}

TEST(TransportNetwork, MakesEachClientsChannelOnceAndReleasesTheTlsChannelFirst) {
  SiblingTree siblings;
  siblings.AddLibrary("libFerrolinkTcpClient.so", FAKESIBLING_PATH);
  siblings.AddLibrary("libFerrolinkTcpTlsClient.so", FAKESIBLING_PATH);
  EXPECT_EQ(siblings.Run("bothClients").report,
            (Texts{Reinstall("011"), "0", "0", "0", "0", "0",
                   "Ferrolink Native Exception: Exception code 020. \nNo channel selected", "0",
                   "2001"}));
  EXPECT_EQ(siblings.Calls(),
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
  Report(first.Initialize(2, 8, 3));
  Report(second.Initialize(2, 8, 3));
}

TEST(TransportNetwork, SharesTheClientLibraryAmongEndpoints) {
  SiblingTree siblings;
  siblings.AddLibrary("libFerrolinkTcpClient.so", FAKESIBLING_PATH);
  EXPECT_EQ(siblings.RunWithLoader("twoEndpoints").report, (Texts{"0", "0"}));
  EXPECT_EQ(siblings.Calls(),
            "loader: open TcpClient 2\n"
            "TcpClient: CreateTransportChannel(10.0.0.7, 1)\n"
            "TcpClient: Channel.Initialize(2, 8, 3)\n"
            "TcpClient: CreateTransportChannel(host.example, 65535)\n"
            "TcpClient: Channel.Initialize(2, 8, 3)\n"
            "TcpClient: ~Channel\n"
            "TcpClient: ~Channel\n");
}
