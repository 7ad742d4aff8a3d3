#include "companions/cpp/CppLib.h"

#include <atomic>

#include "companions/cpp/CppNativeReceiver.h"
#include "companions/cpp/CppNativeTransmitter.h"
#include "native/ConfigHandler.h"
#include "native/LibrariesFinder.h"
#include "native/RoleSingletons.h"

using Ferrolink::Native::ConfigHandler::ConfigHandler;
using Ferrolink::Native::Definitions::RuntimeOperationMode;
using Ferrolink::Native::Interfaces::IReceiver;
using Ferrolink::Native::Interfaces::ITransmitter;
using Ferrolink::Runtimes::Cpp::Native::Receiver::CppNativeReceiver;
using Ferrolink::Runtimes::Cpp::Native::Transmitter::CppNativeTransmitter;

namespace Ferrolink::Native {

IReceiver* MakeReceiver(RuntimeOperationMode mode) {
  return new CppNativeReceiver(mode);
}

ITransmitter* MakeTransmitter(RuntimeOperationMode mode) {
  return new CppNativeTransmitter(mode);
}

}  // namespace Ferrolink::Native

IReceiver* CreateReceiver(RuntimeOperationMode mode) {
  return Ferrolink::Native::CreateReceiver(mode);
}

ITransmitter* CreateTransmitter(RuntimeOperationMode mode) {
  return Ferrolink::Native::CreateTransmitter(mode);
}

IReceiver* GetReceiver() {
  return Ferrolink::Native::receiver.load();
}

ITransmitter* GetTransmitter() {
  return Ferrolink::Native::transmitter.load();
}

int SetOperationModeForTransmitter() {
  return Ferrolink::Native::SetOperationModeForTransmitter();
}

int SetConfigSource(std::string source) {
  return ConfigHandler::SetConfigSource(source);
}

int SetWorkingDirectoryPath(std::string path) {
  return ConfigHandler::SetWorkingDirectory(path);
}

void AtStartUp() {
  Ferrolink::Native::AtStartUp();
}

void emptyFunctionInNativeLib() {}
