// When the TLS client makes a context, which reads files, and when it reuses one.
#include "companions/tcp/client/TlsContexts.h"

#include <gtest/gtest.h>

#include "tests/companions/tcp/CertificateForge.h"

namespace Ferrolink::Tests {
namespace {

using Ferrolink::Companions::Tcp::Client::TlsContexts;
using Ferrolink::Companions::Tcp::Client::TlsSettings;

const ForgedCertificate& Authority() {
  static const ForgedCertificate made(ForgedCertificate::Authority());
  return made;
}

TlsSettings Believing(const ForgedCertificate& certificate) {
  TlsSettings settings;
  settings.authorities = certificate.File();
  return settings;
}

}  // namespace

TEST(TcpTlsContexts, AreMadeOnceForEachChoiceOfFiles) {
  TlsContexts contexts;
  const auto first = contexts.ContextFor(Believing(Authority()));
  EXPECT_EQ(contexts.ContextFor(Believing(Authority())), first);
  const auto systems = contexts.ContextFor({});
  EXPECT_NE(systems, first);
  TlsSettings shown = Believing(Authority());
  const ForgedCertificate own(ForgedCertificate::Server(Authority()));
  shown.certificate = own.File();
  shown.key = own.KeyFile();
  EXPECT_NE(contexts.ContextFor(shown), first);
  // The expected name of the server does not affect the context.
  TlsSettings named = Believing(Authority());
  named.name = "db.example";
  EXPECT_EQ(contexts.ContextFor(named), first);
  EXPECT_EQ(contexts.ContextFor({}), systems);
}

TEST(TcpTlsContexts, AreMadeAnewWhenAFileHasChanged) {
  TlsContexts contexts;
  const auto first = contexts.ContextFor(Believing(Authority()));
  WriteFile(Authority().File(), Authority().Text() + "\n");
  const auto second = contexts.ContextFor(Believing(Authority()));
  EXPECT_NE(second, first);
  EXPECT_EQ(contexts.ContextFor(Believing(Authority())), second);
}

}  // namespace Ferrolink::Tests
