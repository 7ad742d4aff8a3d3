#include "jvm/NativeError.h"

#include <exception>
#include <mutex>

namespace NativeError {
namespace {

std::mutex errorMessageMutex;  // held for a copy only

// Never destroyed: threads may still fail while the process exits.
std::string& errorMessage = *new std::string("Undefined error");

}  // namespace

void store(const char* text) noexcept {
  const std::lock_guard<std::mutex> lock(errorMessageMutex);
  try {
    errorMessage = text;
  } catch (const std::exception&) {
    errorMessage = "std::bad_alloc";  // short enough to need no memory
  }
}

std::string text() {
  const std::lock_guard<std::mutex> lock(errorMessageMutex);
  return errorMessage;
}

}  // namespace NativeError
