#include "companions/tcp/TlsConnection.h"

#include <openssl/err.h>
#include <openssl/x509.h>
#include <poll.h>

#include <algorithm>
#include <array>
#include <asio/error.hpp>
#include <asio/ssl/error.hpp>
#include <cstddef>
#include <cstdint>
#include <new>
#include <span>
#include <utility>

#include "companions/tcp/PatientSocket.h"

namespace Ferrolink::Companions::Tcp {
namespace {

constexpr std::size_t kRecord = SSL3_RT_MAX_PLAIN_LENGTH;
// Two records are read or sent with one system call. More records would displace other connections
// from the processor's cache.
constexpr std::size_t kReadAhead = std::size_t{2} * SSL3_RT_MAX_PACKET_SIZE;
constexpr std::size_t kMostGathered = kReadAhead;

std::string SubjectOf(const X509* certificate) {
  const std::unique_ptr<BIO, int (*)(BIO*)> memory(BIO_new(BIO_s_mem()), BIO_free);
  if (!memory || X509_NAME_print_ex(memory.get(), X509_get_subject_name(certificate), 0,
                                    XN_FLAG_RFC2253) < 0) {
    return "(unknown)";
  }
  char* text = nullptr;
  const long length = BIO_get_mem_data(memory.get(), &text);
  return {text, static_cast<std::size_t>(length)};
}

// Errors after which the connection continues.
bool IsPassing(const asio::error_code& error) {
  return error == asio::error::would_block || error == asio::error::timed_out ||
         error == asio::error::operation_aborted;
}

// ERR_clear_error frees the texts of all possible errors, which takes longer than the system call
// for a small record.
void ClearErrors() {
  if (ERR_peek_error() != 0) {
    ERR_clear_error();
  }
}

// The index under which an SSL object stores its connection.
int OwnerIndex() {
  static const int index = SSL_get_ex_new_index(0, nullptr, nullptr, nullptr, nullptr);
  return index;
}

}  // namespace

TlsConnection::TlsConnection(PatientSocket socket, std::uint32_t limit, TlsContext context,
                             Side side)
    : Connection(limit),
      m_context(std::move(context)),
      m_socket(std::move(socket)),
      m_tls(SSL_new(m_context->native_handle())) {
  BIO* bio = m_tls ? BIO_new(SocketMethod()) : nullptr;
  if (bio == nullptr) {
    throw std::bad_alloc();
  }
  BIO_set_data(bio, this);
  BIO_set_init(bio, 1);
  SSL_set_bio(m_tls.get(), bio, bio);
  SSL_set_ex_data(m_tls.get(), OwnerIndex(), this);
  // One read takes all records that have arrived.
  SSL_set_read_ahead(m_tls.get(), 1);
  SSL_set_default_read_buffer_len(m_tls.get(), kReadAhead);
  SSL_set_mode(m_tls.get(), SSL_MODE_ENABLE_PARTIAL_WRITE | SSL_MODE_ACCEPT_MOVING_WRITE_BUFFER |
                                SSL_MODE_RELEASE_BUFFERS);
  if (side == asio::ssl::stream_base::client) {
    SSL_set_connect_state(m_tls.get());
  } else {
    SSL_set_accept_state(m_tls.get());
  }
}

void TlsConnection::Handshake(asio::error_code& error) {
  ClearErrors();
  const int result = SSL_do_handshake(m_tls.get());
  error = result == 1 ? asio::error_code() : ErrorOf(result);
}

short TlsConnection::AwaitedEvents() const {
  return SSL_want_write(m_tls.get()) ? POLLOUT : POLLIN;
}

bool TlsConnection::IsQuiet() {
  if (Unread() != 0 || SSL_has_pending(m_tls.get()) != 0) {
    return false;
  }
  if (m_socket.IsQuiet()) {
    return true;
  }
  std::uint8_t byte = 0;
  m_socket.DontWait(true);
  ClearErrors();
  const int got = SSL_peek(m_tls.get(), &byte, 1);
  const bool quiet = got <= 0 && ErrorOf(got) == asio::error::would_block;
  m_socket.DontWait(false);
  return quiet;
}

void TlsConnection::KeepBuffers(bool keep) {
  if (keep == m_keepsBuffers) {
    return;
  }
  m_keepsBuffers = keep;
  if (keep) {
    SSL_clear_mode(m_tls.get(), SSL_MODE_RELEASE_BUFFERS);
    return;
  }
  SSL_set_mode(m_tls.get(), SSL_MODE_RELEASE_BUFFERS);
  SSL_free_buffers(m_tls.get());
  FreeGathered();
}

void TlsConnection::FreeGathered() {
  m_gathered.reset();
  m_gatheredSize = 0;
}

std::string TlsConnection::PeerName() {
  const X509* certificate = SSL_get0_peer_certificate(m_tls.get());
  return certificate == nullptr ? std::string() : SubjectOf(certificate);
}

// Notes the verdict here: after a failed handshake it is gone.
int TlsConnection::JudgePeer(int verified, X509_STORE_CTX* chain) {
  if (verified != 1) {
    const auto* tls =
        static_cast<SSL*>(X509_STORE_CTX_get_ex_data(chain, SSL_get_ex_data_X509_STORE_CTX_idx()));
    auto* self = static_cast<TlsConnection*>(SSL_get_ex_data(tls, OwnerIndex()));
    const X509* certificate = X509_STORE_CTX_get_current_cert(chain);
    self->m_whyPeerRefused =
        "the certificate of '" +
        (certificate == nullptr ? std::string("(unknown)") : SubjectOf(certificate)) +
        "': " + X509_verify_cert_error_string(X509_STORE_CTX_get_error(chain));
  }
  return verified;
}

void DemandCertificate(asio::ssl::context& context) {
  SSL_CTX_set_verify(context.native_handle(), SSL_VERIFY_PEER | SSL_VERIFY_FAIL_IF_NO_PEER_CERT,
                     TlsConnection::JudgePeer);
}

std::size_t TlsConnection::ReadSome(std::span<std::uint8_t> room, asio::error_code& error) {
  std::size_t got = 0;
  ClearErrors();
  const int result = SSL_read_ex(m_tls.get(), room.data(), room.size(), &got);
  error = result == 1 ? asio::error_code() : ErrorOf(result);
  return got;
}

// Writes one record.
std::size_t TlsConnection::WriteSome(std::span<const std::uint8_t> head,
                                     std::span<const std::uint8_t> bytes, asio::error_code& error) {
  if (!head.empty()) {
    return WriteFirst(head, bytes, error);
  }
  const auto record = bytes.first(std::min(bytes.size(), kRecord));
  return WriteRecord(record, record.size() == bytes.size(), error);
}

// The first record includes the head.
std::size_t TlsConnection::WriteFirst(std::span<const std::uint8_t> head,
                                      std::span<const std::uint8_t> bytes,
                                      asio::error_code& error) {
  std::array<std::uint8_t, kRecord> first;
  const std::size_t taken = std::min(bytes.size(), first.size() - head.size());
  std::copy(head.begin(), head.end(), first.begin());
  std::copy_n(bytes.begin(), taken, first.begin() + static_cast<std::ptrdiff_t>(head.size()));
  return WriteRecord(std::span(first).first(head.size() + taken), taken == bytes.size(), error);
}

std::size_t TlsConnection::WriteRecord(std::span<const std::uint8_t> record, bool isLast,
                                       asio::error_code& error) {
  if (!isLast && !m_gathered) {
    m_gathered = std::make_unique_for_overwrite<std::uint8_t[]>(kMostGathered);
  }
  m_moreFollows = !isLast;
  std::size_t written = 0;
  ClearErrors();
  const int result = SSL_write_ex(m_tls.get(), record.data(), record.size(), &written);
  error = result == 1 ? asio::error_code() : ErrorOf(result);
  m_moreFollows = false;
  if (isLast && !m_keepsBuffers) {
    FreeGathered();
  }
  return written;
}

// A close without a TLS close alert counts as a normal close. Frames have lengths, so truncation
// cannot go unnoticed.
asio::error_code TlsConnection::ErrorOf(int result) {
  switch (SSL_get_error(m_tls.get(), result)) {
    case SSL_ERROR_WANT_READ:
    case SSL_ERROR_WANT_WRITE:
      return m_socketError ? m_socketError : asio::error::would_block;
    case SSL_ERROR_ZERO_RETURN:
      return asio::error::eof;
    case SSL_ERROR_SSL:
      if (!m_ended) {
        return {static_cast<int>(ERR_get_error()), asio::error::get_ssl_category()};
      }
      [[fallthrough]];
    default:
      return m_ended || !m_socketError ? asio::error::eof : m_socketError;
  }
}

const BIO_METHOD* TlsConnection::SocketMethod() {
  static const BIO_METHOD* const method = [] {
    BIO_METHOD* made = BIO_meth_new(BIO_get_new_index() | BIO_TYPE_SOURCE_SINK, "socket");
    if (made == nullptr) {
      throw std::bad_alloc();
    }
    BIO_meth_set_read(made, ReadSocket);
    BIO_meth_set_write(made, WriteSocket);
    BIO_meth_set_ctrl(made, ControlSocket);
    return made;
  }();
  return method;
}

int TlsConnection::ReadSocket(BIO* bio, char* room, int size) {
  auto& self = *static_cast<TlsConnection*>(BIO_get_data(bio));
  BIO_clear_retry_flags(bio);
  const std::size_t got = self.m_socket.Receive(
      {reinterpret_cast<std::uint8_t*>(room), static_cast<std::size_t>(size)}, self.m_socketError);
  if (IsPassing(self.m_socketError)) {
    BIO_set_retry_read(bio);
  }
  if (self.m_socketError == asio::error::eof) {
    self.m_ended = true;
    return 0;
  }
  return self.m_socketError ? -1 : static_cast<int>(got);
}

// Gathers the records of one frame. The last record sends them; a record without room sends the
// earlier ones.
int TlsConnection::WriteSocket(BIO* bio, const char* bytes, int size) {
  auto& self = *static_cast<TlsConnection*>(BIO_get_data(bio));
  BIO_clear_retry_flags(bio);
  const std::span<const std::uint8_t> record(reinterpret_cast<const std::uint8_t*>(bytes),
                                             static_cast<std::size_t>(size));
  std::size_t written = record.size();
  if (self.m_moreFollows || self.m_gatheredSize > 0) {
    self.Gather(record);
  } else {
    written = self.m_socket.Send(record, self.m_socketError);
  }
  if (IsPassing(self.m_socketError)) {
    BIO_set_retry_write(bio);
  }
  return self.m_socketError ? -1 : static_cast<int>(written);
}

void TlsConnection::Gather(std::span<const std::uint8_t> record) {
  m_socketError.clear();
  if (m_gatheredSize + record.size() > kMostGathered && !SendGathered()) {
    return;
  }
  std::copy(record.begin(), record.end(), m_gathered.get() + m_gatheredSize);
  m_gatheredSize += record.size();
  if (!m_moreFollows) {
    SendGathered();
  }
}

// The rest after an error is never sent, because the connection is unusable then.
bool TlsConnection::SendGathered() {
  std::span<const std::uint8_t> rest(m_gathered.get(), std::exchange(m_gatheredSize, 0));
  while (!rest.empty() && !m_socketError) {
    rest = rest.subspan(m_socket.Send(rest, m_socketError));
  }
  return !m_socketError;
}

long TlsConnection::ControlSocket(BIO* bio, int command, long /*number*/, void* /*pointer*/) {
  if (command == BIO_CTRL_EOF) {
    return static_cast<TlsConnection*>(BIO_get_data(bio))->m_ended ? 1 : 0;
  }
  return command == BIO_CTRL_FLUSH ? 1 : 0;
}

}  // namespace Ferrolink::Companions::Tcp
