// The TLS client library and a server with a certificate: who trusts whom.
#include <openssl/ssl.h>

#include <csignal>
#include <memory>
#include <thread>

#include "tests/companions/tcp/Certificates.h"
#include "tests/companions/tcp/ServerProcess.h"

namespace Ferrolink::Tests {
namespace {

using testing::HasSubstr;

constexpr const char* kNotSent = " The command was not sent.";

Certificate::Wish Authority() {
  Certificate::Wish wish;
  wish.address = "";
  return wish;
}

class TcpTls : public testing::Test {
 protected:
  // A certificate of the authority with these properties.
  Certificate Certified(Certificate::Wish wish = {}) const {
    wish.issuer = &m_authority;
    return Certificate(wish);
  }

  static ServerProcess::Arguments Speaking(const Certificate& certificate,
                                           ServerProcess::Arguments further = {}) {
    further.insert(further.end(),
                   {"--tls-certificate", certificate.File(), "--tls-key", certificate.KeyFile()});
    return further;
  }

  static std::string Echo(const ServerProcess& server, Kind kind = Kind::Tls) {
    return Exchange(*ChannelTo(server.Port(), kind), CallOf("echo", "x"));
  }

  static std::string Refused(const ServerProcess& server, const std::string& why) {
    return "error: Network Client: Exception code 004.\nThe certificate of " + server.Name() +
           " is not accepted: " + why + "." + kNotSent +
           " The certificate must be valid for the address and come from an authority of the "
           "system, or of the file that FERROLINK_TLS_CA_FILE names.";
  }

  // The client's error for a server with that certificate.
  std::string VerdictOn(const Certificate& certificate, const std::string& why) const {
    const ServerProcess server(Speaking(certificate));
    const Variable authorities("FERROLINK_TLS_CA_FILE", m_authority.File());
    const std::string said = Echo(server);
    return said == Refused(server, why) ? "as expected" : said;
  }

  const Certificate m_authority{Authority()};
};

}  // namespace

TEST_F(TcpTls, CarriesCommandsToAServerWhoseCertificateIsBelieved) {
  const Certificate certificate = Certified();
  const ServerProcess server(Speaking(certificate));
  EXPECT_EQ(server.Listening(), "ferrolink-server: cpp listens on " + server.Name() + " (TLS)\n");
  const Variable authorities("FERROLINK_TLS_CA_FILE", m_authority.File());
  auto channel = ChannelTo(server.Port(), Kind::Tls);
  const std::string large(5U << 20U, 'x');
  for (const std::string& text : {std::string("1"), large, std::string()}) {
    EXPECT_EQ(Exchange(*channel, CallOf("echo", text)) == AnswerOf(text), true);
  }
}

TEST_F(TcpTls, BelievesTheSystemsAuthoritiesUnlessAFileIsNamed) {
  const Certificate certificate = Certified();
  const ServerProcess server(Speaking(certificate));
  EXPECT_EQ(Echo(server), Refused(server, "unable to get local issuer certificate"));
  {
    // OpenSSL reads the system's authorities from this file.
    const Variable system("SSL_CERT_FILE", m_authority.File());
    EXPECT_EQ(Echo(server), AnswerOf("x"));
    const Certificate other(Authority());
    const Variable authorities("FERROLINK_TLS_CA_FILE", other.File());
    EXPECT_EQ(Echo(server), Refused(server, "unable to get local issuer certificate"));
  }
  EXPECT_EQ(Echo(server), Refused(server, "unable to get local issuer certificate"));
}

TEST_F(TcpTls, RefusesCertificatesThatProveNothing) {
  Certificate::Wish expired;
  expired.firstSecond = -7200;
  expired.lastSecond = -3600;
  EXPECT_EQ(VerdictOn(Certified(expired), "certificate has expired"), "as expected");
  Certificate::Wish early;
  early.firstSecond = 3600;
  early.lastSecond = 7200;
  EXPECT_EQ(VerdictOn(Certified(early), "certificate is not yet valid"), "as expected");
  Certificate::Wish elsewhere;
  elsewhere.address = "127.0.0.2";
  EXPECT_EQ(VerdictOn(Certified(elsewhere),
                      "IP address mismatch ('127.0.0.1' is expected, the certificate is for IP "
                      "Address:127.0.0.2)"),
            "as expected");
  EXPECT_EQ(VerdictOn(Certificate({}), "self-signed certificate"), "as expected");
}

TEST_F(TcpTls, AcceptsAnyCertificateOnlyWhereToldSoByName) {
  const ServerProcess server(Speaking(Certificate({})));
  {
    const Variable insecure("FERROLINK_TLS_INSECURE", "1");
    EXPECT_EQ(Echo(server),
              std::string("error: Network Client: Exception code 006.\nThe environment variable "
                          "FERROLINK_TLS_INSECURE is '1', it must be 'accept-any-certificate' or "
                          "unset.") +
                  kNotSent);
  }
  const Variable insecure("FERROLINK_TLS_INSECURE", "accept-any-certificate");
  testing::internal::CaptureStderr();
  EXPECT_EQ(Echo(server), AnswerOf("x"));
  EXPECT_EQ(Echo(server), AnswerOf("x"));
  const std::string warning = "Ferrolink: FERROLINK_TLS_INSECURE is set: whoever answers at " +
                              server.Name() + " is taken for the server.\n";
  EXPECT_EQ(testing::internal::GetCapturedStderr(), warning + warning);
}

TEST_F(TcpTls, ShowsAClientCertificateWhereOneIsDemanded) {
  const Certificate certificate = Certified();
  const ServerProcess server(Speaking(certificate, {"--tls-client-ca", m_authority.File()}));
  const Variable authorities("FERROLINK_TLS_CA_FILE", m_authority.File());
  const auto refusal = [&](const std::string& why) {
    return "error: Network Client: Exception code 004.\nTLS with " + server.Name() +
           " failed: " + why + "." + kNotSent +
           " Where it asks for a client certificate, name one in FERROLINK_TLS_CERTIFICATE and "
           "FERROLINK_TLS_KEY.";
  };
  const auto echoAs = [&](const Certificate& shown) {
    const Variable file("FERROLINK_TLS_CERTIFICATE", shown.File());
    const Variable key("FERROLINK_TLS_KEY", shown.KeyFile());
    return Echo(server);
  };
  EXPECT_EQ(Echo(server), refusal("tlsv13 alert certificate required (SSL routines)"));
  EXPECT_EQ(echoAs(Certificate({})), refusal("tlsv1 alert unknown ca (SSL routines)"));
  EXPECT_EQ(echoAs(Certified()), AnswerOf("x"));
}

TEST_F(TcpTls, AndPlainTcpAreTwoKindsOfServers) {
  const Certificate certificate = Certified();
  ServerProcess tls(Speaking(certificate));
  ServerProcess plain;
  const Variable authorities("FERROLINK_TLS_CA_FILE", m_authority.File());
  EXPECT_EQ(Echo(tls, Kind::Plain), "error: Network Client: Exception code 003.\n" + tls.Name() +
                                        " speaks TLS." + kNotSent + " Use a target with TLS.");
  EXPECT_EQ(Echo(plain, Kind::Tls),
            "error: Network Client: Exception code 003.\n" + plain.Name() +
                " does not speak TLS 1.2 or later." + kNotSent +
                " Use a target without TLS, or start the server with a certificate.");
  EXPECT_EQ(Echo(tls), AnswerOf("x"));
  EXPECT_EQ(Echo(plain, Kind::Plain), AnswerOf("x"));
  RawSocket raw = RawSocket::Connect(tls.Port());
  raw.Send(kHello);
  EXPECT_EQ(raw.Receive(8), kSpeaksTls);
  raw.Close();
  RawSocket garbage = RawSocket::Connect(tls.Port());
  garbage.Send("\x01garbage").EndWriting();
  EXPECT_EQ(garbage.ReceiveAll(), "");
  tls.Signal(SIGTERM);
  tls.Wait();
  tls.AwaitErrors(" reason=\"a client without TLS, this server speaks TLS\"\n");
}

TEST_F(TcpTls, TakesNoPlainServerOfAnyKindForATlsServer) {
  FakeServer server([](const Port& port) {
    RawSocket client = port.Accept();
    EXPECT_EQ(client.Receive(1), "\x16");
    client.Send("HTTP/1.1 400 Bad Request\r\n\r\n");
    client.EndWriting();
    client.ReceiveAll();
  });
  EXPECT_THAT(Exchange(*ChannelTo(server.Number(), Kind::Tls), "1"),
              HasSubstr(server.Name() + " does not speak TLS 1.2 or later."));
}

TEST_F(TcpTls, LimitsTheTimeOfTheHandshake) {
  const Port port;
  port.Listen();
  const Variable timeout("FERROLINK_CONNECT_TIMEOUT_MS", "50");
  EXPECT_THAT(Exchange(*ChannelTo(port.Number(), Kind::Tls), "1"),
              HasSubstr("Cannot connect to " + port.Name() + ": it took longer than 50 ms."));
}

TEST_F(TcpTls, BeginsWithVersion12) {
  const Certificate certificate = Certified();
  const ServerProcess server(Speaking(certificate));
  const auto handshake = [&](int version) {
    const std::unique_ptr<SSL_CTX, decltype(&SSL_CTX_free)> context(
        SSL_CTX_new(TLS_client_method()), &SSL_CTX_free);
    SSL_CTX_set_security_level(context.get(), 0);
    SSL_CTX_set_min_proto_version(context.get(), TLS1_VERSION);
    SSL_CTX_set_max_proto_version(context.get(), version);
    const std::unique_ptr<SSL, decltype(&SSL_free)> tls(SSL_new(context.get()), &SSL_free);
    RawSocket raw = RawSocket::Connect(server.Port());
    SSL_set_fd(tls.get(), raw.Descriptor());
    const int result = SSL_connect(tls.get());
    return result == 1 ? std::string(SSL_get_version(tls.get())) : "refused";
  };
  EXPECT_EQ(handshake(TLS1_1_VERSION), "refused");
  EXPECT_EQ(handshake(TLS1_2_VERSION), "TLSv1.2");
  EXPECT_EQ(handshake(TLS1_3_VERSION), "TLSv1.3");
}

TEST_F(TcpTls, ConnectionsAreKeptAndReplacedWhenTheServerEndsThem) {
  const Certificate certificate = Certified();
  const Variable authorities("FERROLINK_TLS_CA_FILE", m_authority.File());
  auto server = std::make_unique<ServerProcess>(Speaking(certificate, {"--max-connections", "1"}));
  const std::string address = server->Name();
  auto channel = ChannelTo(server->Port(), Kind::Tls);
  EXPECT_EQ(Exchange(*channel, CallOf("echo", "1")), AnswerOf("1"));
  // The server has no slot for a second connection.
  EXPECT_EQ(Exchange(*channel, CallOf("echo", "2")), AnswerOf("2"));
  server->Signal(SIGTERM);
  EXPECT_EQ(server->Wait(), 0);
  EXPECT_THAT(Exchange(*channel, CallOf("echo", "3")), HasSubstr("Connection refused"));
  const ServerProcess next(Speaking(certificate, {"--listen", address}));
  EXPECT_EQ(Exchange(*channel, CallOf("echo", "4")), AnswerOf("4"));
}

TEST_F(TcpTls, ServesThreadsThatShareAChannel) {
  const Certificate certificate = Certified();
  const ServerProcess server(Speaking(certificate));
  const Variable authorities("FERROLINK_TLS_CA_FILE", m_authority.File());
  auto channel = ChannelTo(server.Port(), Kind::Tls);
  std::vector<std::thread> threads;
  std::vector<int> own(8);
  for (std::size_t number = 0; number < own.size(); ++number) {
    threads.emplace_back([&, number] {
      for (int i = 0; i < 500; ++i) {
        const std::string text = std::to_string(number) + " " + std::to_string(i);
        own[number] += Exchange(*channel, CallOf("echo", text)) == AnswerOf(text);
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  EXPECT_THAT(own, testing::Each(500));
}

TEST_F(TcpTls, TellsWhichFileCannotBeUsed) {
  const Certificate certificate = Certified();
  Certificate::Wish wish;
  wish.password = "secret";
  const Certificate locked = Certified(wish);
  const ServerProcess server(Speaking(certificate));
  const std::string code = "error: Network Client: Exception code 006.\n";
  {
    const Variable authorities("FERROLINK_TLS_CA_FILE", "/nowhere");
    EXPECT_THAT(Echo(server), HasSubstr(code + "Cannot use the authorities '/nowhere': "));
  }
  const Variable file("FERROLINK_TLS_CERTIFICATE", locked.File());
  EXPECT_EQ(Echo(server), code +
                              "Of FERROLINK_TLS_CERTIFICATE and FERROLINK_TLS_KEY only one is set. "
                              "Set both, or none." +
                              kNotSent);
  {
    const Variable key("FERROLINK_TLS_KEY", locked.KeyFile());
    EXPECT_THAT(Echo(server), HasSubstr(code + "Cannot use the key '" + locked.KeyFile() +
                                        "': it needs a password; store it without one."));
  }
  const Variable key("FERROLINK_TLS_KEY", certificate.KeyFile());
  EXPECT_THAT(Echo(server), HasSubstr(": it does not fit the certificate '" + locked.File() + "'"));
  ServerProcess wrong({"--tls-certificate", "/nowhere", "--tls-key", certificate.KeyFile()});
  EXPECT_EQ(wrong.Wait(), 1);
  EXPECT_THAT(wrong.Errors(),
              HasSubstr("ferrolink-server: Cannot use the certificate '/nowhere': "));
}

}  // namespace Ferrolink::Tests
