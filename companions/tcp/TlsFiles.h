#ifndef FERROLINK_COMPANIONS_TCP_TLSFILES_H
#define FERROLINK_COMPANIONS_TCP_TLSFILES_H

#include <asio/ssl/context.hpp>
#include <memory>
#include <stdexcept>
#include <string>

// The files and the rules of TLS: what both sides share.
namespace Ferrolink::Companions::Tcp {

/// A certificate, key, authorities' file or revocation list cannot be used. what() names the file
/// and says why.
class TlsFileError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

using TlsContext = std::shared_ptr<asio::ssl::context>;

/// TLS 1.2 or later, without compression, renegotiation and resumption. Verifies nobody yet.
TlsContext MakeTlsContext(asio::ssl::context::method method);

/// What this side shows of itself, as PEM files; a key must not need a password, and belongs to the
/// certificate. Errors: TlsFileError.
void UseCertificate(asio::ssl::context& context, const std::string& certificateFile,
                    const std::string& keyFile);

/// Whom this side believes: the authorities in a PEM file, and no others. Errors: TlsFileError.
void UseAuthorities(asio::ssl::context& context, const std::string& file);

/// A list of certificates that authorities have revoked (PEM). Errors: TlsFileError.
void UseRevocationList(asio::ssl::context& context, const std::string& file);

/// If revocation lists were read, also from the authorities' file, demands a valid one of each
/// authority in a peer's chain.
void HeedRevocationLists(asio::ssl::context& context);

/// Why the own certificate is not valid now; empty if it is, or if there is none.
std::string WhyNotValidNow(asio::ssl::context& context);

/// Changes when the file is replaced or written. Empty for a file that is not there.
std::string FileStamp(const std::string& path);

}  // namespace Ferrolink::Companions::Tcp

#endif
