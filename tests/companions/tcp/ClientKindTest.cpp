// Commands that name another kind than that of the library with their channel.
#include <dlfcn.h>

#include <filesystem>

#include "tests/companions/tcp/ClientSupport.h"
#include "tests/companions/tcp/TlsPeer.h"
#include "tests/installation/ElfFile.h"

namespace Ferrolink::Tests {
namespace {

using testing::HasSubstr;

constexpr char kPlain = 1;
constexpr char kTls = 2;

class TcpKind : public testing::Test {
 protected:
  static auto ServingTls(const ForgedCertificate& certificate) {
    return [&certificate](const Port& port) {
      TlsPeer peer(port.Accept(), certificate);
      EXPECT_TRUE(peer.IsReady());
      peer.Greet();
      for (std::uint32_t number = 1; peer.ReceiveCommand() == number; ++number) {
        peer.Send(Frame("under TLS", number));
      }
    };
  }

  const ForgedCertificate m_authority{ForgedCertificate::Authority()};
  const ForgedCertificate m_certificate{ForgedCertificate::Server(m_authority)};
  const Variable m_believed{"FERROLINK_TLS_CA_FILE", m_authority.File()};
};

}  // namespace

TEST_F(TcpKind, IsThatOfTheCommandWhicheverLibraryMadeTheChannel) {
  for (const Kind kind : {Kind::Plain, Kind::Tls}) {
    FakeServer server(ServingTls(m_certificate));
    auto channel = ChannelTo(server.Number(), kind);
    EXPECT_EQ(Exchange(*channel, OfKind(kTls, CallOf("echo"))), "under TLS");
    EXPECT_EQ(Exchange(*channel, OfKind(kTls, CallOf("echo"))), "under TLS");
    channel.reset();
    FakeServer plain([](const Port& port) {
      RawSocket client = port.Greeted();
      client.ReceiveFrame();
      client.Answer("in clear");
    });
    EXPECT_EQ(Exchange(*ChannelTo(plain.Number(), kind), OfKind(kPlain, CallOf("echo"))),
              "in clear");
  }
}

TEST_F(TcpKind, NeverLeavesInClearWhatAsksForTls) {
  FakeServer server([](const Port& port) {
    RawSocket first = port.Greeted();
    first.ReceiveFrame();
    first.Answer("in clear");
    // The plain connection stays open. A command for TLS begins a handshake.
    RawSocket second = port.Accept();
    EXPECT_EQ(second.Receive(1), "\x16");
    second.Send("HTTP/1.1 400 Bad Request\r\n\r\n").EndWriting();
    EXPECT_THAT(second.ReceiveAll(), testing::Not(HasSubstr("FRLK")));
    EXPECT_EQ(first.ReceiveFrame(), OfKind(kPlain, CallOf("echo", "again")));
    first.Answer("in clear again");
  });
  auto channel = ChannelTo(server.Number());
  EXPECT_EQ(Exchange(*channel, OfKind(kPlain, CallOf("echo"))), "in clear");
  EXPECT_THAT(Exchange(*channel, OfKind(kTls, CallOf("echo", "secret"))),
              HasSubstr("does not speak TLS 1.2 or later. The command was not sent."));
  EXPECT_EQ(Exchange(*channel, OfKind(kPlain, CallOf("echo", "again"))), "in clear again");
}

TEST_F(TcpKind, IsNotFixedByAnAttemptThatFailed) {
  const Port port;
  auto channel = ChannelTo(port.Number());
  EXPECT_THAT(Exchange(*channel, OfKind(kPlain, CallOf("echo"))), HasSubstr("code 001.\n"));
  port.Listen();
  std::thread server([&] { ServingTls(m_certificate)(port); });
  EXPECT_EQ(Exchange(*channel, OfKind(kTls, CallOf("echo"))), "under TLS");
  channel.reset();
  server.join();
}

TEST_F(TcpKind, LeavesEachThreadTheResponseToItsLastCommand) {
  FakeServer tls(ServingTls(m_certificate));
  auto channel = ChannelTo(tls.Number());
  const auto nothing = [&] {
    EXPECT_THAT(ThrownBy([&] { Read(*channel, 1); }), HasSubstr("code 007.\n"));
  };
  const int length = Send(*channel, OfKind(kTls, CallOf("echo")));
  EXPECT_EQ(length, 9);
  std::thread(nothing).join();
  EXPECT_EQ(Read(*channel, 5), "under");
  nothing();
  Send(*channel, OfKind(kTls, CallOf("echo")));
  EXPECT_THAT(Exchange(*channel, OfKind(kPlain, CallOf("echo"))), HasSubstr("code 00"));
  // A failed command leaves the response of the earlier one.
  EXPECT_EQ(Read(*channel, 9), "under TLS");
  channel.reset();
}

TEST_F(TcpKind, IsRefusedWhereItsLibraryIsMissing) {
  const TemporaryDirectory directory;
  const auto copied = directory.Path() / "libFerrolinkTcpClient.so";
  std::filesystem::copy_file(FERROLINKTCPCLIENT_PATH, copied);
  void* library = dlopen(copied.c_str(), RTLD_NOW | RTLD_LOCAL);
  ASSERT_NE(library, nullptr);
  auto* create = reinterpret_cast<ITransport* (*)(const char*, std::uint16_t)>(
      dlsym(library, "CreateTransportChannel"));
  FakeServer server([](const Port& port) {
    RawSocket client = port.Greeted();
    EXPECT_EQ(client.ReceiveFrame(), OfKind(kPlain, CallOf("echo")));
    client.Answer("in clear");
  });
  const std::unique_ptr<ITransport> channel(create("127.0.0.1", server.Number()));
  EXPECT_THAT(Exchange(*channel, OfKind(kTls, CallOf("echo"))),
              testing::AllOf(testing::StartsWith(ClientError(
                                 6, "The command for " + server.Name() +
                                        " needs libFerrolinkTcpTlsClient.so, which cannot be "
                                        "opened: ")),
                             HasSubstr(". The command was not sent.")));
  EXPECT_EQ(Exchange(*channel, OfKind(kPlain, CallOf("echo"))), "in clear");
}

TEST_F(TcpKind, NeedsNoOpenSslWhereNothingAsksForTls) {
  for (const std::string& needed : ElfFile(FERROLINKTCPCLIENT_PATH).Needed()) {
    EXPECT_THAT(needed, testing::Not(testing::AnyOf(HasSubstr("ssl"), HasSubstr("crypto"))));
  }
}

}  // namespace Ferrolink::Tests
