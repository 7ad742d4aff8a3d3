// The peer for programs that use gRPC: a unary call over the loopback interface to a server in a
// process of its own. Both use the synchronous interface, with one thread or several, without or
// with TLS.
#include <grpcpp/grpcpp.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include "bench/harness/Serve.h"
#include "bench/harness/Team.h"
#include "echo.grpc.pb.h"

namespace {

using ferrolink::bench::Bytes;
using ferrolink::bench::Echo;

class EchoService final : public Echo::Service {
 public:
  grpc::Status Call(grpc::ServerContext*, const Bytes* request, Bytes* response) override {
    response->set_content(request->content());
    return grpc::Status::OK;
  }
};

struct Options {
  std::size_t threads = 1;
  std::string certificate;  ///< with it, TLS
  std::string key;
};

std::string ContentOf(const std::string& file) {
  std::ifstream stream(file, std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), {}};
}

std::shared_ptr<grpc::ServerCredentials> ServerCredentials(const Options& options) {
  if (options.certificate.empty()) {
    return grpc::InsecureServerCredentials();
  }
  grpc::SslServerCredentialsOptions tls;
  tls.pem_key_cert_pairs.push_back({ContentOf(options.key), ContentOf(options.certificate)});
  return grpc::SslServerCredentials(tls);
}

std::shared_ptr<grpc::ChannelCredentials> ClientCredentials(const Options& options) {
  if (options.certificate.empty()) {
    return grpc::InsecureChannelCredentials();
  }
  grpc::SslCredentialsOptions tls;
  tls.pem_root_certs = ContentOf(options.certificate);
  return grpc::SslCredentials(tls);
}

void RunServer(int portPipe, const Options& options) {
  EchoService service;
  int port = 0;
  grpc::ServerBuilder builder;
  builder.AddListeningPort("127.0.0.1:0", ServerCredentials(options), &port);
  builder.RegisterService(&service);
  const auto server = builder.BuildAndStart();
  if (write(portPipe, &port, sizeof port) == sizeof port) {
    server->Wait();
  }
}

void CallMany(Echo::Stub& stub, std::size_t size, long calls) {
  Bytes request;
  request.set_content(std::string(size, 'x'));
  Bytes response;
  for (long i = 0; i < calls; ++i) {
    grpc::ClientContext context;
    if (!stub.Call(&context, request, &response).ok() || response.content().size() != size) {
      std::fprintf(stderr, "a call failed\n");
      std::_Exit(1);
    }
  }
}

void RunClient(int port, const Options& options) {
  // Each thread's channel has a connection of its own.
  std::vector<std::unique_ptr<Echo::Stub>> stubs;
  for (std::size_t i = 0; i < options.threads; ++i) {
    grpc::ChannelArguments arguments;
    arguments.SetInt("ferrolink.bench.thread", static_cast<int>(i));
    arguments.SetMaxReceiveMessageSize(-1);
    stubs.push_back(Echo::NewStub(grpc::CreateCustomChannel(
        "127.0.0.1:" + std::to_string(port), ClientCredentials(options), arguments)));
  }
  Ferrolink::Bench::Team team(
      options.threads, [] {}, [] {});
  Ferrolink::Bench::Serve([&](std::size_t size, long calls) {
    return team.Run([&](std::size_t thread, long own) { CallMany(*stubs[thread], size, own); },
                    std::max(1L, calls / static_cast<long>(options.threads)));
  });
}

}  // namespace

// usage: ferrolink-bench-grpc [THREADS [CERTIFICATE KEY]]
int main(int count, char** values) {
  Options options;
  if (count > 1) {
    options.threads = std::max(1UL, std::strtoul(values[1], nullptr, 10));
  }
  if (count > 3) {
    options.certificate = values[2];
    options.key = values[3];
  }
  int ports[2];
  if (pipe(ports) != 0) {
    return 1;
  }
  // Forks before the first use of gRPC, which starts threads.
  if (fork() == 0) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    RunServer(ports[1], options);
    return 0;
  }
  int port = 0;
  if (read(ports[0], &port, sizeof port) != sizeof port) {
    return 1;
  }
  RunClient(port, options);
  return 0;
}
