#include "companions/configs/ConfigurationSource.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <climits>
#include <cstddef>
#include <filesystem>
#include <system_error>

#include "companions/configs/ConfigurationReader.h"
#include "companions/configs/Printable.h"
#include "companions/utils/FileDescriptor.h"

namespace Ferrolink::Companions {
namespace {

constexpr std::size_t kLargestSource = std::size_t{1024} * 1024;
constexpr std::string_view kTooLarge = "larger than 1048576 bytes";
constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

std::string reasonOf(int error) {
  return std::generic_category().message(error);
}

bool isJsonText(std::string_view source) {
  if (source.substr(0, kByteOrderMark.size()) == kByteOrderMark) {
    source.remove_prefix(kByteOrderMark.size());
  }
  const std::size_t first = source.find_first_not_of(" \t\r\n");
  return first != std::string_view::npos && source[first] == '{';
}

// How error texts name a source that is taken for a path. One that looks as if it were meant to be
// text is not repeated: it may contain a password.
std::string nameOf(const std::string& path) {
  const bool looksLikeText =
      path.size() >= PATH_MAX || path.find_first_of("{}\"\r\n") != std::string::npos;
  return looksLikeText ? "the source, taken for a path as it does not begin with \"{\""
                       : printable(path);
}

// Not blocking, since the name may be that of a pipe that nobody writes to.
std::string readFile(const std::string& path) {
  const FileDescriptor file = FileDescriptor::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY);
  struct stat status {};
  if (!file.owns() || fstat(file.get(), &status) != 0) {
    throw ConfigurationError("cannot open: " + reasonOf(errno));
  }
  if (!S_ISREG(status.st_mode)) {
    throw ConfigurationError("not a regular file");
  }
  std::string text;
  std::array<char, 4096> block{};
  while (true) {
    const ssize_t count = ::read(file.get(), block.data(), block.size());
    if (count < 0 && errno != EINTR) {
      throw ConfigurationError("cannot read: " + reasonOf(errno));
    }
    if (count == 0) {
      return text;
    }
    if (count > 0) {
      text.append(block.data(), static_cast<std::size_t>(count));
    }
    if (text.size() > kLargestSource) {
      throw ConfigurationError(std::string(kTooLarge));
    }
  }
}

Configuration loadText(const std::string& source) {
  try {
    if (source.size() > kLargestSource) {
      throw ConfigurationError(std::string(kTooLarge));
    }
    return readConfiguration(source, currentDirectory());
  } catch (const ConfigurationError& error) {
    throw ConfigurationError(std::string("JSON text: ") + error.what());
  }
}

Configuration loadFile(const std::string& path) {
  try {
    const std::string text = readFile(path);
    const std::string directory =
        std::filesystem::path(absolutePath(path, currentDirectory())).parent_path().string();
    return readConfiguration(text, directory);
  } catch (const ConfigurationError& error) {
    throw ConfigurationError(nameOf(path) + ": " + error.what());
  }
}

}  // namespace

std::string currentDirectory() {
  std::error_code error;
  const std::filesystem::path directory = std::filesystem::current_path(error);
  if (error) {
    throw ConfigurationError("the current directory is not known: " + reasonOf(error.value()));
  }
  return directory.string();
}

std::string absolutePath(std::string_view path, const std::string& baseDirectory) {
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

std::string whyNoDirectory(const std::string& path) {
  struct stat status {};
  if (stat(path.c_str(), &status) != 0) {
    return "no directory " + printable(path) + ": " + reasonOf(errno);
  }
  return S_ISDIR(status.st_mode) ? ""
                                 : "no directory " + printable(path) + ": it is something else";
}

Configuration loadConfiguration(const std::string& source) {
  if (source.find_first_not_of(" \t\r\n") == std::string::npos) {
    throw ConfigurationError("the source is empty");
  }
  Configuration configuration = isJsonText(source) ? loadText(source) : loadFile(source);
  configuration.source = source;
  return configuration;
}

}  // namespace Ferrolink::Companions
