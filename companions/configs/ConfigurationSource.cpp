#include "companions/configs/ConfigurationSource.h"

#include <sys/stat.h>

#include <cerrno>
#include <climits>
#include <cstddef>
#include <filesystem>
#include <system_error>

#include "companions/configs/ConfigurationReader.h"
#include "companions/configs/Printable.h"
#include "companions/configs/SourceFile.h"

namespace Ferrolink::Companions {
namespace {

constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

std::string ReasonOf(int error) {
  return std::generic_category().message(error);
}

bool IsJsonText(std::string_view source) {
  if (source.substr(0, kByteOrderMark.size()) == kByteOrderMark) {
    source.remove_prefix(kByteOrderMark.size());
  }
  const std::size_t first = source.find_first_not_of(" \t\r\n");
  return first != std::string_view::npos && source[first] == '{';
}

// The name of a path in error texts. A source that looks like JSON text is not repeated, because it
// may have a password.
std::string NameOf(const std::string& path) {
  const bool looksLikeText =
      path.size() >= PATH_MAX || path.find_first_of("{}\"\r\n") != std::string::npos;
  return looksLikeText ? "the source, taken for a path as it does not begin with \"{\""
                       : Printable(path);
}

Configuration LoadText(const std::string& source) {
  try {
    if (source.size() > kLargestSource) {
      throw ConfigurationError(std::string(kTooLarge));
    }
    return ReadConfiguration(source, CurrentDirectory());
  } catch (const ConfigurationError& error) {
    throw ConfigurationError(std::string("JSON text: ") + error.what());
  }
}

Configuration LoadFile(const std::string& path) {
  try {
    const std::string text = ReadSourceFile(path);
    const std::string directory =
        std::filesystem::path(AbsolutePath(path, CurrentDirectory())).parent_path().string();
    return ReadConfiguration(text, directory);
  } catch (const ConfigurationError& error) {
    throw ConfigurationError(NameOf(path) + ": " + error.what());
  }
}

}  // namespace

std::string CurrentDirectory() {
  std::error_code error;
  const std::filesystem::path directory = std::filesystem::current_path(error);
  if (error) {
    throw ConfigurationError("the current directory is not known: " + ReasonOf(error.value()));
  }
  return directory.string();
}

std::string AbsolutePath(std::string_view path, const std::string& baseDirectory) {
  const std::filesystem::path given(path);
  if (given.is_absolute()) {
    return given.string();
  }
  std::filesystem::path absolute(baseDirectory);
  for (const std::filesystem::path& component : given) {
    if (!component.empty() && component != ".") {
      absolute /= component;
    }
  }
  return absolute.string();
}

std::string WhyNoDirectory(const std::string& path) {
  struct stat status {};
  if (stat(path.c_str(), &status) != 0) {
    return "no directory " + Printable(path) + ": " + ReasonOf(errno);
  }
  return S_ISDIR(status.st_mode) ? ""
                                 : "no directory " + Printable(path) + ": it is something else";
}

Configuration LoadConfiguration(const std::string& source) {
  if (source.find_first_not_of(" \t\r\n") == std::string::npos) {
    throw ConfigurationError("the source is empty");
  }
  Configuration configuration = IsJsonText(source) ? LoadText(source) : LoadFile(source);
  configuration.source = source;
  return configuration;
}

}  // namespace Ferrolink::Companions
