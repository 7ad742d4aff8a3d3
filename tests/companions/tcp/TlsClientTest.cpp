// The TLS client library: which files it believes, when it reads them, whom it asks for, and what
// it makes of servers that say too much.
#include <latch>

#include "tests/companions/tcp/ClientSupport.h"
#include "tests/companions/tcp/TlsPeer.h"

namespace FerrolinkTest {
namespace {

using testing::HasSubstr;

class TcpTlsClient : public testing::Test {
 protected:
  using Wish = ForgedCertificate::Wish;

  // Serves one command of each of that many clients.
  static auto serving(const ForgedCertificate& certificate, int clients = 1) {
    return [&certificate, clients](const Port& port) {
      for (int i = 0; i < clients; ++i) {
        TlsPeer peer(port.accept(), certificate);
        if (peer.isReady()) {
          peer.greet().receiveCommand();
          peer.send(frame("fine"));
          peer.awaitEnd();
        }
      }
    };
  }

  static std::string ask(const Port& port) {
    return exchange(*channelTo(port.number(), Kind::Tls), "1");
  }

  const ForgedCertificate m_authority{ForgedCertificate::authority()};
  const ForgedCertificate m_certificate{ForgedCertificate::server(m_authority)};
  const Variable m_believed{"FERROLINK_TLS_CA_FILE", m_authority.file()};
};

}  // namespace

TEST_F(TcpTlsClient, TakesNoFrameTooManyForAnAnswer) {
  std::latch sent(1);
  FakeServer server([&](const Port& port) {
    TlsPeer first(port.accept(), m_certificate);
    first.greet().receiveCommand();
    // Both in one record: the second is decrypted with the first.
    first.send(frame("first") + frame("of another", 2));
    sent.count_down();
    TlsPeer second(port.accept(), m_certificate);
    EXPECT_EQ(second.greet().receiveCommand(), 1U);
    second.send(frame("second"));
    EXPECT_EQ(second.receiveCommand(), 2U);
    second.send(frame("repeated", 1));
    second.awaitEnd();
  });
  auto channel = channelTo(server.number(), Kind::Tls);
  EXPECT_EQ(exchange(*channel, "1"), "first");
  sent.wait();
  EXPECT_EQ(exchange(*channel, "2"), "second");
  EXPECT_EQ(exchange(*channel, "3"), broken(server, "an answer was awaited", "Bad message"));
}

TEST_F(TcpTlsClient, AsksForTheConfiguredNameAndVerifiesIt) {
  Wish wish = ForgedCertificate::server(m_authority);
  wish.names = "DNS:db.example";
  const ForgedCertificate named(wish);
  std::string requested;
  FakeServer server([&](const Port& port) {
    for (int i = 0; i < 2; ++i) {
      TlsPeer peer(port.accept(), named);
      requested += peer.requestedName() + ";";
      if (peer.isReady()) {
        peer.greet().receiveCommand();
        peer.send(frame("fine"));
        peer.awaitEnd();
      }
    }
  });
  EXPECT_THAT(ask(server), HasSubstr("IP address mismatch ('127.0.0.1' is expected, the "
                                     "certificate is for DNS:db.example)"));
  configure(server.name(), R"("name": "db.example")");
  EXPECT_EQ(ask(server), "fine");
  server.join();
  EXPECT_EQ(requested, ";db.example;");
}

TEST_F(TcpTlsClient, VerifiesTheHostThatTheConfigurationConnectsTo) {
  Wish wish = ForgedCertificate::server(m_authority);
  wish.names = "DNS:localhost";
  const ForgedCertificate named(wish);
  FakeServer server(serving(named));
  configure("192.0.2.1:8080", "\"connect\": \"localhost:" + std::to_string(server.number()) + "\"");
  EXPECT_EQ(exchange(*channelTo("192.0.2.1", 8080, Kind::Tls), "1"), "fine");
}

TEST_F(TcpTlsClient, TakesItsFilesFromTheConfigurationUnlessTheEnvironmentHasThem) {
  const ForgedCertificate other(ForgedCertificate::authority());
  unsetenv("FERROLINK_TLS_CA_FILE");
  FakeServer server(serving(m_certificate, 3));
  const auto file = [](const std::string& key, const ForgedCertificate& certificate) {
    return "\"" + key + "\": \"" + certificate.file() + "\"";
  };
  configure(server.name(), file("authorities", m_authority));
  EXPECT_EQ(ask(server), "fine");
  {
    const Variable authorities("FERROLINK_TLS_CA_FILE", other.file());
    EXPECT_THAT(ask(server), HasSubstr("unable to get local issuer certificate"));
  }
  const std::string list = m_authority.file() + ".list";
  writeFile(list, m_authority.revocationList({&m_certificate}));
  configure(server.name(), file("authorities", m_authority) + ", \"revocationList\": \"" + list +
                               "\", \"certificate\": \"" + m_certificate.file() +
                               "\", \"key\": \"" + m_certificate.keyFile() + "\"");
  EXPECT_THAT(ask(server), HasSubstr("certificate revoked"));
}

TEST_F(TcpTlsClient, ReadsChangedFilesAgainAndKeepsItsConnections) {
  const std::string list = m_authority.file() + ".list";
  writeFile(list, m_authority.revocationList({}));
  const Variable revocations("FERROLINK_TLS_CRL_FILE", list);
  FakeServer server([&](const Port& port) {
    TlsPeer kept(port.accept(), m_certificate);
    kept.greet().receiveCommand();
    kept.send(frame("1"));
    TlsPeer refused(port.accept(), m_certificate);
    EXPECT_FALSE(refused.isReady());
    EXPECT_EQ(kept.receiveCommand(), 2U);
    kept.send(frame("2", 2));
    TlsPeer again(port.accept(), m_certificate);
    again.greet().receiveCommand();
    again.send(frame("3"));
    again.awaitEnd();
  });
  auto channel = channelTo(server.number(), Kind::Tls);
  EXPECT_EQ(exchange(*channel, "1"), "1");
  writeFile(list, m_authority.revocationList({&m_certificate}));
  EXPECT_THAT(ask(server), HasSubstr("certificate revoked"));
  EXPECT_EQ(exchange(*channel, "2"), "2");
  writeFile(list, m_authority.revocationList({}));
  EXPECT_EQ(ask(server), "3");
}

TEST_F(TcpTlsClient, TellsWhatIsWrongWithItsOwnCertificate) {
  const Port port;
  port.listen();
  Wish expired = ForgedCertificate::server(m_authority);
  expired.firstSecond = -7200;
  expired.lastSecond = -3600;
  const ForgedCertificate old(expired);
  Wish early = ForgedCertificate::server(m_authority);
  early.firstSecond = 3600;
  early.lastSecond = 7200;
  const ForgedCertificate young(early);
  const auto said = [&](const std::string& certificate, const std::string& key) {
    const Variable file("FERROLINK_TLS_CERTIFICATE", certificate);
    const Variable keyFile("FERROLINK_TLS_KEY", key);
    return ask(port);
  };
  const auto refused = [](const std::string& what, const std::string& file,
                          const std::string& reason) {
    return clientError(
        6, "Cannot use the " + what + " '" + file + "': " + reason + ". The command was not sent.");
  };
  EXPECT_EQ(said(m_certificate.file(), old.keyFile()),
            refused("key", old.keyFile(),
                    "it does not fit the certificate '" + m_certificate.file() + "'"));
  EXPECT_THAT(said(old.file(), old.keyFile()),
              HasSubstr("Cannot use the certificate '" + old.file() + "': it was valid until "));
  EXPECT_THAT(said(young.file(), young.keyFile()),
              HasSubstr("Cannot use the certificate '" + young.file() + "': it is valid from "));
  EXPECT_EQ(said("/nowhere", old.keyFile()),
            refused("certificate", "/nowhere", "No such file or directory"));
  EXPECT_THAT(said(m_certificate.file(), m_certificate.file()),
              HasSubstr("Cannot use the key '" + m_certificate.file() + "': "));
}

TEST_F(TcpTlsClient, ReadsTheRefusalOfACommandThatTheServerDoesNotTakeToItsEnd) {
  FakeServer server([&](const Port& port) {
    for (int i = 0; i < 10; ++i) {
      RawSocket accepted = port.accept();
      TlsPeer peer(std::move(accepted), m_certificate);
      peer.greet().receive(16);
      peer.send(frame("the command is too long", 1, 4));
    }
  });
  for (int i = 0; i < 10; ++i) {
    EXPECT_EQ(exchange(*channelTo(server.number(), Kind::Tls), std::string(32U << 20U, 'x')),
              notBegun(server.name(), "the command is too long"));
  }
}

TEST_F(TcpTlsClient, KeepsToTheTimeOfACommand) {
  FakeServer server([&](const Port& port) {
    TlsPeer silent(port.accept(), m_certificate);
    silent.greet().receiveCommand();
    silent.awaitEnd();
    RawSocket unready = port.accept();
    unready.receiveAll();
  });
  EXPECT_THAT(exchange(*channelTo(server.number(), Kind::Tls), callWithin(1000)),
              HasSubstr("Network Client: Exception code 010.\n"));
  EXPECT_THAT(exchange(*channelTo(server.number(), Kind::Tls), callWithin(100)),
              HasSubstr("Network Client: Exception code 009.\n"));
}

}  // namespace FerrolinkTest
