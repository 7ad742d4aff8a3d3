// The protocols between a service manager and the processes that it starts.
#include "companions/tcp/server/ServiceManager.h"

#include <gmock/gmock.h>
#include <sys/socket.h>

#include <cstdlib>
#include <utility>

#include "tests/companions/tcp/ServiceManagerSide.h"
#include "tests/support/ProcessCase.h"
#include "tests/support/TemporaryDirectory.h"

namespace Ferrolink::Tests {
namespace {

using Ferrolink::Companions::FileDescriptor;
using Ferrolink::Companions::Tcp::Server::ServiceManager;

FileDescriptor Listening(int type = SOCK_STREAM, bool listens = true) {
  FileDescriptor made(socket(AF_INET6, type | SOCK_CLOEXEC, 0));
  if (type == SOCK_STREAM && listens) {
    listen(made.get(), 5);
  }
  return made;
}

std::string TakenBy(ServiceManager& manager) {
  try {
    const FileDescriptor taken = manager.TakeListener();
    return taken.Owns() ? std::to_string(taken.get()) : "none";
  } catch (const std::exception& error) {
    return error.what();
  }
}

}  // namespace

PROCESS_CASE(notifiesItsServiceManager) {
  const ServiceManager manager;
  Report(getenv("NOTIFY_SOCKET") == nullptr ? "unset" : "set");
  manager.NotifyReady();
  manager.NotifyReloading();
  manager.NotifyStopping();
}

namespace {

CaseResult Notifying(const InstallationTree& tree, const std::string& name) {
  CaseOptions options;
  options.environment["NOTIFY_SOCKET"] = name;
  return RunCase("notifiesItsServiceManager", tree, options);
}

}  // namespace

TEST(ServiceManager, HearsWhenTheServerIsReadyAndWhenItStops) {
  const InstallationTree tree;
  const TemporaryDirectory directory;
  const std::string file = (directory.Path() / "notify").string();
  const std::string abstract = "@" + file;
  for (const std::string& name : {file, abstract}) {
    const Ear ear(name);
    const CaseResult result = Notifying(tree, name);
    EXPECT_EQ(result.exitCode, 0) << result.err;
    EXPECT_EQ(result.report, std::vector<std::string>{"unset"});
    EXPECT_EQ(ear.Heard(), "READY=1\nSTATUS=Serving.\n");
    EXPECT_THAT(ear.Heard(), testing::MatchesRegex("RELOADING=1\nMONOTONIC_USEC=[0-9]+\n"));
    EXPECT_EQ(ear.Heard(), "STOPPING=1\nSTATUS=Ending.\n");
    EXPECT_EQ(ear.Heard(), "");
  }
}

TEST(ServiceManager, ThatIsGoneOrMisnamedIsPassedOver) {
  const InstallationTree tree;
  for (const std::string& name :
       {std::string("/nowhere"), std::string(500, 'x'), std::string("@"), std::string("x")}) {
    const CaseResult result = Notifying(tree, name);
    EXPECT_EQ(result.exitCode, 0);
  }
}

PROCESS_CASE(takesAListeningSocket) {
  PassOn(Listening());
  ServiceManager manager;
  for (const char* variable : {"LISTEN_PID", "LISTEN_FDS", "LISTEN_FDNAMES"}) {
    Report(getenv(variable) == nullptr ? "unset" : "set");
  }
  const FileDescriptor taken = manager.TakeListener();
  Report(taken.get());
  Report(fcntl(taken.get(), F_GETFD) & FD_CLOEXEC);
}

PROCESS_CASE(refusesOtherSockets) {
  const auto offer = [](FileDescriptor descriptor) {
    PassOn(std::move(descriptor));
    ServiceManager manager;
    Report(TakenBy(manager));
  };
  offer(Listening(SOCK_DGRAM));
  offer(Listening(SOCK_STREAM, false));
  offer(FileDescriptor::Open("/dev/null", O_RDONLY));
  PassOn(Listening());
  setenv("LISTEN_FDS", "2", 1);
  ServiceManager two;
  Report(TakenBy(two));
}

PROCESS_CASE(takesNoSocketsOfOthers) {
  PassOn(Listening());
  setenv("LISTEN_PID", "1", 1);
  ServiceManager others;
  Report(TakenBy(others));
  ServiceManager none;
  Report(TakenBy(none));
}

TEST(ServiceManager, PassesASocketThatListens) {
  const InstallationTree tree;
  EXPECT_EQ(RunCase("takesAListeningSocket", tree).report,
            (std::vector<std::string>{"unset", "unset", "unset", "3", "1"}));
}

TEST(ServiceManager, PassingSomethingElseIsAnError) {
  const InstallationTree tree;
  const std::string wrong =
      "What the service manager passes (LISTEN_FDS) is no TCP socket that listens. Use "
      "ListenStream= with a port, and Accept=no, in the socket unit.";
  EXPECT_EQ(RunCase("refusesOtherSockets", tree).report,
            (std::vector<std::string>{
                wrong, wrong, wrong,
                "The service manager passes 2 sockets (LISTEN_FDS). The server takes one: name "
                "one ListenStream= in the socket unit."}));
}

TEST(ServiceManager, SocketsOfAnotherProcessAreNotTaken) {
  const InstallationTree tree;
  EXPECT_EQ(RunCase("takesNoSocketsOfOthers", tree).report,
            (std::vector<std::string>{"none", "none"}));
}

}  // namespace Ferrolink::Tests
