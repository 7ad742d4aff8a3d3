// A bridge to Java that loads the JVM of OTHER_BRIDGE_JVM when Ferrolink's member is opened, and starts it if
// OTHER_BRIDGE_STARTS is set. Preloaded.
#include <dlfcn.h>
#include <jni.h>
#include <stdlib.h>
#include <string.h>

typedef void* Open(const char* file, int mode);
typedef jint Create(void** machine, void** environment, void* arguments);

__attribute__((visibility("default"))) void* dlopen(const char* file, int mode) {
  Open* original = (Open*)dlsym(RTLD_NEXT, "dlopen");
  const char* name = getenv("OTHER_BRIDGE_JVM");
  if (file != NULL && name != NULL && strstr(file, "libFerrolinkJvmRuntimeNative.so") != NULL) {
    void* library = original(name, RTLD_LAZY | RTLD_LOCAL);
    unsetenv("OTHER_BRIDGE_JVM");
    if (library != NULL && getenv("OTHER_BRIDGE_STARTS") != NULL) {
      void* machine = NULL;
      void* environment = NULL;
      JavaVMInitArgs arguments = {.version = JNI_VERSION_1_8};
      ((Create*)dlsym(library, "JNI_CreateJavaVM"))(&machine, &environment, &arguments);
    }
  }
  return original(file, mode);
}
