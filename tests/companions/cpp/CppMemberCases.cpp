#include "tests/companions/cpp/CppMemberCases.h"

#include <ferrolink/protocol/Commands.h>

#include <array>
#include <cstdio>

namespace Ferrolink::Tests {
namespace {

constexpr Protocol::Route kFromJava = {.target = Runtime::Cpp, .caller = Runtime::Jvm};

}  // namespace

void InstallMember(const InstallationTree& tree, bool withCompanions) {
  tree.AddLibrary(FERROLINKCPPRUNTIMENATIVE_PATH, "libFerrolinkCppRuntimeNative.so");
  if (withCompanions) {
    tree.AddLibrary(CONFIGS_PATH, "libConfigs.so");
    tree.AddLibrary(UTILS_PATH, "libUtils.so");
  }
}

CaseResult RunMemberCase(const std::string& name, const std::vector<std::string>& arguments) {
  const InstallationTree tree;
  InstallMember(tree);
  CaseOptions options;
  options.environment["FERROLINK_LOGGING_LEVEL"] = "off";
  options.arguments = arguments;
  return RunCase(name, tree, options);
}

void ExpectReport(const CaseResult& result, const std::vector<std::string>& report) {
  EXPECT_EQ(result.exitCode, 0) << result.err;
  EXPECT_EQ(result.signal, 0) << result.err;
  EXPECT_THAT(result.report, testing::ElementsAreArray(report)) << result.err;
}

std::filesystem::path MemberPath() {
  return CaseNativeDirectory() / "libFerrolinkCppRuntimeNative.so";
}

IReceiver* OpenReceiver(RuntimeOperationMode mode) {
  IReceiver* receiver = Exported<IReceiver*(RuntimeOperationMode)>("CreateReceiver")(mode);
  receiver->Initialize(2, 8, 0);
  return receiver;
}

Registrar OpenRegistrar() {
  return Registrar(CaseNativeDirectory());
}

Caller OpenCaller() {
  return Caller({CaseNativeDirectory(), ""});
}

const ferrolink_registrar* OpenTable() {
  return Exported<const ferrolink_registrar*(std::uint32_t)>(FERROLINK_GET_REGISTRAR)(1);
}

Bytes Command(std::uint8_t type, std::string_view body) {
  Bytes command = Protocol::EmptyCommand(kFromJava, type);
  command.insert(command.end(), body.begin(), body.end());
  return command;
}

Bytes CallOf(std::string_view handler, std::string_view payload) {
  return Protocol::CallCommand(kFromJava, handler, Protocol::AsBytes(payload));
}

Bytes LoadOf(std::string_view path) {
  return Command(1, std::string(13, '\x01').append(path));
}

Bytes Exchange(IReceiver* receiver, Bytes command) {
  const int length = receiver->SendCommand(command.data(), static_cast<int>(command.size()));
  Bytes reply(static_cast<std::size_t>(length));
  receiver->ReadResponse(reply.data(), length);
  return reply;
}

std::string Outcome(IReceiver* receiver, const Bytes& command) {
  const Bytes reply = Exchange(receiver, command);
  return std::to_string(reply.at(10)) + ":" + ToText(Span(reply).subspan(11));
}

std::string Hex(Span bytes) {
  std::string text;
  for (const std::uint8_t byte : bytes) {
    std::array<char, 4> digits{};
    std::snprintf(digits.data(), digits.size(), "%02X", byte);
    text += (text.empty() ? "" : " ") + std::string(digits.data());
  }
  return text;
}

Bytes With(Bytes bytes, char letter) {
  bytes.push_back(static_cast<std::uint8_t>(letter));
  return bytes;
}

}  // namespace Ferrolink::Tests
