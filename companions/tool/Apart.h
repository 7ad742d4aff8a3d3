#ifndef FERROLINK_COMPANIONS_TOOL_APART_H
#define FERROLINK_COMPANIONS_TOOL_APART_H

#include <functional>
#include <string>

namespace Ferrolink::Companions::Tool {

/// Runs `work` in a fork of this process, because a JVM that cannot start ends its process. `work`
/// gets a temporary directory for the error log, empty if there is none; it is removed afterwards.
/// Standard input, output and error are those of this process. The fork prints the exceptions of
/// `work`. Signals that ask this process to end go to the fork; this process ends by them
/// afterwards. Returns the exit code: kDone, or kFailed after an exception. `what` begins the text
/// for a fork that was ended by somebody else. Thread rule: the process must have one thread.
/// Errors: Failure for a fork that was ended, with the error in its log; std::system_error.
int RunApart(const std::string& what, const std::function<void(const std::string&)>& work);

}  // namespace Ferrolink::Companions::Tool

#endif
