// The server as a service: it gets a listening socket from its service manager and reports to it.
#include <arpa/inet.h>
#include <netinet/in.h>

#include <csignal>
#include <string>

#include "tests/companions/tcp/ServerProcess.h"
#include "tests/companions/tcp/ServiceManagerSide.h"

namespace Ferrolink::Tests {
namespace {

using testing::HasSubstr;

FileDescriptor ListeningOn(in_addr_t address) {
  FileDescriptor made(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
  sockaddr_in any{};
  any.sin_family = AF_INET;
  any.sin_addr.s_addr = htonl(address);
  EXPECT_EQ(bind(made.get(), reinterpret_cast<const sockaddr*>(&any), sizeof any), 0);
  EXPECT_EQ(listen(made.get(), 5), 0);
  return made;
}

std::uint16_t PortOf(const FileDescriptor& socket) {
  sockaddr_in address{};
  socklen_t size = sizeof address;
  getsockname(socket.get(), reinterpret_cast<sockaddr*>(&address), &size);
  return ntohs(address.sin_port);
}

}  // namespace

TEST(TcpServerService, TellsItsServiceManagerHowItFares) {
  const TemporaryDirectory directory;
  const std::string name = (directory.Path() / "notify").string();
  const Ear ear(name);
  const Variable variable("NOTIFY_SOCKET", name);
  ServerProcess server;
  EXPECT_EQ(ear.Hear(), "READY=1\nSTATUS=Serving.\n");
  server.Signal(SIGHUP);
  EXPECT_THAT(ear.Hear(), testing::MatchesRegex("RELOADING=1\nMONOTONIC_USEC=[0-9]+\n"));
  EXPECT_EQ(ear.Hear(), "READY=1\nSTATUS=Serving.\n");
  server.Signal(SIGTERM);
  EXPECT_EQ(ear.Hear(), "STOPPING=1\nSTATUS=Ending.\n");
  EXPECT_EQ(server.Wait(), 0);
}

TEST(TcpServerService, ListensOnTheSocketThatItIsStartedWith) {
  FileDescriptor socket = ListeningOn(INADDR_LOOPBACK);
  const std::uint16_t port = PortOf(socket);
  const ServerProcess server({}, [&] { PassOn(std::move(socket)); });
  EXPECT_EQ(server.Port(), port);
  EXPECT_EQ(Exchange(*ChannelTo(port), CallOf("echo", "x")), AnswerOf("x"));
  EXPECT_EQ(server.Errors().find("whoever reaches this address"), std::string::npos);
}

TEST(TcpServerService, WarnsOfASocketThatOtherMachinesReach) {
  FileDescriptor socket = ListeningOn(INADDR_ANY);
  const ServerProcess server({}, [&] { PassOn(std::move(socket)); });
  EXPECT_THAT(server.Errors(), HasSubstr("whoever reaches this address may call the handlers"));
}

TEST(TcpServerService, LogsAsJsonWhereItIsToldTo) {
  const ServerProcess server({"--log-format", "json", "--access-log"});
  RawSocket client = server.GreetedClient();
  EXPECT_EQ(client.Ask(CallOf("echo", "x")), AnswerOf("x"));
  server.AwaitErrors(R"(","level":"info","event":"call","peer":"127.0.0.1:)");
  server.AwaitErrors(R"(","handler":"echo",)");
}

}  // namespace Ferrolink::Tests
