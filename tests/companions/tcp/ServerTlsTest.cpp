// What a server does with certificates: its own, those of its clients, and lists of revoked ones.
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

namespace FerrolinkTest {
namespace {

using testing::HasSubstr;

constexpr const char* kReadAgain = "certificates, authorities and revocation lists were read again";
constexpr const char* kKept = "What was read before stays in use.";

Certificate::Wish authority() {
  Certificate::Wish wish;
  wish.address = "";
  return wish;
}

std::string textOf(const std::string& file) {
  std::ostringstream text;
  text << std::ifstream(file).rdbuf();
  return text.str();
}

class TcpServerTls : public testing::Test {
 protected:
  Certificate certified(Certificate::Wish wish = {}) const {
    wish.issuer = &m_authority;
    return Certificate(wish);
  }

  // A file that takes the place of the one before.
  std::string put(const std::string& name, const std::string& text) const {
    const std::string path = (m_directory.path() / name).string();
    std::ofstream(path + ".new") << text;
    std::filesystem::rename(path + ".new", path);
    return path;
  }

  void putOwn(const Certificate& certificate) const {
    put("key", textOf(certificate.keyFile()));
    put("certificate", textOf(certificate.file()));
  }

  // A server with what putOwn has put.
  ServerProcess::Arguments speaking(ServerProcess::Arguments further = {}) const {
    further.insert(further.end(),
                   {"--tls-certificate", (m_directory.path() / "certificate").string(), "--tls-key",
                    (m_directory.path() / "key").string()});
    return further;
  }

  // What a client says that shows `shown`.
  std::string echoAs(const ServerProcess& server, const Certificate* shown) const {
    const Variable authorities("FERROLINK_TLS_CA_FILE", m_authority.file());
    if (shown == nullptr) {
      return exchange(*channelTo(server.port(), Kind::Tls), callOf("echo", "x"));
    }
    const Variable file("FERROLINK_TLS_CERTIFICATE", shown->file());
    const Variable key("FERROLINK_TLS_KEY", shown->keyFile());
    return exchange(*channelTo(server.port(), Kind::Tls), callOf("echo", "x"));
  }

  // Shows a certificate that the client libraries would not show.
  static void show(const ServerProcess& server, const Certificate& shown) {
    const std::unique_ptr<SSL_CTX, decltype(&SSL_CTX_free)> context(
        SSL_CTX_new(TLS_client_method()), &SSL_CTX_free);
    SSL_CTX_use_certificate_chain_file(context.get(), shown.file().c_str());
    SSL_CTX_use_PrivateKey_file(context.get(), shown.keyFile().c_str(), SSL_FILETYPE_PEM);
    const std::unique_ptr<SSL, decltype(&SSL_free)> tls(SSL_new(context.get()), &SSL_free);
    RawSocket raw = RawSocket::connect(server.port());
    SSL_set_fd(tls.get(), raw.descriptor());
    char answer = 0;
    EXPECT_FALSE(SSL_connect(tls.get()) == 1 && SSL_read(tls.get(), &answer, 1) > 0);
  }

  // Whose certificate the server shows.
  static std::string shownBy(const ServerProcess& server) {
    const std::unique_ptr<SSL_CTX, decltype(&SSL_CTX_free)> context(
        SSL_CTX_new(TLS_client_method()), &SSL_CTX_free);
    const std::unique_ptr<SSL, decltype(&SSL_free)> tls(SSL_new(context.get()), &SSL_free);
    RawSocket raw = RawSocket::connect(server.port());
    SSL_set_fd(tls.get(), raw.descriptor());
    if (SSL_connect(tls.get()) != 1) {
      return "(refused)";
    }
    char subject[256] = {};
    X509_NAME_get_text_by_NID(X509_get_subject_name(SSL_get0_peer_certificate(tls.get())),
                              NID_commonName, subject, sizeof subject);
    return std::string("CN=") + subject;
  }

  const TemporaryDirectory m_directory;
  const Certificate m_authority{authority()};
};

}  // namespace

TEST_F(TcpServerTls, NamesWhoseCertificateItRefusesAndWhy) {
  putOwn(certified());
  Certificate::Wish wish;
  wish.firstSecond = -7200;
  wish.lastSecond = -3600;
  const Certificate expired = certified(wish);
  wish.firstSecond = 3600;
  wish.lastSecond = 7200;
  const Certificate early = certified(wish);
  wish = {};
  wish.purpose = "serverAuth";
  const Certificate otherPurpose = certified(wish);
  const Certificate otherAuthority(authority());
  wish = {};
  wish.issuer = &otherAuthority;
  const Certificate stranger(wish);
  const Certificate selfSigned({});
  const Certificate revoked = certified();
  const Certificate good = certified();
  const std::string list = put("list", m_authority.revocationList({&revoked}));
  const ServerProcess server(speaking({"--tls-client-ca", m_authority.file(), "--tls-crl", list}));
  const auto expectRefusal = [&](const Certificate& shown, const std::string& why) {
    show(server, shown);
    server.awaitErrors(" reason=\"the certificate of '" + shown.subject() + "': " + why + "\"\n");
  };
  EXPECT_THAT(echoAs(server, nullptr), HasSubstr("Exception code 004"));
  server.awaitErrors(" reason=\"peer did not return a certificate (SSL routines)\"\n");
  expectRefusal(expired, "certificate has expired");
  expectRefusal(early, "certificate is not yet valid");
  expectRefusal(otherPurpose, "unsuitable certificate purpose");
  expectRefusal(stranger, "unable to get local issuer certificate");
  expectRefusal(selfSigned, "self-signed certificate");
  EXPECT_THAT(echoAs(server, &revoked), HasSubstr("Exception code 004"));
  server.awaitErrors("'" + revoked.subject() + "': certificate revoked\"\n");
  EXPECT_EQ(echoAs(server, &good), answerOf("x"));
}

TEST_F(TcpServerTls, LetsCertificatesCallWhatTheirRulesAllow) {
  putOwn(certified());
  Certificate::Wish wish;
  wish.address = "10.9.8.7";
  const Certificate bySubject = certified();
  const Certificate byAddress = certified(wish);
  const Certificate stranger = certified();
  const std::string rules = put("server.json", R"({"rules": [
      {"clients": ["subject:)" + bySubject.subject() +
                                                   R"("], "handlers": ["echo"]},
      {"clients": ["ip:10.9.8.7"], "handlers": ["bytes"]}]})");
  const ServerProcess server(speaking({"--tls-client-ca", m_authority.file(), "--config", rules}));
  EXPECT_EQ(echoAs(server, &bySubject), answerOf("x"));
  EXPECT_THAT(echoAs(server, &byAddress), AllOf(HasSubstr("Exception code 008.\n"),
                                                HasSubstr("The rules of this server do not let " +
                                                          byAddress.subject() + " call 'echo'.")));
  EXPECT_THAT(echoAs(server, &stranger),
              AllOf(HasSubstr("Exception code 008.\n"),
                    HasSubstr("No rule of this server names " + stranger.subject() + ".")));
}

TEST_F(TcpServerTls, HeedsARevocationListInsideTheAuthoritiesFile) {
  putOwn(certified());
  const Certificate revoked = certified();
  const Certificate good = certified();
  const std::string authorities =
      put("authorities", textOf(m_authority.file()) + m_authority.revocationList({&revoked}));
  const ServerProcess server(speaking({"--tls-client-ca", authorities}));
  EXPECT_THAT(echoAs(server, &revoked), HasSubstr("Exception code 004"));
  server.awaitErrors("'" + revoked.subject() + "': certificate revoked\"\n");
  EXPECT_EQ(echoAs(server, &good), answerOf("x"));
}

TEST_F(TcpServerTls, ReadsItsFilesAgainWhenToldToAndWhenTheyChange) {
  const Certificate first = certified();
  const Certificate second = certified();
  const Certificate client = certified();
  putOwn(first);
  const std::string list = put("list", m_authority.revocationList({}));
  const ServerProcess server(speaking({"--tls-client-ca", m_authority.file(), "--tls-crl", list}));
  const Variable authorities("FERROLINK_TLS_CA_FILE", m_authority.file());
  const Variable file("FERROLINK_TLS_CERTIFICATE", client.file());
  const Variable key("FERROLINK_TLS_KEY", client.keyFile());
  auto kept = channelTo(server.port(), Kind::Tls);
  EXPECT_EQ(exchange(*kept, callOf("echo", "1")), answerOf("1"));
  EXPECT_EQ(shownBy(server), first.subject());
  server.signal(SIGHUP);
  server.awaitErrors(kReadAgain);
  // Nobody tells it this time; it may notice before both files are new.
  putOwn(second);
  while (shownBy(server) != second.subject()) {
    std::this_thread::yield();
  }
  put("list", m_authority.revocationList({&client}));
  while (exchange(*channelTo(server.port(), Kind::Tls), callOf("echo", "2")) == answerOf("2")) {
    std::this_thread::yield();
  }
  server.awaitErrors("'" + client.subject() + "': certificate revoked\"\n");
  // A connection that is there stays.
  EXPECT_EQ(exchange(*kept, callOf("echo", "3")), answerOf("3"));
}

TEST_F(TcpServerTls, KeepsWhatItHasWhereTheNewFilesAreWrong) {
  const Certificate certificate = certified();
  putOwn(certificate);
  const ServerProcess server(speaking());
  put("key", "no key\n");
  server.signal(SIGHUP);
  server.awaitErrors(kKept);
  EXPECT_THAT(server.errors(), HasSubstr("Cannot use the key '"));
  EXPECT_EQ(shownBy(server), certificate.subject());
}

TEST_F(TcpServerTls, OutlivesSighupWithoutACertificate) {
  ServerProcess server;
  RawSocket client = server.greetedClient();
  for (int i = 0; i < 3; ++i) {
    server.signal(SIGHUP);
    EXPECT_EQ(client.ask(callOf("echo", "x")), answerOf("x"));
  }
}

TEST_F(TcpServerTls, SaysWhatIsWrongWithItsOwnCertificateAndKey) {
  const auto startWith = [&](const Certificate& certificate, const Certificate& key) {
    ServerProcess server({"--tls-certificate", certificate.file(), "--tls-key", key.keyFile()});
    EXPECT_EQ(server.listening(), "");
    EXPECT_EQ(server.wait(), 1);
    return server.errors();
  };
  const Certificate certificate = certified();
  const Certificate other = certified();
  Certificate::Wish wish;
  wish.password = "secret";
  const Certificate locked = certified(wish);
  EXPECT_EQ(startWith(certificate, other),
            "ferrolink-server: Cannot use the key '" + other.keyFile() +
                "': it does not fit the certificate '" + certificate.file() + "'.\n");
  EXPECT_EQ(startWith(locked, locked), "ferrolink-server: Cannot use the key '" + locked.keyFile() +
                                           "': it needs a password; store it without one.\n");
  wish = {};
  wish.firstSecond = -7200;
  wish.lastSecond = -3600;
  const Certificate expired = certified(wish);
  putOwn(expired);
  const ServerProcess server(speaking());
  server.awaitErrors("clients will refuse the certificate '");
  EXPECT_THAT(server.errors(), HasSubstr("': it was valid until "));
}

TEST_F(TcpServerTls, ServesAProperClientBesideManyHalfHandshakes) {
  putOwn(certified());
  const ServerProcess server(
      speaking({"--max-connections", "2", "--greeting-timeout-ms", "100000"}));
  std::vector<RawSocket> silent;
  for (int i = 0; i < 200; ++i) {
    silent.push_back(RawSocket::connect(server.port()));
    silent.back().send({"\x16\x03\x01\x02\x00\x01", 6});
  }
  EXPECT_EQ(echoAs(server, nullptr), answerOf("x"));
}

}  // namespace FerrolinkTest
