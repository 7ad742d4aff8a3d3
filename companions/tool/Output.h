#ifndef FERROLINK_COMPANIONS_TOOL_OUTPUT_H
#define FERROLINK_COMPANIONS_TOOL_OUTPUT_H

#include <cstdint>
#include <span>
#include <vector>

#include "companions/utils/FileDescriptor.h"

namespace Ferrolink::Companions::Tool {

/// Keeps standard output for the tool's own results while a runtime runs in this process: what the
/// library, Java and handlers print goes to standard error, or nowhere.
class ReservedOutput {
 public:
  enum class Others { Discarded, OnStandardError };

  /// Errors: std::system_error.
  explicit ReservedOutput(Others others);

  /// Writes to the real standard output. Errors: std::system_error.
  void Write(std::span<const std::uint8_t> bytes) const;

 private:
  FileDescriptor m_output;
};

/// All bytes of standard input. Errors: std::system_error.
std::vector<std::uint8_t> ReadInput();

}  // namespace Ferrolink::Companions::Tool

#endif
