#ifndef FERROLINK_COMPANIONS_CONFIGS_CONFIGURATIONSOURCE_H
#define FERROLINK_COMPANIONS_CONFIGS_CONFIGURATIONSOURCE_H

#include <string>
#include <string_view>

#include "companions/configs/Configuration.h"

namespace Ferrolink::Companions {

/// The process's current directory. Throws ConfigurationError where there is none any more.
std::string CurrentDirectory();

/// `path` if it is absolute, else `path` below the absolute `baseDirectory`, without "."
/// components. Nothing is looked up: ".." and symbolic links stay.
std::string AbsolutePath(std::string_view path, const std::string& baseDirectory);

/// Empty if `path` is an existing directory, else a text that says why not.
std::string WhyNoDirectory(const std::string& path);

/// The configuration that `source`, JSON text or the path of a file with it, describes. Throws
/// ConfigurationError; the text says which file, and is fit for one line.
Configuration LoadConfiguration(const std::string& source);

}  // namespace Ferrolink::Companions

#endif
