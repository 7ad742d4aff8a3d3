#ifndef FERROLINK_COMPANIONS_CONFIGS_SOURCEFILE_H
#define FERROLINK_COMPANIONS_CONFIGS_SOURCEFILE_H

#include <cstddef>
#include <string>
#include <string_view>

namespace Ferrolink::Companions {

inline constexpr std::size_t kLargestSource = std::size_t{1024} * 1024;
inline constexpr std::string_view kTooLarge = "larger than 1048576 bytes";

/// The contents of a regular file within the size limit. Throws ConfigurationError without the
/// file's name.
std::string ReadSourceFile(const std::string& path);

}  // namespace Ferrolink::Companions

#endif
