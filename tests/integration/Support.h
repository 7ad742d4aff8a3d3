#ifndef FERROLINK_TESTS_INTEGRATION_SUPPORT_H
#define FERROLINK_TESTS_INTEGRATION_SUPPORT_H

#include <ferrolink/Host.h>

#include <filesystem>
#include <string>

#include "native/interfaces/IReceiver.h"
#include "tests/support/Jdks.h"

/// Helpers for tests that run the built library and a real JVM.
namespace FerrolinkTest {

using Ferrolink::Host::Bytes;
using Ferrolink::Native::Interfaces::IReceiver;

/// Copies the built native libraries and one receiver archive into the tree.
void installLibrary(const InstallationTree& tree);
void installArchive(const InstallationTree& tree, const std::filesystem::path& archive);

/// A tree with the built library and the receiver that misbehaves on request.
void installWithTestReceiver(const InstallationTree& tree);

/// For bodies: the tree's receiver, initialised for a C++ caller.
IReceiver* openReceiver();

/// For bodies: a command of the given type whose body is `body`.
Bytes command(std::uint8_t type, std::string_view body);

/// For bodies: sends and reads one command on this thread.
Bytes exchange(IReceiver* receiver, Bytes command);

}  // namespace FerrolinkTest

#endif
