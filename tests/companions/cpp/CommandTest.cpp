#include <algorithm>

#include "tests/companions/cpp/Support.h"

namespace FerrolinkTest {
namespace {

constexpr const char* kNoResponse =
    "Cpp Launcher: Exception code 017.\nError while reading response";

PROCESS_CASE(answerExactBytes) {
  openRegistrar().Register("reverse", [](Span b) { return Bytes(b.rbegin(), b.rend()); });
  openRegistrar().Register("void", [](Span) { return Bytes(); });
  IReceiver* receiver = openReceiver();
  Bytes call = callOf("reverse", "abc");
  call[9] = 5;
  report(hex(exchange(receiver, call)));
  report(hex(exchange(receiver, callOf("void"))));
  call = callOf("reverse", "x");
  call[9] = 0xFF;
  report(hex(exchange(receiver, call)));
  report(hex(exchange(receiver, command(11, "12"))));
  report(hex(exchange(receiver, command(11, ""))));
  // What is before the path in a load-library command means nothing, as in all other commands the
  // bytes between target and calling runtime.
  call = callOf("reverse", "yz");
  std::fill(call.begin(), call.begin() + 9, std::uint8_t{0xEE});
  report(hex(exchange(receiver, call)));
}

TEST(CppCommands, RepliesCarryTheCallingRuntimeTheOwnRuntimeAndTheHandlersBytes) {
  expectReport(runMemberCase("answerExactBytes"),
               {"05 00 00 00 00 00 00 00 00 08 00 63 62 61", "02 00 00 00 00 00 00 00 00 08 00",
                "FF 00 00 00 00 00 00 00 00 08 00 78", "02 00 00 00 00 00 00 00 00 08 00 31 32",
                "02 00 00 00 00 00 00 00 00 08 00", "02 00 00 00 00 00 00 00 00 08 00 7A 79"});
}

PROCESS_CASE(answerEveryLength) {
  IReceiver* receiver = openReceiver();
  Bytes call = callOf("x");
  for (int length = -1; length <= 12; ++length) {
    const int reply = receiver->SendCommand(call.data(), length);
    Bytes bytes(static_cast<std::size_t>(reply));
    receiver->ReadResponse(bytes.data(), reply);
    report(hex(Span(bytes).first(11)));
    report(ToText(Span(bytes).subspan(11)));
  }
  const int reply = receiver->SendCommand(nullptr, 11);
  Bytes bytes(static_cast<std::size_t>(reply));
  receiver->ReadResponse(bytes.data(), reply);
  report(ToText(Span(bytes).subspan(11)));
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
  expectReport(runMemberCase("answerEveryLength"), expected);
}

PROCESS_CASE(answerMalformed) {
  IReceiver* receiver = openReceiver();
  report(outcome(receiver, command(2, std::string("\0abc", 4))));
  report(outcome(receiver, command(2,
                                   "\x04"
                                   "abc")));
  report(outcome(receiver, command(2, "\xFF" + std::string(254, 'n'))));
  for (const std::uint8_t type : Bytes{0, 4, 10, 255}) {
    report(outcome(receiver, command(type, "x")));
  }
  report(outcome(receiver, callOf("nobody")));
  openRegistrar().Register("beta", [](Span) { return Bytes(); });
  openRegistrar().Register("alpha", [](Span) { return Bytes(); });
  report(outcome(receiver, callOf("nobody")));
  report(outcome(receiver, callOf("alph\xFF")));
}

TEST(CppCommands, AreExceptionReportsThatSayWhatIsWrong) {
  const std::string known =
      ". Known types: 1 (load a library), 2 (call a handler), 3 (call a handler within a time), 11 "
      "(heartbeat).";
  expectReport(
      runMemberCase("answerMalformed"),
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
  IReceiver* receiver = openReceiver();
  openRegistrar().Register("echo", [](Span b) { return Bytes(b.begin(), b.end()); });
  for (const std::string& time : {std::string(4, '\0'), std::string("\0\0\4\xFF", 4)}) {
    report(outcome(receiver, command(3, time + "\4echo" + "bytes")));
  }
  report(outcome(receiver, command(3, std::string(4, 'x') + "\4echo")));
  report(outcome(receiver, command(3, "xxxx\3now")));
  for (std::size_t size = 0; size < 5; ++size) {
    report(outcome(receiver, command(3, std::string(size, '\4'))));
  }
  report(outcome(receiver, command(3, std::string("xxxx\0", 5))));
  report(outcome(receiver, command(3, "xxxx\4ech")));
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
  expectReport(runMemberCase("answerWithin"), expected);
}

PROCESS_CASE(readResponses) {
  IReceiver* receiver = openReceiver();
  openRegistrar().Register("echo", [](Span b) { return Bytes(b.begin(), b.end()); });
  const auto send = [&](Bytes call) {
    report(receiver->SendCommand(call.data(), static_cast<int>(call.size())));
  };
  const auto read = [&](int length) {
    Bytes buffer(20, 0xAA);
    report(thrownBy([&] { report(receiver->ReadResponse(buffer.data(), length)); }));
    report(hex(Span(buffer).subspan(9, 6)));
  };
  read(20);
  send(callOf("echo", "abc"));
  read(12);
  read(20);
  send(callOf("echo", "de"));
  read(-1);
  read(-1);
  send(callOf("echo", "lost"));
  send(callOf("echo", "f"));
  read(20);
  read(20);
  send(callOf("echo", "g"));
  read(0);
  read(20);
}

TEST(CppCommands, ResponsesAreReadOnceCutToTheBufferAndReplacedByTheNextCommand) {
  const std::string untouched = "AA AA AA AA AA AA";
  const std::string fine = "(nothing thrown)";
  expectReport(runMemberCase("readResponses"), {kNoResponse,
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
  IReceiver* receiver = openReceiver();
  std::uint8_t byte = 0;
  report(thrownBy([&] { receiver->ReadResponse(&byte, 1); }));
}

TEST(CppCommands, AMissingResponseIsTheOneErrorThatIsRaisedAndLoggedOnce) {
  const InstallationTree tree;
  installMember(tree, true);
  CaseOptions options;
  options.environment["FERROLINK_LOGGING_LEVEL"] = "off";
  options.workingDirectory = tree.workDirectory();
  expectReport(runCase("logMissingResponse", tree, options), {kNoResponse});
  const std::string log = tree.errorLog();
  const auto first = log.find(kNoResponse);
  ASSERT_NE(first, std::string::npos) << log;
  EXPECT_EQ(log.find("Exception code", first + 20), std::string::npos) << log;
}

}  // namespace
}  // namespace FerrolinkTest
