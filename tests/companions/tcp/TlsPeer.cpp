#include "tests/companions/tcp/TlsPeer.h"

#include <algorithm>
#include <csignal>
#include <stdexcept>

namespace Ferrolink::Tests {

TlsPeer::TlsPeer(RawSocket socket, const ForgedCertificate& certificate)
    : m_socket(std::move(socket)),
      m_context(SSL_CTX_new(TLS_server_method()), &SSL_CTX_free),
      m_tls(nullptr, &SSL_free) {
  // OpenSSL may write to a client that has closed.
  std::signal(SIGPIPE, SIG_IGN);
  SSL_CTX_set_security_level(m_context.get(), 0);
  SSL_CTX_use_certificate_chain_file(m_context.get(), certificate.File().c_str());
  SSL_CTX_use_PrivateKey_file(m_context.get(), certificate.KeyFile().c_str(), SSL_FILETYPE_PEM);
  m_tls.reset(SSL_new(m_context.get()));
  SSL_set_fd(m_tls.get(), m_socket.Descriptor());
  m_isReady = SSL_accept(m_tls.get()) == 1;
}

std::string TlsPeer::RequestedName() const {
  const char* name = SSL_get_servername(m_tls.get(), TLSEXT_NAMETYPE_host_name);
  return name == nullptr ? "" : name;
}

TlsPeer& TlsPeer::Send(std::string_view bytes) {
  if (SSL_write(m_tls.get(), bytes.data(), static_cast<int>(bytes.size())) <= 0) {
    throw std::runtime_error("cannot send under TLS");
  }
  return *this;
}

std::string TlsPeer::Receive(std::size_t size) {
  std::string bytes;
  while (bytes.size() < size) {
    std::string room(size - bytes.size(), '\0');
    const int got = SSL_read(m_tls.get(), room.data(), static_cast<int>(room.size()));
    if (got <= 0) {
      break;
    }
    bytes += room.substr(0, static_cast<std::size_t>(got));
  }
  return bytes;
}

TlsPeer& TlsPeer::Greet() {
  EXPECT_EQ(Receive(kHello.size()), kHello);
  return Send(kWelcome);
}

std::uint32_t TlsPeer::ReceiveCommand() {
  const std::string header = Receive(16);
  const auto numberAt = [&](std::size_t at) {
    std::uint32_t number = 0;
    for (const char byte : header.substr(std::min(at, header.size()), 4)) {
      number = number << 8U | static_cast<unsigned char>(byte);
    }
    return number;
  };
  Receive(numberAt(0));
  return numberAt(4);
}

}  // namespace Ferrolink::Tests
