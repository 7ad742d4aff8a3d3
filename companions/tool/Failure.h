#ifndef FERROLINK_COMPANIONS_TOOL_FAILURE_H
#define FERROLINK_COMPANIONS_TOOL_FAILURE_H

#include <stdexcept>

namespace Ferrolink::Companions::Tool {

/// The exit codes of the tool. `doctor` uses the second one for "there are findings", and the third
/// for "the examination was not possible".
inline constexpr int kDone = 0;
inline constexpr int kFailed = 1;
inline constexpr int kNotPossible = 2;

/// A subcommand cannot do what it was asked for. what() says why and what to do.
class Failure : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

}  // namespace Ferrolink::Companions::Tool

#endif
