#ifndef FERROLINK_JVM_JVMLIB_H
#define FERROLINK_JVM_JVMLIB_H

#include <jni.h>

#include <string>

#include "native/Export.h"
#include "native/interfaces/IReceiver.h"
#include "native/interfaces/ITransmitter.h"
#include "native/interfaces/RuntimeOperationMode.h"

/// The entry points for hosts and for the libraries of other runtimes.
///
/// Those with C linkage are found by their plain names. The others take standard strings and have
/// C++ names. They catch nothing: errors leave as exceptions. Thread rule: any thread of any
/// runtime.

extern "C" {

/// The receiver of the process, made by the first call. Never null. Owned by the library: never
/// delete it.
///
/// The first creator of either role fixes the operation mode of the process; later modes are
/// ignored. Errors: code 032 for mode -1, which is fixed all the same; std::system_error if the
/// calling thread is inside a creator already.
FERROLINK_EXPORT Ferrolink::Native::Interfaces::IReceiver* CreateReceiver(
    Ferrolink::Native::Definitions::RuntimeOperationMode mode);

/// The receiver; null if none was created. Takes no lock and creates nothing.
FERROLINK_EXPORT Ferrolink::Native::Interfaces::IReceiver* GetReceiver();

/// As CreateReceiver, for the transmitter. Mode -1 is no error here.
FERROLINK_EXPORT Ferrolink::Native::Interfaces::ITransmitter* CreateTransmitter(
    Ferrolink::Native::Definitions::RuntimeOperationMode mode);

/// The transmitter; null if none was created. Takes no lock and creates nothing.
FERROLINK_EXPORT Ferrolink::Native::Interfaces::ITransmitter* GetTransmitter();

/// The JNI environment of the last setCallback; null before. Only the thread of that call may use
/// it.
FERROLINK_EXPORT JNIEnv* GetJNIEnv();
}

/// Fixes mode 0 (Java started first and calls out) unless a mode is fixed, and makes the
/// transmitter if there is none. Always returns 0.
FERROLINK_EXPORT int SetOperationModeForTransmitter();

/// One-time work before the first call out of Java. Idempotent.
FERROLINK_EXPORT void AtStartUp();

/// Passes a configuration source (path of a file, or JSON text) to the configuration library and
/// returns its result. Creates no role and fixes no mode. Errors: those of ConfigHandler.
FERROLINK_EXPORT int SetConfigSource(std::string source);

/// Sets the directory of the error log. Otherwise as SetConfigSource.
FERROLINK_EXPORT int SetWorkingDirectoryPath(std::string path);

#endif
