#ifndef FERROLINK_COMPANIONS_UTILS_TELEMETRYLINE_H
#define FERROLINK_COMPANIONS_UTILS_TELEMETRYLINE_H

#include <string>

namespace Ferrolink::Companions {

/// One event of the calling thread, now, as a line of JSON that ends in its only newline.
///
/// The line is plain ASCII. All other characters are escaped, so no text can end the line early,
/// forge a second one or send control sequences to a terminal. Throws std::bad_alloc only.
std::string TelemetryLine(const char* category, const char* message, const char* context);

}  // namespace Ferrolink::Companions

#endif
