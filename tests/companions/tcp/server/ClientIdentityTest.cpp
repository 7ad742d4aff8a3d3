// The identity in a certificate.
#include "companions/tcp/server/ClientIdentity.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <openssl/x509v3.h>

#include <memory>
#include <span>

namespace Ferrolink::Tests {
namespace {

using namespace Ferrolink::Companions::Tcp::Server;

struct Release {
  void operator()(X509* owned) const { X509_free(owned); }
};
using Shown = std::unique_ptr<X509, Release>;

using Names = std::vector<std::pair<const char*, std::string>>;

Shown CertificateOf(const Names& subject) {
  Shown made(X509_new());
  for (const auto& [type, value] : subject) {
    X509_NAME_add_entry_by_txt(X509_get_subject_name(made.get()), type, MBSTRING_UTF8,
                               reinterpret_cast<const unsigned char*>(value.data()),
                               static_cast<int>(value.size()), -1, 0);
  }
  return made;
}

// Adds names as bytes, which no configuration of OpenSSL could express.
void AddNames(X509* certificate, const std::vector<std::pair<int, std::string>>& names) {
  GENERAL_NAMES* all = GENERAL_NAMES_new();
  for (const auto& [type, value] : names) {
    ASN1_STRING* text = type == GEN_IPADD ? ASN1_OCTET_STRING_new() : ASN1_IA5STRING_new();
    ASN1_STRING_set(text, value.data(), static_cast<int>(value.size()));
    GENERAL_NAME* name = GENERAL_NAME_new();
    GENERAL_NAME_set0_value(name, type, text);
    sk_GENERAL_NAME_push(all, name);
  }
  X509_add1_ext_i2d(certificate, NID_subject_alt_name, all, 0, 0);
  GENERAL_NAMES_free(all);
}

}  // namespace

TEST(ClientIdentity, WritesSubjectsFromTheMostSpecificPartOn) {
  const Shown shown = CertificateOf({{"C", "DE"}, {"O", "Example, Inc."}, {"CN", "or\xC3\xA4+s"}});
  EXPECT_EQ(SubjectOf(shown.get()), "CN=or\xC3\xA4\\+s,O=Example\\, Inc.,C=DE");
}

TEST(ClientIdentity, EscapesWhatWouldLookLikeAnotherSubject) {
  const Shown shown = CertificateOf({{"CN", std::string("a,O=b\0\n", 7)}});
  EXPECT_EQ(SubjectOf(shown.get()), "CN=a\\,O=b\\00\\0A");
}

TEST(ClientIdentity, HasTheFurtherNamesOfACertificate) {
  const Shown shown = CertificateOf({{"CN", "orders"}});
  AddNames(shown.get(), {{GEN_DNS, "Orders.Example"},
                         {GEN_IPADD, std::string("\x0a\0\0\x07", 4)},
                         {GEN_IPADD, std::string("\x20\x01\x0d\xb8\0\0\0\0\0\0\0\0\0\0\0\x01", 16)},
                         {GEN_URI, "spiffe://example/orders"},
                         {GEN_EMAIL, "Orders@Example.org"}});
  const ClientIdentity identity = IdentityOf(shown.get(), "127.0.0.1");
  EXPECT_EQ(identity.address, "127.0.0.1");
  EXPECT_EQ(identity.subject, "CN=orders");
  EXPECT_THAT(identity.names,
              testing::ElementsAre("dns:orders.example", "ip:10.0.0.7", "ip:2001:db8::1",
                                   "uri:spiffe://example/orders", "email:Orders@example.org"));
}

TEST(ClientIdentity, PassesOverNamesThatAreNoNames) {
  const Shown shown = CertificateOf({{"CN", "x"}});
  AddNames(shown.get(), {{GEN_DNS, std::string("good.example\0.evil.example", 26)},
                         {GEN_DNS, ""},
                         {GEN_DNS, "two names"},
                         {GEN_IPADD, "abc"},
                         {GEN_EMAIL, "nobody"},
                         {GEN_DNS, "last.example"}});
  EXPECT_THAT(IdentityOf(shown.get(), "::1").names, testing::ElementsAre("dns:last.example"));
}

TEST(ClientIdentity, OfAClientWithoutACertificateIsItsAddress) {
  const ClientIdentity identity = IdentityOf(nullptr, "::1");
  EXPECT_EQ(identity.address, "::1");
  EXPECT_EQ(identity.subject, "");
  EXPECT_TRUE(identity.names.empty());
}

}  // namespace Ferrolink::Tests
