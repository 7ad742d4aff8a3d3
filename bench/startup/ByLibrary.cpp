// Start-up from process start to the first answer through the library.
//
//     usage: ferrolink-bench-start-library LIBRARY-DIRECTORY
#include <ferrolink/Library.h>

#include <cstdint>
#include <filesystem>
#include <vector>

#include "bench/startup/FirstCommand.h"

int main(int /*count*/, char** values) {
  const std::filesystem::path directory = values[1];
  auto* receiver = Ferrolink::Host::OpenReceiver(directory / Ferrolink::Host::kJvmLibrary);
  receiver->Initialize(8, 2, 0);
  std::vector<std::uint8_t> command = Ferrolink::Bench::FirstCommand();
  const int length = receiver->SendCommand(command.data(), static_cast<int>(command.size()));
  std::vector<std::uint8_t> answer(static_cast<std::size_t>(length));
  receiver->ReadResponse(answer.data(), length);
  Ferrolink::Bench::Answered(answer.size() > 10 && answer[10] != 10 && answer.back() == 0);
}
