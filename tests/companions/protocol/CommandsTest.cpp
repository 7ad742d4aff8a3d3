#include <ferrolink/protocol/Commands.h>
#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

#include "tests/companions/protocol/Hex.h"

using namespace Ferrolink::Protocol;
using Ferrolink::Tests::Hex;

namespace {

constexpr Route kJava = {.target = Runtime::Jvm};
constexpr Route kServer = {.target = Runtime::Cpp,
                           .caller = Runtime::Jvm,
                           .channel = Header::kChannelTls,
                           .address = {127, 0, 200, 1},
                           .port = 0x1F90};

std::string ErrorOf(std::size_t nameSize) {
  try {
    static_cast<void>(CallCommand(kJava, std::string(nameSize, 'n'), {}));
  } catch (const std::length_error& error) {
    return error.what();
  }
  return "";
}

}  // namespace

TEST(ProtocolCommands, CallAHandlerByTheLengthOfItsNameTheNameAndThePayload) {
  EXPECT_EQ(Hex(CallCommand(kJava, "echo", AsBytes("\x01\xFF"))),
            "0200000000000000000802"
            "046563686F"
            "01FF");
}

TEST(ProtocolCommands, CarryTheChannelTheAddressInWrittenOrderAndALittleEndianPort) {
  EXPECT_EQ(Hex(EmptyCommand(kServer, 77)), "0800027F00C801901F024D");
}

TEST(ProtocolCommands, CarryATimeLimitInFrontOfTheCallTheHighByteFirst) {
  EXPECT_EQ(Hex(CallWithinCommand(kJava, 0x010280FF, "f", AsBytes("x"))),
            "0200000000000000000803"
            "010280FF"
            "0166"
            "78");
}

TEST(ProtocolCommands, LoadALibraryByAPathThatBeginsAtByte24) {
  EXPECT_EQ(Hex(LoadLibraryCommand(kJava, "/a")),
            "0200000000000000000801"
            "00000000000000000000000000"
            "2F61");
}

TEST(ProtocolCommands, AskForASignOfLifeWithAnyBody) {
  EXPECT_EQ(Hex(HeartBeatCommand(kJava, AsBytes("12"))), "020000000000000000080B3132");
  EXPECT_EQ(Hex(HeartBeatCommand(kJava, {})), "020000000000000000080B");
}

TEST(ProtocolCommands, ReserveTheRoomOfTheirBody) {
  const Bytes command = EmptyCommand(kJava, 2, 100);
  EXPECT_EQ(command.size(), 11U);
  EXPECT_EQ(command.capacity(), 111U);
}

TEST(ProtocolCommands, TakeNamesOfUpTo255Bytes) {
  const std::string longest(255, 'n');
  EXPECT_EQ(Hex(CallCommand(kJava, longest, {})).substr(22, 4), "FF6E");
  EXPECT_EQ(ErrorOf(256), "The handler's name is longer than 255 bytes: " + std::string(256, 'n'));
  EXPECT_THROW(static_cast<void>(CallWithinCommand(kJava, 1, longest + "n", {})),
               std::length_error);
}
