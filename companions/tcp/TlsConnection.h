#ifndef FERROLINK_COMPANIONS_TCP_TLSCONNECTION_H
#define FERROLINK_COMPANIONS_TCP_TLSCONNECTION_H

#include <openssl/bio.h>
#include <openssl/ssl.h>

#include <asio/ssl/stream_base.hpp>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>

#include "companions/tcp/Connection.h"
#include "companions/tcp/PatientSocket.h"
#include "companions/tcp/TlsFiles.h"

namespace Ferrolink::Companions::Tcp {

/// Demands a certificate of the peer. TlsConnection::WhyPeerRefused tells why one was refused.
void DemandCertificate(asio::ssl::context& context);

/// TCP with TLS. OpenSSL reads and writes through the socket, with its limits.
class TlsConnection : public Connection {
 public:
  using Side = asio::ssl::stream_base::handshake_type;

  /// Errors: std::bad_alloc.
  TlsConnection(PatientSocket socket, std::uint32_t limit, TlsContext context, Side side);

  PatientSocket& Socket() override { return m_socket; }
  /// Errors: those of the socket, or of asio's SSL category.
  void Handshake(asio::error_code& error) override;
  [[nodiscard]] short AwaitedEvents() const override;
  /// Also reads TLS messages without data, such as session tickets.
  bool IsQuiet() override;
  void KeepBuffers(bool keep) override;
  std::string PeerName() override;
  [[nodiscard]] std::string WhyPeerRefused() const override { return m_whyPeerRefused; }

  /// OpenSSL's object, valid as long as this one.
  SSL* Native() { return m_tls.get(); }

 private:
  struct Free {
    void operator()(SSL* tls) const { SSL_free(tls); }
  };

  std::size_t ReadSome(std::span<std::uint8_t> room, asio::error_code& error) override;
  std::size_t WriteSome(std::span<const std::uint8_t> head, std::span<const std::uint8_t> bytes,
                        asio::error_code& error) override;

  std::size_t WriteFirst(std::span<const std::uint8_t> head, std::span<const std::uint8_t> bytes,
                         asio::error_code& error);
  std::size_t WriteRecord(std::span<const std::uint8_t> record, bool isLast,
                          asio::error_code& error);
  [[nodiscard]] asio::error_code ErrorOf(int result);
  friend void DemandCertificate(asio::ssl::context& context);
  static int JudgePeer(int verified, X509_STORE_CTX* chain);
  static const BIO_METHOD* SocketMethod();
  static int ReadSocket(BIO* bio, char* room, int size);
  static int WriteSocket(BIO* bio, const char* bytes, int size);
  void Gather(std::span<const std::uint8_t> record);
  bool SendGathered();
  void FreeGathered();
  static long ControlSocket(BIO* bio, int command, long number, void* pointer);

  const TlsContext m_context;
  PatientSocket m_socket;
  asio::error_code m_socketError;  ///< of the socket's last operation
  bool m_ended = false;            ///< the peer has closed; OpenSSL may have written since then
  std::string m_whyPeerRefused;

  // Records of a long frame to be sent together. Allocated for the first such frame.
  std::unique_ptr<std::uint8_t[]> m_gathered;
  std::size_t m_gatheredSize = 0;
  bool m_keepsBuffers = false;
  bool m_moreFollows = false;  ///< what is written now is not the last record of its frame

  std::unique_ptr<SSL, Free> m_tls;
};

}  // namespace Ferrolink::Companions::Tcp

#endif
