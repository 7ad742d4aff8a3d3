// The configuration file of ferrolink-server, read by the server's own reader.
#include "companions/tool/doctor/ServerFile.h"

#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>

#include "companions/tcp/TlsFiles.h"
#include "companions/tcp/server/ServerOptions.h"
#include "companions/tool/doctor/Checks.h"

namespace Ferrolink::Companions::Tool {
namespace {

using Tcp::Server::ServerOptions;

ServerOptions Parse(const std::string& file) {
  std::array<std::string, 3> words{"ferrolink-server", "--config", file};
  std::array<char*, 3> arguments{words[0].data(), words[1].data(), words[2].data()};
  return Tcp::Server::ParseOptions(static_cast<int>(arguments.size()), arguments.data());
}

// In the server's order. Errors: TlsFileError.
void UseTlsFiles(const ServerOptions& options) {
  const Tcp::TlsContext context = Tcp::MakeTlsContext(asio::ssl::context::tls_server);
  Tcp::UseCertificate(*context, options.certificate, options.key);
  if (!options.clientAuthorities.empty()) {
    Tcp::UseAuthorities(*context, options.clientAuthorities);
    if (!options.revocationList.empty()) {
      Tcp::UseRevocationList(*context, options.revocationList);
    }
  }
  if (const std::string why = Tcp::WhyNotValidNow(*context); !why.empty()) {
    throw Tcp::TlsFileError("The certificate '" + options.certificate +
                            "' is not valid now: " + why + ".");
  }
}

}  // namespace

ServerFile ReadServerFile(const std::string& file) {
  ServerFile found;
  ServerOptions options;
  try {
    options = Parse(file);
    if (options.UsesTls()) {
      UseTlsFiles(options);
    }
  } catch (const Tcp::Server::UsageError& error) {
    found.refusal = error.what();
    return found;
  } catch (const Tcp::TlsFileError& error) {
    found.tlsProblem = error.what();
  }
  for (const std::string& plugIn : options.plugIns) {
    if (access(plugIn.c_str(), R_OK) != 0) {
      found.missing.push_back(plugIn + ": " + std::strerror(errno));
    } else if (options.runtime == Native::Definitions::Runtime::Jvm) {
      found.archives.push_back(plugIn);
    }
  }
  return found;
}

void CheckServerFile(const Machine& machine, Findings& findings) {
  if (!machine.serverFile) {
    return;
  }
  const ServerFile& file = *machine.serverFile;
  const std::string name = machine.asked.serverFile;
  if (!file.refusal.empty()) {
    findings.Add(
        {"server-configuration-refused",
         "ferrolink-server refuses its configuration file, and does not start.",
         file.refusal.find(name) == std::string::npos ? name + ": " + file.refusal : file.refusal,
         "Correct the place that the evidence names. The page server.md of the documentation lists "
         "keys and values. The doctor reads the file without other options of the server.",
         ""});
  }
  for (const std::string& plugIn : file.missing) {
    findings.Add({"server-plug-in-unusable", "A plug-in of ferrolink-server cannot be read.",
                  plugIn,
                  "Correct \"plug-in\"; relative paths start at the file's directory. Let the "
                  "server's user read the plug-in.",
                  ""});
  }
  if (!file.tlsProblem.empty()) {
    findings.Add(
        {"server-tls-unusable", "ferrolink-server cannot use its files for TLS.",
         name + ": " + file.tlsProblem,
         "Correct \"tls-certificate\", \"tls-key\", \"tls-client-ca\" and \"tls-crl\": PEM "
         "files, the key without a password. Let the server's user read them; systemd "
         "does so by LoadCredential.",
         ""});
  }
}

}  // namespace Ferrolink::Companions::Tool
