// The certificates of a server, those of its clients, and lists of revoked ones.
#include <openssl/ssl.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "tests/companions/tcp/Certificates.h"
#include "tests/companions/tcp/ServerProcess.h"

namespace Ferrolink::Tests {
namespace {

using testing::HasSubstr;

constexpr const char* kReadAgain = "certificates, authorities and revocation lists were read again";
constexpr const char* kKept = "What was read before stays in use.";

Certificate::Wish Authority() {
  Certificate::Wish wish;
  wish.address = "";
  return wish;
}

std::string TextOf(const std::string& file) {
  std::ostringstream text;
  text << std::ifstream(file).rdbuf();
  return text.str();
}

class TcpServerTls : public testing::Test {
 protected:
  Certificate Certified(Certificate::Wish wish = {}) const {
    wish.issuer = &m_authority;
    return Certificate(wish);
  }

  // Replaces a file by renaming.
  std::string Put(const std::string& name, const std::string& text) const {
    const std::string path = (m_directory.Path() / name).string();
    std::ofstream(path + ".new") << text;
    std::filesystem::rename(path + ".new", path);
    return path;
  }

  void PutOwn(const Certificate& certificate) const {
    Put("key", TextOf(certificate.KeyFile()));
    Put("certificate", TextOf(certificate.File()));
  }

  // A server with the files of PutOwn.
  ServerProcess::Arguments Speaking(ServerProcess::Arguments further = {}) const {
    further.insert(further.end(),
                   {"--tls-certificate", (m_directory.Path() / "certificate").string(), "--tls-key",
                    (m_directory.Path() / "key").string()});
    return further;
  }

  // The result for a client with the certificate `shown`.
  std::string EchoAs(const ServerProcess& server, const Certificate* shown) const {
    const Variable authorities("FERROLINK_TLS_CA_FILE", m_authority.File());
    if (shown == nullptr) {
      return Exchange(*ChannelTo(server.Port(), Kind::Tls), CallOf("echo", "x"));
    }
    const Variable file("FERROLINK_TLS_CERTIFICATE", shown->File());
    const Variable key("FERROLINK_TLS_KEY", shown->KeyFile());
    return Exchange(*ChannelTo(server.Port(), Kind::Tls), CallOf("echo", "x"));
  }

  // Sends a certificate that the client libraries would not send.
  static void Show(const ServerProcess& server, const Certificate& shown) {
    const std::unique_ptr<SSL_CTX, decltype(&SSL_CTX_free)> context(
        SSL_CTX_new(TLS_client_method()), &SSL_CTX_free);
    SSL_CTX_use_certificate_chain_file(context.get(), shown.File().c_str());
    SSL_CTX_use_PrivateKey_file(context.get(), shown.KeyFile().c_str(), SSL_FILETYPE_PEM);
    const std::unique_ptr<SSL, decltype(&SSL_free)> tls(SSL_new(context.get()), &SSL_free);
    RawSocket raw = RawSocket::Connect(server.Port());
    SSL_set_fd(tls.get(), raw.Descriptor());
    char answer = 0;
    EXPECT_FALSE(SSL_connect(tls.get()) == 1 && SSL_read(tls.get(), &answer, 1) > 0);
  }

  // The subject of the server's certificate.
  static std::string ShownBy(const ServerProcess& server) {
    const std::unique_ptr<SSL_CTX, decltype(&SSL_CTX_free)> context(
        SSL_CTX_new(TLS_client_method()), &SSL_CTX_free);
    const std::unique_ptr<SSL, decltype(&SSL_free)> tls(SSL_new(context.get()), &SSL_free);
    RawSocket raw = RawSocket::Connect(server.Port());
    SSL_set_fd(tls.get(), raw.Descriptor());
    if (SSL_connect(tls.get()) != 1) {
      return "(refused)";
    }
    char subject[256] = {};
    X509_NAME_get_text_by_NID(X509_get_subject_name(SSL_get0_peer_certificate(tls.get())),
                              NID_commonName, subject, sizeof subject);
    return std::string("CN=") + subject;
  }

  const TemporaryDirectory m_directory;
  const Certificate m_authority{Authority()};
};

}  // namespace

TEST_F(TcpServerTls, NamesWhoseCertificateItRefusesAndWhy) {
  PutOwn(Certified());
  Certificate::Wish wish;
  wish.firstSecond = -7200;
  wish.lastSecond = -3600;
  const Certificate expired = Certified(wish);
  wish.firstSecond = 3600;
  wish.lastSecond = 7200;
  const Certificate early = Certified(wish);
  wish = {};
  wish.purpose = "serverAuth";
  const Certificate otherPurpose = Certified(wish);
  const Certificate otherAuthority(Authority());
  wish = {};
  wish.issuer = &otherAuthority;
  const Certificate stranger(wish);
  const Certificate selfSigned({});
  const Certificate revoked = Certified();
  const Certificate good = Certified();
  const std::string list = Put("list", m_authority.RevocationList({&revoked}));
  const ServerProcess server(Speaking({"--tls-client-ca", m_authority.File(), "--tls-crl", list}));
  const auto expectRefusal = [&](const Certificate& shown, const std::string& why) {
    Show(server, shown);
    server.AwaitErrors(" reason=\"the certificate of '" + shown.Subject() + "': " + why + "\"\n");
  };
  EXPECT_THAT(EchoAs(server, nullptr), HasSubstr("Exception code 004"));
  server.AwaitErrors(" reason=\"peer did not return a certificate (SSL routines)\"\n");
  expectRefusal(expired, "certificate has expired");
  expectRefusal(early, "certificate is not yet valid");
  expectRefusal(otherPurpose, "unsuitable certificate purpose");
  expectRefusal(stranger, "unable to get local issuer certificate");
  expectRefusal(selfSigned, "self-signed certificate");
  EXPECT_THAT(EchoAs(server, &revoked), HasSubstr("Exception code 004"));
  server.AwaitErrors("'" + revoked.Subject() + "': certificate revoked\"\n");
  EXPECT_EQ(EchoAs(server, &good), AnswerOf("x"));
}

TEST_F(TcpServerTls, LetsCertificatesCallWhatTheirRulesAllow) {
  PutOwn(Certified());
  Certificate::Wish wish;
  wish.address = "10.9.8.7";
  const Certificate bySubject = Certified();
  const Certificate byAddress = Certified(wish);
  const Certificate stranger = Certified();
  const std::string rules = Put("server.json", R"({"rules": [
      {"clients": ["subject:)" + bySubject.Subject() +
                                                   R"("], "handlers": ["echo"]},
      {"clients": ["ip:10.9.8.7"], "handlers": ["bytes"]}]})");
  const ServerProcess server(Speaking({"--tls-client-ca", m_authority.File(), "--config", rules}));
  EXPECT_EQ(EchoAs(server, &bySubject), AnswerOf("x"));
  EXPECT_THAT(EchoAs(server, &byAddress), AllOf(HasSubstr("Exception code 008.\n"),
                                                HasSubstr("The rules of this server do not let " +
                                                          byAddress.Subject() + " call 'echo'.")));
  EXPECT_THAT(EchoAs(server, &stranger),
              AllOf(HasSubstr("Exception code 008.\n"),
                    HasSubstr("No rule of this server names " + stranger.Subject() + ".")));
}

TEST_F(TcpServerTls, HeedsARevocationListInsideTheAuthoritiesFile) {
  PutOwn(Certified());
  const Certificate revoked = Certified();
  const Certificate good = Certified();
  const std::string authorities =
      Put("authorities", TextOf(m_authority.File()) + m_authority.RevocationList({&revoked}));
  const ServerProcess server(Speaking({"--tls-client-ca", authorities}));
  EXPECT_THAT(EchoAs(server, &revoked), HasSubstr("Exception code 004"));
  server.AwaitErrors("'" + revoked.Subject() + "': certificate revoked\"\n");
  EXPECT_EQ(EchoAs(server, &good), AnswerOf("x"));
}

TEST_F(TcpServerTls, ReadsItsFilesAgainWhenToldToAndWhenTheyChange) {
  const Certificate first = Certified();
  const Certificate second = Certified();
  const Certificate client = Certified();
  PutOwn(first);
  const std::string list = Put("list", m_authority.RevocationList({}));
  const ServerProcess server(Speaking({"--tls-client-ca", m_authority.File(), "--tls-crl", list}));
  const Variable authorities("FERROLINK_TLS_CA_FILE", m_authority.File());
  const Variable file("FERROLINK_TLS_CERTIFICATE", client.File());
  const Variable key("FERROLINK_TLS_KEY", client.KeyFile());
  auto kept = ChannelTo(server.Port(), Kind::Tls);
  EXPECT_EQ(Exchange(*kept, CallOf("echo", "1")), AnswerOf("1"));
  EXPECT_EQ(ShownBy(server), first.Subject());
  server.Signal(SIGHUP);
  server.AwaitErrors(kReadAgain);
  // No signal this time. The server may detect the first file before the second one is replaced.
  PutOwn(second);
  while (ShownBy(server) != second.Subject()) {
    std::this_thread::yield();
  }
  Put("list", m_authority.RevocationList({&client}));
  while (Exchange(*ChannelTo(server.Port(), Kind::Tls), CallOf("echo", "2")) == AnswerOf("2")) {
    std::this_thread::yield();
  }
  server.AwaitErrors("'" + client.Subject() + "': certificate revoked\"\n");
  // An open connection stays.
  EXPECT_EQ(Exchange(*kept, CallOf("echo", "3")), AnswerOf("3"));
}

TEST_F(TcpServerTls, KeepsWhatItHasWhereTheNewFilesAreWrong) {
  const Certificate certificate = Certified();
  PutOwn(certificate);
  const ServerProcess server(Speaking());
  Put("key", "no key\n");
  server.Signal(SIGHUP);
  server.AwaitErrors(kKept);
  EXPECT_THAT(server.Errors(), HasSubstr("Cannot use the key '"));
  EXPECT_EQ(ShownBy(server), certificate.Subject());
}

TEST_F(TcpServerTls, OutlivesSighupWithoutACertificate) {
  ServerProcess server;
  RawSocket client = server.GreetedClient();
  for (int i = 0; i < 3; ++i) {
    server.Signal(SIGHUP);
    EXPECT_EQ(client.Ask(CallOf("echo", "x")), AnswerOf("x"));
  }
}

TEST_F(TcpServerTls, SaysWhatIsWrongWithItsOwnCertificateAndKey) {
  const auto startWith = [&](const Certificate& certificate, const Certificate& key) {
    ServerProcess server({"--tls-certificate", certificate.File(), "--tls-key", key.KeyFile()});
    EXPECT_EQ(server.Listening(), "");
    EXPECT_EQ(server.Wait(), 1);
    return server.Errors();
  };
  const Certificate certificate = Certified();
  const Certificate other = Certified();
  Certificate::Wish wish;
  wish.password = "secret";
  const Certificate locked = Certified(wish);
  EXPECT_EQ(startWith(certificate, other),
            "ferrolink-server: Cannot use the key '" + other.KeyFile() +
                "': it does not fit the certificate '" + certificate.File() + "'.\n");
  EXPECT_EQ(startWith(locked, locked), "ferrolink-server: Cannot use the key '" + locked.KeyFile() +
                                           "': it needs a password; store it without one.\n");
  wish = {};
  wish.firstSecond = -7200;
  wish.lastSecond = -3600;
  const Certificate expired = Certified(wish);
  PutOwn(expired);
  const ServerProcess server(Speaking());
  server.AwaitErrors("clients will refuse the certificate '");
  EXPECT_THAT(server.Errors(), HasSubstr("': it was valid until "));
}

TEST_F(TcpServerTls, ServesAProperClientBesideManyHalfHandshakes) {
  PutOwn(Certified());
  const ServerProcess server(
      Speaking({"--max-connections", "2", "--greeting-timeout-ms", "100000"}));
  std::vector<RawSocket> silent;
  for (int i = 0; i < 200; ++i) {
    silent.push_back(RawSocket::Connect(server.Port()));
    silent.back().Send({"\x16\x03\x01\x02\x00\x01", 6});
  }
  EXPECT_EQ(EchoAs(server, nullptr), AnswerOf("x"));
}

}  // namespace Ferrolink::Tests
