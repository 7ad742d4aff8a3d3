#ifndef FERROLINK_COMPANIONS_CONFIGS_CONFIGS_H
#define FERROLINK_COMPANIONS_CONFIGS_CONFIGS_H

#include <cstddef>

#include "native/Export.h"

/// The configuration of a process: docs/configuration.md describes what a source may say.
///
/// Texts that are handed in are NUL-terminated and stay the caller's; a null pointer is refused.
/// The functions that take a buffer write a NUL-terminated text of at most `size` - 1 bytes into it
/// and return the text's length in bytes: 0 for what is not configured. A negative result means
/// that the buffer holds an error text instead, cut off where it does not fit. Values are never cut
/// off: one that does not fit is such an error. With a null buffer or a size of 0 nothing is
/// written and the result is negative.
///
/// The configuration lasts as long as the process, also when the library is closed.
///
/// Thread rule for all: any thread. Each query sees one configuration as a whole, the one before or
/// the one after a change that happens meanwhile. Nothing is ever thrown.
extern "C" {

/// Takes the configuration from `source`: JSON text if its first non-blank character is "{", else
/// the path of a file with such text, which is read now. Replaces what an earlier source said.
/// Returns 0; or a negative number when the source is refused, after one line on standard error
/// that says why, and then nothing has changed.
FERROLINK_EXPORT int SetConfigSource(const char* source);

/// Makes the existing directory `path` the working directory, whatever a source says, until the
/// next call. A relative path counts from the process's current directory at the time of the call.
/// Returns 0, or a negative number as SetConfigSource does.
FERROLINK_EXPORT int SetWorkingDirectory(const char* path);

/// The port of a channel, 1 to 65535; negative when none is configured.
FERROLINK_EXPORT int GetChannelPort(const char* runtimeName, const char* configName);

/// 1 when a proxy is configured, else 0.
FERROLINK_EXPORT int ProxyExists(void);

/// The proxy's port, 1 to 65535; negative when none is configured.
FERROLINK_EXPORT int GetProxyPort(void);

/// The source as SetConfigSource was given it.
FERROLINK_EXPORT int GetConfigSource(char* buffer, std::size_t size);

/// The working directory as an absolute path: SetWorkingDirectory's, else the source's, else the
/// process's current directory at the time of the call.
FERROLINK_EXPORT int GetWorkingDirectory(char* buffer, std::size_t size);

/// "off", "runtimeinfo" (also where nothing is configured) or "all".
FERROLINK_EXPORT int GetLoggingLevel(char* buffer, std::size_t size);

FERROLINK_EXPORT int GetProxyHost(char* buffer, std::size_t size);
FERROLINK_EXPORT int GetProxyUsername(char* buffer, std::size_t size);
FERROLINK_EXPORT int GetProxyPassword(char* buffer, std::size_t size);
FERROLINK_EXPORT int GetProxyDomain(char* buffer, std::size_t size);

/// The name of the runtime behind a channel; `runtimeName` itself where nothing else is configured.
/// Here and below `runtimeName` counts in any case of letters, `configName` as it is written.
FERROLINK_EXPORT int GetRuntimeName(const char* runtimeName, const char* configName, char* buffer,
                                    std::size_t size);

/// "inMemory" (also where nothing is configured), "tcp" or "tcpTls".
FERROLINK_EXPORT int GetChannelType(const char* runtimeName, const char* configName, char* buffer,
                                    std::size_t size);

FERROLINK_EXPORT int GetChannelHost(const char* runtimeName, const char* configName, char* buffer,
                                    std::size_t size);

/// The absolute path of the runtime that a channel uses.
FERROLINK_EXPORT int GetChannelRuntimePath(const char* runtimeName, const char* configName,
                                           char* buffer, std::size_t size);

/// How to reach the server at `address`, "address:port" as commands name it: a line "key=value" for
/// each value that is configured, a newline behind each. Values have no control characters.
FERROLINK_EXPORT int GetEndpoint(const char* address, char* buffer, std::size_t size);

/// Changes whenever SetConfigSource has replaced the configuration. Costs next to nothing.
FERROLINK_EXPORT unsigned GetConfigRevision(void);
}

#endif
