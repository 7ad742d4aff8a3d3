#ifndef FERROLINK_COMPANIONS_CPP_CPPLIB_H
#define FERROLINK_COMPANIONS_CPP_CPPLIB_H

#include <string>

#include "native/Export.h"
#include "native/interfaces/IReceiver.h"
#include "native/interfaces/ITransmitter.h"
#include "native/interfaces/RuntimeOperationMode.h"

/// The library's doors for other runtimes' libraries and hosts: those that every member of the
/// family has. The door for handlers is in Registrar.h.
///
/// Those with C linkage are found by their plain names; the others carry C++ names since they take
/// standard strings. None of them catches anything: errors leave as exceptions.
/// Thread rule: any thread of any runtime.

extern "C" {

/// The process's one receiver, made on the first call; never null, never to be deleted.
///
/// The first creator of either role fixes the operation mode for the life of the process: `mode` is
/// ignored afterwards. Errors: code 032 for mode -1 (which is then fixed all the same);
/// std::system_error where the calling thread is inside a creator already.
FERROLINK_EXPORT Ferrolink::Native::Interfaces::IReceiver* CreateReceiver(
    Ferrolink::Native::Definitions::RuntimeOperationMode mode);

/// The receiver, or null where none was created yet. Takes no lock and creates nothing.
FERROLINK_EXPORT Ferrolink::Native::Interfaces::IReceiver* GetReceiver();

/// As CreateReceiver, for the process's one transmitter. Mode -1 is no error here.
FERROLINK_EXPORT Ferrolink::Native::Interfaces::ITransmitter* CreateTransmitter(
    Ferrolink::Native::Definitions::RuntimeOperationMode mode);

/// The transmitter, or null where none was created yet. Takes no lock and creates nothing.
FERROLINK_EXPORT Ferrolink::Native::Interfaces::ITransmitter* GetTransmitter();
}

/// Settles that C++ started first and is about to call out (mode 0), unless a mode is settled, and
/// makes the transmitter. Always returns 0.
FERROLINK_EXPORT int SetOperationModeForTransmitter();

/// The one-time work before the first call out of C++.
FERROLINK_EXPORT void AtStartUp();

/// Hands a configuration source (a file's path or JSON text) to the configuration library; returns
/// its result. Creates no role and leaves the mode alone. Errors: ConfigHandler's.
FERROLINK_EXPORT int SetConfigSource(std::string source);

/// Sets the directory of the error log; otherwise as SetConfigSource.
FERROLINK_EXPORT int SetWorkingDirectoryPath(std::string path);

#endif
