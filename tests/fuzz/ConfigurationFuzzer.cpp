// Feeds a configuration source, JSON text or the path of a file, and queries it afterwards.
#include <algorithm>
#include <array>
#include <cstdlib>
#include <string>

#include "companions/configs/Configs.h"
#include "companions/configs/ConfigurationReader.h"
#include "companions/configs/JsonDocument.h"
#include "tests/fuzz/Fuzzing.h"

using namespace Ferrolink::Fuzz;
namespace Companions = Ferrolink::Companions;

namespace {

// Expects for each buffer size either the whole value with its length, or a truncated error text.
template <class Query>
void ExpectText(Query query, std::size_t size) {
  Bytes bytes(size, 0xEE);
  auto* buffer = reinterpret_cast<char*>(bytes.data());
  const int result = query(buffer, size);
  if (size == 0) {
    Require(result < 0, "without a buffer there is no text");
    return;
  }
  const auto end = std::find(bytes.begin(), bytes.end(), 0);
  Require(end != bytes.end(), "a text is terminated");
  Require(result < 0 || end - bytes.begin() == result, "a result is the text's length");
}

void Ask(const char* runtime, const char* config, std::size_t size) {
  ExpectText(GetConfigSource, size);
  ExpectText(GetWorkingDirectory, size);
  ExpectText(GetLoggingLevel, size);
  ExpectText(GetProxyHost, size);
  ExpectText(GetProxyUsername, size);
  ExpectText(GetProxyPassword, size);
  ExpectText(GetProxyDomain, size);
  for (auto* query : {GetRuntimeName, GetChannelType, GetChannelHost, GetChannelRuntimePath}) {
    ExpectText([&](char* buffer, std::size_t room) { return query(runtime, config, buffer, room); },
               size);
  }
  const int port = GetChannelPort(runtime, config);
  Require(port < 0 || (port >= 1 && port <= 65535), "a port is 1 to 65535");
  const int proxyPort = GetProxyPort();
  Require(proxyPort < 0 || (proxyPort >= 1 && proxyPort <= 65535), "a proxy's port is 1 to 65535");
  Require(ProxyExists() == 0 || ProxyExists() == 1, "a proxy exists or not");
}

bool IsText(const std::string& source) {
  const std::string text = source.starts_with("\xEF\xBB\xBF") ? source.substr(3) : source;
  const std::size_t first = text.find_first_not_of(" \t\r\n");
  return first != std::string::npos && text[first] == '{';
}

// A file may hold zero bytes; a source as text cannot.
bool IsReadable(const std::string& text) {
  try {
    Companions::ReadConfiguration(text, std::filesystem::current_path().string());
    return true;
  } catch (const Companions::ConfigurationError& refused) {
    const std::string reason = refused.what();
    Require(!reason.empty(), "a refusal says why");
    Require(std::none_of(reason.begin(), reason.end(), [](char c) { return c == '\n' || c == 0; }),
            "a refusal is one line");
    return false;
  }
}

void ExpectSource(const std::string& given) {
  const bool taken = SetConfigSource(given.c_str()) == 0;
  const std::string text = given.c_str();
  Require(!IsText(text) || taken == IsReadable(text), "a source is taken where its text is read");
  if (!taken) {
    return;
  }
  Bytes source(text.size() + 1, 0xEE);
  const int length = GetConfigSource(reinterpret_cast<char*>(source.data()), source.size());
  Require(length == static_cast<int>(text.size()) && source.back() == 0,
          "the source has its length");
  source.pop_back();
  Require(source == BytesOf(text), "the source is given back as it was taken");
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
  return 0;
}

// The first byte is the size of the buffers. The second one selects the channel of the queries.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Input input(data, size);
  const std::size_t room = input.TakeByte();
  const std::uint8_t channel = input.TakeByte();
  const std::string source = TextOf(input.TakeRest());

  const InJail jailed;
  SetConfigSource("{}");
  ExpectSource(IsText(source) ? source : Confined(source));
  IsReadable(source);
  constexpr std::array<const char*, 4> kRuntimes = {"jvm", "CPP", "nodejs", "\xFF/~none"};
  constexpr std::array<const char*, 4> kConfigs = {"default", "a/b~c", "", "\x01\xE2\x80\xA8"};
  Ask(kRuntimes[channel % kRuntimes.size()], kConfigs[(channel >> 2U) % kConfigs.size()], room);
  Ask(nullptr, "default", room);
  Ask("jvm", nullptr, room);
  return 0;
}
