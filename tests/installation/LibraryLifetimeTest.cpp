// The installed libraries after the last dlclose: they stay mapped, for what they made lives until
// the process ends.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <ostream>
#include <stdexcept>
#include <string>
#include <thread>

#include "native/interfaces/IReceiver.h"
#include "native/interfaces/ITransport.h"
#include "native/interfaces/RuntimeOperationMode.h"
#include "tests/installation/ElfFile.h"
#include "tests/support/ProcessCase.h"

using namespace Ferrolink::Tests;
using Ferrolink::Native::Definitions::RuntimeOperationMode;
using Ferrolink::Native::Interfaces::IReceiver;
using Ferrolink::Native::Interfaces::ITransport;

namespace {

using Texts = std::vector<std::string>;

struct Library {
  const char* name;
  const char* file;
};

void PrintTo(const Library& library, std::ostream* out) {
  *out << library.name;
}

class LibraryLifetime : public testing::TestWithParam<Library> {
 protected:
  const ElfFile m_library{GetParam().file};
};

/// A library of the case's tree, closed at the end.
class Opened {
 public:
  explicit Opened(const std::string& name)
      : m_handle(dlopen((CaseNativeDirectory() / name).c_str(), RTLD_NOW)) {
    if (m_handle == nullptr) {
      throw std::runtime_error(dlerror());
    }
  }
  Opened(const Opened&) = delete;
  Opened& operator=(const Opened&) = delete;
  ~Opened() { dlclose(m_handle); }

  template <class Function>
  Function* Find(const char* name) const {
    return reinterpret_cast<Function*>(dlsym(m_handle, name));
  }

 private:
  void* m_handle;
};

}  // namespace

TEST_P(LibraryLifetime, IsMarkedToStayMapped) {
  EXPECT_TRUE(m_library.HasFlags(DT_FLAGS_1, DF_1_NODELETE));
}

TEST_P(LibraryLifetime, HasNoThreadLocalObjectsToDestroy) {
  for (const ElfSymbol& symbol : m_library.Symbols()) {
    EXPECT_EQ(symbol.name.find("cxa_thread_atexit"), std::string::npos) << symbol.name;
  }
}

INSTANTIATE_TEST_SUITE_P(
    Installed, LibraryLifetime,
    testing::Values(Library{"JvmRuntimeNative", FERROLINKJVMRUNTIMENATIVE_PATH},
                    Library{"CppRuntimeNative", FERROLINKCPPRUNTIMENATIVE_PATH},
                    Library{"Configs", CONFIGS_PATH}, Library{"Utils", UTILS_PATH},
                    Library{"TcpClient", FERROLINKTCPCLIENT_PATH},
                    Library{"TcpTlsClient", FERROLINKTCPTLSCLIENT_PATH}),
    [](const auto& each) { return std::string(each.param.name); });

PROCESS_CASE(useReceiverAfterClose) {
  const std::string& name = CaseArguments().at(0);
  IReceiver* receiver = nullptr;
  {
    const Opened library(name);
    receiver = library.Find<IReceiver*(RuntimeOperationMode)>("CreateReceiver")(
        RuntimeOperationMode::CallingRuntime);
  }
  const std::string error = ThrownBy([&] {
    std::uint8_t buffer = 0;
    receiver->ReadResponse(&buffer, 1);
  });
  Report(error.substr(0, error.find('.')));
  Report(Opened(name).Find<IReceiver*()>("GetReceiver")() == receiver ? "the same" : "another");
}

TEST(ClosedMember, KeepsItsReceiverForWhoHoldsItAndForWhoOpensItAgain) {
  const InstallationTree tree;
  tree.AddLibrary(FERROLINKJVMRUNTIMENATIVE_PATH, "libFerrolinkJvmRuntimeNative.so");
  tree.AddLibrary(FERROLINKCPPRUNTIMENATIVE_PATH, "libFerrolinkCppRuntimeNative.so");
  for (const std::string runtime : {"Jvm", "Cpp"}) {
    CaseOptions options;
    options.arguments = {"libFerrolink" + runtime + "RuntimeNative.so"};
    const CaseResult result = RunCase("useReceiverAfterClose", tree, options);
    EXPECT_EQ(result.report, (Texts{(runtime == "Jvm" ? "JVM" : "Cpp") +
                                        std::string(" Launcher: Exception code 017"),
                                    "the same"}));
    EXPECT_EQ(result.exitCode, 0) << result.err;
  }
}

PROCESS_CASE(endThreadAfterClose) {
  const std::string name = "libFerrolinkCppRuntimeNative.so";
  std::thread([&] {
    const Opened library(name);
    auto* receiver = library.Find<IReceiver*(RuntimeOperationMode)>("CreateReceiver")(
        RuntimeOperationMode::CalledRuntime);
    std::array<std::uint8_t, 13> heartBeat = {8, 0, 0, 0, 0, 0, 0, 0, 0, 8, 11, 0x31, 0x32};
    Report(receiver->SendCommand(heartBeat.data(), heartBeat.size()));
    receiver->ReadResponse(heartBeat.data(), heartBeat.size());
  }).join();
  Report("joined");
}

TEST(ClosedMember, IsThereForThreadsThatEndLater) {
  const InstallationTree tree;
  tree.AddLibrary(FERROLINKCPPRUNTIMENATIVE_PATH, "libFerrolinkCppRuntimeNative.so");
  const CaseResult result = RunCase("endThreadAfterClose", tree);
  EXPECT_EQ(result.report, (Texts{"13", "joined"}));
  EXPECT_EQ(result.exitCode, 0) << result.err;
}

PROCESS_CASE(useChannelAfterClose) {
  ITransport* channel = nullptr;
  {
    const Opened library(CaseArguments().at(0));
    channel = library.Find<ITransport*(const char*, std::uint16_t)>("CreateTransportChannel")(
        "127.0.0.1", 1);
  }
  Report(channel->Initialize(2, 8, 3));
  delete channel;
}

TEST(ClosedMember, KeepsTheChannelsOfANetworkClient) {
  const InstallationTree tree;
  tree.AddLibrary(FERROLINKTCPCLIENT_PATH, "libFerrolinkTcpClient.so");
  tree.AddLibrary(FERROLINKTCPTLSCLIENT_PATH, "libFerrolinkTcpTlsClient.so");
  for (const std::string client : {"libFerrolinkTcpClient.so", "libFerrolinkTcpTlsClient.so"}) {
    CaseOptions options;
    options.arguments = {client};
    const CaseResult result = RunCase("useChannelAfterClose", tree, options);
    EXPECT_EQ(result.report, Texts{"0"}) << client;
    EXPECT_EQ(result.exitCode, 0) << result.err;
  }
}
