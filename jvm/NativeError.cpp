#include "jvm/NativeError.h"

#include <mutex>

namespace NativeError {
namespace {

std::mutex errorMessageMutex;  // held for a copy only

// Never destroyed: threads may still fail while the process exits.
std::string& errorMessage = *new std::string("Undefined error");

}  // namespace

void store(const std::string& text) {
  const std::lock_guard<std::mutex> lock(errorMessageMutex);
  errorMessage = text;
}

std::string text() {
  const std::lock_guard<std::mutex> lock(errorMessageMutex);
  return errorMessage;
}

}  // namespace NativeError
