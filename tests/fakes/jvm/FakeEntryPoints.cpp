// What a JVM library exports, and what tests steer the fake with.
#include "tests/fakes/jvm/FakeState.h"

using FakeJvm::state;

#define EXPORTED extern "C" __attribute__((visibility("default")))

EXPORTED jint JNICALL JNI_CreateJavaVM(JavaVM** vm, void** env, void* arguments) {
  const std::lock_guard<std::mutex> lock(state().lock);
  const FakeJvm::Effect effect = FakeJvm::record("JNI_CreateJavaVM");
  const auto* given = static_cast<const JavaVMInitArgs*>(arguments);
  FakeJvm::Creation& creation = state().creations.emplace_back();
  creation.thread = FakeJvm::currentThread().number;
  creation.version = given->version;
  creation.ignoreUnrecognized = given->ignoreUnrecognized != JNI_FALSE;
  for (jint i = 0; i < given->nOptions; ++i) {
    creation.options.emplace_back(given->options[i].optionString);
    creation.extraInfo = creation.extraInfo || given->options[i].extraInfo != nullptr;
  }
  if (effect.result) {
    return *effect.result;
  }
  const FakeJvm::Script& script = state().script;
  if (script.createResult != JNI_OK && !script.createDespiteResult) {
    return script.createResult;
  }
  if (!state().machines.empty()) {
    return JNI_EEXIST;
  }
  *vm = &FakeJvm::startMachine();
  *env = static_cast<JNIEnv*>(&FakeJvm::attachCurrentThread());
  return script.createResult;
}

EXPORTED jint JNICALL JNI_GetCreatedJavaVMs(JavaVM** buffer, jsize length, jsize* count) {
  const std::lock_guard<std::mutex> lock(state().lock);
  const FakeJvm::Effect effect =
      FakeJvm::record("JNI_GetCreatedJavaVMs(" + std::to_string(length) + ")");
  if (effect.result) {
    return *effect.result;
  }
  *count = static_cast<jsize>(state().machines.size());
  const jsize listed = *count - state().script.unlistedJvms;
  for (jsize i = 0; i < length && i < listed; ++i) {
    buffer[i] = &state().machines[static_cast<std::size_t>(i)];
  }
  return JNI_OK;
}

EXPORTED FakeJvm::Script* fakeJvm_script() {
  return &state().script;
}

EXPORTED void fakeJvm_inject(const FakeJvm::Injection* injection) {
  const std::lock_guard<std::mutex> lock(state().lock);
  state().injections.push_back({*injection, 0});
}

EXPORTED void fakeJvm_clearInjections() {
  const std::lock_guard<std::mutex> lock(state().lock);
  state().injections.clear();
}

EXPORTED void fakeJvm_calls(std::vector<FakeJvm::Call>* calls) {
  const std::lock_guard<std::mutex> lock(state().lock);
  *calls = state().calls;
}

EXPORTED void fakeJvm_clearCalls() {
  const std::lock_guard<std::mutex> lock(state().lock);
  state().calls.clear();
}

EXPORTED void fakeJvm_counts(FakeJvm::Counts* counts) {
  const std::lock_guard<std::mutex> lock(state().lock);
  *counts = state().counts;
}

EXPORTED void fakeJvm_creations(std::vector<FakeJvm::Creation>* creations) {
  const std::lock_guard<std::mutex> lock(state().lock);
  *creations = state().creations;
}

EXPORTED unsigned long fakeJvm_currentThread() {
  return FakeJvm::currentThread().number;
}

EXPORTED JavaVM* fakeJvm_startJvm() {
  const std::lock_guard<std::mutex> lock(state().lock);
  return &FakeJvm::startMachine();
}

EXPORTED void fakeJvm_returnToJava() {
  const std::lock_guard<std::mutex> lock(state().lock);
  if (const FakeJvm::Environment* environment = FakeJvm::currentThread().environment) {
    FakeJvm::endLocalReferences(environment->attachment);
  }
}

EXPORTED JavaVM* fakeJvm_firstJvm() {
  const std::lock_guard<std::mutex> lock(state().lock);
  return state().machines.empty() ? nullptr : &state().machines.front();
}

EXPORTED jobject fakeJvm_makeObject(bool withApply) {
  const std::lock_guard<std::mutex> lock(state().lock);
  auto object = std::make_shared<FakeJvm::Object>();
  object->kind = withApply ? FakeJvm::Object::Kind::Callback : FakeJvm::Object::Kind::Plain;
  state().counts.localReferences += 1;
  return FakeJvm::EnvironmentCall::newReference(std::move(object),
                                                FakeJvm::currentThread().environment->attachment);
}

EXPORTED void fakeJvm_makeCallback(jobject* object, jmethodID* method) {
  const std::lock_guard<std::mutex> lock(state().lock);
  auto callback = std::make_shared<FakeJvm::Object>();
  callback->kind = FakeJvm::Object::Kind::Callback;
  *object = FakeJvm::EnvironmentCall::newReference(std::move(callback), 0);
  reinterpret_cast<FakeJvm::Reference*>(*object)->counted = false;
  *method = reinterpret_cast<jmethodID>(const_cast<FakeJvm::MethodEntry*>(&FakeJvm::kApply));
}
