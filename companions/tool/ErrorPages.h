#ifndef FERROLINK_COMPANIONS_TOOL_ERRORPAGES_H
#define FERROLINK_COMPANIONS_TOOL_ERRORPAGES_H

#include <string>
#include <string_view>
#include <vector>

namespace Ferrolink::Companions::Tool {

/// One file of docs/errors.
struct ErrorPage {
  std::string prefix;  ///< "JVM Launcher"; empty for a text without a code
  std::string code;    ///< three digits; empty for a text without a code
  std::string title;
  /// What follows the code in the error. Without a code: the texts that identify the error, " | "
  /// between them, <...> for any words.
  std::string text;
  std::string
      executed;        ///< whether the command was executed: no, perhaps, yes; then "; " and a note
  std::string source;  ///< the file that raises it
  std::string cause;
  std::string check;
  std::string remedy;
};

/// All pages, by prefix and code. The build compiles them in.
const std::vector<ErrorPage>& ErrorPages();

/// The pages for a query: an error's whole text, which may name several codes, or else has the text
/// of errors without a code; "JVM Launcher 016", "jvm-launcher-016" or "16"; or words of a page.
/// Empty if there is none.
std::vector<const ErrorPage*> FindErrorPages(std::string_view query);

}  // namespace Ferrolink::Companions::Tool

#endif
