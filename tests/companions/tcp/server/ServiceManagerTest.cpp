// The protocols between a service manager and the processes that it starts.
#include "companions/tcp/server/ServiceManager.h"

#include <gmock/gmock.h>
#include <sys/socket.h>

#include <cstdlib>
#include <utility>

#include "tests/companions/tcp/ServiceManagerSide.h"
#include "tests/support/ProcessCase.h"
#include "tests/support/TemporaryDirectory.h"

namespace FerrolinkTest {
namespace {

using Ferrolink::Companions::FileDescriptor;
using Ferrolink::Companions::Tcp::Server::ServiceManager;

FileDescriptor listening(int type = SOCK_STREAM, bool listens = true) {
  FileDescriptor made(socket(AF_INET6, type | SOCK_CLOEXEC, 0));
  if (type == SOCK_STREAM && listens) {
    listen(made.get(), 5);
  }
  return made;
}

std::string takenBy(ServiceManager& manager) {
  try {
    const FileDescriptor taken = manager.takeListener();
    return taken.owns() ? std::to_string(taken.get()) : "none";
  } catch (const std::exception& error) {
    return error.what();
  }
}

}  // namespace

PROCESS_CASE(notifiesItsServiceManager) {
  const ServiceManager manager;
  report(getenv("NOTIFY_SOCKET") == nullptr ? "unset" : "set");
  manager.notifyReady();
  manager.notifyReloading();
  manager.notifyStopping();
}

namespace {

CaseResult notifying(const InstallationTree& tree, const std::string& name) {
  CaseOptions options;
  options.environment["NOTIFY_SOCKET"] = name;
  return runCase("notifiesItsServiceManager", tree, options);
}

}  // namespace

TEST(ServiceManager, HearsWhenTheServerIsReadyAndWhenItStops) {
  const InstallationTree tree;
  const TemporaryDirectory directory;
  const std::string file = (directory.path() / "notify").string();
  const std::string abstract = "@" + file;
  for (const std::string& name : {file, abstract}) {
    const Ear ear(name);
    const CaseResult result = notifying(tree, name);
    EXPECT_EQ(result.exitCode, 0) << result.err;
    EXPECT_EQ(result.report, std::vector<std::string>{"unset"});
    EXPECT_EQ(ear.heard(), "READY=1\nSTATUS=Serving.\n");
    EXPECT_THAT(ear.heard(), testing::MatchesRegex("RELOADING=1\nMONOTONIC_USEC=[0-9]+\n"));
    EXPECT_EQ(ear.heard(), "STOPPING=1\nSTATUS=Ending.\n");
    EXPECT_EQ(ear.heard(), "");
  }
}

TEST(ServiceManager, ThatIsGoneOrMisnamedIsPassedOver) {
  const InstallationTree tree;
  for (const std::string& name :
       {std::string("/nowhere"), std::string(500, 'x'), std::string("@"), std::string("x")}) {
    const CaseResult result = notifying(tree, name);
    EXPECT_EQ(result.exitCode, 0);
  }
}

PROCESS_CASE(takesAListeningSocket) {
  passOn(listening());
  ServiceManager manager;
  for (const char* variable : {"LISTEN_PID", "LISTEN_FDS", "LISTEN_FDNAMES"}) {
    report(getenv(variable) == nullptr ? "unset" : "set");
  }
  const FileDescriptor taken = manager.takeListener();
  report(taken.get());
  report(fcntl(taken.get(), F_GETFD) & FD_CLOEXEC);
}

PROCESS_CASE(refusesOtherSockets) {
  const auto offer = [](FileDescriptor descriptor) {
    passOn(std::move(descriptor));
    ServiceManager manager;
    report(takenBy(manager));
  };
  offer(listening(SOCK_DGRAM));
  offer(listening(SOCK_STREAM, false));
  offer(FileDescriptor::open("/dev/null", O_RDONLY));
  passOn(listening());
  setenv("LISTEN_FDS", "2", 1);
  ServiceManager two;
  report(takenBy(two));
}

PROCESS_CASE(takesNoSocketsOfOthers) {
  passOn(listening());
  setenv("LISTEN_PID", "1", 1);
  ServiceManager others;
  report(takenBy(others));
  ServiceManager none;
  report(takenBy(none));
}

TEST(ServiceManager, PassesASocketThatListens) {
  const InstallationTree tree;
  EXPECT_EQ(runCase("takesAListeningSocket", tree).report,
            (std::vector<std::string>{"unset", "unset", "unset", "3", "1"}));
}

TEST(ServiceManager, PassingSomethingElseIsAnError) {
  const InstallationTree tree;
  const std::string wrong =
      "What the service manager passes (LISTEN_FDS) is no TCP socket that listens. Use "
      "ListenStream= with a port, and Accept=no, in the socket unit.";
  EXPECT_EQ(runCase("refusesOtherSockets", tree).report,
            (std::vector<std::string>{
                wrong, wrong, wrong,
                "The service manager passes 2 sockets (LISTEN_FDS). The server takes one: name "
                "one ListenStream= in the socket unit."}));
}

TEST(ServiceManager, SocketsOfAnotherProcessAreNotTaken) {
  const InstallationTree tree;
  EXPECT_EQ(runCase("takesNoSocketsOfOthers", tree).report,
            (std::vector<std::string>{"none", "none"}));
}

}  // namespace FerrolinkTest
