#ifndef FERROLINK_COMPANIONS_CPP_REGISTRAR_H
#define FERROLINK_COMPANIONS_CPP_REGISTRAR_H

#include <cstdint>

#include "companions/cpp/ferrolink/cpp_runtime.h"
#include "native/Export.h"

extern "C" {

/// See ferrolink_get_registrar_function. Thread-safe. Throws nothing.
FERROLINK_EXPORT const ferrolink_registrar* ferrolink_get_registrar(std::uint32_t version);
}

#endif
