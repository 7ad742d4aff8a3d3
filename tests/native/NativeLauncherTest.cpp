#include "native/NativeLauncher.h"

#include <gtest/gtest.h>

#include <string>
#include <type_traits>

using Ferrolink::Native::Definitions::RuntimeOperationMode;
using Ferrolink::Native::Interfaces::ILauncher;
using Ferrolink::Native::Launcher::NativeLauncher;

static_assert(std::is_base_of_v<ILauncher, NativeLauncher>);
static_assert(std::is_abstract_v<NativeLauncher>);

namespace {

class SomeLauncher : public NativeLauncher {
 public:
  using NativeLauncher::NativeLauncher;
  using NativeLauncher::OperationMode;

  int Initialize(std::uint8_t /*launchArgument*/) override { return 0; }
  int SendCommand(std::uint8_t* /*message*/, int /*length*/) override { return 0; }
  int ReadResponse(std::uint8_t* /*buffer*/, int /*length*/) override { return 0; }
  int LoadOptimizedMethod(std::string /*name*/) override { return 0; }
  int SetPath(std::uint8_t /*runtime*/, std::string /*path*/) override { return 0; }
  int DeployRuntime(std::uint8_t* /*message*/, int /*length*/, std::string /*path*/,
                    std::uint8_t /*flag*/) override {
    return 0;
  }
  std::string GetRuntimeName() override { return "Some"; }
};

}  // namespace

TEST(NativeLauncher, IsInitializedForGoodOnceToldSo) {
  SomeLauncher launcher(RuntimeOperationMode::CalledRuntime);
  ILauncher& asOthersSeeIt = launcher;
  EXPECT_FALSE(asOthersSeeIt.IsInitialized());
  EXPECT_EQ(asOthersSeeIt.Initialize(0), 0);
  EXPECT_FALSE(asOthersSeeIt.IsInitialized());
  asOthersSeeIt.SetInitialized();
  EXPECT_TRUE(asOthersSeeIt.IsInitialized());
  asOthersSeeIt.SetInitialized();
  EXPECT_TRUE(asOthersSeeIt.IsInitialized());
}

TEST(NativeLauncher, KnowsNothingOfARuntime) {
  SomeLauncher launcher(RuntimeOperationMode::CalledRuntime);
  EXPECT_EQ(launcher.GetRuntimeInfo(), "");
}

TEST(NativeLauncher, KeepsTheModeItWasMadeWith) {
  for (const auto mode : {RuntimeOperationMode::NotSet, RuntimeOperationMode::CallingRuntime,
                          RuntimeOperationMode::CalledRuntime}) {
    EXPECT_EQ(SomeLauncher(mode).OperationMode(), mode);
  }
}
