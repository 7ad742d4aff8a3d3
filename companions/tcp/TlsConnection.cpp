#include "companions/tcp/TlsConnection.h"

#include <asio/ssl/error.hpp>
#include <utility>

namespace Ferrolink::Companions::Tcp {
namespace {

void require(const asio::error_code& error, const std::string& what, const std::string& file) {
  if (error) {
    throw TlsFileError("Cannot use " + what + " '" + file + "': " + error.message() + ".");
  }
}

}  // namespace

TlsContext makeTlsContext(asio::ssl::context::method method) {
  auto context = std::make_shared<asio::ssl::context>(method);
  SSL_CTX* native = context->native_handle();
  SSL_CTX_set_min_proto_version(native, TLS1_2_VERSION);
  SSL_CTX_set_options(native, SSL_OP_NO_COMPRESSION | SSL_OP_NO_RENEGOTIATION | SSL_OP_NO_TICKET);
  SSL_CTX_set_num_tickets(native, 0);
  SSL_CTX_set_session_cache_mode(native, SSL_SESS_CACHE_OFF);
  // Without this OpenSSL would ask for a key's password on the terminal.
  context->set_password_callback([](std::size_t, auto) { return std::string(); });
  return context;
}

void useCertificate(asio::ssl::context& context, const std::string& certificateFile,
                    const std::string& keyFile) {
  asio::error_code error;
  context.use_certificate_chain_file(certificateFile, error);
  require(error, "the certificate", certificateFile);
  context.use_private_key_file(keyFile, asio::ssl::context::pem, error);
  require(error, "the key", keyFile);
}

void useAuthorities(asio::ssl::context& context, const std::string& file) {
  asio::error_code error;
  context.load_verify_file(file, error);
  require(error, "the authorities", file);
}

TlsConnection::TlsConnection(PatientSocket socket, std::uint32_t limit, TlsContext context,
                             Side side)
    : Connection(limit),
      m_context(std::move(context)),
      m_side(side),
      m_stream(std::move(socket), *m_context) {}

void TlsConnection::handshake(asio::error_code& error) {
  m_stream.handshake(m_side, error);
}

// A peer that closes without saying so under TLS has closed: frames have lengths, so that nothing
// can be cut off unnoticed.
std::size_t TlsConnection::readSome(asio::mutable_buffer buffer, asio::error_code& error) {
  const std::size_t got = m_stream.read_some(buffer, error);
  if (error == asio::ssl::error::stream_truncated) {
    error = asio::error::eof;
  }
  return got;
}

std::size_t TlsConnection::writeSome(asio::const_buffer buffer, asio::error_code& error) {
  return m_stream.write_some(buffer, error);
}

}  // namespace Ferrolink::Companions::Tcp
