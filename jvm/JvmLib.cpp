#include "jvm/JvmLib.h"

#include <mutex>
#include <utility>

#include "jvm/JvmLibGlobals.h"
#include "jvm/JvmNativeReceiver.h"
#include "native/ConfigHandler.h"
#include "native/LibrariesFinder.h"

using Ferrolink::Native::ConfigHandler::ConfigHandler;
using Ferrolink::Native::Definitions::RuntimeOperationMode;
using Ferrolink::Native::Interfaces::IReceiver;
using Ferrolink::Runtimes::Jvm::Native::Receiver::JvmNativeReceiver;

std::atomic<RuntimeOperationMode> operationMode{RuntimeOperationMode::NotSet};
std::atomic<IReceiver*> receiver{nullptr};
std::shared_mutex createReceiverMutex;
std::atomic<JNIEnv*> javaEnv{nullptr};
std::atomic<JavaVM*> callbackJavaVM{nullptr};
std::atomic<jobject> sendCommandCallbackObject{nullptr};
std::atomic<jmethodID> sendCommandCallbackMethod{nullptr};

IReceiver* CreateReceiver(RuntimeOperationMode mode) {
  if (operationMode.load() != RuntimeOperationMode::NotSet) {
    if (IReceiver* existing = receiver.load()) {
      return existing;
    }
  }
  const std::unique_lock<std::shared_mutex> lock(createReceiverMutex);
  if (operationMode.load() == RuntimeOperationMode::NotSet) {
    operationMode.store(mode);
  }
  if (receiver.load() == nullptr) {
    receiver.store(new JvmNativeReceiver(operationMode.load()));
  }
  return receiver.load();
}

IReceiver* GetReceiver() {
  return receiver.load();
}

JNIEnv* GetJNIEnv() {
  return javaEnv.load();
}

int SetConfigSource(std::string source) {
  return ConfigHandler::SetConfigSource(source);
}

int SetWorkingDirectoryPath(std::string path) {
  return ConfigHandler::SetWorkingDirectory(path);
}

void emptyFunctionInNativeLib() {}
