#include "tests/calls/StartedJvm.h"

#include <dlfcn.h>

#include <algorithm>
#include <cstdlib>
#include <stdexcept>

namespace Ferrolink::Tests {
namespace {

using CreateJavaVm = jint(JavaVM**, void**, void*);

CreateJavaVm* FindCreateJavaVm() {
  const char* home = std::getenv("JAVA_HOME");
  const std::string path = std::string(home == nullptr ? "" : home) + "/lib/server/libjvm.so";
  void* library = dlopen(path.c_str(), RTLD_NOW);
  if (library == nullptr) {
    throw std::runtime_error("cannot open " + path);
  }
  return reinterpret_cast<CreateJavaVm*>(dlsym(library, "JNI_CreateJavaVM"));
}

}  // namespace

StartedJvm::StartedJvm(const std::vector<std::filesystem::path>& classPath,
                       const std::vector<std::string>& options) {
  std::string joined = "-Djava.class.path=";
  for (const auto& entry : classPath) {
    joined += (joined.back() == '=' ? "" : ":") + entry.string();
  }
  std::vector<std::string> texts = {joined};
  texts.insert(texts.end(), options.begin(), options.end());
  std::vector<JavaVMOption> entries;
  for (std::string& text : texts) {
    entries.push_back({text.data(), nullptr});
  }
  JavaVMInitArgs arguments{};
  arguments.version = JNI_VERSION_1_8;
  arguments.nOptions = static_cast<jint>(entries.size());
  arguments.options = entries.data();
  arguments.ignoreUnrecognized = JNI_TRUE;
  JavaVM* vm = nullptr;
  if (FindCreateJavaVm()(&vm, reinterpret_cast<void**>(&m_env), &arguments) != JNI_OK) {
    throw std::runtime_error("no JVM could be started");
  }
}

void StartedJvm::RunMain(const std::string& className, const std::vector<std::string>& arguments) {
  std::string path = className;
  std::replace(path.begin(), path.end(), '.', '/');
  jclass program = m_env->FindClass(path.c_str());
  jmethodID method = program == nullptr
                         ? nullptr
                         : m_env->GetStaticMethodID(program, "main", "([Ljava/lang/String;)V");
  if (method != nullptr) {
    jobjectArray texts = m_env->NewObjectArray(static_cast<jsize>(arguments.size()),
                                               m_env->FindClass("java/lang/String"), nullptr);
    for (std::size_t i = 0; i < arguments.size(); ++i) {
      m_env->SetObjectArrayElement(texts, static_cast<jsize>(i),
                                   m_env->NewStringUTF(arguments[i].c_str()));
    }
    m_env->CallStaticVoidMethod(program, method, texts);
  }
  if (m_env->ExceptionCheck() != JNI_FALSE) {
    m_env->ExceptionDescribe();
    m_env->ExceptionClear();
    throw std::runtime_error(className + " failed");
  }
}

}  // namespace Ferrolink::Tests
