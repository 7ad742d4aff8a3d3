#ifndef FERROLINK_HOST_ERRORS_H
#define FERROLINK_HOST_ERRORS_H

#include <stdexcept>
#include <string>

namespace Ferrolink::Host {

/// The installation, or the library in it, could not be used. what() says what was looked for and
/// what to do.
class InstallationError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// The called runtime answered with an exception report. what() is its text: class, message, causes
/// and, of Java, frames.
class RemoteError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// The called runtime answered with something that is no reply.
class ProtocolError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

}  // namespace Ferrolink::Host

#endif
