#ifndef FERROLINK_COMPANIONS_TOOL_OPTIONS_H
#define FERROLINK_COMPANIONS_TOOL_OPTIONS_H

#include <string>
#include <vector>

namespace Ferrolink::Companions::Tool {

/// Of contradicting options the JVM obeys the last one.
enum class JvmOptionPlace { First, Last };

/// Adds an option to JAVA_TOOL_OPTIONS, which every JVM reads. Errors: Failure for an option that
/// the variable cannot hold.
void AddJvmOption(const std::string& option, JvmOptionPlace place = JvmOptionPlace::Last);

/// The options in JAVA_TOOL_OPTIONS and _JAVA_OPTIONS, in the order in which the JVM reads them.
/// Quotes are removed as the JVM does.
std::vector<std::string> JvmOptions();

/// Those of one of these variables.
std::vector<std::string> JvmOptionsOf(const std::string& variable);

/// Whether a JVM would get an option that begins with this text.
bool HasJvmOption(const std::string& beginning);

/// Sets a variable of the environment if it is not set, or empty.
void SetIfEmpty(const char* variable, const std::string& value);

/// The non-empty parts of a path list that is separated by colons.
std::vector<std::string> PathsOf(const std::string& list);

}  // namespace Ferrolink::Companions::Tool

#endif
