#ifndef FERROLINK_COMPANIONS_CONFIGS_CONFIGURATIONSOURCE_H
#define FERROLINK_COMPANIONS_CONFIGS_CONFIGURATIONSOURCE_H

#include <string>
#include <string_view>

#include "companions/configs/Configuration.h"

namespace Ferrolink::Companions {

/// The process's current directory. Throws ConfigurationError if it no longer exists.
std::string CurrentDirectory();

/// `path` if it is absolute, else `path` below the absolute `baseDirectory`, without "."
/// components. Does not access the file system, so ".." and symbolic links stay.
std::string AbsolutePath(std::string_view path, const std::string& baseDirectory);

/// Why `path` is not an existing directory; empty if it is.
std::string WhyNoDirectory(const std::string& path);

/// Loads the configuration from `source`, JSON text or the path of a file with it. Throws
/// ConfigurationError, whose text names the file and is one line.
Configuration LoadConfiguration(const std::string& source);

}  // namespace Ferrolink::Companions

#endif
