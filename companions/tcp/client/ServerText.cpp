#include "companions/tcp/client/ServerText.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <stdexcept>

#include "companions/tcp/client/ClientError.h"

namespace Ferrolink::Companions::Tcp::Client {
namespace {

constexpr std::size_t kLongest = 64U << 10U;

struct Form {
  std::uint8_t first;     ///< the least first byte
  std::uint8_t last;      ///< the greatest
  std::uint8_t least;     ///< of the second byte
  std::uint8_t greatest;  ///< of the second byte
  std::size_t size;
};

// The well-formed sequences of more than one byte.
constexpr std::array<Form, 8> kForms = {{{0xC2, 0xDF, 0x80, 0xBF, 2},
                                         {0xE0, 0xE0, 0xA0, 0xBF, 3},
                                         {0xE1, 0xEC, 0x80, 0xBF, 3},
                                         {0xED, 0xED, 0x80, 0x9F, 3},
                                         {0xEE, 0xEF, 0x80, 0xBF, 3},
                                         {0xF0, 0xF0, 0x90, 0xBF, 4},
                                         {0xF1, 0xF3, 0x80, 0xBF, 4},
                                         {0xF4, 0xF4, 0x80, 0x8F, 4}}};

// The size of the first character; 0 if it is not printable.
std::size_t CharacterSize(std::span<const std::uint8_t> bytes) {
  const std::uint8_t first = bytes[0];
  if (first < 0x80) {
    const bool breaksLine = first == '\n' || first == '\r' || first == '\t';
    return (first >= 0x20 && first != 0x7F) || breaksLine ? 1 : 0;
  }
  const auto* form = std::find_if(kForms.begin(), kForms.end(), [&](const Form& each) {
    return each.first <= first && first <= each.last;
  });
  if (form == kForms.end() || bytes.size() < form->size || bytes[1] < form->least ||
      bytes[1] > form->greatest) {
    return 0;
  }
  const auto rest = bytes.subspan(2, form->size - 2);
  const bool isWellFormed = std::all_of(rest.begin(), rest.end(),
                                        [](std::uint8_t byte) { return (byte & 0xC0U) == 0x80U; });
  return isWellFormed ? form->size : 0;
}

}  // namespace

std::string ServerText(std::span<const std::uint8_t> bytes) {
  constexpr const char* kDigits = "0123456789ABCDEF";
  std::string text;
  while (!bytes.empty()) {
    if (text.size() >= kLongest) {
      return text + "...";
    }
    const std::size_t size = CharacterSize(bytes);
    if (size == 0) {
      text += "\\x";
      text += kDigits[bytes[0] >> 4U];
      text += kDigits[bytes[0] & 0xFU];
    } else {
      text.append(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(size));
    }
    bytes = bytes.subspan(std::max<std::size_t>(size, 1));
  }
  return text;
}

void FailWithAnswer(const Peer& server, const Frame& answer) {
  const std::string text = ServerText(answer.bytes);
  switch (answer.header.status) {
    case Wire::Status::NotBegun:
    case Wire::Status::FinalNotBegun:
      throw ClientFailure(ClientError::NotBegun,
                          server.Name() + " has not begun the command, which was not executed: " +
                              (text.empty() ? "it gives no reason." : text),
                          Wire::EndsConnection(answer.header.status));
    case Wire::Status::TimeOver:
      Fail(ClientError::TimeOver, "The time of the command was over before " + server.Name() +
                                      " began it. The command was not executed.");
    default:
      throw std::runtime_error(text.empty() ? server.Name() +
                                                  " has failed and gives no reason. The command "
                                                  "may have been executed."
                                            : text);
  }
}

}  // namespace Ferrolink::Companions::Tcp::Client
