// Java and C++ programs of the built installation call a server, on every JDK.
#include <dlfcn.h>
#include <ferrolink/protocol/Commands.h>

#include <csignal>
#include <cstdio>

#include "native/interfaces/ITransmitter.h"
#include "native/interfaces/RuntimeOperationMode.h"
#include "tests/companions/tcp/Certificates.h"
#include "tests/companions/tcp/ServerProcess.h"
#include "tests/support/Jdks.h"

namespace Ferrolink::Tests {
namespace {

using Ferrolink::Native::Definitions::RuntimeOperationMode;
using Ferrolink::Native::Interfaces::ITransmitter;
using testing::HasSubstr;

// The standard output of a command line.
std::string OutputOf(const std::string& commandLine) {
  std::FILE* pipe = popen(commandLine.c_str(), "r");
  std::string text;
  for (int byte = std::fgetc(pipe); byte != EOF; byte = std::fgetc(pipe)) {
    text.push_back(static_cast<char>(byte));
  }
  pclose(pipe);
  return text;
}

void ExpectJavaCalls(const std::string& kind, const ServerProcess& server) {
  const Variable home("FERROLINK_HOME", FERROLINK_INSTALLATION);
  const Variable level("FERROLINK_LOGGING_LEVEL", "off");
  const Port nobody;
  const TemporaryDirectory directory;
  ASSERT_FALSE(InstalledJdks().empty());
  for (const auto& jdk : InstalledJdks()) {
    SCOPED_TRACE(jdk.string());
    EXPECT_EQ(OutputOf("cd '" + directory.Path().string() + "' && '" + jdk.string() +
                       "/bin/java' -cp '" FERROLINK_JAR ":" REMOTE_CALLS_JAR "' RemoteCalls " +
                       kind + " 127.0.0.1 " + std::to_string(server.Port()) + " " +
                       std::to_string(nobody.Number())),
              "over " + kind +
                  "\n"
                  "std::invalid_argument: refused: this\n"
                  "Network Client: Exception code 008.\n" +
                  server.Name() +
                  " has not begun the command, which was not executed: "
                  "This server loads no libraries for its clients. Start it with --plug-in FILE, "
                  "or with --allow-load-library.\n"
                  "2000\n"
                  "Network Client 1\n");
  }
}

// The command with the header of a network target.
std::string OverTcp(std::string command, std::uint16_t port) {
  const std::string header =
      Protocol::ToText(Protocol::EmptyCommand({.target = static_cast<Protocol::Runtime>(command[0]),
                                               .caller = Protocol::Runtime::Jvm,
                                               .channel = Protocol::Header::kChannelTcp,
                                               .address = {127, 0, 0, 1},
                                               .port = port},
                                              static_cast<std::uint8_t>(command[10])));
  return command.replace(0, header.size(), header);
}

ITransmitter& CppTransmitter() {
  void* library =
      dlopen(FERROLINK_INSTALLATION "/Binaries/Native/Linux/X64/libFerrolinkCppRuntimeNative.so",
             RTLD_NOW | RTLD_LOCAL);
  auto* create = reinterpret_cast<ITransmitter* (*)(RuntimeOperationMode)>(
      dlsym(library, "CreateTransmitter"));
  return *create(RuntimeOperationMode::CallingRuntime);
}

}  // namespace

TEST(TcpEndToEnd, JavaCallsCppBehindAServer) {
  ExpectJavaCalls("tcp", ServerProcess());
}

TEST(TcpEndToEnd, JavaCallsCppBehindAServerWithTls) {
  const Certificate certificate({});
  const ServerProcess server(
      {"--tls-certificate", certificate.File(), "--tls-key", certificate.KeyFile()});
  const Variable authorities("FERROLINK_TLS_CA_FILE", certificate.File());
  ExpectJavaCalls("tls", server);
}

TEST(TcpEndToEnd, CppCallsJavaBehindAServer) {
  ITransmitter& transmitter = CppTransmitter();
  for (const auto& jdk : InstalledJdks()) {
    SCOPED_TRACE(jdk.string());
    const Variable java("JAVA_HOME", jdk.string());
    ServerProcess server({"--runtime", "jvm", "--plug-in", FERROLINK_JAR});
    EXPECT_EQ(server.Listening(),
              "ferrolink-server: jvm listens on " + server.Name() + " (plain TCP)\n");
    const auto ask = [&](const std::string& handler, const std::string& payload) {
      std::string command = OverTcp(CallOf(handler, payload, 2), server.Port());
      const int length = transmitter.SendCommand(reinterpret_cast<std::uint8_t*>(command.data()),
                                                 static_cast<int>(command.size()));
      std::string response(static_cast<std::size_t>(length), '\0');
      transmitter.ReadResponse(reinterpret_cast<std::uint8_t*>(response.data()), length);
      return response.substr(11);
    };
    EXPECT_EQ(ask("echo", "from far"), "from far");
    EXPECT_THAT(ask("nobody", ""), HasSubstr("nobody"));
    EXPECT_THAT(ThrownBy([&] { ask("load-archives", "/tmp"); }),
                HasSubstr("This server loads no libraries for its clients."));
    // The JVM does not replace the handling of the signal.
    server.Signal(SIGTERM);
    EXPECT_EQ(server.Wait(), 0);
  }
}

}  // namespace Ferrolink::Tests
