#ifndef FERROLINK_COMPANIONS_TCP_SERVER_CLIENTIDENTITY_H
#define FERROLINK_COMPANIONS_TCP_SERVER_CLIENTIDENTITY_H

#include <openssl/x509.h>

#include <string>
#include <string_view>
#include <vector>

namespace Ferrolink::Companions::Tcp::Server {

/// Who a client is, as far as it has been proved.
struct ClientIdentity {
  std::string address;             ///< without the port
  std::string subject;             ///< of its certificate, as SubjectOf; empty without one
  std::vector<std::string> names;  ///< further names in it, canonical: "dns:orders.example"
};

/// The subject as RFC 2253 writes it, most specific part first, in UTF-8: "CN=orders,O=Example".
std::string SubjectOf(const X509* certificate);

/// `certificate` is null for a client without one, and must have been verified.
ClientIdentity IdentityOf(const X509* certificate, std::string address);

/// A name as rules write it, "subject:", "dns:", "ip:", "uri:" or "email:" and what follows, in the
/// form in which names are compared; empty where it is none.
std::string CanonicalName(std::string_view name);

}  // namespace Ferrolink::Companions::Tcp::Server

#endif
