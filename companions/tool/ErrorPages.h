#ifndef FERROLINK_COMPANIONS_TOOL_ERRORPAGES_H
#define FERROLINK_COMPANIONS_TOOL_ERRORPAGES_H

#include <string>
#include <string_view>
#include <vector>

namespace Ferrolink::Companions::Tool {

/// One file of docs/errors.
struct ErrorPage {
  std::string prefix;  ///< "JVM Launcher"
  std::string code;    ///< three digits
  std::string title;
  std::string text;      ///< what follows the code in the error
  std::string executed;  ///< whether the command was executed: no, perhaps, yes
  std::string source;    ///< the file that raises it
  std::string cause;
  std::string check;
  std::string remedy;
};

/// All pages, by prefix and code. The build compiles them in.
const std::vector<ErrorPage>& ErrorPages();

/// The pages for a query: an error's whole text, which may name several codes; "JVM Launcher 016",
/// "jvm-launcher-016" or "16"; or words of a page. Empty if there is none.
std::vector<const ErrorPage*> FindErrorPages(std::string_view query);

}  // namespace Ferrolink::Companions::Tool

#endif
