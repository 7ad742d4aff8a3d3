#ifndef FERROLINK_COMPANIONS_TCP_SERVER_OPTIONTABLE_H
#define FERROLINK_COMPANIONS_TCP_SERVER_OPTIONTABLE_H

#include <cstdint>
#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

#include "companions/tcp/server/ServerOptions.h"

namespace Ferrolink::Companions::Tcp::Server {

enum class OptionKind {
  Text,
  File,
  Files,  ///< may be repeated
  Number,
  Flag,
};

struct OptionValue {
  std::string text;          ///< of a Text, File or Files: one value
  std::uint64_t number = 0;  ///< of a Number, within the option's range
};

/// An option refuses its value; what() says what it expects.
class WrongValue : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// One option of the server, the same on the command line (--name) and in the file ("name").
struct Option {
  std::string name;
  OptionKind kind = OptionKind::Flag;
  std::string placeholder;  ///< of the value, in the help
  std::string help;
  std::string group;  ///< its heading in the help
  /// Throws WrongValue.
  std::function<void(ServerOptions&, const OptionValue&)> set;
  std::uint64_t least = 0;
  std::uint64_t greatest = 0;
};

const std::vector<Option>& OptionTable();

}  // namespace Ferrolink::Companions::Tcp::Server

#endif
