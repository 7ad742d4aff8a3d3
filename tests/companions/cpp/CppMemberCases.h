#ifndef FERROLINK_TESTS_COMPANIONS_CPP_CPPMEMBERCASES_H
#define FERROLINK_TESTS_COMPANIONS_CPP_CPPMEMBERCASES_H

#include <ferrolink/Caller.h>
#include <ferrolink/CppRuntime.h>
#include <ferrolink/Library.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "tests/support/ProcessCase.h"

/// Helpers for tests that open the built C++ member. Bodies of process cases use all except the
/// first three.
namespace Ferrolink::Tests {

using Ferrolink::Cpp::Bytes;
using Ferrolink::Cpp::Caller;
using Ferrolink::Cpp::Registrar;
using Ferrolink::Cpp::ToBytes;
using Ferrolink::Cpp::ToText;
using Ferrolink::Native::Definitions::Runtime;
using Ferrolink::Native::Definitions::RuntimeOperationMode;
using Ferrolink::Native::Interfaces::IReceiver;
using Ferrolink::Native::Interfaces::ITransmitter;
using Span = std::span<const std::uint8_t>;

/// Copies the member into the tree; `withCompanions` adds its companions, so that errors are
/// logged.
void InstallMember(const InstallationTree& tree, bool withCompanions = false);

/// Runs the case in a tree with the member only, at logging level "off".
CaseResult RunMemberCase(const std::string& name, const std::vector<std::string>& arguments = {});

/// Expects exit code 0 and exactly this report.
void ExpectReport(const CaseResult& result, const std::vector<std::string>& report);

std::filesystem::path MemberPath();

/// A function that the member exports.
template <class Function>
Function* Exported(const char* name) {
  return Ferrolink::Host::FunctionOf<Function>(Ferrolink::Host::OpenLibrary(MemberPath()),
                                               MemberPath(), name);
}

/// The receiver, initialised for a Java caller.
IReceiver* OpenReceiver(RuntimeOperationMode mode = RuntimeOperationMode::CalledRuntime);

Registrar OpenRegistrar();
Caller OpenCaller();
const ferrolink_registrar* OpenTable();

/// A command to the member from runtime 2, Java.
Bytes Command(std::uint8_t type, std::string_view body);
Bytes CallOf(std::string_view handler, std::string_view payload = "");
Bytes LoadOf(std::string_view path);

/// Sends and reads on this thread. Returns the whole reply.
Bytes Exchange(IReceiver* receiver, Bytes command);

/// The type of the reply, a colon, and its body as text.
std::string Outcome(IReceiver* receiver, const Bytes& command);

/// Two upper-case digits per byte, separated by blanks.
std::string Hex(Span bytes);

/// The bytes followed by `letter`.
Bytes With(Bytes bytes, char letter);

}  // namespace Ferrolink::Tests

#endif
