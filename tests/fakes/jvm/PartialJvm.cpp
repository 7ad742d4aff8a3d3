// A JVM library that lacks one of the two entry points.
#include <jni.h>

#define EXPORTED extern "C" __attribute__((visibility("default")))

#if defined(FAKE_JVM_WITHOUT_CREATE)
EXPORTED jint JNICALL JNI_GetCreatedJavaVMs(JavaVM** /*buffer*/, jsize /*length*/, jsize* count) {
  *count = 0;
  return JNI_OK;
}
#else
EXPORTED jint JNICALL JNI_CreateJavaVM(JavaVM** /*vm*/, void** /*env*/, void* /*arguments*/) {
  return JNI_ERR;
}
#endif
