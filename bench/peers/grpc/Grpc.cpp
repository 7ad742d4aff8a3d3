// The peer for programs that talk over gRPC: a unary call over the loopback interface to a server
// in a process of its own, both by the synchronous interface.
#include <grpcpp/grpcpp.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <string>

#include "bench/harness/Rounds.h"
#include "bench/harness/Serve.h"
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

void runServer(int portPipe) {
  EchoService service;
  int port = 0;
  grpc::ServerBuilder builder;
  builder.AddListeningPort("127.0.0.1:0", grpc::InsecureServerCredentials(), &port);
  builder.RegisterService(&service);
  const auto server = builder.BuildAndStart();
  if (write(portPipe, &port, sizeof port) == sizeof port) {
    server->Wait();
  }
}

int runClient(int port) {
  const auto stub = Echo::NewStub(
      grpc::CreateChannel("127.0.0.1:" + std::to_string(port), grpc::InsecureChannelCredentials()));
  FerrolinkBench::serve([&](std::size_t size, long calls) {
    Bytes request;
    request.set_content(std::string(size, 'x'));
    Bytes response;
    return FerrolinkBench::repeat([&] {
      grpc::ClientContext context;
      if (!stub->Call(&context, request, &response).ok() || response.content().size() != size) {
        std::fprintf(stderr, "a call failed\n");
        std::_Exit(1);
      }
    })(calls);
  });
  return 0;
}

}  // namespace

int main() {
  int ports[2];
  if (pipe(ports) != 0) {
    return 1;
  }
  // Before the first use of gRPC, which starts threads.
  if (fork() == 0) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    runServer(ports[1]);
    return 0;
  }
  int port = 0;
  return read(ports[0], &port, sizeof port) == sizeof port ? runClient(port) : 1;
}
