#ifndef FERROLINK_COMPANIONS_CPP_CPPLIB_H
#define FERROLINK_COMPANIONS_CPP_CPPLIB_H

#include <string>

#include "native/Export.h"
#include "native/interfaces/IReceiver.h"
#include "native/interfaces/ITransmitter.h"
#include "native/interfaces/RuntimeOperationMode.h"

/// The exported functions, which every member of the family has. Registrar.h has the function for
/// handlers.
///
/// Functions with C linkage are found by their plain names. The others have C++ names because they
/// take standard strings. None of them catches anything: errors are exceptions. Thread rule:
/// thread-safe.

extern "C" {

/// The one receiver of the process, created by the first call. Never null; the caller must not
/// delete it.
///
/// The first creator of either role fixes the operation mode of the process; later modes are
/// ignored. Errors: code 032 for mode -1 (which fixes the mode nevertheless); std::system_error if
/// the calling thread is inside a creator already.
FERROLINK_EXPORT Ferrolink::Native::Interfaces::IReceiver* CreateReceiver(
    Ferrolink::Native::Definitions::RuntimeOperationMode mode);

/// The receiver, or null if none was created yet. Takes no lock and creates nothing.
FERROLINK_EXPORT Ferrolink::Native::Interfaces::IReceiver* GetReceiver();

/// As CreateReceiver, for the process's one transmitter. Mode -1 is no error here.
FERROLINK_EXPORT Ferrolink::Native::Interfaces::ITransmitter* CreateTransmitter(
    Ferrolink::Native::Definitions::RuntimeOperationMode mode);

/// The transmitter, or null if none was created yet. Takes no lock and creates nothing.
FERROLINK_EXPORT Ferrolink::Native::Interfaces::ITransmitter* GetTransmitter();
}

/// Fixes mode 0 (C++ calls out), unless a mode is fixed already, and creates the transmitter.
/// Always returns 0.
FERROLINK_EXPORT int SetOperationModeForTransmitter();

/// One-time work before the first call out of C++.
FERROLINK_EXPORT void AtStartUp();

/// Passes a configuration source (the path of a file, or JSON text) to the configuration library
/// and returns its result. Creates no role and does not fix the mode. Errors: ConfigHandler's.
FERROLINK_EXPORT int SetConfigSource(std::string source);

/// Sets the directory of the error log; otherwise as SetConfigSource.
FERROLINK_EXPORT int SetWorkingDirectoryPath(std::string path);

#endif
