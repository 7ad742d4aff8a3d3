#ifndef FERROLINK_TESTS_INTEGRATION_REALJVMCASES_H
#define FERROLINK_TESTS_INTEGRATION_REALJVMCASES_H

#include <ferrolink/Host.h>

#include <filesystem>
#include <string>

#include "native/interfaces/IReceiver.h"
#include "tests/support/Jdks.h"

/// Helpers for tests that run the built library and a real JVM.
namespace Ferrolink::Tests {

using Ferrolink::Host::Bytes;
using Ferrolink::Native::Interfaces::IReceiver;

/// Copies the built native libraries and one receiver archive into the tree.
void InstallLibrary(const InstallationTree& tree);
void InstallArchive(const InstallationTree& tree, const std::filesystem::path& archive);

/// A tree with the built library and the receiver that misbehaves on request.
void InstallWithTestReceiver(const InstallationTree& tree);

/// For bodies: the tree's receiver, initialised for a C++ caller.
IReceiver* OpenReceiver();

/// For bodies: a command of the given type whose body is `body`.
Bytes Command(std::uint8_t type, std::string_view body);

/// For bodies: sends and reads one command on this thread.
Bytes Exchange(IReceiver* receiver, Bytes command);

}  // namespace Ferrolink::Tests

#endif
