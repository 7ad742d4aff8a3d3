#ifndef FERROLINK_COMPANIONS_CONFIGS_CONFIGS_H
#define FERROLINK_COMPANIONS_CONFIGS_CONFIGS_H

#include <cstddef>

#include "native/Export.h"

/// The configuration of a process. docs/configuration.md describes the sources.
///
/// Text parameters are NUL-terminated and stay owned by the caller; a null pointer is refused.
/// Functions with a buffer write a NUL-terminated text of at most `size` - 1 bytes and return its
/// length in bytes, 0 for a value that is not configured. If the result is negative, the buffer
/// holds an error text instead, truncated if it does not fit. Values are never truncated: one that
/// does not fit is an error. With a null buffer or a size of 0 nothing is written and the result is
/// negative.
///
/// The configuration lives until the process ends, even if the library is closed.
///
/// Thread rule for all: thread-safe. Each query sees one configuration as a whole, either the old
/// or the new one during a change. Nothing throws.
extern "C" {

/// Takes the configuration from `source`: JSON text if its first non-blank character is "{",
/// otherwise the path of a file with such text, which is read now. Replaces the previous source.
/// Returns 0. If the source is refused, prints one line with the reason on standard error, changes
/// nothing and returns a negative number.
FERROLINK_EXPORT int SetConfigSource(const char* source);

/// Sets the working directory to the existing directory `path`, until the next call. It takes
/// precedence over any source. A relative path counts from the process's current directory at the
/// time of the call. Returns 0, or a negative number as SetConfigSource does.
FERROLINK_EXPORT int SetWorkingDirectory(const char* path);

/// The port of a channel, 1 to 65535; negative if none is configured.
FERROLINK_EXPORT int GetChannelPort(const char* runtimeName, const char* configName);

/// 1 if a proxy is configured, else 0.
FERROLINK_EXPORT int ProxyExists(void);

/// The proxy's port, 1 to 65535; negative if none is configured.
FERROLINK_EXPORT int GetProxyPort(void);

/// The source, unchanged.
FERROLINK_EXPORT int GetConfigSource(char* buffer, std::size_t size);

/// The working directory as an absolute path: the first of those of SetWorkingDirectory, the
/// source, and the process's current directory at the time of the call.
FERROLINK_EXPORT int GetWorkingDirectory(char* buffer, std::size_t size);

/// "off", "runtimeinfo" (the default) or "all".
FERROLINK_EXPORT int GetLoggingLevel(char* buffer, std::size_t size);

FERROLINK_EXPORT int GetProxyHost(char* buffer, std::size_t size);
FERROLINK_EXPORT int GetProxyUsername(char* buffer, std::size_t size);
FERROLINK_EXPORT int GetProxyPassword(char* buffer, std::size_t size);
FERROLINK_EXPORT int GetProxyDomain(char* buffer, std::size_t size);

/// The name of the runtime behind a channel; the default is `runtimeName` itself. Here and below
/// `runtimeName` is case-insensitive and `configName` case-sensitive.
FERROLINK_EXPORT int GetRuntimeName(const char* runtimeName, const char* configName, char* buffer,
                                    std::size_t size);

/// "inMemory" (the default), "tcp" or "tcpTls".
FERROLINK_EXPORT int GetChannelType(const char* runtimeName, const char* configName, char* buffer,
                                    std::size_t size);

FERROLINK_EXPORT int GetChannelHost(const char* runtimeName, const char* configName, char* buffer,
                                    std::size_t size);

/// The absolute path of the runtime that a channel uses.
FERROLINK_EXPORT int GetChannelRuntimePath(const char* runtimeName, const char* configName,
                                           char* buffer, std::size_t size);

/// The endpoint of the server at `address`, "address:port" as in commands: a line "key=value\n" for
/// each configured value. Values have no control characters.
FERROLINK_EXPORT int GetEndpoint(const char* address, char* buffer, std::size_t size);

/// Changes with each new configuration. Cheap.
FERROLINK_EXPORT unsigned GetConfigRevision(void);
}

#endif
