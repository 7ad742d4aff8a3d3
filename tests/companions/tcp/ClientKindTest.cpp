// Commands that name another kind than the library that made their channel.
#include <dlfcn.h>

#include <filesystem>

#include "tests/companions/tcp/ClientSupport.h"
#include "tests/companions/tcp/TlsPeer.h"
#include "tests/installation/ElfFile.h"

namespace FerrolinkTest {
namespace {

using testing::HasSubstr;

constexpr char kPlain = 1;
constexpr char kTls = 2;

class TcpKind : public testing::Test {
 protected:
  static auto servingTls(const ForgedCertificate& certificate) {
    return [&certificate](const Port& port) {
      TlsPeer peer(port.accept(), certificate);
      EXPECT_TRUE(peer.isReady());
      peer.greet();
      for (std::uint32_t number = 1; peer.receiveCommand() == number; ++number) {
        peer.send(frame("under TLS", number));
      }
    };
  }

  const ForgedCertificate m_authority{ForgedCertificate::authority()};
  const ForgedCertificate m_certificate{ForgedCertificate::server(m_authority)};
  const Variable m_believed{"FERROLINK_TLS_CA_FILE", m_authority.file()};
};

}  // namespace

TEST_F(TcpKind, IsThatOfTheCommandWhicheverLibraryMadeTheChannel) {
  for (const Kind kind : {Kind::Plain, Kind::Tls}) {
    FakeServer server(servingTls(m_certificate));
    auto channel = channelTo(server.number(), kind);
    EXPECT_EQ(exchange(*channel, ofKind(kTls, callOf("echo"))), "under TLS");
    EXPECT_EQ(exchange(*channel, ofKind(kTls, callOf("echo"))), "under TLS");
    channel.reset();
    FakeServer plain([](const Port& port) {
      RawSocket client = port.greeted();
      client.receiveFrame();
      client.answer("in clear");
    });
    EXPECT_EQ(exchange(*channelTo(plain.number(), kind), ofKind(kPlain, callOf("echo"))),
              "in clear");
  }
}

TEST_F(TcpKind, NeverLeavesInClearWhatAsksForTls) {
  FakeServer server([](const Port& port) {
    RawSocket first = port.greeted();
    first.receiveFrame();
    first.answer("in clear");
    // The plain connection stays open; what asks for TLS begins a handshake.
    RawSocket second = port.accept();
    EXPECT_EQ(second.receive(1), "\x16");
    second.send("HTTP/1.1 400 Bad Request\r\n\r\n").endWriting();
    EXPECT_THAT(second.receiveAll(), testing::Not(HasSubstr("FRLK")));
    EXPECT_EQ(first.receiveFrame(), ofKind(kPlain, callOf("echo", "again")));
    first.answer("in clear again");
  });
  auto channel = channelTo(server.number());
  EXPECT_EQ(exchange(*channel, ofKind(kPlain, callOf("echo"))), "in clear");
  EXPECT_THAT(exchange(*channel, ofKind(kTls, callOf("echo", "secret"))),
              HasSubstr("does not speak TLS 1.2 or later. The command was not sent."));
  EXPECT_EQ(exchange(*channel, ofKind(kPlain, callOf("echo", "again"))), "in clear again");
}

TEST_F(TcpKind, IsNotFixedByAnAttemptThatFailed) {
  const Port port;
  auto channel = channelTo(port.number());
  EXPECT_THAT(exchange(*channel, ofKind(kPlain, callOf("echo"))), HasSubstr("code 001.\n"));
  port.listen();
  std::thread server([&] { servingTls(m_certificate)(port); });
  EXPECT_EQ(exchange(*channel, ofKind(kTls, callOf("echo"))), "under TLS");
  channel.reset();
  server.join();
}

TEST_F(TcpKind, LeavesEachThreadTheResponseToItsLastCommand) {
  FakeServer tls(servingTls(m_certificate));
  auto channel = channelTo(tls.number());
  const auto nothing = [&] {
    EXPECT_THAT(thrownBy([&] { read(*channel, 1); }), HasSubstr("code 007.\n"));
  };
  const int length = send(*channel, ofKind(kTls, callOf("echo")));
  EXPECT_EQ(length, 9);
  std::thread(nothing).join();
  EXPECT_EQ(read(*channel, 5), "under");
  nothing();
  send(*channel, ofKind(kTls, callOf("echo")));
  EXPECT_THAT(exchange(*channel, ofKind(kPlain, callOf("echo"))), HasSubstr("code 00"));
  // A command that fails leaves the response that waits.
  EXPECT_EQ(read(*channel, 9), "under TLS");
  channel.reset();
}

TEST_F(TcpKind, IsRefusedWhereItsLibraryIsMissing) {
  const TemporaryDirectory directory;
  const auto copied = directory.path() / "libFerrolinkTcpClient.so";
  std::filesystem::copy_file(FERROLINKTCPCLIENT_PATH, copied);
  void* library = dlopen(copied.c_str(), RTLD_NOW | RTLD_LOCAL);
  ASSERT_NE(library, nullptr);
  auto* create = reinterpret_cast<ITransport* (*)(const char*, std::uint16_t)>(
      dlsym(library, "CreateTransportChannel"));
  FakeServer server([](const Port& port) {
    RawSocket client = port.greeted();
    EXPECT_EQ(client.receiveFrame(), ofKind(kPlain, callOf("echo")));
    client.answer("in clear");
  });
  const std::unique_ptr<ITransport> channel(create("127.0.0.1", server.number()));
  EXPECT_THAT(exchange(*channel, ofKind(kTls, callOf("echo"))),
              testing::AllOf(testing::StartsWith(clientError(
                                 6, "The command for " + server.name() +
                                        " needs libFerrolinkTcpTlsClient.so, which cannot be "
                                        "opened: ")),
                             HasSubstr(". The command was not sent.")));
  EXPECT_EQ(exchange(*channel, ofKind(kPlain, callOf("echo"))), "in clear");
}

TEST_F(TcpKind, NeedsNoOpenSslWhereNothingAsksForTls) {
  for (const std::string& needed : ElfFile(FERROLINKTCPCLIENT_PATH).needed()) {
    EXPECT_THAT(needed, testing::Not(testing::AnyOf(HasSubstr("ssl"), HasSubstr("crypto"))));
  }
}

}  // namespace FerrolinkTest
