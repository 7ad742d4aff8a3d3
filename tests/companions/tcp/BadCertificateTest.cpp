// Invalid server certificates: each is refused for a different reason.
#include <functional>
#include <set>

#include "tests/companions/tcp/ClientSupport.h"
#include "tests/companions/tcp/TlsPeer.h"

namespace Ferrolink::Tests {
namespace {

using Wish = ForgedCertificate::Wish;

// Authorities. The client trusts only the root.
struct Authorities {
  const ForgedCertificate root{ForgedCertificate::Authority()};
  const ForgedCertificate stranger{ForgedCertificate::Authority()};
  const ForgedCertificate between{ForgedCertificate::Authority(&root)};
  const ForgedCertificate last{ForgedCertificate::Authority(&root, 0)};
  const ForgedCertificate tooDeep{ForgedCertificate::Authority(&last)};
  const ForgedCertificate none{ForgedCertificate::Server(root)};
};

struct Case {
  std::string reason;
  Wish wish;
};

Wish Changed(const ForgedCertificate& issuer, const std::function<void(Wish&)>& change) {
  Wish wish = ForgedCertificate::Server(issuer);
  change(wish);
  return wish;
}

std::vector<Case> CasesOf(const Authorities& with) {
  const auto bad = [&](const std::function<void(Wish&)>& change) {
    return Changed(with.root, change);
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
      {"unable to get local issuer certificate", ForgedCertificate::Server(with.stranger)},
      {"self-signed certificate in certificate chain",
       Changed(with.stranger, [&](Wish& wish) { wish.shown = {&with.stranger}; })},
      {"unsuitable certificate purpose", bad([](Wish& wish) { wish.usage = "clientAuth"; })},
      {"EE certificate key too weak", bad([](Wish& wish) { wish.rsaBits = 1024; })},
      {"CA signature digest algorithm too weak", bad([](Wish& wish) { wish.digest = "SHA1"; })},
      {"invalid CA certificate",
       Changed(with.none, [&](Wish& wish) { wish.shown = {&with.none}; })},
      {"path length constraint exceeded", Changed(with.tooDeep,
                                                  [&](Wish& wish) {
                                                    wish.shown = {&with.tooDeep, &with.last};
                                                  })},
      {"unhandled critical extension", bad([](Wish& wish) { wish.hasUnknownExtension = true; })},
  };
}

// The client's error for a server with that certificate.
std::string VerdictOn(const ForgedCertificate& certificate) {
  FakeServer server([&](const Port& port) {
    const TlsPeer peer(port.Accept(), certificate);
    EXPECT_FALSE(peer.IsReady());
  });
  const std::string said = Exchange(*ChannelTo(server.Number(), Kind::Tls), "1");
  const std::string beginning =
      ClientError(4, "The certificate of " + server.Name() + " is not accepted: ");
  const std::size_t end = said.find(". The command was not sent. The certificate must be valid");
  if (!said.starts_with(beginning) || end == std::string::npos) {
    return said;
  }
  return said.substr(beginning.size(), end - beginning.size());
}

std::string VerdictOnName(const Wish& wish, const std::string& name) {
  const ForgedCertificate certificate(wish);
  FakeServer server([&](const Port& port) {
    const TlsPeer peer(port.Accept(), certificate);
    EXPECT_FALSE(peer.IsReady());
  });
  Configure(server.Name(), "\"name\": \"" + name + "\"");
  return Exchange(*ChannelTo(server.Number(), Kind::Tls), "1");
}

}  // namespace

TEST(TcpBadCertificate, IsRefusedForAReasonOfItsOwn) {
  const Authorities authorities;
  const Variable believed("FERROLINK_TLS_CA_FILE", authorities.root.File());
  std::set<std::string> reasons;
  for (const Case& each : CasesOf(authorities)) {
    EXPECT_EQ(VerdictOn(ForgedCertificate(each.wish)), each.reason);
    reasons.insert(each.reason);
  }
  EXPECT_EQ(reasons.size(), 14U);
}

TEST(TcpBadCertificate, IsRefusedWithoutTheAuthorityInBetween) {
  const Authorities authorities;
  const Variable believed("FERROLINK_TLS_CA_FILE", authorities.root.File());
  EXPECT_EQ(VerdictOn(ForgedCertificate(ForgedCertificate::Server(authorities.between))),
            "unable to get local issuer certificate");
}

TEST(TcpBadCertificate, IsOneForAnotherNameOrWithAWildcardWhereNoneBelongs) {
  const Authorities authorities;
  const Variable believed("FERROLINK_TLS_CA_FILE", authorities.root.File());
  for (const char* name : {"DNS:other.example", "DNS:*.example", "DNS:d*.db.example", "DNS:*",
                           "DNS:a.*.example", "DNS:db.example.", "IP:127.0.0.1"}) {
    Wish wish = ForgedCertificate::Server(authorities.root);
    wish.names = name;
    EXPECT_THAT(VerdictOnName(wish, "db.db.example"),
                testing::HasSubstr("ostname mismatch ('db.db.example' is expected"))
        << name;
  }
}

TEST(TcpBadCertificate, IsOneThatWasRevokedOrOfWhichNobodyKnows) {
  const Authorities authorities;
  const ForgedCertificate certificate(ForgedCertificate::Server(authorities.root));
  const Variable believed("FERROLINK_TLS_CA_FILE", authorities.root.File());
  const std::string list = authorities.root.File() + ".list";
  const Variable revocations("FERROLINK_TLS_CRL_FILE", list);
  WriteFile(list, authorities.root.RevocationList({&certificate}));
  EXPECT_EQ(VerdictOn(certificate), "certificate revoked");
  WriteFile(list, authorities.root.RevocationList({}, -3600));
  EXPECT_EQ(VerdictOn(certificate), "CRL has expired");
  WriteFile(list, authorities.stranger.RevocationList({}));
  EXPECT_EQ(VerdictOn(certificate), "unable to get certificate CRL");
  WriteFile(list, "no list");
  const Port port;
  port.Listen();
  EXPECT_THAT(
      Exchange(*ChannelTo(port.Number(), Kind::Tls), "1"),
      testing::StartsWith(ClientError(6, "Cannot use the revocation list '" + list + "': ")));
}

TEST(TcpBadCertificate, IsOneOfAListInTheAuthoritiesFile) {
  const Authorities authorities;
  const ForgedCertificate certificate(ForgedCertificate::Server(authorities.root));
  const std::string file = authorities.root.File() + ".both";
  WriteFile(file, authorities.root.Text() + authorities.root.RevocationList({&certificate}));
  const Variable believed("FERROLINK_TLS_CA_FILE", file);
  EXPECT_EQ(VerdictOn(certificate), "certificate revoked");
}

}  // namespace Ferrolink::Tests
