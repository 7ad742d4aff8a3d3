// Start-up from process start to the first answer by JNI written by hand, with the library's JVM
// options.
//
//     usage: ferrolink-bench-start-hand JAVA-HOME ARCHIVE [info]
//       info: first asks the receiver for its description, as the library does after starting a JVM
#include <dlfcn.h>
#include <jni.h>

#include <cstdio>
#include <string>

#include "bench/startup/FirstCommand.h"

namespace {

void PrintRuntimeInfo(JNIEnv* env, jclass receiver) {
  jmethodID method = env->GetStaticMethodID(receiver, "getRuntimeInfo", "()Ljava/lang/String;");
  auto text = static_cast<jstring>(env->CallStaticObjectMethod(receiver, method));
  const char* characters = env->GetStringUTFChars(text, nullptr);
  std::puts(characters);
  env->ReleaseStringUTFChars(text, characters);
}

}  // namespace

int main(int count, char** values) {
  const std::string home = values[1];
  std::string classPath = "-Djava.class.path=" + std::string(values[2]);
  std::string libraryPath = "-Djava.library.path=" + home + "/lib:" + home + "/jre/lib";
  void* library = dlopen((home + "/lib/server/libjvm.so").c_str(), RTLD_NOW | RTLD_LOCAL);
  if (library == nullptr) {
    return 1;
  }
  using CreateJavaVm = jint(JavaVM**, void**, void*);
  auto* create = reinterpret_cast<CreateJavaVm*>(dlsym(library, "JNI_CreateJavaVM"));
  JavaVMOption options[] = {{classPath.data(), nullptr}, {libraryPath.data(), nullptr}};
  JavaVMInitArgs arguments{JNI_VERSION_1_8, 2, options, JNI_FALSE};
  JavaVM* vm = nullptr;
  JNIEnv* env = nullptr;
  if (create(&vm, reinterpret_cast<void**>(&env), &arguments) != JNI_OK) {
    return 1;
  }
  jclass receiver = env->FindClass("com/ferrolink/core/receiver/Receiver");
  jmethodID method = env->GetStaticMethodID(receiver, "sendCommand", "([B)[B");
  if (count > 3) {
    PrintRuntimeInfo(env, receiver);
  }
  const std::vector<std::uint8_t> command = Ferrolink::Bench::FirstCommand();
  const auto length = static_cast<jsize>(command.size());
  jbyteArray message = env->NewByteArray(length);
  env->SetByteArrayRegion(message, 0, length, reinterpret_cast<const jbyte*>(command.data()));
  auto response = static_cast<jbyteArray>(env->CallStaticObjectMethod(receiver, method, message));
  std::vector<std::uint8_t> answer(static_cast<std::size_t>(env->GetArrayLength(response)));
  env->GetByteArrayRegion(response, 0, static_cast<jsize>(answer.size()),
                          reinterpret_cast<jbyte*>(answer.data()));
  Ferrolink::Bench::Answered(answer.size() > 10 && answer[10] != 10 && answer.back() == 0);
}
