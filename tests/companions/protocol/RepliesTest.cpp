#include <ferrolink/protocol/Replies.h>
#include <gtest/gtest.h>

#include <utility>

#include "tests/companions/protocol/Hex.h"

using namespace Ferrolink::Protocol;
using Ferrolink::Native::Definitions::Runtime;
using Ferrolink::Tests::Hex;

TEST(ProtocolReplies, GoToTheCallerAndComeFromTheRuntimeThatAnswers) {
  EXPECT_EQ(Hex(EmptyAnswer(2, Runtime::Cpp)), "0200000000000000000800");
  EXPECT_EQ(Hex(EmptyAnswer(255, Runtime::Jvm)), "FF00000000000000000200");
}

TEST(ProtocolReplies, AreBuiltInTheRoomThatTheCallerHas) {
  Bytes room(100, 0xEE);
  const std::uint8_t* place = room.data();
  const Bytes reply = EmptyAnswer(2, Runtime::Cpp, std::move(room));
  EXPECT_EQ(Hex(reply), "0200000000000000000800");
  EXPECT_EQ(reply.data(), place);
  EXPECT_EQ(reply.capacity(), 100U);
}

TEST(ProtocolReplies, ToAHeartbeatHaveItsBody) {
  const Bytes command = {8, 0, 0, 0, 0, 0, 0, 0, 0, 2, 11, 0x31, 0xFF};
  EXPECT_EQ(Hex(HeartBeatAnswer(command, Runtime::Cpp)), "020000000000000000080031FF");
}

TEST(ProtocolReplies, ReportAFailureAsType10WithATextForABody) {
  const Bytes report = ExceptionReport(2, Runtime::Cpp, "no");
  EXPECT_EQ(Hex(report), "020000000000000000080A6E6F");
  EXPECT_TRUE(IsExceptionReport(report));
  EXPECT_EQ(AsText(BodyOf(report)), "no");
}

TEST(ProtocolReplies, AreNoExceptionReportsIfTypeOrHeaderIsAnother) {
  EXPECT_FALSE(IsExceptionReport(EmptyAnswer(2, Runtime::Cpp)));
  EXPECT_FALSE(IsExceptionReport(Bytes(10, 10)));
}

TEST(ProtocolReplies, ToLoadLibraryAreTheSameForEveryCaller) {
  EXPECT_EQ(Hex(LibraryLoadedAnswer(Runtime::Cpp)), "0800000000000000000800020400000000");
  EXPECT_EQ(Hex(LibraryLoadedAnswer(Runtime::Jvm)), "0200000000000000000200020400000000");
}

TEST(ProtocolBytes, TurnTextIntoBytesAndBack) {
  EXPECT_EQ(ToText(ToBytes("a\xFF")), "a\xFF");
  const std::string text = "view";
  EXPECT_EQ(static_cast<const void*>(AsBytes(text).data()), text.data());
  EXPECT_EQ(AsText(AsBytes(text)), "view");
}
