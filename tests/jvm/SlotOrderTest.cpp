// The virtual slots of the role interfaces, which are a binary contract.
#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>

#include "jvm/JvmLauncher.h"
#include "native/interfaces/ILauncher.h"
#include "native/interfaces/IReceiver.h"
#include "native/interfaces/ITransmitter.h"
#include "native/interfaces/ITransport.h"

namespace {

using Ferrolink::Native::Interfaces::ILauncher;
using Ferrolink::Native::Interfaces::IReceiver;
using Ferrolink::Native::Interfaces::ITransmitter;
using Ferrolink::Native::Interfaces::ITransport;

// The ABI's pointer to a virtual member function holds 1 + the function's offset in the table,
// which the destructor's two entries open.
template <class Member>
std::ptrdiff_t Slot(Member member) {
  std::ptrdiff_t offset = 0;
  std::memcpy(&offset, &member, sizeof(offset));
  return (offset - 1) / static_cast<std::ptrdiff_t>(sizeof(void*)) - 1;
}

TEST(SlotOrder, OfTransports) {
  EXPECT_EQ(Slot(&ITransport::Initialize), 1);
  EXPECT_EQ(Slot(&ITransport::SendCommand), 2);
  EXPECT_EQ(Slot(&ITransport::ReadResponse), 3);
  EXPECT_EQ(Slot(&ITransport::SetEmbeddedRuntime), 4);
  EXPECT_EQ(Slot(&ITransport::DeployRuntime), 5);
}

TEST(SlotOrder, OfTransmitters) {
  EXPECT_EQ(Slot(&ITransmitter::SendCommand), 1);
  EXPECT_EQ(Slot(&ITransmitter::ReadResponse), 2);
  EXPECT_EQ(Slot(&ITransmitter::SetTransportChannel), 3);
  EXPECT_EQ(Slot(&ITransmitter::SetEmbeddedRuntime), 4);
  EXPECT_EQ(Slot(&ITransmitter::DeployRuntime), 5);
}

TEST(SlotOrder, OfReceivers) {
  EXPECT_EQ(Slot(&IReceiver::SetConfigSource), 1);
  EXPECT_EQ(Slot(&IReceiver::Initialize), 2);
  EXPECT_EQ(Slot(&IReceiver::SendCommand), 3);
  EXPECT_EQ(Slot(&IReceiver::ReadResponse), 4);
  EXPECT_EQ(Slot(&IReceiver::LogException), 5);
  EXPECT_EQ(Slot(&IReceiver::LoadOptimizedMethod), 6);
  EXPECT_EQ(Slot(&IReceiver::SetEmbeddedRuntime), 7);
  EXPECT_EQ(Slot(&IReceiver::DeployRuntime), 8);
}

TEST(SlotOrder, OfLaunchers) {
  EXPECT_EQ(Slot(&ILauncher::Initialize), 1);
  EXPECT_EQ(Slot(&ILauncher::SendCommand), 2);
  EXPECT_EQ(Slot(&ILauncher::ReadResponse), 3);
  EXPECT_EQ(Slot(&ILauncher::LoadOptimizedMethod), 4);
  EXPECT_EQ(Slot(&ILauncher::SetPath), 5);
  EXPECT_EQ(Slot(&ILauncher::DeployRuntime), 6);
  EXPECT_EQ(Slot(&ILauncher::IsInitialized), 7);
  EXPECT_EQ(Slot(&ILauncher::SetInitialized), 8);
  EXPECT_EQ(Slot(&ILauncher::GetRuntimeName), 9);
  EXPECT_EQ(Slot(&ILauncher::GetRuntimeInfo), 10);
}

}  // namespace
