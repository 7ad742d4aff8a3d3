// Classes, references, exceptions and strings.
#include <cstdio>
#include <cstring>

#include "tests/fakes/jvm/FakeState.h"

namespace Ferrolink::Tests::FakeJvm {
namespace {

using WhilePending = EnvironmentCall::WhilePending;

jint JNICALL GetVersion(JNIEnv* env) {
  const EnvironmentCall call(env, "GetVersion");
  return call.GetEffect().result.value_or(SharedState().script.jniVersion);
}

jclass JNICALL FindClass(JNIEnv* env, const char* name) {
  EnvironmentCall call(env, std::string("FindClass(") + name + ")");
  if (call.Null()) {
    return nullptr;
  }
  if (const auto& inside = SharedState().script.insideFindClass) {
    call.GetEnvironment().frame += 1;
    call.unlock();
    inside();
    call.Relock();
    call.GetEnvironment().frame -= 1;
  }
  if (std::strcmp(name, kReceiverClass) != 0 && std::strcmp(name, kByteArrayClass) != 0) {
    call.GetEnvironment().exceptionPending = true;
    return nullptr;
  }
  auto object = std::make_shared<Object>();
  object->text = name;
  return call.NewLocal<jclass>(std::move(object));
}

jclass JNICALL GetObjectClass(JNIEnv* env, jobject object) {
  EnvironmentCall call(env, "GetObjectClass");
  const auto asked = call.Use(object);
  if (call.Null()) {
    return nullptr;
  }
  auto type = std::make_shared<Object>();
  type->text = ClassOf(*asked);
  return call.NewLocal<jclass>(std::move(type));
}

jboolean JNICALL IsInstanceOf(JNIEnv* env, jobject object, jclass type) {
  EnvironmentCall call(env, "IsInstanceOf");
  const auto asked = call.Use(type, Object::Kind::Class);
  const bool isOne = object == nullptr || asked->text == ClassOf(*call.Use(object));
  return isOne ? JNI_TRUE : JNI_FALSE;
}

jobject JNICALL NewLocalRef(JNIEnv* env, jobject object) {
  EnvironmentCall call(env, "NewLocalRef");
  auto shared = call.Use(object);
  return call.Null() ? nullptr : call.NewLocal<jobject>(std::move(shared));
}

jobject JNICALL NewGlobalRef(JNIEnv* env, jobject object) {
  EnvironmentCall call(env, "NewGlobalRef");
  auto shared = call.Use(object);
  if (call.Null()) {
    return nullptr;
  }
  SharedState().counts.globalReferences += 1;
  return EnvironmentCall::NewReference(std::move(shared), 0);
}

void JNICALL DeleteGlobalRef(JNIEnv* env, jobject reference) {
  EnvironmentCall call(env, "DeleteGlobalRef", WhilePending::Allowed);
  Reference& found = call.Find(reference);
  if (found.attachment != 0) {
    Fatal("DeleteGlobalRef: not a global reference");
  }
  found.live = false;
  if (found.counted) {
    SharedState().counts.globalReferences -= 1;
  }
}

void JNICALL DeleteLocalRef(JNIEnv* env, jobject reference) {
  EnvironmentCall call(env, "DeleteLocalRef", WhilePending::Allowed);
  Reference& found = call.Find(reference);
  if (found.attachment == 0) {
    Fatal("DeleteLocalRef: not a local reference");
  }
  found.live = false;
  SharedState().counts.localReferences -= 1;
}

jboolean JNICALL ExceptionCheck(JNIEnv* env) {
  const EnvironmentCall call(env, "ExceptionCheck", WhilePending::Allowed);
  return call.GetEnvironment().exceptionPending ? JNI_TRUE : JNI_FALSE;
}

// Stays pending, unlike in some JVMs, so that a missing ExceptionClear is noticed.
void JNICALL ExceptionDescribe(JNIEnv* env) {
  const EnvironmentCall call(env, "ExceptionDescribe", WhilePending::Allowed);
  std::fputs("Exception in thread \"main\" fake.JavaException\n", stderr);
}

void JNICALL ExceptionClear(JNIEnv* env) {
  const EnvironmentCall call(env, "ExceptionClear", WhilePending::Allowed);
  call.GetEnvironment().exceptionPending = false;
}

jint JNICALL GetJavaVm(JNIEnv* env, JavaVM** vm) {
  const EnvironmentCall call(env, "GetJavaVM");
  *vm = &SharedState().machines.front();  // even in vain: what a failing call leaves there is open
  return call.GetEffect().result.value_or(JNI_OK);
}

bool IsModifiedUtf8(const char* text) {
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

jstring JNICALL NewStringUtf(JNIEnv* env, const char* text) {
  EnvironmentCall call(env, "NewStringUTF");
  if (!IsModifiedUtf8(text)) {
    Fatal("NewStringUTF: not modified UTF-8");
  }
  if (call.Null()) {
    return nullptr;
  }
  auto object = std::make_shared<Object>();
  object->kind = Object::Kind::String;
  object->text = text;
  return call.NewLocal<jstring>(std::move(object));
}

const char* JNICALL GetStringUtfChars(JNIEnv* env, jstring string, jboolean* isCopy) {
  EnvironmentCall call(env, "GetStringUTFChars");
  auto object = call.Use(string, Object::Kind::String);
  if (call.Null()) {
    return nullptr;
  }
  if (isCopy != nullptr) {
    *isCopy = JNI_TRUE;
  }
  char* characters = new char[object->text.size() + 1];
  std::memcpy(characters, object->text.c_str(), object->text.size() + 1);
  SharedState().characters[characters] = object.get();
  SharedState().counts.characters += 1;
  return characters;
}

void JNICALL ReleaseStringUtfChars(JNIEnv* env, jstring string, const char* characters) {
  EnvironmentCall call(env, "ReleaseStringUTFChars", WhilePending::Allowed);
  auto object = call.Use(string, Object::Kind::String);
  const auto found = SharedState().characters.find(characters);
  if (found == SharedState().characters.end() || found->second != object.get()) {
    Fatal("ReleaseStringUTFChars: not characters of this string");
  }
  SharedState().characters.erase(found);
  SharedState().counts.characters -= 1;
  delete[] characters;
}

}  // namespace

void FillReferenceFunctions(JNINativeInterface_& table) {
  table.GetVersion = &GetVersion;
  table.FindClass = &FindClass;
  table.GetObjectClass = &GetObjectClass;
  table.IsInstanceOf = &IsInstanceOf;
  table.NewLocalRef = &NewLocalRef;
  table.NewGlobalRef = &NewGlobalRef;
  table.DeleteGlobalRef = &DeleteGlobalRef;
  table.DeleteLocalRef = &DeleteLocalRef;
  table.ExceptionCheck = &ExceptionCheck;
  table.ExceptionDescribe = &ExceptionDescribe;
  table.ExceptionClear = &ExceptionClear;
  table.GetJavaVM = &GetJavaVm;
  table.NewStringUTF = &NewStringUtf;
  table.GetStringUTFChars = &GetStringUtfChars;
  table.ReleaseStringUTFChars = &ReleaseStringUtfChars;
}

}  // namespace Ferrolink::Tests::FakeJvm
