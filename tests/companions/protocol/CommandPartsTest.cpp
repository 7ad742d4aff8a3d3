#include <ferrolink/protocol/CommandParts.h>
#include <ferrolink/protocol/Commands.h>
#include <gtest/gtest.h>

#include <string>

#include "tests/companions/protocol/Hex.h"

using namespace Ferrolink::Protocol;
using Ferrolink::Tests::Hex;

namespace {

// A command from runtime 7.
Bytes CommandOf(std::uint8_t type, std::string_view body) {
  Bytes command = EmptyCommand({.target = Runtime::Cpp, .caller = Runtime::Nodejs}, type);
  command.insert(command.end(), body.begin(), body.end());
  return command;
}

std::string PartsOf(ByteView command) {
  const auto call = FindCall(command);
  return call ? std::string(call->name) + "|" + std::string(AsText(call->payload)) : "none";
}

template <class Action>
std::string RejectionOf(Action action) {
  try {
    static_cast<void>(action());
  } catch (const CommandRejected& rejected) {
    return rejected.what();
  }
  return "";
}

std::string CallRejection(std::uint8_t type, std::string_view body) {
  const Bytes command = CommandOf(type, body);
  EXPECT_EQ(PartsOf(command), "none");
  return RejectionOf([&] { return CallOf(command); });
}

std::string PathRejection(const Bytes& command) {
  return RejectionOf([&] { return LibraryPathOf(command); });
}

}  // namespace

TEST(ProtocolCommandParts, AreTheHandlersNameAndThePayloadOfACall) {
  EXPECT_EQ(PartsOf(CommandOf(2,
                              "\x04"
                              "echohello")),
            "echo|hello");
  EXPECT_EQ(PartsOf(CommandOf(2,
                              "\x01"
                              "f")),
            "f|");
  EXPECT_EQ(PartsOf(CommandOf(3,
                              "\x01\x02\x03\x04\x04"
                              "echo\xFF")),
            "echo|\xFF");
}

TEST(ProtocolCommandParts, AreViewsOfTheCommand) {
  const Bytes command = CommandOf(2,
                                  "\x01"
                                  "fx");
  const HandlerCall call = CallOf(command);
  EXPECT_EQ(static_cast<const void*>(call.name.data()), command.data() + 12);
  EXPECT_EQ(call.payload.data(), command.data() + 13);
}

TEST(ProtocolCommandParts, AreMissingInCommandsOfOtherTypes) {
  for (int type = 0; type < 256; ++type) {
    const Bytes command = CommandOf(static_cast<std::uint8_t>(type), std::string(20, '\x01'));
    EXPECT_EQ(FindCall(command).has_value(), type == 2 || type == 3) << type;
    EXPECT_EQ(IsCall(command), type == 2 || type == 3) << type;
  }
  EXPECT_EQ(CallRejection(11,
                          "\x01"
                          "f"),
            "Malformed command: type 11 calls no handler.");
}

TEST(ProtocolCommandParts, AreRejectedWithTheReasonIfACallIsMalformed) {
  const std::string noName =
      "Malformed command: the body is empty, it must begin with the length and the name of a "
      "handler.";
  EXPECT_EQ(CallRejection(2, ""), noName);
  EXPECT_EQ(CallRejection(2, std::string("\0x", 2)),
            "Malformed command: the handler's name is empty.");
  EXPECT_EQ(CallRejection(2,
                          "\xFF"
                          "ab"),
            "Malformed command: a handler's name of 255 bytes is announced, 2 bytes follow.");
  EXPECT_EQ(CallRejection(3, "abcd"),
            "Malformed command: a call with a time limit begins with four bytes of milliseconds, "
            "and the length and the name of a handler; 4 bytes follow the header.");
  EXPECT_EQ(CallRejection(3, "abcd\x02y"),
            "Malformed command: a handler's name of 2 bytes is announced, 1 bytes follow.");
}

TEST(ProtocolCommandParts, AreNotReadPastTheEndOfAnyCommand) {
  const Bytes whole = CommandOf(3, "\x01\x02\x03\x04\x02yz");
  for (std::size_t size = 0; size < whole.size(); ++size) {
    const Bytes cut(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size));
    EXPECT_EQ(PartsOf(cut), "none") << size;
    EXPECT_EQ(TimeLimitOf(cut).has_value(), size >= 15) << size;
    EXPECT_EQ(CallerOf(cut), size >= 11 ? 7 : 0) << size;
    EXPECT_EQ(HasHeader(cut), size >= 11) << size;
  }
}

TEST(ProtocolCommandParts, AreTheTimeLimitOfACallThatHasOne) {
  EXPECT_EQ(TimeLimitOf(CommandOf(3, std::string("\x01\x02\x80\xFF", 4))), 0x010280FFU);
  EXPECT_EQ(TimeLimitOf(CommandOf(3, std::string("\0\0\0\0", 4))), 0U);
  EXPECT_EQ(TimeLimitOf(CommandOf(2, "\x01\x02\x03\x04")), std::nullopt);
}

TEST(ProtocolCommandParts, AreThePathOfALibraryUpToTheFirstZeroByte) {
  const std::string zeros(13, '\0');
  EXPECT_EQ(LibraryPathOf(CommandOf(1, zeros + "/a.so")), "/a.so");
  EXPECT_EQ(LibraryPathOf(CommandOf(1, zeros + std::string("/a\0b", 4))), "/a");
  EXPECT_EQ(PathRejection(CommandOf(1, zeros + std::string("\0b", 2))),
            "Malformed command: the library's path is empty.");
  EXPECT_EQ(PathRejection(CommandOf(1, zeros)),
            "Malformed command: a load-library command of 24 bytes, at least 25 are needed.");
}
