#ifndef FERROLINK_COMPANIONS_TCP_SERVER_CLIENTIDENTITY_H
#define FERROLINK_COMPANIONS_TCP_SERVER_CLIENTIDENTITY_H

#include <openssl/x509.h>

#include <string>
#include <string_view>
#include <vector>

namespace Ferrolink::Companions::Tcp::Server {

/// The verified identity of a client.
struct ClientIdentity {
  std::string address;             ///< without the port
  std::string subject;             ///< of its certificate, as SubjectOf; empty without one
  std::vector<std::string> names;  ///< further names in it, canonical: "dns:orders.example"
};

/// The subject in the form of RFC 2253, most specific part first, in UTF-8: "CN=orders,O=Example".
std::string SubjectOf(const X509* certificate);

/// The identity of a client. `certificate` is null for a client without one, and must have been
/// verified.
ClientIdentity IdentityOf(const X509* certificate, std::string address);

/// The canonical form, for comparisons, of a name in a rule: "subject:", "dns:", "ip:", "uri:" or
/// "email:" with a value. Empty if it is not such a name.
std::string CanonicalName(std::string_view name);

}  // namespace Ferrolink::Companions::Tcp::Server

#endif
