// A handler that leaves a record of the commands that it was given, which survives its server.
#include <ferrolink/CppRuntime.h>

#include <cstdlib>
#include <string>

#include "tests/companions/tcp/libraries/ExecutionRecord.h"

namespace {

using Ferrolink::Cpp::Bytes;
using Ferrolink::Cpp::ToBytes;
using Ferrolink::Cpp::ToText;

FerrolinkTest::ExecutionRecord& record() {
  static FerrolinkTest::ExecutionRecord opened(
      std::getenv(FerrolinkTest::ExecutionRecord::kVariable));
  return opened;
}

// Whatever becomes of the rest, the command has been executed.
Bytes count(std::span<const std::uint8_t> bytes) {
  const std::string payload = ToText(bytes);
  record().count(FerrolinkTest::numberOf(payload));
  return ToBytes(FerrolinkTest::countedAnswer(payload));
}

}  // namespace

std::int32_t ferrolink_register_handlers(const ferrolink_registrar* table) {
  record();
  const Ferrolink::Cpp::Registrar registrar(table);
  registrar.Register("count", count);
  return FERROLINK_OK;
}
