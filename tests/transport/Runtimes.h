#ifndef FERROLINK_TESTS_TRANSPORT_RUNTIMES_H
#define FERROLINK_TESTS_TRANSPORT_RUNTIMES_H

#include <initializer_list>
#include <string>

#include "native/transport/TransportInMemory.h"
#include "tests/jvm/LauncherFixture.h"
#include "tests/transport/TransportFixture.h"

/// Fake runtimes for the in-memory transport, and what setting one up calls on it.
namespace Ferrolink::Tests {

using Ferrolink::Native::Transport::TransportInMemory;

inline constexpr const char* kCpp = "libFerrolinkCppRuntimeNative.so";
inline constexpr const char* kJvm = "libFerrolinkJvmRuntimeNative.so";
inline constexpr const char* kPrefix = "Ferrolink Native Exception: Exception code ";

inline std::string Reinstall(const char* code) {
  return std::string(kPrefix) + code + ". \nReinstall Ferrolink package";
}

/// Lives until the process ends: its destructor closes the libraries of the objects that it owns.
inline TransportInMemory& Transport() {
  static auto* const made = new TransportInMemory;
  return *made;
}

struct Runtimes : SiblingTree {
  Runtimes(std::initializer_list<const char*> names) {
    for (const char* name : names) {
      AddRuntime(name, FAKESIBLING_PATH);
    }
  }
  [[nodiscard]] CaseOptions Logged() const { return LoggedOptions(Tree()); }
  [[nodiscard]] std::string NotFound(const char* file) const {
    return std::string(kPrefix) +
           "001. \nCannot load: " + (Tree().NativeDirectory() / file).string() +
           ". \nError: File not found.";
  }
};

inline std::string CreatedAs(const std::string& runtime, const std::string& mode,
                             const std::string& arguments) {
  return runtime + ": CreateReceiver(" + mode + ")\n" + runtime + ": Receiver.Initialize(" +
         arguments + ")\n" + runtime + ": CreateTransmitter(" + mode + ")\n";
}

inline std::string Open(const std::string& runtime, int flags = 2) {
  return "loader: open " + runtime + " " + std::to_string(flags) + "\n";
}

}  // namespace Ferrolink::Tests

#endif
