#ifndef FERROLINK_TESTS_FAULTS_BUILTLIBRARY_H
#define FERROLINK_TESTS_FAULTS_BUILTLIBRARY_H

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "native/interfaces/IReceiver.h"
#include "native/interfaces/ITransmitter.h"
#include "tests/support/ProcessCase.h"

/// The built JVM member, opened as a host does.
namespace Ferrolink::Tests {

using Bytes = std::vector<std::uint8_t>;
using Ferrolink::Native::Interfaces::IReceiver;
using Ferrolink::Native::Interfaces::ITransmitter;

class BuiltLibrary {
 public:
  explicit BuiltLibrary(const std::filesystem::path& file);

  /// Its two roles; a host of Java's has mode 1, a caller out of Java mode 0.
  [[nodiscard]] IReceiver* Receiver() const;
  [[nodiscard]] ITransmitter* Transmitter() const;

  /// An exported function, null where it has none of that name.
  template <class Function>
  [[nodiscard]] Function* Find(const char* name) const {
    return reinterpret_cast<Function*>(Address(name));
  }

 private:
  [[nodiscard]] void* Address(const char* name) const;

  void* m_handle;
};

/// A command for the JVM, and one from the JVM for the runtime 8 by channel type (0 in
/// memory, 1 TCP, 2 TLS).
Bytes ToJava(std::uint8_t type, const std::string& body = "text");
Bytes ToRuntime8(std::uint8_t channel);

/// The response of one command, or the text of what was thrown.
std::string Exchange(IReceiver& receiver, Bytes command);
/// The result of one command, or the text of what was thrown.
std::string Send(ITransmitter& transmitter, Bytes command);

}  // namespace Ferrolink::Tests

#endif
