#include "companions/cpp/CommandFrame.h"

#include <algorithm>
#include <array>
#include <utility>

#include "companions/cpp/Utf8.h"
#include "native/interfaces/CommandHeader.h"
#include "native/interfaces/Runtime.h"

namespace Ferrolink::Runtimes::Cpp::Native {
namespace {

namespace Header = Ferrolink::Native::Definitions::CommandHeader;

constexpr auto kCpp = static_cast<std::uint8_t>(Ferrolink::Native::Definitions::Runtime::Cpp);
constexpr std::size_t kLibraryPath = 24;
constexpr std::size_t kTimeLeftSize = 4;
constexpr std::size_t kLongestText = 1048576;

// A complete reply: from and to the C++ member, command type 0, and two bytes that say "library
// loaded".
constexpr std::array<std::uint8_t, 17> kLibraryLoaded = {kCpp, 0, 0,    0,    0, 0, 0, 0, 0,
                                                         kCpp, 0, 0x02, 0x04, 0, 0, 0, 0};

std::string_view TextOf(Command bytes) {
  return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

}  // namespace

std::uint8_t CallerOf(Command command) {
  return command.size() < Header::kSize ? 0 : command[Header::kCallingRuntime];
}

HandlerCall HandlerCallOf(Command command) {
  const bool within = command[Header::kCommandType] == kTypeCallWithin;
  const std::size_t nameLength = Header::kSize + (within ? kTimeLeftSize : 0);
  if (command.size() <= nameLength) {
    throw CommandRejected(
        within ? "Malformed command: a call with a time limit begins with four bytes of "
                 "milliseconds, and the length and the name of a handler; " +
                     std::to_string(command.size() - Header::kSize) + " bytes follow the header."
               : "Malformed command: the body is empty, it must begin with the length and the name "
                 "of a handler.");
  }
  const std::size_t length = command[nameLength];
  const Command rest = command.subspan(nameLength + 1);
  if (length == 0) {
    throw CommandRejected("Malformed command: the handler's name is empty.");
  }
  if (rest.size() < length) {
    throw CommandRejected("Malformed command: a handler's name of " + std::to_string(length) +
                          " bytes is announced, " + std::to_string(rest.size()) + " bytes follow.");
  }
  return {TextOf(rest.first(length)), rest.subspan(length)};
}

std::string LibraryPathOf(Command command) {
  if (command.size() <= kLibraryPath) {
    throw CommandRejected("Malformed command: a load-library command of " +
                          std::to_string(command.size()) + " bytes, at least " +
                          std::to_string(kLibraryPath + 1) + " are needed.");
  }
  const std::string_view text = TextOf(command.subspan(kLibraryPath));
  std::string path(text.substr(0, text.find('\0')));
  if (path.empty()) {
    throw CommandRejected("Malformed command: the library's path is empty.");
  }
  return path;
}

Reply EmptyReply(std::uint8_t caller, Reply room) {
  Reply reply = std::move(room);
  reply.assign(Header::kSize, 0);
  reply[Header::kTargetRuntime] = caller;
  reply[Header::kCallingRuntime] = kCpp;
  return reply;
}

Reply HeartBeatReply(Command command) {
  Reply reply = EmptyReply(CallerOf(command));
  const Command body = command.subspan(Header::kSize);
  reply.insert(reply.end(), body.begin(), body.end());
  return reply;
}

Reply ExceptionReply(std::uint8_t caller, std::string_view text) {
  Reply reply = EmptyReply(caller);
  reply[Header::kCommandType] = Header::kTypeExceptionReport;
  const std::string body = ValidUtf8(text.substr(0, kLongestText));
  reply.insert(reply.end(), body.begin(), body.end());
  return reply;
}

Reply LibraryLoadedReply() {
  return {kLibraryLoaded.begin(), kLibraryLoaded.end()};
}

}  // namespace Ferrolink::Runtimes::Cpp::Native
