// A handler that records its commands; the record survives its server.
#include <ferrolink/CppRuntime.h>

#include <cstdlib>
#include <string>

#include "tests/companions/tcp/libraries/ExecutionRecord.h"

namespace {

using Ferrolink::Cpp::Bytes;
using Ferrolink::Cpp::ToBytes;
using Ferrolink::Cpp::ToText;

Ferrolink::Tests::ExecutionRecord& Record() {
  static Ferrolink::Tests::ExecutionRecord opened(
      std::getenv(Ferrolink::Tests::ExecutionRecord::kVariable));
  return opened;
}

// Records first: the command counts as executed even if its answer is lost.
Bytes Count(std::span<const std::uint8_t> bytes) {
  const std::string payload = ToText(bytes);
  Record().Count(Ferrolink::Tests::NumberOf(payload));
  return ToBytes(Ferrolink::Tests::CountedAnswer(payload));
}

}  // namespace

std::int32_t ferrolink_register_handlers(const ferrolink_registrar* table) {
  Record();
  const Ferrolink::Cpp::Registrar registrar(table);
  registrar.Register("count", Count);
  return FERROLINK_OK;
}
