#include <algorithm>

#include "tests/companions/cpp/CppMemberCases.h"

namespace Ferrolink::Tests {
namespace {

constexpr const char* kNoResponse =
    "Cpp Launcher: Exception code 017.\nError while reading response";

PROCESS_CASE(answerExactBytes) {
  OpenRegistrar().Register("reverse", [](Span b) { return Bytes(b.rbegin(), b.rend()); });
  OpenRegistrar().Register("void", [](Span) { return Bytes(); });
  IReceiver* receiver = OpenReceiver();
  Bytes call = CallOf("reverse", "abc");
  call[9] = 5;
  Report(Hex(Exchange(receiver, call)));
  Report(Hex(Exchange(receiver, CallOf("void"))));
  call = CallOf("reverse", "x");
  call[9] = 0xFF;
  Report(Hex(Exchange(receiver, call)));
  Report(Hex(Exchange(receiver, Command(11, "12"))));
  Report(Hex(Exchange(receiver, Command(11, ""))));
  // Bytes before the path in a load-library command are ignored, as are the bytes between target
  // and calling runtime in all commands.
  call = CallOf("reverse", "yz");
  std::fill(call.begin(), call.begin() + 9, std::uint8_t{0xEE});
  Report(Hex(Exchange(receiver, call)));
}

TEST(CppCommands, RepliesCarryTheCallingRuntimeTheOwnRuntimeAndTheHandlersBytes) {
  ExpectReport(RunMemberCase("answerExactBytes"),
               {"05 00 00 00 00 00 00 00 00 08 00 63 62 61", "02 00 00 00 00 00 00 00 00 08 00",
                "FF 00 00 00 00 00 00 00 00 08 00 78", "02 00 00 00 00 00 00 00 00 08 00 31 32",
                "02 00 00 00 00 00 00 00 00 08 00", "02 00 00 00 00 00 00 00 00 08 00 7A 79"});
}

PROCESS_CASE(answerEveryLength) {
  IReceiver* receiver = OpenReceiver();
  Bytes call = CallOf("x");
  for (int length = -1; length <= 12; ++length) {
    const int reply = receiver->SendCommand(call.data(), length);
    Bytes bytes(static_cast<std::size_t>(reply));
    receiver->ReadResponse(bytes.data(), reply);
    Report(Hex(Span(bytes).first(11)));
    Report(ToText(Span(bytes).subspan(11)));
  }
  const int reply = receiver->SendCommand(nullptr, 11);
  Bytes bytes(static_cast<std::size_t>(reply));
  receiver->ReadResponse(bytes.data(), reply);
  Report(ToText(Span(bytes).subspan(11)));
}

TEST(CppCommands, AreExceptionReportsWhereTheyAreTooShort) {
  std::vector<std::string> expected;
  for (int length = -1; length <= 10; ++length) {
    expected.emplace_back("00 00 00 00 00 00 00 00 00 08 0A");
    expected.push_back("Malformed command: " + std::to_string(length) +
                       " bytes, shorter than the header of 11 bytes.");
  }
  expected.emplace_back("02 00 00 00 00 00 00 00 00 08 0A");
  expected.emplace_back(
      "Malformed command: the body is empty, it must begin with the length and the name of a "
      "handler.");
  expected.emplace_back("02 00 00 00 00 00 00 00 00 08 0A");
  expected.emplace_back(
      "Malformed command: a handler's name of 1 bytes is announced, 0 bytes follow.");
  expected.emplace_back("Malformed command: null instead of bytes.");
  ExpectReport(RunMemberCase("answerEveryLength"), expected);
}

PROCESS_CASE(answerMalformed) {
  IReceiver* receiver = OpenReceiver();
  Report(Outcome(receiver, Command(2, std::string("\0abc", 4))));
  Report(Outcome(receiver, Command(2,
                                   "\x04"
                                   "abc")));
  Report(Outcome(receiver, Command(2, "\xFF" + std::string(254, 'n'))));
  for (const std::uint8_t type : Bytes{0, 4, 10, 255}) {
    Report(Outcome(receiver, Command(type, "x")));
  }
  Report(Outcome(receiver, CallOf("nobody")));
  OpenRegistrar().Register("beta", [](Span) { return Bytes(); });
  OpenRegistrar().Register("alpha", [](Span) { return Bytes(); });
  Report(Outcome(receiver, CallOf("nobody")));
  Report(Outcome(receiver, CallOf("alph\xFF")));
}

TEST(CppCommands, AreExceptionReportsThatSayWhatIsWrong) {
  const std::string known =
      ". Known types: 1 (load a library), 2 (call a handler), 3 (call a handler within a time), 11 "
      "(heartbeat).";
  ExpectReport(
      RunMemberCase("answerMalformed"),
      {"10:Malformed command: the handler's name is empty.",
       "10:Malformed command: a handler's name of 4 bytes is announced, 3 bytes follow.",
       "10:Malformed command: a handler's name of 255 bytes is announced, 254 bytes follow.",
       "10:Unknown command type 0" + known, "10:Unknown command type 4" + known,
       "10:Unknown command type 10" + known, "10:Unknown command type 255" + known,
       "10:Unknown handler 'nobody'. Known handlers: none.",
       "10:Unknown handler 'nobody'. Known handlers: alpha, beta.",
       "10:Unknown handler 'alph\xEF\xBF\xBD'. Known handlers: alpha, beta."});
}

PROCESS_CASE(answerWithin) {
  IReceiver* receiver = OpenReceiver();
  OpenRegistrar().Register("echo", [](Span b) { return Bytes(b.begin(), b.end()); });
  for (const std::string& time : {std::string(4, '\0'), std::string("\0\0\4\xFF", 4)}) {
    Report(Outcome(receiver, Command(3, time + "\4echo" + "bytes")));
  }
  Report(Outcome(receiver, Command(3, std::string(4, 'x') + "\4echo")));
  Report(Outcome(receiver, Command(3, "xxxx\3now")));
  for (std::size_t size = 0; size < 5; ++size) {
    Report(Outcome(receiver, Command(3, std::string(size, '\4'))));
  }
  Report(Outcome(receiver, Command(3, std::string("xxxx\0", 5))));
  Report(Outcome(receiver, Command(3, "xxxx\4ech")));
}

TEST(CppCommands, WithATimeLimitAreCallsWhateverTimeIsLeft) {
  std::vector<std::string> expected = {"0:bytes", "0:bytes",
                                       "0:", "10:Unknown handler 'now'. Known handlers: echo."};
  for (int size = 0; size < 5; ++size) {
    expected.push_back(
        "10:Malformed command: a call with a time limit begins with four bytes of milliseconds, "
        "and the length and the name of a handler; " +
        std::to_string(size) + " bytes follow the header.");
  }
  expected.emplace_back("10:Malformed command: the handler's name is empty.");
  expected.emplace_back(
      "10:Malformed command: a handler's name of 4 bytes is announced, 3 bytes follow.");
  ExpectReport(RunMemberCase("answerWithin"), expected);
}

PROCESS_CASE(readResponses) {
  IReceiver* receiver = OpenReceiver();
  OpenRegistrar().Register("echo", [](Span b) { return Bytes(b.begin(), b.end()); });
  const auto send = [&](Bytes call) {
    Report(receiver->SendCommand(call.data(), static_cast<int>(call.size())));
  };
  const auto read = [&](int length) {
    Bytes buffer(20, 0xAA);
    Report(ThrownBy([&] { Report(receiver->ReadResponse(buffer.data(), length)); }));
    Report(Hex(Span(buffer).subspan(9, 6)));
  };
  read(20);
  send(CallOf("echo", "abc"));
  read(12);
  read(20);
  send(CallOf("echo", "de"));
  read(-1);
  read(-1);
  send(CallOf("echo", "lost"));
  send(CallOf("echo", "f"));
  read(20);
  read(20);
  send(CallOf("echo", "g"));
  read(0);
  read(20);
}

TEST(CppCommands, ResponsesAreReadOnceCutToTheBufferAndReplacedByTheNextCommand) {
  const std::string untouched = "AA AA AA AA AA AA";
  const std::string fine = "(nothing thrown)";
  ExpectReport(RunMemberCase("readResponses"), {kNoResponse,
                                                untouched,  // none yet
                                                "14",
                                                "0",
                                                fine,
                                                "08 00 61 AA AA AA",
                                                kNoResponse,
                                                untouched,  // cut off
                                                "13",
                                                "0",
                                                fine,
                                                "08 00 64 65 AA AA",
                                                kNoResponse,
                                                untouched,  // negative
                                                "15",
                                                "12",
                                                "0",
                                                fine,
                                                "08 00 66 AA AA AA",
                                                kNoResponse,
                                                untouched,
                                                "12",
                                                "0",
                                                fine,
                                                untouched,
                                                kNoResponse,
                                                untouched});
}

PROCESS_CASE(logMissingResponse) {
  IReceiver* receiver = OpenReceiver();
  std::uint8_t byte = 0;
  Report(ThrownBy([&] { receiver->ReadResponse(&byte, 1); }));
}

TEST(CppCommands, AMissingResponseIsTheOneErrorThatIsRaisedAndLoggedOnce) {
  const InstallationTree tree;
  InstallMember(tree, true);
  CaseOptions options;
  options.environment["FERROLINK_LOGGING_LEVEL"] = "off";
  options.workingDirectory = tree.WorkDirectory();
  ExpectReport(RunCase("logMissingResponse", tree, options), {kNoResponse});
  const std::string log = tree.ErrorLog();
  const auto first = log.find(kNoResponse);
  ASSERT_NE(first, std::string::npos) << log;
  EXPECT_EQ(log.find("Exception code", first + 20), std::string::npos) << log;
}

}  // namespace
}  // namespace Ferrolink::Tests
