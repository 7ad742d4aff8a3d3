#ifndef FERROLINK_COMPANIONS_TCP_TLSCONNECTION_H
#define FERROLINK_COMPANIONS_TCP_TLSCONNECTION_H

#include <asio/ssl/context.hpp>
#include <asio/ssl/stream.hpp>
#include <memory>
#include <stdexcept>
#include <string>

#include "companions/tcp/Connection.h"

namespace Ferrolink::Companions::Tcp {

/// A certificate, key or authority file cannot be used. what() names it and says why.
class TlsFileError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

using TlsContext = std::shared_ptr<asio::ssl::context>;

/// TLS 1.2 or later, without compression, renegotiation and resumption. Verifies nobody yet.
TlsContext makeTlsContext(asio::ssl::context::method method);

/// What this side shows of itself, as PEM files; a key must not need a password.
void useCertificate(asio::ssl::context& context, const std::string& certificateFile,
                    const std::string& keyFile);

/// Whom this side believes: the authorities in a PEM file, and no others.
void useAuthorities(asio::ssl::context& context, const std::string& file);

/// TCP with TLS.
class TlsConnection : public Connection {
 public:
  using Side = asio::ssl::stream_base::handshake_type;

  TlsConnection(PatientSocket socket, std::uint32_t limit, TlsContext context, Side side);

  PatientSocket& socket() override { return m_stream.next_layer(); }
  void handshake(asio::error_code& error) override;

  /// OpenSSL's object, valid as long as this one.
  SSL* native() { return m_stream.native_handle(); }

 private:
  std::size_t readSome(asio::mutable_buffer buffer, asio::error_code& error) override;
  std::size_t writeSome(asio::const_buffer buffer, asio::error_code& error) override;

  const TlsContext m_context;
  const Side m_side;
  asio::ssl::stream<PatientSocket> m_stream;
};

}  // namespace Ferrolink::Companions::Tcp

#endif
