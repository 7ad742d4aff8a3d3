// Classes, references, exceptions and strings.
#include <cstdio>
#include <cstring>

#include "tests/fakes/jvm/FakeState.h"

namespace FakeJvm {
namespace {

using WhilePending = EnvironmentCall::WhilePending;

jint JNICALL getVersion(JNIEnv* env) {
  const EnvironmentCall call(env, "GetVersion");
  return call.effect().result.value_or(state().script.jniVersion);
}

jclass JNICALL findClass(JNIEnv* env, const char* name) {
  EnvironmentCall call(env, std::string("FindClass(") + name + ")");
  if (call.null()) {
    return nullptr;
  }
  if (const auto& inside = state().script.insideFindClass) {
    call.environment().frame += 1;
    call.unlock();
    inside();
    call.relock();
    call.environment().frame -= 1;
  }
  if (std::strcmp(name, kReceiverClass) != 0 && std::strcmp(name, kByteArrayClass) != 0) {
    call.environment().exceptionPending = true;
    return nullptr;
  }
  auto object = std::make_shared<Object>();
  object->text = name;
  return call.newLocal<jclass>(std::move(object));
}

jclass JNICALL getObjectClass(JNIEnv* env, jobject object) {
  EnvironmentCall call(env, "GetObjectClass");
  const auto asked = call.use(object);
  if (call.null()) {
    return nullptr;
  }
  auto type = std::make_shared<Object>();
  type->text = classOf(*asked);
  return call.newLocal<jclass>(std::move(type));
}

jboolean JNICALL isInstanceOf(JNIEnv* env, jobject object, jclass type) {
  EnvironmentCall call(env, "IsInstanceOf");
  const auto asked = call.use(type, Object::Kind::Class);
  const bool isOne = object == nullptr || asked->text == classOf(*call.use(object));
  return isOne ? JNI_TRUE : JNI_FALSE;
}

jobject JNICALL newLocalRef(JNIEnv* env, jobject object) {
  EnvironmentCall call(env, "NewLocalRef");
  auto shared = call.use(object);
  return call.null() ? nullptr : call.newLocal<jobject>(std::move(shared));
}

jobject JNICALL newGlobalRef(JNIEnv* env, jobject object) {
  EnvironmentCall call(env, "NewGlobalRef");
  auto shared = call.use(object);
  if (call.null()) {
    return nullptr;
  }
  state().counts.globalReferences += 1;
  return EnvironmentCall::newReference(std::move(shared), 0);
}

void JNICALL deleteGlobalRef(JNIEnv* env, jobject reference) {
  EnvironmentCall call(env, "DeleteGlobalRef", WhilePending::Allowed);
  Reference& found = call.find(reference);
  if (found.attachment != 0) {
    fatal("DeleteGlobalRef: not a global reference");
  }
  found.live = false;
  if (found.counted) {
    state().counts.globalReferences -= 1;
  }
}

void JNICALL deleteLocalRef(JNIEnv* env, jobject reference) {
  EnvironmentCall call(env, "DeleteLocalRef", WhilePending::Allowed);
  Reference& found = call.find(reference);
  if (found.attachment == 0) {
    fatal("DeleteLocalRef: not a local reference");
  }
  found.live = false;
  state().counts.localReferences -= 1;
}

jboolean JNICALL exceptionCheck(JNIEnv* env) {
  const EnvironmentCall call(env, "ExceptionCheck", WhilePending::Allowed);
  return call.environment().exceptionPending ? JNI_TRUE : JNI_FALSE;
}

// Stays pending, unlike in some JVMs, so that a missing ExceptionClear is noticed.
void JNICALL exceptionDescribe(JNIEnv* env) {
  const EnvironmentCall call(env, "ExceptionDescribe", WhilePending::Allowed);
  std::fputs("Exception in thread \"main\" fake.JavaException\n", stderr);
}

void JNICALL exceptionClear(JNIEnv* env) {
  const EnvironmentCall call(env, "ExceptionClear", WhilePending::Allowed);
  call.environment().exceptionPending = false;
}

jint JNICALL getJavaVm(JNIEnv* env, JavaVM** vm) {
  const EnvironmentCall call(env, "GetJavaVM");
  *vm = &state().machines.front();  // even in vain: what a failing call leaves there is open
  return call.effect().result.value_or(JNI_OK);
}

bool isModifiedUtf8(const char* text) {
  for (auto next = reinterpret_cast<const unsigned char*>(text); *next != 0;) {
    const int following = *next < 0x80 ? 0 : *next < 0xC0 ? -1 : *next < 0xE0 ? 1 : 2;
    if (following < 0 || *next >= 0xF0) {
      return false;
    }
    ++next;
    for (int i = 0; i < following; ++i, ++next) {
      if ((*next & 0xC0) != 0x80) {
        return false;
      }
    }
  }
  return true;
}

jstring JNICALL newStringUtf(JNIEnv* env, const char* text) {
  EnvironmentCall call(env, "NewStringUTF");
  if (!isModifiedUtf8(text)) {
    fatal("NewStringUTF: not modified UTF-8");
  }
  if (call.null()) {
    return nullptr;
  }
  auto object = std::make_shared<Object>();
  object->kind = Object::Kind::String;
  object->text = text;
  return call.newLocal<jstring>(std::move(object));
}

const char* JNICALL getStringUtfChars(JNIEnv* env, jstring string, jboolean* isCopy) {
  EnvironmentCall call(env, "GetStringUTFChars");
  auto object = call.use(string, Object::Kind::String);
  if (call.null()) {
    return nullptr;
  }
  if (isCopy != nullptr) {
    *isCopy = JNI_TRUE;
  }
  char* characters = new char[object->text.size() + 1];
  std::memcpy(characters, object->text.c_str(), object->text.size() + 1);
  state().characters[characters] = object.get();
  state().counts.characters += 1;
  return characters;
}

void JNICALL releaseStringUtfChars(JNIEnv* env, jstring string, const char* characters) {
  EnvironmentCall call(env, "ReleaseStringUTFChars", WhilePending::Allowed);
  auto object = call.use(string, Object::Kind::String);
  const auto found = state().characters.find(characters);
  if (found == state().characters.end() || found->second != object.get()) {
    fatal("ReleaseStringUTFChars: not characters of this string");
  }
  state().characters.erase(found);
  state().counts.characters -= 1;
  delete[] characters;
}

}  // namespace

void fillReferenceFunctions(JNINativeInterface_& table) {
  table.GetVersion = &getVersion;
  table.FindClass = &findClass;
  table.GetObjectClass = &getObjectClass;
  table.IsInstanceOf = &isInstanceOf;
  table.NewLocalRef = &newLocalRef;
  table.NewGlobalRef = &newGlobalRef;
  table.DeleteGlobalRef = &deleteGlobalRef;
  table.DeleteLocalRef = &deleteLocalRef;
  table.ExceptionCheck = &exceptionCheck;
  table.ExceptionDescribe = &exceptionDescribe;
  table.ExceptionClear = &exceptionClear;
  table.GetJavaVM = &getJavaVm;
  table.NewStringUTF = &newStringUtf;
  table.GetStringUTFChars = &getStringUtfChars;
  table.ReleaseStringUTFChars = &releaseStringUtfChars;
}

}  // namespace FakeJvm
