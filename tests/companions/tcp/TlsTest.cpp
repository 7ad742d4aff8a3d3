// The TLS client library and the server with a certificate: who believes whom.
#include <openssl/ssl.h>

#include <csignal>
#include <memory>
#include <thread>

#include "tests/companions/tcp/Certificates.h"
#include "tests/companions/tcp/ServerProcess.h"

namespace FerrolinkTest {
namespace {

using testing::HasSubstr;

constexpr const char* kNotSent = " The command was not sent.";

Certificate::Wish authority() {
  Certificate::Wish wish;
  wish.address = "";
  return wish;
}

class TcpTls : public testing::Test {
 protected:
  // A certificate of the authority, as wished otherwise.
  Certificate certified(Certificate::Wish wish = {}) const {
    wish.issuer = &m_authority;
    return Certificate(wish);
  }

  static ServerProcess::Arguments speaking(const Certificate& certificate,
                                           ServerProcess::Arguments further = {}) {
    further.insert(further.end(),
                   {"--tls-certificate", certificate.file(), "--tls-key", certificate.keyFile()});
    return further;
  }

  static std::string echo(const ServerProcess& server, Kind kind = Kind::Tls) {
    return exchange(*channelTo(server.port(), kind), callOf("echo", "x"));
  }

  static std::string refused(const ServerProcess& server, const std::string& why) {
    return "error: Network Client: Exception code 004.\nThe certificate of " + server.name() +
           " is not accepted: " + why + "." + kNotSent +
           " The certificate must be valid for the address and come from an authority of the "
           "system, or of the file that FERROLINK_TLS_CA_FILE names.";
  }

  // What the client says of a server with that certificate.
  std::string verdictOn(const Certificate& certificate, const std::string& why) const {
    const ServerProcess server(speaking(certificate));
    const Variable authorities("FERROLINK_TLS_CA_FILE", m_authority.file());
    const std::string said = echo(server);
    return said == refused(server, why) ? "as expected" : said;
  }

  const Certificate m_authority{authority()};
};

}  // namespace

TEST_F(TcpTls, CarriesCommandsToAServerWhoseCertificateIsBelieved) {
  const Certificate certificate = certified();
  const ServerProcess server(speaking(certificate));
  EXPECT_EQ(server.listening(), "ferrolink-server: cpp listens on " + server.name() + " (TLS)\n");
  const Variable authorities("FERROLINK_TLS_CA_FILE", m_authority.file());
  auto channel = channelTo(server.port(), Kind::Tls);
  const std::string large(5U << 20U, 'x');
  for (const std::string& text : {std::string("1"), large, std::string()}) {
    EXPECT_EQ(exchange(*channel, callOf("echo", text)) == answerOf(text), true);
  }
}

TEST_F(TcpTls, BelievesTheSystemsAuthoritiesUnlessAFileIsNamed) {
  const Certificate certificate = certified();
  const ServerProcess server(speaking(certificate));
  EXPECT_EQ(echo(server), refused(server, "unable to get local issuer certificate"));
  {
    // What OpenSSL takes for the system's authorities.
    const Variable system("SSL_CERT_FILE", m_authority.file());
    EXPECT_EQ(echo(server), answerOf("x"));
    const Certificate other(authority());
    const Variable authorities("FERROLINK_TLS_CA_FILE", other.file());
    EXPECT_EQ(echo(server), refused(server, "unable to get local issuer certificate"));
  }
  EXPECT_EQ(echo(server), refused(server, "unable to get local issuer certificate"));
}

TEST_F(TcpTls, RefusesCertificatesThatProveNothing) {
  Certificate::Wish expired;
  expired.firstSecond = -7200;
  expired.lastSecond = -3600;
  EXPECT_EQ(verdictOn(certified(expired), "certificate has expired"), "as expected");
  Certificate::Wish early;
  early.firstSecond = 3600;
  early.lastSecond = 7200;
  EXPECT_EQ(verdictOn(certified(early), "certificate is not yet valid"), "as expected");
  Certificate::Wish elsewhere;
  elsewhere.address = "127.0.0.2";
  EXPECT_EQ(verdictOn(certified(elsewhere),
                      "IP address mismatch ('127.0.0.1' is expected, the certificate is for IP "
                      "Address:127.0.0.2)"),
            "as expected");
  EXPECT_EQ(verdictOn(Certificate({}), "self-signed certificate"), "as expected");
}

TEST_F(TcpTls, AcceptsAnyCertificateOnlyWhereToldSoByName) {
  const ServerProcess server(speaking(Certificate({})));
  {
    const Variable insecure("FERROLINK_TLS_INSECURE", "1");
    EXPECT_EQ(echo(server),
              std::string("error: Network Client: Exception code 006.\nThe environment variable "
                          "FERROLINK_TLS_INSECURE is '1', it must be 'accept-any-certificate' or "
                          "unset.") +
                  kNotSent);
  }
  const Variable insecure("FERROLINK_TLS_INSECURE", "accept-any-certificate");
  testing::internal::CaptureStderr();
  EXPECT_EQ(echo(server), answerOf("x"));
  EXPECT_EQ(echo(server), answerOf("x"));
  const std::string warning = "Ferrolink: FERROLINK_TLS_INSECURE is set: whoever answers at " +
                              server.name() + " is taken for the server.\n";
  EXPECT_EQ(testing::internal::GetCapturedStderr(), warning + warning);
}

TEST_F(TcpTls, ShowsAClientCertificateWhereOneIsDemanded) {
  const Certificate certificate = certified();
  const ServerProcess server(speaking(certificate, {"--tls-client-ca", m_authority.file()}));
  const Variable authorities("FERROLINK_TLS_CA_FILE", m_authority.file());
  const auto refusal = [&](const std::string& why) {
    return "error: Network Client: Exception code 004.\nTLS with " + server.name() +
           " failed: " + why + "." + kNotSent +
           " Where it asks for a client certificate, name one in FERROLINK_TLS_CERTIFICATE and "
           "FERROLINK_TLS_KEY.";
  };
  const auto echoAs = [&](const Certificate& shown) {
    const Variable file("FERROLINK_TLS_CERTIFICATE", shown.file());
    const Variable key("FERROLINK_TLS_KEY", shown.keyFile());
    return echo(server);
  };
  EXPECT_EQ(echo(server), refusal("tlsv13 alert certificate required (SSL routines)"));
  EXPECT_EQ(echoAs(Certificate({})), refusal("tlsv1 alert unknown ca (SSL routines)"));
  EXPECT_EQ(echoAs(certified()), answerOf("x"));
}

TEST_F(TcpTls, AndPlainTcpAreTwoKindsOfServers) {
  const Certificate certificate = certified();
  ServerProcess tls(speaking(certificate));
  ServerProcess plain;
  const Variable authorities("FERROLINK_TLS_CA_FILE", m_authority.file());
  EXPECT_EQ(echo(tls, Kind::Plain), "error: Network Client: Exception code 003.\n" + tls.name() +
                                        " speaks TLS." + kNotSent + " Use a target with TLS.");
  EXPECT_EQ(echo(plain, Kind::Tls),
            "error: Network Client: Exception code 003.\n" + plain.name() +
                " does not speak TLS 1.2 or later." + kNotSent +
                " Use a target without TLS, or start the server with a certificate.");
  EXPECT_EQ(echo(tls), answerOf("x"));
  EXPECT_EQ(echo(plain, Kind::Plain), answerOf("x"));
  RawSocket raw = RawSocket::connect(tls.port());
  raw.send(kHello);
  EXPECT_EQ(raw.receive(8), kSpeaksTls);
  raw.close();
  RawSocket garbage = RawSocket::connect(tls.port());
  garbage.send("\x01garbage").endWriting();
  EXPECT_EQ(garbage.receiveAll(), "");
  tls.signal(SIGTERM);
  tls.wait();
  tls.awaitErrors(" reason=\"a client without TLS, this server speaks TLS\"\n");
}

TEST_F(TcpTls, TakesNoPlainServerOfAnyKindForATlsServer) {
  FakeServer server([](const Port& port) {
    RawSocket client = port.accept();
    EXPECT_EQ(client.receive(1), "\x16");
    client.send("HTTP/1.1 400 Bad Request\r\n\r\n");
    client.endWriting();
    client.receiveAll();
  });
  EXPECT_THAT(exchange(*channelTo(server.number(), Kind::Tls), "1"),
              HasSubstr(server.name() + " does not speak TLS 1.2 or later."));
}

TEST_F(TcpTls, LimitsTheTimeOfTheHandshake) {
  const Port port;
  port.listen();
  const Variable timeout("FERROLINK_CONNECT_TIMEOUT_MS", "50");
  EXPECT_THAT(exchange(*channelTo(port.number(), Kind::Tls), "1"),
              HasSubstr("Cannot connect to " + port.name() + ": it took longer than 50 ms."));
}

TEST_F(TcpTls, BeginsWithVersion12) {
  const Certificate certificate = certified();
  const ServerProcess server(speaking(certificate));
  const auto handshake = [&](int version) {
    const std::unique_ptr<SSL_CTX, decltype(&SSL_CTX_free)> context(
        SSL_CTX_new(TLS_client_method()), &SSL_CTX_free);
    SSL_CTX_set_security_level(context.get(), 0);
    SSL_CTX_set_min_proto_version(context.get(), TLS1_VERSION);
    SSL_CTX_set_max_proto_version(context.get(), version);
    const std::unique_ptr<SSL, decltype(&SSL_free)> tls(SSL_new(context.get()), &SSL_free);
    RawSocket raw = RawSocket::connect(server.port());
    SSL_set_fd(tls.get(), raw.descriptor());
    const int result = SSL_connect(tls.get());
    return result == 1 ? std::string(SSL_get_version(tls.get())) : "refused";
  };
  EXPECT_EQ(handshake(TLS1_1_VERSION), "refused");
  EXPECT_EQ(handshake(TLS1_2_VERSION), "TLSv1.2");
  EXPECT_EQ(handshake(TLS1_3_VERSION), "TLSv1.3");
}

TEST_F(TcpTls, ConnectionsAreKeptAndReplacedWhenTheServerEndsThem) {
  const Certificate certificate = certified();
  const Variable authorities("FERROLINK_TLS_CA_FILE", m_authority.file());
  auto server = std::make_unique<ServerProcess>(speaking(certificate, {"--max-connections", "1"}));
  const std::string address = server->name();
  auto channel = channelTo(server->port(), Kind::Tls);
  EXPECT_EQ(exchange(*channel, callOf("echo", "1")), answerOf("1"));
  // There is no room for a second connection.
  EXPECT_EQ(exchange(*channel, callOf("echo", "2")), answerOf("2"));
  server->signal(SIGTERM);
  EXPECT_EQ(server->wait(), 0);
  EXPECT_THAT(exchange(*channel, callOf("echo", "3")), HasSubstr("Connection refused"));
  const ServerProcess next(speaking(certificate, {"--listen", address}));
  EXPECT_EQ(exchange(*channel, callOf("echo", "4")), answerOf("4"));
}

TEST_F(TcpTls, ServesThreadsThatShareAChannel) {
  const Certificate certificate = certified();
  const ServerProcess server(speaking(certificate));
  const Variable authorities("FERROLINK_TLS_CA_FILE", m_authority.file());
  auto channel = channelTo(server.port(), Kind::Tls);
  std::vector<std::thread> threads;
  std::vector<int> own(8);
  for (std::size_t number = 0; number < own.size(); ++number) {
    threads.emplace_back([&, number] {
      for (int i = 0; i < 500; ++i) {
        const std::string text = std::to_string(number) + " " + std::to_string(i);
        own[number] += exchange(*channel, callOf("echo", text)) == answerOf(text);
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  EXPECT_THAT(own, testing::Each(500));
}

TEST_F(TcpTls, TellsWhichFileCannotBeUsed) {
  const Certificate certificate = certified();
  Certificate::Wish wish;
  wish.password = "secret";
  const Certificate locked = certified(wish);
  const ServerProcess server(speaking(certificate));
  const std::string code = "error: Network Client: Exception code 006.\n";
  {
    const Variable authorities("FERROLINK_TLS_CA_FILE", "/nowhere");
    EXPECT_THAT(echo(server), HasSubstr(code + "Cannot use the authorities '/nowhere': "));
  }
  const Variable file("FERROLINK_TLS_CERTIFICATE", locked.file());
  EXPECT_EQ(echo(server), code +
                              "Of FERROLINK_TLS_CERTIFICATE and FERROLINK_TLS_KEY only one is set. "
                              "Set both, or none." +
                              kNotSent);
  {
    const Variable key("FERROLINK_TLS_KEY", locked.keyFile());
    EXPECT_THAT(echo(server), HasSubstr(code + "Cannot use the key '" + locked.keyFile() +
                                        "': it needs a password; store it without one."));
  }
  const Variable key("FERROLINK_TLS_KEY", certificate.keyFile());
  EXPECT_THAT(echo(server), HasSubstr(": it does not fit the certificate '" + locked.file() + "'"));
  ServerProcess wrong({"--tls-certificate", "/nowhere", "--tls-key", certificate.keyFile()});
  EXPECT_EQ(wrong.wait(), 1);
  EXPECT_THAT(wrong.errors(),
              HasSubstr("ferrolink-server: Cannot use the certificate '/nowhere': "));
}

}  // namespace FerrolinkTest
