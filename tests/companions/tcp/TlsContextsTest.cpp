// When the TLS client makes a context, which reads files, and when it takes one that it has.
#include "companions/tcp/client/TlsContexts.h"

#include <gtest/gtest.h>

#include "tests/companions/tcp/CertificateForge.h"

namespace FerrolinkTest {
namespace {

using Ferrolink::Companions::Tcp::Client::TlsContexts;
using Ferrolink::Companions::Tcp::Client::TlsSettings;

const ForgedCertificate& authority() {
  static const ForgedCertificate made(ForgedCertificate::authority());
  return made;
}

TlsSettings believing(const ForgedCertificate& certificate) {
  TlsSettings settings;
  settings.authorities = certificate.file();
  return settings;
}

}  // namespace

TEST(TcpTlsContexts, AreMadeOnceForEachChoiceOfFiles) {
  TlsContexts contexts;
  const auto first = contexts.contextFor(believing(authority()));
  EXPECT_EQ(contexts.contextFor(believing(authority())), first);
  const auto systems = contexts.contextFor({});
  EXPECT_NE(systems, first);
  TlsSettings shown = believing(authority());
  const ForgedCertificate own(ForgedCertificate::server(authority()));
  shown.certificate = own.file();
  shown.key = own.keyFile();
  EXPECT_NE(contexts.contextFor(shown), first);
  // Whom a connection expects is no matter of the context.
  TlsSettings named = believing(authority());
  named.name = "db.example";
  EXPECT_EQ(contexts.contextFor(named), first);
  EXPECT_EQ(contexts.contextFor({}), systems);
}

TEST(TcpTlsContexts, AreMadeAnewWhenAFileHasChanged) {
  TlsContexts contexts;
  const auto first = contexts.contextFor(believing(authority()));
  writeFile(authority().file(), authority().text() + "\n");
  const auto second = contexts.contextFor(believing(authority()));
  EXPECT_NE(second, first);
  EXPECT_EQ(contexts.contextFor(believing(authority())), second);
}

}  // namespace FerrolinkTest
