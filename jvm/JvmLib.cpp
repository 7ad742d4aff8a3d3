#include "jvm/JvmLib.h"

#include <utility>

#include "jvm/JvmLibGlobals.h"
#include "jvm/JvmNativeReceiver.h"
#include "jvm/JvmNativeTransmitter.h"
#include "native/ConfigHandler.h"
#include "native/LibrariesFinder.h"
#include "native/RoleSingletons.h"

using Ferrolink::Native::ConfigHandler::ConfigHandler;
using Ferrolink::Native::Definitions::RuntimeOperationMode;
using Ferrolink::Native::Interfaces::IReceiver;
using Ferrolink::Native::Interfaces::ITransmitter;
using Ferrolink::Runtimes::Jvm::Native::Receiver::JvmNativeReceiver;
using Ferrolink::Runtimes::Jvm::Native::Transmitter::JvmNativeTransmitter;

std::atomic<JNIEnv*> javaEnv{nullptr};
std::atomic<JavaVM*> callbackJavaVM{nullptr};
std::atomic<jobject> sendCommandCallbackObject{nullptr};
std::atomic<jmethodID> sendCommandCallbackMethod{nullptr};
jboolean isCopy = JNI_TRUE;

namespace Ferrolink::Native {

IReceiver* MakeReceiver(RuntimeOperationMode mode) {
  return new JvmNativeReceiver(mode);
}

ITransmitter* MakeTransmitter(RuntimeOperationMode mode) {
  return new JvmNativeTransmitter(mode);
}

}  // namespace Ferrolink::Native

IReceiver* CreateReceiver(RuntimeOperationMode mode) {
  return Ferrolink::Native::CreateReceiver(mode);
}

ITransmitter* CreateTransmitter(RuntimeOperationMode mode) {
  return Ferrolink::Native::CreateTransmitter(mode);
}

IReceiver* GetReceiver() {
  return receiver.load();
}

ITransmitter* GetTransmitter() {
  return transmitter.load();
}

JNIEnv* GetJNIEnv() {
  return javaEnv.load();
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
