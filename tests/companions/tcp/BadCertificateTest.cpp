// Server certificates that prove nothing: each is refused, for a reason of its own.
#include <functional>
#include <set>

#include "tests/companions/tcp/ClientSupport.h"
#include "tests/companions/tcp/TlsPeer.h"

namespace FerrolinkTest {
namespace {

using Wish = ForgedCertificate::Wish;

// Authorities, of which the client believes the root alone.
struct Authorities {
  const ForgedCertificate root{ForgedCertificate::authority()};
  const ForgedCertificate stranger{ForgedCertificate::authority()};
  const ForgedCertificate between{ForgedCertificate::authority(&root)};
  const ForgedCertificate last{ForgedCertificate::authority(&root, 0)};
  const ForgedCertificate tooDeep{ForgedCertificate::authority(&last)};
  const ForgedCertificate none{ForgedCertificate::server(root)};
};

struct Case {
  std::string reason;
  Wish wish;
};

Wish changed(const ForgedCertificate& issuer, const std::function<void(Wish&)>& change) {
  Wish wish = ForgedCertificate::server(issuer);
  change(wish);
  return wish;
}

std::vector<Case> casesOf(const Authorities& with) {
  const auto bad = [&](const std::function<void(Wish&)>& change) {
    return changed(with.root, change);
  };
  return {
      {"certificate has expired", bad([](Wish& wish) {
         wish.firstSecond = -7200;
         wish.lastSecond = -3600;
       })},
      {"certificate is not yet valid", bad([](Wish& wish) {
         wish.firstSecond = 3600;
         wish.lastSecond = 7200;
       })},
      {"IP address mismatch ('127.0.0.1' is expected, the certificate is for IP "
       "Address:127.0.0.2)",
       bad([](Wish& wish) { wish.names = "IP:127.0.0.2"; })},
      {"IP address mismatch ('127.0.0.1' is expected, the certificate is for DNS:127.0.0.1)",
       bad([](Wish& wish) { wish.names = "DNS:127.0.0.1"; })},
      {"IP address mismatch ('127.0.0.1' is expected, the certificate is for nothing)",
       bad([](Wish& wish) { wish.names = ""; })},
      {"self-signed certificate", bad([](Wish& wish) { wish.issuer = nullptr; })},
      {"unable to get local issuer certificate", ForgedCertificate::server(with.stranger)},
      {"self-signed certificate in certificate chain",
       changed(with.stranger, [&](Wish& wish) { wish.shown = {&with.stranger}; })},
      {"unsuitable certificate purpose", bad([](Wish& wish) { wish.usage = "clientAuth"; })},
      {"EE certificate key too weak", bad([](Wish& wish) { wish.rsaBits = 1024; })},
      {"CA signature digest algorithm too weak", bad([](Wish& wish) { wish.digest = "SHA1"; })},
      {"invalid CA certificate",
       changed(with.none, [&](Wish& wish) { wish.shown = {&with.none}; })},
      {"path length constraint exceeded", changed(with.tooDeep,
                                                  [&](Wish& wish) {
                                                    wish.shown = {&with.tooDeep, &with.last};
                                                  })},
      {"unhandled critical extension", bad([](Wish& wish) { wish.hasUnknownExtension = true; })},
  };
}

// What a client says of a server with that certificate.
std::string verdictOn(const ForgedCertificate& certificate) {
  FakeServer server([&](const Port& port) {
    const TlsPeer peer(port.accept(), certificate);
    EXPECT_FALSE(peer.isReady());
  });
  const std::string said = exchange(*channelTo(server.number(), Kind::Tls), "1");
  const std::string beginning =
      clientError(4, "The certificate of " + server.name() + " is not accepted: ");
  const std::size_t end = said.find(". The command was not sent. The certificate must be valid");
  if (!said.starts_with(beginning) || end == std::string::npos) {
    return said;
  }
  return said.substr(beginning.size(), end - beginning.size());
}

std::string verdictOnName(const Wish& wish, const std::string& name) {
  const ForgedCertificate certificate(wish);
  FakeServer server([&](const Port& port) {
    const TlsPeer peer(port.accept(), certificate);
    EXPECT_FALSE(peer.isReady());
  });
  configure(server.name(), "\"name\": \"" + name + "\"");
  return exchange(*channelTo(server.number(), Kind::Tls), "1");
}

}  // namespace

TEST(TcpBadCertificate, IsRefusedForAReasonOfItsOwn) {
  const Authorities authorities;
  const Variable believed("FERROLINK_TLS_CA_FILE", authorities.root.file());
  std::set<std::string> reasons;
  for (const Case& each : casesOf(authorities)) {
    EXPECT_EQ(verdictOn(ForgedCertificate(each.wish)), each.reason);
    reasons.insert(each.reason);
  }
  EXPECT_EQ(reasons.size(), 14U);
}

TEST(TcpBadCertificate, IsRefusedWithoutTheAuthorityInBetween) {
  const Authorities authorities;
  const Variable believed("FERROLINK_TLS_CA_FILE", authorities.root.file());
  EXPECT_EQ(verdictOn(ForgedCertificate(ForgedCertificate::server(authorities.between))),
            "unable to get local issuer certificate");
}

TEST(TcpBadCertificate, IsOneForAnotherNameOrWithAWildcardWhereNoneBelongs) {
  const Authorities authorities;
  const Variable believed("FERROLINK_TLS_CA_FILE", authorities.root.file());
  for (const char* name : {"DNS:other.example", "DNS:*.example", "DNS:d*.db.example", "DNS:*",
                           "DNS:a.*.example", "DNS:db.example.", "IP:127.0.0.1"}) {
    Wish wish = ForgedCertificate::server(authorities.root);
    wish.names = name;
    EXPECT_THAT(verdictOnName(wish, "db.db.example"),
                testing::HasSubstr("ostname mismatch ('db.db.example' is expected"))
        << name;
  }
}

TEST(TcpBadCertificate, IsOneThatWasRevokedOrOfWhichNobodyKnows) {
  const Authorities authorities;
  const ForgedCertificate certificate(ForgedCertificate::server(authorities.root));
  const Variable believed("FERROLINK_TLS_CA_FILE", authorities.root.file());
  const std::string list = authorities.root.file() + ".list";
  const Variable revocations("FERROLINK_TLS_CRL_FILE", list);
  writeFile(list, authorities.root.revocationList({&certificate}));
  EXPECT_EQ(verdictOn(certificate), "certificate revoked");
  writeFile(list, authorities.root.revocationList({}, -3600));
  EXPECT_EQ(verdictOn(certificate), "CRL has expired");
  writeFile(list, authorities.stranger.revocationList({}));
  EXPECT_EQ(verdictOn(certificate), "unable to get certificate CRL");
  writeFile(list, "no list");
  const Port port;
  port.listen();
  EXPECT_THAT(
      exchange(*channelTo(port.number(), Kind::Tls), "1"),
      testing::StartsWith(clientError(6, "Cannot use the revocation list '" + list + "': ")));
}

TEST(TcpBadCertificate, IsOneOfAListInTheAuthoritiesFile) {
  const Authorities authorities;
  const ForgedCertificate certificate(ForgedCertificate::server(authorities.root));
  const std::string file = authorities.root.file() + ".both";
  writeFile(file, authorities.root.text() + authorities.root.revocationList({&certificate}));
  const Variable believed("FERROLINK_TLS_CA_FILE", file);
  EXPECT_EQ(verdictOn(certificate), "certificate revoked");
}

}  // namespace FerrolinkTest
