// The TLS client library: the files that it trusts, when it reads them, the name that it asks for,
// and its reaction to surplus bytes of servers.
#include <latch>

#include "tests/companions/tcp/ClientSupport.h"
#include "tests/companions/tcp/TlsPeer.h"

namespace Ferrolink::Tests {
namespace {

using testing::HasSubstr;

class TcpTlsClient : public testing::Test {
 protected:
  using Wish = ForgedCertificate::Wish;

  // Serves that many clients, one command each.
  static auto Serving(const ForgedCertificate& certificate, int clients = 1) {
    return [&certificate, clients](const Port& port) {
      for (int i = 0; i < clients; ++i) {
        TlsPeer peer(port.Accept(), certificate);
        if (peer.IsReady()) {
          peer.Greet().ReceiveCommand();
          peer.Send(Frame("fine"));
          peer.AwaitEnd();
        }
      }
    };
  }

  static std::string Ask(const Port& port) {
    return Exchange(*ChannelTo(port.Number(), Kind::Tls), "1");
  }

  const ForgedCertificate m_authority{ForgedCertificate::Authority()};
  const ForgedCertificate m_certificate{ForgedCertificate::Server(m_authority)};
  const Variable m_believed{"FERROLINK_TLS_CA_FILE", m_authority.File()};
};

}  // namespace

TEST_F(TcpTlsClient, TakesNoFrameTooManyForAnAnswer) {
  std::latch sent(1);
  FakeServer server([&](const Port& port) {
    TlsPeer first(port.Accept(), m_certificate);
    first.Greet().ReceiveCommand();
    // Both frames in one record: the second is decrypted together with the first.
    first.Send(Frame("first") + Frame("of another", 2));
    sent.count_down();
    TlsPeer second(port.Accept(), m_certificate);
    EXPECT_EQ(second.Greet().ReceiveCommand(), 1U);
    second.Send(Frame("second"));
    EXPECT_EQ(second.ReceiveCommand(), 2U);
    second.Send(Frame("repeated", 1));
    second.AwaitEnd();
  });
  auto channel = ChannelTo(server.Number(), Kind::Tls);
  EXPECT_EQ(Exchange(*channel, "1"), "first");
  sent.wait();
  EXPECT_EQ(Exchange(*channel, "2"), "second");
  EXPECT_EQ(Exchange(*channel, "3"), Broken(server, "an answer was awaited", "Bad message"));
}

TEST_F(TcpTlsClient, AsksForTheConfiguredNameAndVerifiesIt) {
  Wish wish = ForgedCertificate::Server(m_authority);
  wish.names = "DNS:db.example";
  const ForgedCertificate named(wish);
  std::string requested;
  FakeServer server([&](const Port& port) {
    for (int i = 0; i < 2; ++i) {
      TlsPeer peer(port.Accept(), named);
      requested += peer.RequestedName() + ";";
      if (peer.IsReady()) {
        peer.Greet().ReceiveCommand();
        peer.Send(Frame("fine"));
        peer.AwaitEnd();
      }
    }
  });
  EXPECT_THAT(Ask(server), HasSubstr("IP address mismatch ('127.0.0.1' is expected, the "
                                     "certificate is for DNS:db.example)"));
  Configure(server.Name(), R"("name": "db.example")");
  EXPECT_EQ(Ask(server), "fine");
  server.Join();
  EXPECT_EQ(requested, ";db.example;");
}

TEST_F(TcpTlsClient, VerifiesTheHostThatTheConfigurationConnectsTo) {
  Wish wish = ForgedCertificate::Server(m_authority);
  wish.names = "DNS:localhost";
  const ForgedCertificate named(wish);
  FakeServer server(Serving(named));
  Configure("192.0.2.1:8080", "\"connect\": \"localhost:" + std::to_string(server.Number()) + "\"");
  EXPECT_EQ(Exchange(*ChannelTo("192.0.2.1", 8080, Kind::Tls), "1"), "fine");
}

TEST_F(TcpTlsClient, TakesItsFilesFromTheConfigurationUnlessTheEnvironmentHasThem) {
  const ForgedCertificate other(ForgedCertificate::Authority());
  unsetenv("FERROLINK_TLS_CA_FILE");
  FakeServer server(Serving(m_certificate, 3));
  const auto file = [](const std::string& key, const ForgedCertificate& certificate) {
    return "\"" + key + "\": \"" + certificate.File() + "\"";
  };
  Configure(server.Name(), file("authorities", m_authority));
  EXPECT_EQ(Ask(server), "fine");
  {
    const Variable authorities("FERROLINK_TLS_CA_FILE", other.File());
    EXPECT_THAT(Ask(server), HasSubstr("unable to get local issuer certificate"));
  }
  const std::string list = m_authority.File() + ".list";
  WriteFile(list, m_authority.RevocationList({&m_certificate}));
  Configure(server.Name(), file("authorities", m_authority) + ", \"revocationList\": \"" + list +
                               "\", \"certificate\": \"" + m_certificate.File() +
                               "\", \"key\": \"" + m_certificate.KeyFile() + "\"");
  EXPECT_THAT(Ask(server), HasSubstr("certificate revoked"));
}

TEST_F(TcpTlsClient, ReadsChangedFilesAgainAndKeepsItsConnections) {
  const std::string list = m_authority.File() + ".list";
  WriteFile(list, m_authority.RevocationList({}));
  const Variable revocations("FERROLINK_TLS_CRL_FILE", list);
  FakeServer server([&](const Port& port) {
    TlsPeer kept(port.Accept(), m_certificate);
    kept.Greet().ReceiveCommand();
    kept.Send(Frame("1"));
    TlsPeer refused(port.Accept(), m_certificate);
    EXPECT_FALSE(refused.IsReady());
    EXPECT_EQ(kept.ReceiveCommand(), 2U);
    kept.Send(Frame("2", 2));
    TlsPeer again(port.Accept(), m_certificate);
    again.Greet().ReceiveCommand();
    again.Send(Frame("3"));
    again.AwaitEnd();
  });
  auto channel = ChannelTo(server.Number(), Kind::Tls);
  EXPECT_EQ(Exchange(*channel, "1"), "1");
  WriteFile(list, m_authority.RevocationList({&m_certificate}));
  EXPECT_THAT(Ask(server), HasSubstr("certificate revoked"));
  EXPECT_EQ(Exchange(*channel, "2"), "2");
  WriteFile(list, m_authority.RevocationList({}));
  EXPECT_EQ(Ask(server), "3");
}

TEST_F(TcpTlsClient, TellsWhatIsWrongWithItsOwnCertificate) {
  const Port port;
  port.Listen();
  Wish expired = ForgedCertificate::Server(m_authority);
  expired.firstSecond = -7200;
  expired.lastSecond = -3600;
  const ForgedCertificate old(expired);
  Wish early = ForgedCertificate::Server(m_authority);
  early.firstSecond = 3600;
  early.lastSecond = 7200;
  const ForgedCertificate young(early);
  const auto said = [&](const std::string& certificate, const std::string& key) {
    const Variable file("FERROLINK_TLS_CERTIFICATE", certificate);
    const Variable keyFile("FERROLINK_TLS_KEY", key);
    return Ask(port);
  };
  const auto refused = [](const std::string& what, const std::string& file,
                          const std::string& reason) {
    return ClientError(
        6, "Cannot use the " + what + " '" + file + "': " + reason + ". The command was not sent.");
  };
  EXPECT_EQ(said(m_certificate.File(), old.KeyFile()),
            refused("key", old.KeyFile(),
                    "it does not fit the certificate '" + m_certificate.File() + "'"));
  EXPECT_THAT(said(old.File(), old.KeyFile()),
              HasSubstr("Cannot use the certificate '" + old.File() + "': it was valid until "));
  EXPECT_THAT(said(young.File(), young.KeyFile()),
              HasSubstr("Cannot use the certificate '" + young.File() + "': it is valid from "));
  EXPECT_EQ(said("/nowhere", old.KeyFile()),
            refused("certificate", "/nowhere", "No such file or directory"));
  EXPECT_THAT(said(m_certificate.File(), m_certificate.File()),
              HasSubstr("Cannot use the key '" + m_certificate.File() + "': "));
}

TEST_F(TcpTlsClient, ReadsTheRefusalOfACommandThatTheServerDoesNotTakeToItsEnd) {
  FakeServer server([&](const Port& port) {
    for (int i = 0; i < 10; ++i) {
      RawSocket accepted = port.Accept();
      TlsPeer peer(std::move(accepted), m_certificate);
      peer.Greet().Receive(16);
      peer.Send(Frame("the command is too long", 1, 4));
    }
  });
  for (int i = 0; i < 10; ++i) {
    EXPECT_EQ(Exchange(*ChannelTo(server.Number(), Kind::Tls), std::string(32U << 20U, 'x')),
              NotBegun(server.Name(), "the command is too long"));
  }
}

TEST_F(TcpTlsClient, KeepsToTheTimeOfACommand) {
  FakeServer server([&](const Port& port) {
    TlsPeer silent(port.Accept(), m_certificate);
    silent.Greet().ReceiveCommand();
    silent.AwaitEnd();
    RawSocket unready = port.Accept();
    unready.ReceiveAll();
  });
  EXPECT_THAT(Exchange(*ChannelTo(server.Number(), Kind::Tls), CallWithin(1000)),
              HasSubstr("Network Client: Exception code 010.\n"));
  EXPECT_THAT(Exchange(*ChannelTo(server.Number(), Kind::Tls), CallWithin(100)),
              HasSubstr("Network Client: Exception code 009.\n"));
}

}  // namespace Ferrolink::Tests
