#ifndef FERROLINK_COMPANIONS_TOOL_EMBEDDEDPAGES_H
#define FERROLINK_COMPANIONS_TOOL_EMBEDDEDPAGES_H

#include <string_view>
#include <vector>

namespace Ferrolink::Companions::Tool {

/// The files of docs/errors, sorted by name. The build writes the function.
std::vector<std::string_view> EmbeddedPages();

}  // namespace Ferrolink::Companions::Tool

#endif
