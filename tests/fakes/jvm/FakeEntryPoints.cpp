// What a JVM library exports, and what tests steer the fake with.
#include "tests/fakes/jvm/FakeState.h"

using Ferrolink::Tests::FakeJvm::SharedState;

#define EXPORTED extern "C" __attribute__((visibility("default")))

EXPORTED jint JNICALL JNI_CreateJavaVM(JavaVM** vm, void** env, void* arguments) {
  const std::lock_guard<std::mutex> lock(SharedState().lock);
  const Ferrolink::Tests::FakeJvm::Effect effect =
      Ferrolink::Tests::FakeJvm::Record("JNI_CreateJavaVM");
  const auto* given = static_cast<const JavaVMInitArgs*>(arguments);
  Ferrolink::Tests::FakeJvm::Creation& creation = SharedState().creations.emplace_back();
  creation.thread = Ferrolink::Tests::FakeJvm::CurrentThread().number;
  creation.version = given->version;
  creation.ignoreUnrecognized = given->ignoreUnrecognized != JNI_FALSE;
  for (jint i = 0; i < given->nOptions; ++i) {
    creation.options.emplace_back(given->options[i].optionString);
    creation.extraInfo = creation.extraInfo || given->options[i].extraInfo != nullptr;
  }
  if (effect.result) {
    return *effect.result;
  }
  const Ferrolink::Tests::FakeJvm::Script& script = SharedState().script;
  if (script.createResult != JNI_OK && !script.createDespiteResult) {
    return script.createResult;
  }
  if (!SharedState().machines.empty()) {
    return JNI_EEXIST;
  }
  *vm = &Ferrolink::Tests::FakeJvm::StartMachine();
  *env = static_cast<JNIEnv*>(&Ferrolink::Tests::FakeJvm::AttachCurrentThread());
  return script.createResult;
}

EXPORTED jint JNICALL JNI_GetCreatedJavaVMs(JavaVM** buffer, jsize length, jsize* count) {
  const std::lock_guard<std::mutex> lock(SharedState().lock);
  const Ferrolink::Tests::FakeJvm::Effect effect =
      Ferrolink::Tests::FakeJvm::Record("JNI_GetCreatedJavaVMs(" + std::to_string(length) + ")");
  if (effect.result) {
    return *effect.result;
  }
  *count = static_cast<jsize>(SharedState().machines.size());
  const jsize listed = *count - SharedState().script.unlistedJvms;
  for (jsize i = 0; i < length && i < listed; ++i) {
    buffer[i] = &SharedState().machines[static_cast<std::size_t>(i)];
  }
  return JNI_OK;
}

EXPORTED Ferrolink::Tests::FakeJvm::Script* FakeJvmScript() {
  return &SharedState().script;
}

EXPORTED void FakeJvmInject(const Ferrolink::Tests::FakeJvm::Injection* injection) {
  const std::lock_guard<std::mutex> lock(SharedState().lock);
  SharedState().injections.push_back({*injection, 0});
}

EXPORTED void FakeJvmClearInjections() {
  const std::lock_guard<std::mutex> lock(SharedState().lock);
  SharedState().injections.clear();
}

EXPORTED void FakeJvmCalls(std::vector<Ferrolink::Tests::FakeJvm::Call>* calls) {
  const std::lock_guard<std::mutex> lock(SharedState().lock);
  *calls = SharedState().calls;
}

EXPORTED void FakeJvmClearCalls() {
  const std::lock_guard<std::mutex> lock(SharedState().lock);
  SharedState().calls.clear();
}

EXPORTED void FakeJvmCounts(Ferrolink::Tests::FakeJvm::Counts* counts) {
  const std::lock_guard<std::mutex> lock(SharedState().lock);
  *counts = SharedState().counts;
}

EXPORTED void FakeJvmCreations(std::vector<Ferrolink::Tests::FakeJvm::Creation>* creations) {
  const std::lock_guard<std::mutex> lock(SharedState().lock);
  *creations = SharedState().creations;
}

EXPORTED unsigned long FakeJvmCurrentThread() {
  return Ferrolink::Tests::FakeJvm::CurrentThread().number;
}

EXPORTED JavaVM* FakeJvmStartJvm() {
  const std::lock_guard<std::mutex> lock(SharedState().lock);
  return &Ferrolink::Tests::FakeJvm::StartMachine();
}

EXPORTED void FakeJvmReturnToJava() {
  const std::lock_guard<std::mutex> lock(SharedState().lock);
  if (const Ferrolink::Tests::FakeJvm::Environment* environment =
          Ferrolink::Tests::FakeJvm::CurrentThread().environment) {
    Ferrolink::Tests::FakeJvm::EndLocalReferences(environment->attachment);
  }
}

EXPORTED JavaVM* FakeJvmFirstJvm() {
  const std::lock_guard<std::mutex> lock(SharedState().lock);
  return SharedState().machines.empty() ? nullptr : &SharedState().machines.front();
}

EXPORTED jobject FakeJvmMakeObject(bool withApply) {
  const std::lock_guard<std::mutex> lock(SharedState().lock);
  auto object = std::make_shared<Ferrolink::Tests::FakeJvm::Object>();
  object->kind = withApply ? Ferrolink::Tests::FakeJvm::Object::Kind::Callback
                           : Ferrolink::Tests::FakeJvm::Object::Kind::Plain;
  SharedState().counts.localReferences += 1;
  return Ferrolink::Tests::FakeJvm::EnvironmentCall::NewReference(
      std::move(object), Ferrolink::Tests::FakeJvm::CurrentThread().environment->attachment);
}

EXPORTED void FakeJvmMakeCallback(jobject* object, jmethodID* method) {
  const std::lock_guard<std::mutex> lock(SharedState().lock);
  auto callback = std::make_shared<Ferrolink::Tests::FakeJvm::Object>();
  callback->kind = Ferrolink::Tests::FakeJvm::Object::Kind::Callback;
  *object = Ferrolink::Tests::FakeJvm::EnvironmentCall::NewReference(std::move(callback), 0);
  reinterpret_cast<Ferrolink::Tests::FakeJvm::Reference*>(*object)->counted = false;
  *method = reinterpret_cast<jmethodID>(
      const_cast<Ferrolink::Tests::FakeJvm::MethodEntry*>(&Ferrolink::Tests::FakeJvm::kApply));
}
