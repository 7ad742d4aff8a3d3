#ifndef FERROLINK_COMPANIONS_TCP_TLSFILES_H
#define FERROLINK_COMPANIONS_TCP_TLSFILES_H

#include <asio/ssl/context.hpp>
#include <memory>
#include <stdexcept>
#include <string>

// TLS files and TLS rules of both sides.
namespace Ferrolink::Companions::Tcp {

/// A certificate, key, authorities' file or revocation list is unusable. what() has the file and
/// the reason.
class TlsFileError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

using TlsContext = std::shared_ptr<asio::ssl::context>;

/// A context for TLS 1.2 or later, without compression, renegotiation and resumption. It verifies
/// no peer yet.
TlsContext MakeTlsContext(asio::ssl::context::method method);

/// Sets this side's certificate and key, as PEM files. The key must not need a password, and must
/// belong to the certificate. Errors: TlsFileError.
void UseCertificate(asio::ssl::context& context, const std::string& certificateFile,
                    const std::string& keyFile);

/// Trusts the authorities in a PEM file, and no others. Errors: TlsFileError.
void UseAuthorities(asio::ssl::context& context, const std::string& file);

/// Adds a list of revoked certificates (PEM). Errors: TlsFileError.
void UseRevocationList(asio::ssl::context& context, const std::string& file);

/// If revocation lists were read, also from the authorities' file, each authority in a peer's chain
/// needs a valid one.
void HeedRevocationLists(asio::ssl::context& context);

/// Why this side's certificate is not valid now; empty if it is, or if there is none.
std::string WhyNotValidNow(asio::ssl::context& context);

/// A value that changes when the file is replaced or written; empty if the file does not exist.
std::string FileStamp(const std::string& path);

}  // namespace Ferrolink::Companions::Tcp

#endif
