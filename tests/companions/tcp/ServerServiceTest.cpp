// The server as a service: started with a socket that listens, and heard by its service manager.
#include <arpa/inet.h>
#include <netinet/in.h>

#include <csignal>
#include <string>

#include "tests/companions/tcp/ServerProcess.h"
#include "tests/companions/tcp/ServiceManagerSide.h"

namespace FerrolinkTest {
namespace {

using testing::HasSubstr;

FileDescriptor listeningOn(in_addr_t address) {
  FileDescriptor made(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
  sockaddr_in any{};
  any.sin_family = AF_INET;
  any.sin_addr.s_addr = htonl(address);
  EXPECT_EQ(bind(made.get(), reinterpret_cast<const sockaddr*>(&any), sizeof any), 0);
  EXPECT_EQ(listen(made.get(), 5), 0);
  return made;
}

std::uint16_t portOf(const FileDescriptor& socket) {
  sockaddr_in address{};
  socklen_t size = sizeof address;
  getsockname(socket.get(), reinterpret_cast<sockaddr*>(&address), &size);
  return ntohs(address.sin_port);
}

}  // namespace

TEST(TcpServerService, TellsItsServiceManagerHowItFares) {
  const TemporaryDirectory directory;
  const std::string name = (directory.path() / "notify").string();
  const Ear ear(name);
  const Variable variable("NOTIFY_SOCKET", name);
  ServerProcess server;
  EXPECT_EQ(ear.hear(), "READY=1\nSTATUS=Serving.\n");
  server.signal(SIGHUP);
  EXPECT_THAT(ear.hear(), testing::MatchesRegex("RELOADING=1\nMONOTONIC_USEC=[0-9]+\n"));
  EXPECT_EQ(ear.hear(), "READY=1\nSTATUS=Serving.\n");
  server.signal(SIGTERM);
  EXPECT_EQ(ear.hear(), "STOPPING=1\nSTATUS=Ending.\n");
  EXPECT_EQ(server.wait(), 0);
}

TEST(TcpServerService, ListensOnTheSocketThatItIsStartedWith) {
  FileDescriptor socket = listeningOn(INADDR_LOOPBACK);
  const std::uint16_t port = portOf(socket);
  const ServerProcess server({}, [&] { passOn(std::move(socket)); });
  EXPECT_EQ(server.port(), port);
  EXPECT_EQ(exchange(*channelTo(port), callOf("echo", "x")), answerOf("x"));
  EXPECT_EQ(server.errors().find("whoever reaches this address"), std::string::npos);
}

TEST(TcpServerService, WarnsOfASocketThatOtherMachinesReach) {
  FileDescriptor socket = listeningOn(INADDR_ANY);
  const ServerProcess server({}, [&] { passOn(std::move(socket)); });
  EXPECT_THAT(server.errors(), HasSubstr("whoever reaches this address may call the handlers"));
}

TEST(TcpServerService, LogsAsJsonWhereItIsToldTo) {
  const ServerProcess server({"--log-format", "json", "--access-log"});
  RawSocket client = server.greetedClient();
  EXPECT_EQ(client.ask(callOf("echo", "x")), answerOf("x"));
  server.awaitErrors(R"(","level":"info","event":"call","peer":"127.0.0.1:)");
  server.awaitErrors(R"(","handler":"echo",)");
}

}  // namespace FerrolinkTest
