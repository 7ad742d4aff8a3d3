// A server that the program is to call: reachable, TLS, certificate, protocol.
#include <netdb.h>
#include <openssl/err.h>
#include <openssl/ssl.h>
#include <openssl/x509v3.h>
#include <sys/socket.h>
#include <sys/time.h>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <memory>
#include <utility>
#include <vector>

#include "companions/configs/Configuration.h"
#include "companions/tcp/TlsFiles.h"
#include "companions/tcp/Wire.h"
#include "companions/tcp/client/ClientVariables.h"
#include "companions/tool/Address.h"
#include "companions/tool/EndpointSettings.h"
#include "companions/tool/Terminal.h"
#include "companions/tool/doctor/CertificateComplaints.h"
#include "companions/tool/doctor/Checks.h"
#include "companions/utils/FileDescriptor.h"
#include "ferrolink/JavaHomes.h"

namespace Ferrolink::Companions::Tool {
namespace {

namespace Wire = Tcp::Wire;
using Host::detail::Variable;

constexpr int kDaysOfWarning = 14;

// Called when the server asks for a certificate.
int NoteRequest(SSL* /*tls*/, void* isAsked) {
  *static_cast<bool*>(isAsked) = true;
  return 1;
}

std::string TlsError() {
  const unsigned long error = ERR_get_error();
  const char* reason = error == 0 ? nullptr : ERR_reason_error_string(error);
  return reason != nullptr ? reason : "the connection was closed";
}

// The client's time limit for connecting, in milliseconds.
std::uint32_t PatienceFor(const Endpoint& settings) {
  const auto& variable = Tcp::Client::kConnectTimeout;
  const auto configured = variable.ValueIn(ValueOf(settings, "connectTimeoutMs"));
  return variable.ValueIn(Variable(variable.name))
      .value_or(configured.value_or(Tcp::Client::kUsualConnectTimeout));
}

// What the user calls a client's own files.
struct OwnNames {
  const char* certificate;
  const char* key;
};
constexpr OwnNames kOwnVariables{"FERROLINK_TLS_CERTIFICATE", "FERROLINK_TLS_KEY"};
constexpr OwnNames kOwnKeys{"\"certificate\"", "\"key\""};

class Server {
 public:
  // As in programs, variables take precedence over the configuration.
  Server(Address address, const Endpoint& settings, const Case& asked, Findings& findings)
      : m_address(std::move(address)), m_patience(PatienceFor(settings)), m_findings(findings) {
    const auto chosen = [&](const std::string& first, const char* variable, const char* key) {
      const std::string text = first.empty() ? Variable(variable) : first;
      return text.empty() ? ValueOf(settings, key) : text;
    };
    m_authorities = chosen(asked.authorities, "FERROLINK_TLS_CA_FILE", "authorities");
    m_revocationList = chosen("", "FERROLINK_TLS_CRL_FILE", "revocationList");
    // Both of the same place: a variable does not complete the configuration.
    const bool isConfigured =
        Variable(kOwnVariables.certificate).empty() && Variable(kOwnVariables.key).empty();
    m_ownNames = isConfigured ? kOwnKeys : kOwnVariables;
    m_ownCertificate =
        isConfigured ? ValueOf(settings, "certificate") : Variable(kOwnVariables.certificate);
    m_ownKey = isConfigured ? ValueOf(settings, "key") : Variable(kOwnVariables.key);
    m_name = ValueOf(settings, "name").empty() ? m_address.host : ValueOf(settings, "name");
  }

  void Check() {
    if (Connect() && (!m_address.tls || Handshake())) {
      Greet();
    }
  }

 private:
  void Add(const char* id, const std::string& text, const std::string& evidence,
           const std::string& remedy, const std::string& install = "") {
    m_findings.Add({id, text, m_address.Name() + ": " + evidence, remedy, install});
  }

  [[nodiscard]] std::string NoAnswer() const {
    return "no answer within " + (m_patience % 1000 == 0 ? std::to_string(m_patience / 1000) + " s"
                                                         : std::to_string(m_patience) + " ms");
  }

  bool Connect() {
    addrinfo hints{};
    hints.ai_socktype = SOCK_STREAM;
    addrinfo* list = nullptr;
    const int unknown =
        getaddrinfo(m_address.host.c_str(), std::to_string(m_address.port).c_str(), &hints, &list);
    if (unknown != 0) {
      Add("endpoint-name-unknown", "The name of the server is not known.", gai_strerror(unknown),
          "Correct the name, or the resolver of this machine (/etc/hosts, /etc/resolv.conf).");
      return false;
    }
    const std::unique_ptr<addrinfo, decltype(&freeaddrinfo)> owner(list, &freeaddrinfo);
    std::string why;
    for (const addrinfo* one = list; one != nullptr; one = one->ai_next) {
      FileDescriptor made(
          socket(one->ai_family, one->ai_socktype | SOCK_CLOEXEC, one->ai_protocol));
      const timeval patience{m_patience / 1000, m_patience % 1000 * 1000L};
      setsockopt(made.get(), SOL_SOCKET, SO_SNDTIMEO, &patience, sizeof patience);
      setsockopt(made.get(), SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
      if (connect(made.get(), one->ai_addr, one->ai_addrlen) == 0) {
        m_socket = std::move(made);
        return true;
      }
      why = errno == EINPROGRESS ? NoAnswer() : std::strerror(errno);
    }
    Add("endpoint-unreachable", "Nobody answers at the address of the server.", why,
        "Start the server (ferrolink-server --listen ADDRESS:PORT), correct the port, or open the "
        "firewall.");
    return false;
  }

  void Verify(SSL* tls) {
    X509_VERIFY_PARAM* parameters = SSL_get0_param(tls);
    if (X509_VERIFY_PARAM_set1_ip_asc(parameters, m_name.c_str()) != 1) {
      X509_VERIFY_PARAM_set1_host(parameters, m_name.c_str(), 0);
      SSL_set_tlsext_host_name(tls, m_name.c_str());
    }
    m_complaints.NoteThoseOf(tls);
    SSL_set_cert_cb(tls, NoteRequest, &m_isAskedForCertificate);
  }

  bool UseAuthorities() {
    try {
      if (m_authorities.empty()) {
        SSL_CTX_set_default_verify_paths(m_context->native_handle());
      } else {
        Tcp::UseAuthorities(*m_context, m_authorities);
      }
      if (!m_revocationList.empty()) {
        Tcp::UseRevocationList(*m_context, m_revocationList);
      }
      Tcp::HeedRevocationLists(*m_context);
      return true;
    } catch (const Tcp::TlsFileError& error) {
      Add("tls-authorities-unusable",
          "The file of trusted authorities, or that of revocation lists, cannot be used.",
          error.what(),
          "Name a PEM file: --tls-ca, FERROLINK_TLS_CA_FILE or \"authorities\"; "
          "FERROLINK_TLS_CRL_FILE or \"revocationList\".");
      return false;
    }
  }

  // Why programs would not send the client's own certificate.
  std::string WhyNoOwnCertificate() {
    if (m_ownCertificate.empty() != m_ownKey.empty()) {
      const std::string certificate = m_ownNames.certificate;
      const std::string key = m_ownNames.key;
      return m_ownCertificate.empty() ? key + " is set, and " + certificate + " is not set"
                                      : certificate + " is set, and " + key + " is not set";
    }
    if (m_ownCertificate.empty()) {
      return {};
    }
    try {
      Tcp::UseCertificate(*m_context, m_ownCertificate, m_ownKey);
    } catch (const Tcp::TlsFileError& error) {
      return error.what();
    }
    const std::string why = Tcp::WhyNotValidNow(*m_context);
    return why.empty() ? why : m_ownCertificate + ": " + why;
  }

  bool UseOwnCertificate() {
    const std::string why = WhyNoOwnCertificate();
    if (!why.empty()) {
      Add("tls-own-certificate", "The client's own certificate or key cannot be used.", why,
          std::string("Correct ") + m_ownNames.certificate + " and " + m_ownNames.key +
              ": PEM files that belong together, the key without a password.");
    }
    return why.empty();
  }

  bool Handshake() {
    m_context = Tcp::MakeTlsContext(asio::ssl::context::tls_client);
    if (!UseAuthorities() || !UseOwnCertificate()) {
      return false;
    }
    m_tls.reset(SSL_new(m_context->native_handle()));
    SSL_set_fd(m_tls.get(), m_socket.get());
    Verify(m_tls.get());
    ERR_clear_error();
    if (const int done = SSL_connect(m_tls.get()); done != 1) {
      if (m_isAskedForCertificate && ERR_GET_REASON(ERR_peek_error()) > SSL_AD_REASON_OFFSET) {
        AddRefusal();
        return false;
      }
      // The socket waits until its time limit is over; then OpenSSL wants to read again.
      const bool late = SSL_get_error(m_tls.get(), done) == SSL_ERROR_WANT_READ;
      Add("tls-handshake", "The TLS handshake fails.", late ? NoAnswer() : TlsError(),
          "Use tcp:// if the server has no certificate (--tls-certificate); else look at the "
          "server's log.");
      return false;
    }
    ReportCertificate();
    return true;
  }

  // The server has sent an alert after it asked for a certificate. With TLS 1.3 it does so after
  // the handshake.
  void AddRefusal() {
    Add("tls-client-refused", "The server does not accept this client.", TlsError(),
        "Set FERROLINK_TLS_CERTIFICATE and FERROLINK_TLS_KEY to a certificate of an authority that "
        "the server trusts (its --tls-client-ca).");
  }

  void ReportCertificate() {
    m_complaints.Report(m_address.Name(), !m_authorities.empty(), m_findings);
    X509* certificate = SSL_get0_peer_certificate(m_tls.get());
    int days = 0;
    int seconds = 0;
    if (certificate != nullptr && !m_complaints.HaveDate() &&
        ASN1_TIME_diff(&days, &seconds, nullptr, X509_get0_notAfter(certificate)) == 1 &&
        days < kDaysOfWarning) {
      Add("tls-expires-soon", "The certificate of the server expires soon.",
          "in " + std::to_string(days) + " days", "Renew the certificate.");
    }
  }

  bool Send(const Wire::GreetingBytes& bytes) {
    return m_tls ? SSL_write(m_tls.get(), bytes.data(), static_cast<int>(bytes.size())) > 0
                 : send(m_socket.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL) ==
                       static_cast<ssize_t>(bytes.size());
  }

  std::size_t Receive(Wire::GreetingBytes& bytes) {
    std::size_t got = 0;
    while (got < bytes.size()) {
      const auto left = static_cast<int>(bytes.size() - got);
      const long size =
          m_tls ? SSL_read(m_tls.get(), bytes.data() + got, left)
                : recv(m_socket.get(), bytes.data() + got, static_cast<std::size_t>(left), 0);
      if (size <= 0) {
        m_isLate = m_tls ? SSL_get_error(m_tls.get(), static_cast<int>(size)) == SSL_ERROR_WANT_READ
                         : size < 0 && errno == EAGAIN;
        break;
      }
      got += static_cast<std::size_t>(size);
    }
    return got;
  }

  void Greet() {
    Wire::GreetingBytes answer{};
    ERR_clear_error();
    const std::size_t size = Send(Wire::BytesOf(Wire::Greeting::Hello)) ? Receive(answer) : 0;
    if (size == answer.size() && answer == Wire::BytesOf(Wire::Greeting::Welcome)) {
      return;
    }
    const bool mark = std::memcmp(answer.data(), "FRLK", Wire::kGreetingMark) == 0;
    if ((mark &&
         answer[Wire::kGreetingKind] == static_cast<std::uint8_t>(Wire::Greeting::SpeaksTls)) ||
        (!m_address.tls && size > 0 && answer[0] == Wire::kTlsAlert)) {
      Add("endpoint-speaks-tls", "The server speaks TLS, and is called without.", "it asks for TLS",
          "Use tls:// here, and Ferrolink.tls in programs.");
    } else if (mark && answer[Wire::kGreetingVersion] != Wire::kVersion) {
      Add("endpoint-other-version", "The server speaks another version of the protocol.",
          "version " + std::to_string(answer[Wire::kGreetingVersion]) +
              ", this tool: " + std::to_string(Wire::kVersion),
          "Install the same version of Ferrolink on both sides.");
    } else if (m_tls && size == 0 && ERR_peek_error() != 0) {
      AddRefusal();
    } else {
      Add("endpoint-no-ferrolink", "What listens there is no Ferrolink server.",
          m_isLate && size == 0 ? NoAnswer() : std::to_string(size) + " bytes of an unknown answer",
          "Correct the port. A balancer between must pass the bytes on unchanged.");
    }
  }

  struct Free {
    void operator()(SSL* tls) const { SSL_free(tls); }
  };

  const Address m_address;
  const std::uint32_t m_patience;  // milliseconds
  std::string m_name;              // that its certificate must have
  std::string m_authorities;
  std::string m_revocationList;
  std::string m_ownCertificate;
  std::string m_ownKey;
  OwnNames m_ownNames = kOwnVariables;
  bool m_isLate = false;  // the greeting was not answered in time
  Findings& m_findings;
  CertificateComplaints m_complaints;
  bool m_isAskedForCertificate = false;
  FileDescriptor m_socket;
  Tcp::TlsContext m_context;
  std::unique_ptr<SSL, Free> m_tls;  // after its context, so freed before it; none without TLS
};

// Where a program connects to that calls the address: to each of these in turn.
std::vector<Address> TargetsOf(const Machine& machine, const Address& called,
                               const Endpoint& settings) {
  std::vector<Address> targets;
  if (machine.configuration && machine.configuration->endpoints.count(called.Name()) != 0) {
    for (const auto& [key, value] : settings) {
      if (key == "connect") {
        targets.push_back(AddressOf((called.tls ? "tls://" : "tcp://") + value));
      }
    }
  }
  return targets.empty() ? std::vector<Address>{called} : targets;
}

}  // namespace

void CheckEndpoint(const Machine& machine, Findings& findings) {
  if (machine.asked.connect.empty()) {
    return;
  }
  std::signal(SIGPIPE, SIG_IGN);  // OpenSSL writes without MSG_NOSIGNAL
  const Progress progress("Connecting to " + machine.asked.connect);
  const Address called = AddressOf(machine.asked.connect);
  const Endpoint settings =
      machine.configuration ? EndpointFor(*machine.configuration, called) : Endpoint();
  if (!called.tls && ValueOf(settings, "tls") == "required") {
    findings.Add(
        {"endpoint-requires-tls",
         "The configuration requires TLS for this server, and refuses commands without.",
         called.Name() + ": \"tls\" is \"required\"",
         "Use tls:// here, and Ferrolink.tls in programs. Or remove \"tls\" from the endpoint "
         "of the configuration.",
         ""});
    return;
  }
  for (const Address& target : TargetsOf(machine, called, settings)) {
    Server(target, settings, machine.asked, findings).Check();
  }
}

}  // namespace Ferrolink::Companions::Tool
